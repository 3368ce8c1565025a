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
    block_->size += newSize - oldSize;  // modulo 2^64 where it shrinks
    return bytes(block_);
  }

 private:
  struct Block {
    std::atomic<std::size_t> sharers;
    std::size_t size;
    std::size_t capacity;
  };
  /// Blocks are this much larger than their capacity, so that a short tail can be moved as if it were this long.
  static constexpr std::size_t slack = sizeof(std::uint64_t);

  /// Moves the last `size` bytes of the document, from what is its end before a splice to what is its end behind it.
  ///
  /// A document under construction is written at its end: all that follows is the terminators of the levels that are
  /// open, a byte each, too few for a call of `memmove` with every value. So a short tail is moved as one word,
  /// whatever its size. That is right because of four things. The tail ends where the document does, both in its old
  /// place and in its new one, so a word from its beginning ends at most `slack` bytes behind that end, which is within
  /// the capacity: all that is read and written belongs to the block. What of the word is not the tail comes from
  /// behind the old end and goes behind the new one, where nothing is ever looked at. The word is read whole before it
  /// is written, so that the places may overlap. And the block has no other sharer, who might be reading it.
  static void moveTail(Byte* to, const Byte* from, std::size_t size) {
    if (size > slack) {
      std::memmove(to, from, size);
    } else {
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
