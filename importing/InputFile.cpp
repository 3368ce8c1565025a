// SPDX-License-Identifier: Apache-2.0
#include "importing/InputFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "importing/Row.h"
#include "importing/decoders.h"

namespace database_provider::importing {

namespace {

constexpr std::size_t bufferSize = 1U << 16U;
constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

[[noreturn]] void fail(const std::string& path) {
  throw ImportError(path + ": " + std::strerror(errno));
}

}  // namespace

InputFile::InputFile(const std::string& path, std::string encoding)
    : path_(path),
      descriptor_(::open(path.c_str(), O_RDONLY | O_CLOEXEC)),
      encoding_(std::move(encoding)),
      buffer_(bufferSize) {
  if (descriptor_ < 0) fail(path_);
  struct stat status {};
  if (::fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode)) size_ = static_cast<std::uint64_t>(status.st_size);
  try {
    begin();
  } catch (...) {
    ::close(descriptor_);
    throw;
  }
}

InputFile::InputFile(std::string name, ByteReader read, std::string encoding)
    : path_(std::move(name)), encoding_(std::move(encoding)), read_(std::move(read)), buffer_(bufferSize) {
  begin();
}

InputFile::~InputFile() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

bool InputFile::rewind() {
  if (descriptor_ < 0 || ::lseek(descriptor_, 0, SEEK_SET) != 0) return false;
  next_ = end_ = 0;
  consumed_ = 0;
  decoded_ = nullptr;
  begin();
  return true;
}

/// What the first bytes say is obeyed by steps that read the file from there on. Text that needs none is read without.
void InputFile::begin() {
  constexpr std::size_t longestMark = 4;
  while (end_ < longestMark) {  // a pipe may hand over less at a time
    const std::size_t count = readOpened(buffer_.data() + end_, buffer_.size() - end_);
    if (count == 0) break;
    end_ += count;
  }
  const std::string_view first(buffer_.data(), end_);
  *packed_ = end_;
  const ByteReader opened = [this](char* bytes, std::size_t size) {
    const std::size_t count = readOpened(bytes, size);
    *packed_ += count;
    return count;
  };
  // Whether a step is wanted shows only behind the one before it, so that they begin with what is read already.
  ByteReader unpacked = decompressed(path_, behind(std::string(first), opened), first);
  std::string head(first);
  const bool isPacked = isCompressed(first);
  if (isPacked) {
    head.resize(longestMark);
    std::size_t size = 0;
    while (size < longestMark) {
      const std::size_t count = unpacked(head.data() + size, longestMark - size);
      if (count == 0) break;
      size += count;
    }
    head.resize(size);
    unpacked = behind(head, std::move(unpacked));
  }
  const std::string marked = encodingByMark(head);
  const std::string& encoding = marked.empty() ? encoding_ : marked;
  if (!encoding.empty())
    decoded_ = recoded(path_, std::move(unpacked), encoding);
  else if (isPacked)
    decoded_ = std::move(unpacked);
  if (decoded_) next_ = end_ = 0;
  skipByteOrderMark();
}

std::size_t InputFile::read(char* bytes, std::size_t size) const {
  return decoded_ ? decoded_(bytes, size) : readOpened(bytes, size);
}

std::size_t InputFile::readOpened(char* bytes, std::size_t size) const {
  if (read_) return read_(bytes, size);
  for (;;) {
    const ssize_t count = ::read(descriptor_, bytes, size);
    if (count >= 0) return static_cast<std::size_t>(count);
    if (errno != EINTR) fail(path_);
  }
}

bool InputFile::fill() {
  next_ = 0;
  end_ = read(buffer_.data(), buffer_.size());
  return end_ > 0;
}

void InputFile::skipByteOrderMark() {
  if (!hasMore() || buffer_.front() != byteOrderMark.front()) return;
  while (end_ < byteOrderMark.size()) {  // a pipe may hand over less at a time
    const std::size_t count = read(buffer_.data() + end_, buffer_.size() - end_);
    if (count == 0) return;
    end_ += count;
  }
  if (std::string_view(buffer_.data(), byteOrderMark.size()) == byteOrderMark) next_ = consumed_ = byteOrderMark.size();
}

char InputFile::take() {
  if (!hasMore()) return '\0';
  ++consumed_;
  return buffer_[next_++];
}

std::string_view InputFile::peekChunk() {
  if (!hasMore()) return {};
  return {buffer_.data() + next_, end_ - next_};
}

void InputFile::skip(std::size_t count) {
  next_ += count;
  consumed_ += count;
}

std::string_view InputFile::takeChunk() {
  const std::string_view result = peekChunk();
  skip(result.size());
  return result;
}

bool InputFile::takeLine(std::string& line) {
  line.clear();
  if (!hasMore()) return false;
  while (hasMore()) {
    const char* begin = buffer_.data() + next_;
    const char* end = buffer_.data() + end_;
    const char* stop = std::find(begin, end, '\n');
    line.append(begin, stop);
    const bool isWhole = stop != end;
    const auto used = static_cast<std::size_t>(stop - begin) + (isWhole ? 1 : 0);
    next_ += used;
    consumed_ += used;
    if (isWhole) break;
    if (line.size() > maximalRowSize) throw ImportError(path_ + ": a line is longer than " + maximalRowSizeText);
  }
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return true;
}

}  // namespace database_provider::importing
