// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "client/bson/View.h"

namespace database_client::bson {

/// The bytes of one document, always complete. A copy shares them until one of the two is written to; the count of
/// sharers is atomic, so that copies may live in different threads.
class Buffer {
 public:
  Buffer() = default;
  explicit Buffer(View document);
  Buffer(const Buffer& other) noexcept;
  Buffer(Buffer&& other) noexcept;
  Buffer& operator=(const Buffer& other) noexcept;
  Buffer& operator=(Buffer&& other) noexcept;
  ~Buffer();

  const Byte* data() const { return block_ ? bytes(block_) : emptyDocument().data; }
  std::size_t size() const { return block_ ? block_->size : emptyDocument().size; }
  View view() const { return {data(), size()}; }

  /// The bytes for writing, no longer shared.
  Byte* writable() { return isOnlyOwner() ? bytes(block_) : grow(0, 0, 0); }
  /// Replaces `oldSize` bytes at `offset` by `newSize` bytes, which the caller fills; what lies behind moves. Returns
  /// the bytes for writing. A failed allocation leaves everything as it was.
  Byte* splice(std::size_t offset, std::size_t oldSize, std::size_t newSize) {
    if (!isOnlyOwner() || block_->size - oldSize + newSize > block_->capacity) return grow(offset, oldSize, newSize);
    Byte* here = bytes(block_) + offset;
    moveTail(here + newSize, here + oldSize, block_->size - offset - oldSize);
    block_->size += newSize - oldSize;
    return bytes(block_);
  }

 private:
  struct Block {
    std::atomic<std::size_t> sharers;
    std::size_t size;
    std::size_t capacity;
  };
  /// Blocks are this much larger than their capacity, so that a short tail can be moved as if it were this long.
  static constexpr std::size_t slack = 8;
  static void moveTail(Byte* to, const Byte* from, std::size_t size) {
    if (size > slack) {
      std::memmove(to, from, size);
    } else {
      // What ends here is a document under construction: all that follows is the ends of the levels around.
      std::uint64_t tail = 0;
      std::memcpy(&tail, from, sizeof tail);
      std::memcpy(to, &tail, sizeof tail);
    }
  }
  static Byte* bytes(Block* block) { return reinterpret_cast<Byte*>(block + 1); }
  static Block* allocate(std::size_t capacity);
  Byte* grow(std::size_t offset, std::size_t oldSize, std::size_t newSize);
  void release() noexcept;
  bool isOnlyOwner() const { return block_ != nullptr && block_->sharers.load(std::memory_order_acquire) == 1; }

  Block* block_ = nullptr;
};

}  // namespace database_client::bson
