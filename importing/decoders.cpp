// SPDX-License-Identifier: Apache-2.0
#include "importing/decoders.h"

#include <iconv.h>
#include <zlib.h>
#include <zstd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "values/Text.h"

namespace database_provider::importing {

namespace {

constexpr std::size_t chunkSize = 1U << 16U;
constexpr std::string_view gzipMark = "\x1F\x8B";
constexpr std::string_view zstdMark = "\x28\xB5\x2F\xFD";

bool beginsWith(std::string_view text, std::string_view beginning) {
  return text.substr(0, beginning.size()) == beginning;
}

[[noreturn]] void failEarly(const std::string& name, const std::string& what) {
  throw ImportError(name + ": " + what + " ends early");
}

/// What a step has read and not used yet.
class Input {
 public:
  explicit Input(ByteReader read) : read_(std::move(read)), bytes_(chunkSize) {}

  bool isEmpty() const { return next_ == end_; }
  std::size_t left() const { return end_ - next_; }
  char* data() { return bytes_.data() + next_; }
  void skipTo(std::size_t left) { next_ = end_ - left; }
  /// Reads on behind what is left; false at the end.
  bool fill() {
    std::move(data(), bytes_.data() + end_, bytes_.data());
    end_ -= next_;
    next_ = 0;
    const std::size_t count = read_(bytes_.data() + end_, bytes_.size() - end_);
    end_ += count;
    return count > 0;
  }

 private:
  ByteReader read_;
  std::vector<char> bytes_;
  std::size_t next_ = 0;
  std::size_t end_ = 0;
};

class Gunzip {
 public:
  Gunzip(std::string name, ByteReader read) : name_(std::move(name)), input_(std::move(read)) {
    constexpr int gzipAlone = 16 + MAX_WBITS;
    if (inflateInit2(&stream_, gzipAlone) != Z_OK) throw std::bad_alloc();
  }
  ~Gunzip() { inflateEnd(&stream_); }
  Gunzip(const Gunzip&) = delete;
  Gunzip& operator=(const Gunzip&) = delete;

  std::size_t read(char* bytes, std::size_t size) {
    stream_.next_out = reinterpret_cast<Bytef*>(bytes);
    stream_.avail_out = static_cast<uInt>(size);
    while (stream_.avail_out == size) {
      if (input_.isEmpty() && !input_.fill()) {
        if (!isBetweenMembers_) failEarly(name_, "the gzip data");
        return 0;
      }
      if (isBetweenMembers_ && inflateReset(&stream_) != Z_OK) throw std::bad_alloc();
      isBetweenMembers_ = false;
      stream_.next_in = reinterpret_cast<Bytef*>(input_.data());
      stream_.avail_in = static_cast<uInt>(input_.left());
      const int status = inflate(&stream_, Z_NO_FLUSH);
      input_.skipTo(stream_.avail_in);
      if (status == Z_STREAM_END)
        isBetweenMembers_ = true;
      else if (status != Z_OK && status != Z_BUF_ERROR)
        throw ImportError(name_ + ": the gzip data is damaged" +
                          (stream_.msg == nullptr ? "" : std::string(": ") + stream_.msg));
    }
    return size - stream_.avail_out;
  }

 private:
  std::string name_;
  Input input_;
  z_stream stream_{};
  bool isBetweenMembers_ = false;
};

class Unzstd {
 public:
  Unzstd(std::string name, ByteReader read)
      : name_(std::move(name)), input_(std::move(read)), stream_(ZSTD_createDStream(), ZSTD_freeDStream) {
    if (!stream_) throw std::bad_alloc();
  }

  std::size_t read(char* bytes, std::size_t size) {  // NOLINT(readability-non-const-parameter): zstd writes there
    ZSTD_outBuffer out{bytes, size, 0};
    while (out.pos == 0) {
      // What is left in the stream comes out without input, too.
      if (input_.isEmpty() && !input_.fill()) {
        if (left_ != 0) failEarly(name_, "the Zstandard data");
        return 0;
      }
      ZSTD_inBuffer in{input_.data(), input_.left(), 0};
      left_ = ZSTD_decompressStream(stream_.get(), &out, &in);
      if (ZSTD_isError(left_) != 0)
        throw ImportError(name_ + ": the Zstandard data is damaged: " + ZSTD_getErrorName(left_));
      input_.skipTo(in.size - in.pos);
    }
    return out.pos;
  }

 private:
  std::string name_;
  Input input_;
  std::unique_ptr<ZSTD_DStream, decltype(&ZSTD_freeDStream)> stream_;
  std::size_t left_ = 0;  ///< not 0 within a frame
};

class Recoder {
 public:
  Recoder(std::string name, ByteReader read, std::string encoding)
      : name_(std::move(name)),
        encoding_(std::move(encoding)),
        input_(std::move(read)),
        converter_(::iconv_open("UTF-8", encoding_.c_str())) {
    if (converter_ == failed()) throw ImportError(name_ + ": there is no encoding " + values::inQuotes(encoding_));
  }
  ~Recoder() { ::iconv_close(converter_); }
  Recoder(const Recoder&) = delete;
  Recoder& operator=(const Recoder&) = delete;

  std::size_t read(char* bytes, std::size_t size) {
    char* out = bytes;
    std::size_t room = size;
    bool isAtEnd = false;
    while (out == bytes) {
      if ((input_.isEmpty() || isCut_) && !input_.fill()) {
        if (isCut_) fail("ends within a character");
        isAtEnd = true;
      }
      isCut_ = false;
      char* in = input_.data();
      std::size_t left = input_.left();
      // At the end an encoding that shifts may have something to say.
      const bool isDone =
          ::iconv(converter_, isAtEnd ? nullptr : &in, isAtEnd ? nullptr : &left, &out, &room) != badResult;
      const int reason = errno;
      if (!isAtEnd) input_.skipTo(left);
      lines_ += static_cast<std::size_t>(std::count(bytes, out, '\n'));
      if (!isDone && reason == EILSEQ && out == bytes) fail("has bytes here that are no character");
      isCut_ = !isDone && reason == EINVAL;
      if (isAtEnd) break;
    }
    return static_cast<std::size_t>(out - bytes);
  }

 private:
  static constexpr std::size_t badResult = static_cast<std::size_t>(-1);
  static iconv_t failed() { return reinterpret_cast<iconv_t>(-1); }  // NOLINT: as iconv_open says it

  [[noreturn]] void fail(const std::string& what) const {
    throw ImportError(name_ + ":" + std::to_string(lines_ + 1) + ": the text in " + encoding_ + " " + what);
  }

  std::string name_;
  std::string encoding_;
  Input input_;
  iconv_t converter_;
  std::size_t lines_ = 0;
  bool isCut_ = false;  ///< what is left of the input begins a character
};

template <class Step, class... Arguments>
ByteReader readerOf(Arguments&&... arguments) {
  auto step = std::make_shared<Step>(std::forward<Arguments>(arguments)...);
  return [step](char* bytes, std::size_t size) { return step->read(bytes, size); };
}

}  // namespace

bool isCompressed(std::string_view first) {
  return beginsWith(first, gzipMark) || beginsWith(first, zstdMark);
}

ByteReader decompressed(const std::string& name, ByteReader read, std::string_view first) {
  if (beginsWith(first, gzipMark)) return readerOf<Gunzip>(name, std::move(read));
  if (beginsWith(first, zstdMark)) return readerOf<Unzstd>(name, std::move(read));
  return read;
}

ByteReader recoded(const std::string& name, ByteReader read, const std::string& encoding) {
  const std::string known = values::lowered(encoding);
  if (known == "utf-8" || known == "utf8") return read;
  return readerOf<Recoder>(name, std::move(read), known == "latin-1" ? "LATIN1" : encoding);
}

std::string encodingByMark(std::string_view first) {
  using namespace std::string_view_literals;
  if (beginsWith(first, "\xFF\xFE\0\0"sv) || beginsWith(first, "\0\0\xFE\xFF"sv)) return "UTF-32";
  if (beginsWith(first, "\xFF\xFE"sv) || beginsWith(first, "\xFE\xFF"sv)) return "UTF-16";
  return "";
}

ByteReader behind(std::string first, ByteReader read) {
  struct Rest {
    std::string bytes;
    std::size_t next = 0;
  };
  auto rest = std::make_shared<Rest>(Rest{std::move(first)});
  return [rest, read = std::move(read)](char* bytes, std::size_t size) {
    if (rest->next == rest->bytes.size()) return read(bytes, size);
    const std::size_t count = rest->bytes.copy(bytes, size, rest->next);
    rest->next += count;
    return count;
  };
}

}  // namespace database_provider::importing
