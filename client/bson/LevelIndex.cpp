// SPDX-License-Identifier: Apache-2.0
#include "client/bson/LevelIndex.h"

#include <algorithm>
#include <functional>

namespace database_client::bson {

namespace {
constexpr std::size_t smallestTable = 64;

std::size_t slotOf(std::string_view key, std::size_t tableSize) {
  return std::hash<std::string_view>{}(key) & (tableSize - 1);
}
}  // namespace

LevelIndex::LevelIndex(const Byte* data, std::size_t start) {
  const View level = viewAt(data + start);
  for (const Element& element : level) offsets_.push_back(static_cast<std::uint32_t>(element.start - data));
  rehash(data);
}

void LevelIndex::rehash(const Byte* data) {
  std::size_t size = smallestTable;
  while (size < 2 * offsets_.size()) size *= 2;
  table_.assign(size, 0);
  for (std::uint32_t ordinal = 0; ordinal < offsets_.size(); ++ordinal) insert(data, ordinal);
}

void LevelIndex::insert(const Byte* data, std::uint32_t ordinal) {
  const std::string_view key = cString(data + offsets_[ordinal] + 1);
  for (std::size_t slot = slotOf(key, table_.size());; slot = (slot + 1) & (table_.size() - 1)) {
    if (table_[slot] == 0) {
      table_[slot] = ordinal + 1;
      return;
    }
    if (isKey(data + offsets_[table_[slot] - 1] + 1, key)) return;  // repeated: the first stays
  }
}

std::uint32_t LevelIndex::find(const Byte* data, std::string_view key) const {
  for (std::size_t slot = slotOf(key, table_.size()); table_[slot] != 0; slot = (slot + 1) & (table_.size() - 1)) {
    const std::uint32_t offset = offsets_[table_[slot] - 1];
    if (isKey(data + offset + 1, key)) return offset;
  }
  return 0;
}

void LevelIndex::append(const Byte* data, std::uint32_t offset) {
  offsets_.push_back(offset);
  if (2 * offsets_.size() > table_.size()) {
    rehash(data);
  } else {
    insert(data, static_cast<std::uint32_t>(offsets_.size() - 1));
  }
}

void LevelIndex::shift(std::uint32_t offset, std::int64_t delta) {
  const auto behind = std::upper_bound(offsets_.begin(), offsets_.end(), offset);
  for (auto at = behind; at != offsets_.end(); ++at) *at = static_cast<std::uint32_t>(*at + delta);
}

}  // namespace database_client::bson
