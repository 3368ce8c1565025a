// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstring>
#include <string_view>
#include <utility>

namespace database_client {

/// A string or vector of bytes that is written from front to back into space made beforehand: room for several parts
/// is asked for once.
template <class Container>
class Growing {
 public:
  using Unit = typename Container::value_type;

  explicit Growing(std::size_t expected = 0) : content_(expected, Unit()) {}

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
