#pragma once

#include <cstddef>
#include <cstring>
#include <utility>

namespace database_client::json {

/// A string or vector of bytes that is written from front to back into space made beforehand.
template <class Container>
class Growing {
 public:
  using Unit = typename Container::value_type;

  explicit Growing(std::size_t expected) : content_(expected, Unit()) {}

  /// Where to write up to `count` units, of which `advance` keeps those that were written.
  Unit* room(std::size_t count) {
    if (content_.size() - size_ < count) content_.resize(2 * content_.size() + count);
    return content_.data() + size_;
  }
  void advance(std::size_t count) { size_ += count; }

  void append(const void* units, std::size_t count) {
    if (count == 0) return;
    std::memcpy(room(count), units, count);
    size_ += count;
  }

  std::size_t size() const { return size_; }
  Unit* at(std::size_t offset) { return content_.data() + offset; }

  Container take() {
    content_.resize(size_);
    return std::move(content_);
  }

 private:
  Container content_;
  std::size_t size_ = 0;
};

}  // namespace database_client::json
