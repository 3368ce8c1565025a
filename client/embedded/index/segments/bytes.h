// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "client/bson/ByteBuilder.h"

namespace database_client::embedded::index {

/// Throws Error{storage}: what the index reads is not what it wrote. `what` says where it was noticed; what to do about
/// it is the same for all of the index, which can be built anew of the documents.
[[noreturn]] void damaged(const char* what);

inline void putVarint(std::string& out, std::uint64_t value) {
  while (value >= 0x80) {
    out.push_back(static_cast<char>(value | 0x80));
    value >>= 7;
  }
  out.push_back(static_cast<char>(value));
}

/// The same where there is room; returns the end.
inline char* putVarint(char* at, std::uint64_t value) {
  while (value >= 0x80) {
    *at++ = static_cast<char>(value | 0x80);
    value >>= 7;
  }
  *at++ = static_cast<char>(value);
  return at;
}
constexpr std::size_t longestVarint = 10;  // 64 bits, 7 in a byte

inline char* putBytes(char* at, std::string_view bytes) {
  if (!bytes.empty()) std::memcpy(at, bytes.data(), bytes.size());
  return at + bytes.size();
}

/// Bytes under construction. Entries are written by pointer into room made once for all their parts: appending byte by
/// byte to a string was a quarter of what the index took of a bulk insert.
using ByteBuffer = ByteBuilder<std::string>;

/// Small numbers of either sign as small unsigned ones: 0, -1, 1, -2 become 0, 1, 2, 3.
inline std::uint64_t zigzag(std::int64_t value) {
  return (static_cast<std::uint64_t>(value) << 1) ^ (value < 0 ? ~std::uint64_t{0} : 0);
}
inline std::int64_t unzigzag(std::uint64_t value) {
  return static_cast<std::int64_t>(value >> 1) ^ -static_cast<std::int64_t>(value & 1);
}

/// Reads front to back and never past the end. The checks stay although every blob has a checksum: it tells that bytes
/// are those that were written, and not that a sound writer wrote them.
class ByteReader {
 public:
  explicit ByteReader(std::string_view bytes) : at_(bytes.data()), end_(bytes.data() + bytes.size()) {}

  bool atEnd() const { return at_ == end_; }
  const char* position() const { return at_; }
  std::size_t left() const { return static_cast<std::size_t>(end_ - at_); }

  std::uint64_t varint() {
    // Most numbers of an entry are below 128: their way has no loop and can be inlined.
    if (at_ != end_ && static_cast<unsigned char>(*at_) < 0x80) return static_cast<unsigned char>(*at_++);
    return longVarint();
  }
  std::string_view bytes(std::uint64_t size) {
    if (size > left()) damaged("a length");
    const std::string_view taken(at_, static_cast<std::size_t>(size));
    at_ += size;
    return taken;
  }
  std::uint8_t byte() { return static_cast<std::uint8_t>(bytes(1)[0]); }

 private:
  std::uint64_t longVarint();

  const char* at_;
  const char* end_;
};

constexpr std::size_t sealSize = 8;
/// Appends a checksum of what stands before it.
void seal(std::string& blob);
/// The content of a sealed blob. Throws Error{storage} when the checksum is another.
std::string_view unseal(std::string_view blob);

}  // namespace database_client::embedded::index
