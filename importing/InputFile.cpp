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

namespace database_provider::importing {

namespace {

constexpr std::size_t bufferSize = 1U << 16U;
constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

[[noreturn]] void fail(const std::string& path) {
  throw ImportError(path + ": " + std::strerror(errno));
}

}  // namespace

InputFile::InputFile(const std::string& path)
    : path_(path), descriptor_(::open(path.c_str(), O_RDONLY | O_CLOEXEC)), buffer_(bufferSize) {
  if (descriptor_ < 0) fail(path_);
  struct stat status {};
  if (::fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode)) size_ = static_cast<std::uint64_t>(status.st_size);
  skipByteOrderMark();
}

InputFile::InputFile(std::string name, ByteReader read)
    : path_(std::move(name)), read_(std::move(read)), buffer_(bufferSize) {
  skipByteOrderMark();
}

InputFile::~InputFile() {
  if (descriptor_ >= 0) ::close(descriptor_);
}

bool InputFile::rewind() {
  if (descriptor_ < 0 || ::lseek(descriptor_, 0, SEEK_SET) != 0) return false;
  next_ = end_ = 0;
  consumed_ = 0;
  skipByteOrderMark();
  return true;
}

std::size_t InputFile::read(char* bytes, std::size_t size) const {
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
