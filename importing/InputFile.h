// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "database_provider/import.h"

namespace database_provider::importing {

/// A file that is read from front to back, or what somebody else reads. A byte order mark at its front is passed over.
/// Throws `ImportError` when it cannot be opened or read.
class DATABASE_PROVIDER_EXPORT InputFile {
 public:
  explicit InputFile(const std::string& path);
  InputFile(std::string name, ByteReader read);
  ~InputFile();
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  const std::string& path() const { return path_; }
  /// The bytes read so far.
  std::uint64_t position() const { return consumed_; }
  /// The size of a regular file, 0 for anything else.
  std::uint64_t size() const { return size_; }

  /// Whether a byte is left.
  bool hasMore() { return next_ < end_ || fill(); }
  /// The next byte, NUL at the end.
  char peek() { return hasMore() ? buffer_[next_] : '\0'; }
  /// As `peek`, and passes on to the byte behind it.
  char take();
  /// What is buffered, at least one byte unless at the end.
  std::string_view peekChunk();
  /// Passes on behind so many bytes of what is buffered.
  void skip(std::size_t count);
  /// What is buffered; passes on behind it.
  std::string_view takeChunk();
  /// The next line without its end; false at the end of the file.
  bool takeLine(std::string& line);
  /// Stands at the front again; false where the bytes can be read only once.
  bool rewind();

 private:
  std::size_t read(char* bytes, std::size_t size) const;
  bool fill();
  void skipByteOrderMark();

  std::string path_;
  int descriptor_ = -1;
  ByteReader read_{};
  std::uint64_t size_ = 0;
  std::uint64_t consumed_ = 0;
  std::vector<char> buffer_;
  std::size_t next_ = 0;
  std::size_t end_ = 0;
};

}  // namespace database_provider::importing
