// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "client/embedded/index/segments/BlobStore.h"
#include "client/embedded/index/segments/bytes.h"
#include "client/embedded/index/segments/term.h"

/// The bytes of a segment: one blob, or one and the blocks and chunks that it lists, each sealed with a checksum of 8
/// bytes. (What a segment is for stands at `Segment`.)
///
///     head     = 01 level terms tombstones chunkSize blocks chunks block* chunk* [inlineTerms inlinePostings]
///     tombstones = the number of all tombstones in it
///     block    = number records size key      a block of terms; `records`: what its terms add up to; its first key
///     chunk    = number                       postings that lie outside, cut into pieces of `chunkSize` bytes
///     inline*  = size bytes                   there when blocks = 0: the only block of terms, and all postings
///     terms    = entry* offset4* count4       offsets of the entries with a whole key, for binary search
///     entry    = shared size bytes counts     the key: what it shares with the one before, and the rest
///     counts   = record << 2                                                  the only record
///              | form | added << 4 [deleted] [extra] size [sizeDeleted] (postings | offset)
///     form     = 1 | 2 (postings outside) | 4 (deleted is there) | 8 (extra is there, zigzag)
///
/// Numbers are varints of 7 bits, the least significant first; offset4 and count4 are 4 bytes, little-endian.
///
/// The head is written last, so that it can tell what is in the blocks: until then the segment does not exist, and
/// a transaction that fails leaves nothing, since its blobs go with it. Blocks and chunks have numbers of their own in
/// the order in which they filled, and blobs of both kinds mix; nobody looks for one but through the head.
///
/// Short postings lie beside their term, since most terms are of few records and a second blob would cost a read; long
/// ones lie outside, so that walking over the terms of a range does not read the postings of a frequent one.
namespace database_client::embedded::index {

constexpr char segmentFormat = 1;
/// Entries from one whole key to the next: what a look-up decodes at most, against 4 bytes and a whole key for each.
constexpr std::size_t restartInterval = 16;
/// Bytes of both postings of a term together. Readers do not depend on it, since each entry says where its postings
/// lie.
constexpr std::size_t longestInlinePosting = 48;

enum EntryForm : std::uint8_t { single = 0, inside = 1, outside = 2, formMask = 3, hasDeleted = 4, hasExtra = 8 };

/// A block of terms under construction.
class BlockWriter {
 public:
  void add(std::string_view key, const Term& term, std::uint64_t outsideAt);
  bool empty() const { return entries_ == 0; }
  std::size_t size() const { return bytes_.size(); }
  std::uint64_t records() const { return records_; }
  const std::string& firstKey() const { return firstKey_; }
  /// The finished bytes; the writer is then empty.
  std::string take();

 private:
  char* putKey(char* at, std::string_view key);
  static char* putCounts(char* at, const Term& term, std::uint64_t outsideAt);

  ByteBuffer bytes_;
  std::string firstKey_;
  ByteBuffer lastKey_;
  std::vector<std::uint32_t> restarts_;
  std::size_t entries_ = 0;
  std::uint64_t records_ = 0;
};

/// Writes one segment, its blocks as they fill. `firstBlob` is the key of the head; blocks have the keys after it.
class SegmentWriter : public TermSink {
 public:
  SegmentWriter(BlobStore& store, std::int64_t firstBlob, std::size_t blockSize, std::size_t chunkSize);

  void add(std::string_view key, const Term& term) override;
  bool empty() const { return terms_ == 0; }
  /// Blobs written so far, the head not counted.
  std::uint64_t blobs() const { return blobs_; }
  std::uint64_t bytes() const { return bytes_; }
  /// Writes what is left and the head, which it returns.
  std::string finish(std::uint32_t level);

 private:
  struct Block {
    std::uint64_t number;
    std::uint64_t records;
    std::uint64_t size;
    std::string firstKey;
  };

  std::uint64_t write(std::string bytes);
  void finishBlock();
  void finishChunk();
  std::string head(std::uint32_t level) const;

  BlobStore& store_;
  std::int64_t firstBlob_;
  std::size_t blockSize_;
  std::size_t chunkSize_;
  BlockWriter block_;
  std::string chunk_;
  std::uint64_t postingsBefore_ = 0;  // bytes in the chunks that were written
  std::vector<Block> blocks_;
  std::vector<std::uint64_t> chunks_;
  std::uint64_t terms_ = 0;
  std::uint64_t tombstones_ = 0;
  std::uint64_t blobs_ = 0;
  std::uint64_t bytes_ = 0;
};

}  // namespace database_client::embedded::index
