// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>

#include "client/bson/View.h"

namespace database_client::filter {

/// Writes the type and the key of an element; returns where its value goes.
inline bson::Byte* putHead(bson::Byte* at, bson::Type type, std::string_view key) {
  *at++ = static_cast<bson::Byte>(type);
  if (!key.empty()) std::memcpy(at, key.data(), key.size());
  at[key.size()] = 0;
  return at + key.size() + 1;
}

/// Bytes that are only appended to, the first `few` of them in the object itself.
template <std::size_t few>
class ByteRun {
 public:
  ByteRun() {}  // NOLINT(modernize-use-equals-default): a default one would fill `few_` with zeros
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init, bugprone-copy-constructor-init): as above
  ByteRun(const ByteRun& other) { append(other.data(), other.size_); }
  ByteRun& operator=(const ByteRun& other) {
    if (this == &other) return *this;
    size_ = 0;
    append(other.data(), other.size_);
    return *this;
  }
  ~ByteRun() = default;

  const bson::Byte* data() const { return more_ ? more_.get() : few_; }
  bson::Byte* data() { return more_ ? more_.get() : few_; }
  std::size_t size() const { return size_; }

  /// Makes room for `size` bytes at the end, which the caller fills in.
  bson::Byte* extend(std::size_t size) {
    if (size > capacity_ - size_) grow(size);
    bson::Byte* end = data() + size_;
    size_ += size;
    return end;
  }
  void append(const void* bytes, std::size_t size) {
    if (size != 0) std::memcpy(extend(size), bytes, size);
  }
  void append(bson::Byte byte) { *extend(1) = byte; }
  void shrink(std::size_t size) { size_ = size; }

  /// Appends the type and the key of an element and makes room for its value.
  bson::Byte* extendElement(bson::Type type, std::string_view key, std::size_t valueSize) {
    return putHead(extend(1 + key.size() + 1 + valueSize), type, key);
  }

 private:
  void grow(std::size_t size) {
    const std::size_t capacity = std::max(2 * capacity_, size_ + size);
    std::unique_ptr<bson::Byte[]> grown(new bson::Byte[capacity]);  // NOLINT(modernize-avoid-c-arrays): left unfilled
    std::memcpy(grown.get(), data(), size_);
    more_ = std::move(grown);
    capacity_ = capacity;
  }

  std::unique_ptr<bson::Byte[]> more_{};  // NOLINT(modernize-avoid-c-arrays): as above
  std::size_t size_ = 0;
  std::size_t capacity_ = few;
  bson::Byte few_[few];  // NOLINT(modernize-avoid-c-arrays): as above
};

}  // namespace database_client::filter
