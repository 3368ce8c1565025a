// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "client/bson/View.h"

namespace database_client::bson {

/// Where the keys of one large level lie: their offsets in document order, and a hash table over them.
class LevelIndex {
 public:
  /// Reads the level whose length field stands at `start`.
  LevelIndex(const Byte* data, std::size_t start);

  /// The offset of the first element with this key, 0 when there is none.
  std::uint32_t find(const Byte* data, std::string_view key) const;
  const std::vector<std::uint32_t>& offsets() const { return offsets_; }

  /// An element was appended at `offset`.
  void append(const Byte* data, std::uint32_t offset);
  /// Everything behind `offset` moved by `delta` bytes.
  void shift(std::uint32_t offset, std::int64_t delta);

 private:
  void insert(const Byte* data, std::uint32_t ordinal);
  void rehash(const Byte* data);

  std::vector<std::uint32_t> offsets_;
  std::vector<std::uint32_t> table_;  ///< ordinal + 1, 0 where free
};

/// Whether the element key at `at` is `key`, which holds no NUL.
inline bool isKey(const Byte* at, std::string_view key) {
  for (const char c : key) {
    if (static_cast<char>(*at) != c) return false;
    ++at;
  }
  return *at == 0;
}

}  // namespace database_client::bson
