// SPDX-License-Identifier: Apache-2.0
#include "client/bson/Buffer.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace database_client::bson {

namespace {
constexpr std::size_t smallestCapacity = 512;
}

Buffer::Block* Buffer::allocate(std::size_t capacity) {
  void* memory = ::operator new(sizeof(Block) + capacity + slack);
  return new (memory) Block{{1}, 0, capacity};
}

Buffer::Buffer(View document) : block_(allocate(document.size)) {
  std::memcpy(bytes(block_), document.data, document.size);
  block_->size = document.size;
}

Buffer::Buffer(const Buffer& other) noexcept : block_(other.block_) {
  if (block_) block_->sharers.fetch_add(1, std::memory_order_relaxed);
}

Buffer::Buffer(Buffer&& other) noexcept : block_(std::exchange(other.block_, nullptr)) {}

Buffer& Buffer::operator=(const Buffer& other) noexcept {
  Buffer copy(other);
  std::swap(block_, copy.block_);
  return *this;
}

Buffer& Buffer::operator=(Buffer&& other) noexcept {
  std::swap(block_, other.block_);
  return *this;
}

Buffer::~Buffer() {
  release();
}

void Buffer::release() noexcept {
  if (block_ && block_->sharers.fetch_sub(1, std::memory_order_acq_rel) == 1) {
    block_->~Block();
    ::operator delete(block_);
  }
}

Byte* Buffer::grow(std::size_t offset, std::size_t oldSize, std::size_t newSize) {
  const std::size_t before = size();
  const std::size_t after = before - oldSize + newSize;
  // A copy that is edited once more is as likely as not; only what keeps growing gets room to spare.
  Block* grown = allocate(std::max({after, isOnlyOwner() ? 2 * before : after, smallestCapacity}));
  const Byte* from = data();
  std::memcpy(bytes(grown), from, offset);
  std::memcpy(bytes(grown) + offset + newSize, from + offset + oldSize, before - offset - oldSize);
  release();
  block_ = grown;
  block_->size = after;
  return bytes(block_);
}

}  // namespace database_client::bson
