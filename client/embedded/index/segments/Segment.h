// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "client/embedded/index/segments/BlobStore.h"
#include "client/embedded/index/segments/SegmentWriter.h"
#include "client/embedded/index/segments/posting.h"

/// How the item index is stored: what log-structured merge trees call sorted runs or SSTables, kept as blobs of SQLite.
///
/// A *term* (term.h) is a key of bytes (termKey.h) with two *posting lists* (posting.h): of the records that have it,
/// and of those that have it no more, its tombstones. A *segment* holds terms in the order of their keys. Its *head*,
/// one blob, lists *blocks* of terms, each with its first key, and *chunks* of the postings that are too long to lie
/// beside their term; of a small segment the head is all there is. Looking a term up is a binary search of the head,
/// one of the block's *restart points*, the entries with a whole key, and at most sixteen entries from there. Segments
/// add up: `MergedTerms` walks over several at once, and `mergeTerms` writes their sum as a new one.
///
/// Invariants:
/// - A segment is never changed once its head is written. What is read of it may be kept in memory by the keys of its
///   blobs until `BlobStore::version` changes, or its keys are given to another.
/// - Keys ascend, and no key occurs twice in a segment.
/// - The counts beside a term and a block are those of its postings, so that estimates and statistics read no posting.
/// - Every blob ends with a checksum that is compared before any of its bytes is believed; what is read beyond that is
///   checked against its bounds, so that a wrong byte ends in Error{storage} wherever it came from.
///
/// Why not a row of SQLite for each term of a segment: its B-tree would repeat the path and name that neighbouring keys
/// share, and visit pages for each, where a block of 16 KiB is one row, read and checked as a whole. Why not a segment
/// as one blob: a query for one term would read all of it. Tried and dropped: postings added up as sets of bitmaps,
/// which was a quarter of what replacing a document took; `PostingSum` goes by the ends of runs instead.
///
/// The bytes are at `SegmentWriter`. Begin with term.h, then `SegmentWriter::add` and `TermIterator::seek`.
namespace database_client::embedded {

/// A segment as its head describes it.
class Segment {
 public:
  struct Block {
    std::uint64_t number;
    std::uint64_t records;
    std::string_view firstKey;
  };

  /// `head` is the head as it was stored. Throws Error{storage} when it is damaged.
  Segment(std::uint32_t number, std::int64_t firstBlob, std::string head);

  std::uint32_t number() const { return number_; }
  std::uint32_t level() const { return level_; }
  std::uint64_t terms() const { return terms_; }
  /// Whether some term has tombstones.
  bool hasTombstones() const { return tombstones_ != 0; }
  /// About: the last chunk counts as a full one, since the head does not tell its size.
  std::uint64_t bytes() const { return bytes_; }
  std::int64_t firstBlob() const { return firstBlob_; }
  std::int64_t blob(std::uint64_t number) const { return firstBlob_ + static_cast<std::int64_t>(number); }
  bool isInline() const { return blocks_.empty(); }
  const std::vector<Block>& blocks() const { return blocks_; }
  const std::vector<std::uint64_t>& chunks() const { return chunks_; }
  std::string_view inlineTerms() const { return inlineTerms_; }
  std::string_view inlinePostings() const { return inlinePostings_; }
  std::size_t chunkSize() const { return chunkSize_; }
  /// The head's bytes, to tell whether a segment is still the same.
  const std::string& head() const { return head_; }

 private:
  std::uint32_t number_;
  std::int64_t firstBlob_;
  std::string head_;  // what the views below point into
  std::size_t chunkSize_ = 0;
  std::uint32_t level_ = 0;
  std::uint64_t terms_ = 0;
  std::uint64_t tombstones_ = 0;
  std::uint64_t bytes_ = 0;
  std::vector<Block> blocks_;
  std::vector<std::uint64_t> chunks_;
  std::string_view inlineTerms_;
  std::string_view inlinePostings_;
};

/// The blocks of segments that were read last, up to a number of bytes; the segments may be those of several indexes in
/// one `BlobStore`. Beside SQLite's cache of pages it saves the copy out of pages and the checksum of each use.
class BlockCache {
 public:
  using Content = std::shared_ptr<const std::string>;

  BlockCache(BlobStore& store, std::size_t capacity) : store_(store), capacity_(capacity) {}

  /// As that of the store.
  void checkWanted() { store_.checkWanted(); }

  /// The content of a block. What is read only once, in a merge, is not kept.
  Content get(const Segment& segment, std::uint64_t number, bool keep);
  /// Drops the blocks with keys from `first` to `last`.
  void forget(std::int64_t first, std::int64_t last);
  std::size_t used() const { return used_; }

 private:
  struct Entry {
    std::int64_t key;
    Content content;
  };

  BlobStore& store_;
  std::size_t capacity_;
  std::size_t used_ = 0;
  std::list<Entry> entries_;
  std::unordered_map<std::int64_t, std::list<Entry>::iterator> byKey_;
};

namespace index {

/// Where a term's postings lie.
struct TermView {
  TermCounts counts;
  RecordNumber only = 0;     ///< the record, when there is no posting
  std::string_view added{};  ///< inside the block
  std::string_view deleted{};
  bool outside = false;
  std::uint64_t outsideAt = 0;
  std::uint64_t addedSize = 0;
  std::uint64_t deletedSize = 0;
};

/// Walks over the terms of one segment in the order of their keys.
class TermIterator {
 public:
  TermIterator(const Segment& segment, BlockCache& blocks, bool keepBlocks = true)
      : segment_(&segment), blocks_(&blocks), keep_(keepBlocks) {}

  void seekToFirst();
  /// Moves to the first term whose key is not below `key`.
  void seek(std::string_view key);
  void next();
  bool valid() const { return valid_; }
  std::string_view key() const { return key_.view(); }
  const TermView& term() const { return term_; }
  const Segment& segment() const { return *segment_; }

  /// Gives every run of record numbers that the term adds, or deletes, in ascending order. A receiver that returns
  /// false gets no more.
  template <class Receive>
  void forEachAdded(Receive receive) const {
    if (term_.addedSize == 0 && term_.counts.added == 1) {
      give(receive, Run{term_.only, 1});
      return;
    }
    eachRunOf(term_.added, term_.outsideAt, term_.addedSize, receive);
  }
  template <class Receive>
  void forEachDeleted(Receive receive) const {
    eachRunOf(term_.deleted, term_.outsideAt + term_.addedSize, term_.deletedSize, receive);
  }
  /// The postings' bytes in one piece, in `buffer` unless they lie in the block.
  Term whole(std::string& buffer) const;

 private:
  void openBlock(std::size_t block);
  void setContent(std::string_view terms);
  bool readEntry();
  void readCounts(ByteReader& reader);
  std::string_view restartKey(std::size_t restart) const;
  void readOutside(std::uint64_t at, std::uint64_t size, std::string& out) const;

  template <class Receive>
  void eachRunOf(std::string_view inside, std::uint64_t at, std::uint64_t size, Receive receive) const {
    if (!term_.outside) return eachRun(inside, receive);
    std::string buffer;
    RecordNumber end = 0;
    // Chunks are cut anywhere, also within a run. A run is at most two varints of ten bytes: as long as there is more
    // outside, the last 20 bytes of a piece are left for the next round, so that only whole runs are read.
    while (size > 0 || !buffer.empty()) {
      const std::uint64_t piece = std::min<std::uint64_t>(size, segment_->chunkSize());
      readOutside(at, piece, buffer);
      at += piece;
      size -= piece;
      ByteReader reader(buffer);
      while (!reader.atEnd() && (size == 0 || reader.left() >= 20)) {
        if (!give(receive, readRun(reader, end))) return;
      }
      buffer.erase(0, buffer.size() - reader.left());
    }
  }

  const Segment* segment_;
  BlockCache* blocks_;
  bool keep_;
  bool valid_ = false;
  std::size_t block_ = 0;
  BlockCache::Content content_;
  std::string_view terms_;     // the entries of the block
  std::string_view restarts_;  // 4 bytes each
  std::size_t at_ = 0;         // of the entry after the current one
  ByteBuffer key_;
  TermView term_;
};

}  // namespace index
}  // namespace database_client::embedded
