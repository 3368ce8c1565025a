// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "database_provider/import.h"

namespace database_provider::importing {

/// A file that is read from front to back, or what somebody else reads, as text in UTF-8: what is compressed by gzip or
/// Zstandard is unpacked, another encoding recoded, a byte order mark passed over. Throws `ImportError` when it cannot
/// be opened or read.
class DATABASE_PROVIDER_EXPORT InputFile {
 public:
  /// `encoding` as iconv names it; empty for UTF-8, or the one that a byte order mark tells.
  explicit InputFile(const std::string& path, std::string encoding = {});
  InputFile(std::string name, ByteReader read, std::string encoding = {});
  ~InputFile();
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;

  const std::string& path() const { return path_; }
  /// The bytes read so far, of the file as it lies there.
  std::uint64_t position() const { return decoded_ ? *packed_ : consumed_; }
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
  std::size_t readOpened(char* bytes, std::size_t size) const;
  void begin();
  void skipByteOrderMark();

  std::string path_;
  int descriptor_ = -1;
  std::string encoding_;
  ByteReader read_{};
  ByteReader decoded_{};  ///< empty where the bytes are text as they stand
  std::shared_ptr<std::uint64_t> packed_ = std::make_shared<std::uint64_t>(0);  ///< the bytes that were decoded
  std::uint64_t size_ = 0;
  std::uint64_t consumed_ = 0;
  std::vector<char> buffer_;
  std::size_t next_ = 0;
  std::size_t end_ = 0;
};

}  // namespace database_provider::importing
