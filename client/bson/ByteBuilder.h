// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>
#include <utility>

namespace database_client {

/// Builds a string or a vector of bytes front to back: JSON, BSON and the keys and segments of the index. The finished
/// bytes of a document are a `bson::Buffer`.
///
/// The container is kept larger than what was written, since its own `resize` and `push_back` would fill or check room
/// once for each value; here room for several parts is asked for once and filled by whoever knows what goes there.
template <class Container>
class ByteBuilder {
 public:
  using Unit = typename Container::value_type;

  explicit ByteBuilder(std::size_t expected = 0) : content_(expected, Unit()) {}

  /// Where to write up to `count` units, of which `advance` keeps those that were written.
  Unit* room(std::size_t count) {
    if (content_.size() - size_ < count) content_.resize(2 * content_.size() + count);
    return content_.data() + size_;
  }
  void advance(std::size_t count) { size_ += count; }
  /// The end of what was written.
  void setEnd(const Unit* end) { size_ = static_cast<std::size_t>(end - content_.data()); }

  void append(const void* units, std::size_t count) {
    if (count == 0) return;
    std::memcpy(room(count), units, count);
    size_ += count;
  }
  void append(std::string_view text) { append(text.data(), text.size()); }
  void append(Unit unit) {
    *room(1) = unit;
    ++size_;
  }
  /// Drops what is behind `size`, which is not above that of what was written.
  void shrink(std::size_t size) { size_ = size; }

  std::size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  std::string_view view() const { return {content_.data(), size_}; }
  Unit* at(std::size_t offset) { return content_.data() + offset; }

  Container take() {
    content_.resize(size_);
    return std::move(content_);
  }

 private:
  Container content_;
  std::size_t size_ = 0;
};

}  // namespace database_client
