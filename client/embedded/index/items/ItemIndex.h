// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "client/bson/View.h"
#include "client/embedded/index/items/ItemPaths.h"
#include "client/embedded/index/segments/BlobStore.h"
#include "client/embedded/index/segments/recordNumber.h"

namespace database_client::embedded {

/// Gives the documents with record numbers above `after`, in ascending order; null `data` for one that cannot be read,
/// which then may have anything.
using DocumentsAfter =
    std::function<void(RecordNumber after, const std::function<void(RecordNumber record, bson::View body)>& receive)>;

class BlockCache;
class ItemExtractor;
class IndexMemtable;
class Segment;
namespace index {
class SegmentWriter;
}

/// The index over the items of every array of {name, value} documents in the documents of one collection: an inverted
/// index, kept as a log-structured merge tree.
///
/// A term says "the document has an item of this name and value under this path"; its posting list holds the numbers of
/// the records that have it. The index is told of every change to a document, in the transaction of the change: the
/// memtable gathers what it adds and deletes, and `flush`, to be called before each commit, writes it as one immutable,
/// sorted segment. Where many segments of a level have gathered, a compaction makes one of the next level of them.
///
/// Invariants: summed over all segments, memtable and snapshot, a record has a term once or not at all, so that
/// segments may be merged in any grouping. What is gathered belongs to the open transaction, and is dropped by
/// `rollback` with it. A segment is never changed once it is written. Paths are only ever added.
///
/// Reading writes: a query asks segments and nothing else, so `flushAndSnapshot` makes one of the memtable before it
/// answers. Whoever asks inside a transaction that has changed nothing writes nothing.
///
/// Documents that were added last, one by one, are not worth a segment each, which costs more than the document: they
/// stay unindexed, and whoever asks gets a snapshot, in which a segment in memory stands for them. This needs a way to
/// read them; without one all are indexed at once.
///
/// Not chosen: a table of items with a covering index, which changes 25 places of a B-tree for a record of 25 items
/// (docs/embedded-store.md has the figures); a thread that merges, since the library starts none; a manifest, since the
/// segments' keys in the blob store already say which there are.
///
/// What is kept in memory of the stored segments is read anew when `BlobStore::version` changed, which each call looks
/// at; a call must therefore be made inside the transaction it belongs to.
///
/// The store must outlive the index. Failures are `Error`; after one, the transaction is to be rolled back.
class ItemIndex {
 public:
  struct Options {
    std::size_t memtableLimit = 400'000;        ///< entries in the memtable before it is written early
    std::uint64_t unindexedLimit = 64;          ///< documents added one by one before a segment is made of them
    std::size_t bulkSize = 8;                   ///< documents in one transaction from which on they are written at once
    std::size_t fanOut = 8;                     ///< segments of one level that are merged into one of the next
    std::size_t smallFanOut = 32;               ///< the same for the smallest segments, those of single documents
    std::size_t mergeLimit = 32 * 1024 * 1024;  ///< bytes; a merge within a write makes no larger segment
    std::size_t blockSize = 16 * 1024;          ///< bytes of a block of terms
    std::size_t chunkSize = 32 * 1024;          ///< bytes of a block of record numbers
    std::size_t cacheSize = 16 * 1024 * 1024;   ///< bytes of blocks held in memory, where no cache is given
  };
  struct Size {
    std::uint64_t segments = 0;
    std::uint64_t terms = 0;
    std::uint64_t bytes = 0;
  };
  using Segments = std::vector<std::shared_ptr<const Segment>>;

  /// What queries see: the stored segments, and one in memory of the documents that are in none of them.
  struct Snapshot {
    ItemPaths paths;
    Segments segments;

    Size size() const;
    /// Whether aggregations over some path cannot be answered, since it had something else before it had items. Only
    /// making the index anew mends that.
    bool needsRebuild() const { return !paths.allTrackedAreClean(); }
  };

  /// `collection` is between 1 and 2^20 - 1, and the keys of its blobs are `firstKey(collection)` to
  /// `lastKey(collection)`.
  ItemIndex(BlobStore& store, std::int64_t collection);
  /// `blocks` may serve several indexes in `store`; null makes one of its own.
  ItemIndex(BlobStore& store, std::int64_t collection, const Options& options, DocumentsAfter documents = {},
            std::shared_ptr<BlockCache> blocks = nullptr);
  ItemIndex(const ItemIndex&) = delete;
  ItemIndex& operator=(const ItemIndex&) = delete;
  ~ItemIndex();

  static std::int64_t firstKey(std::int64_t collection);
  static std::int64_t lastKey(std::int64_t collection);

  // Changes. Record numbers that only grow make the smallest index.

  /// The document is among those that `DocumentsAfter` gives.
  void add(RecordNumber record, bson::View body);
  /// `body` is what the document was.
  void remove(RecordNumber record, bson::View body);
  void replace(RecordNumber record, bson::View before, bson::View after);
  /// Nobody knows what the document was. Unless it is in no segment, the index is made anew before anything else is
  /// asked of it or written.
  void removeUnreadable(RecordNumber record);
  /// Writes the memtable. To be called before each commit.
  void flush();
  /// Drops the memtable, after the transaction was rolled back.
  void rollback();
  /// Merges all segments into one, in the transaction that is open.
  void compact();
  /// Removes everything.
  void clear();
  /// Makes the index anew of all documents, which `DocumentsAfter` gives.
  void rebuild();

  /// Writes the memtable, and gives what queries see from then on: for planning, statistics and checks. Costs reading
  /// and indexing the documents that are in no segment, once after each change. Valid until the next change or
  /// transaction.
  const Snapshot& flushAndSnapshot();
  BlockCache& blocks();

 private:
  /// What the open transaction has done so far that its end has to know.
  struct Transaction {
    std::size_t unindexedAdded = 0;      ///< documents that it left unindexed
    RecordNumber lastAdded = 0;          ///< the last document that it added
    bool isBulk = false;                 ///< it adds many, which are indexed as they come
    bool indexedThroughChanged = false;  ///< `indexedThrough_` is to be written
    bool mustRebuild = false;            ///< stored segments have what nobody can delete from them
  };

  std::int64_t blobOf(std::uint32_t segment) const;
  void loadIfChanged();
  void load();
  std::shared_ptr<const Segment> loadSegment(const Segments& before, std::uint32_t number) const;
  RecordNumber readIndexedThrough(bool isNew) const;
  void beginChange();
  bool isUnindexed(RecordNumber record) const { return record > indexedThrough_; }
  void setPaths(std::unique_ptr<ItemPaths> paths);
  void gather(RecordNumber record, bson::View body, bool removed);
  void setIndexedThrough(RecordNumber record);
  void indexUnindexed();
  std::unique_ptr<Snapshot> makeSnapshot() const;
  void flushMemtable();
  void dropLoaded();
  void finish(index::SegmentWriter& writer, std::uint32_t number, std::uint32_t level);
  void mergeWhereDue();
  std::uint32_t highestLevel() const;
  Segments mergeable(std::uint32_t level) const;
  void merge(const Segments& inputs, std::uint32_t level);
  void drop(const Segment& segment);
  void forgetBlocks();
  std::uint32_t nextNumber();

  BlobStore& store_;
  std::int64_t collection_;
  Options options_;
  DocumentsAfter documents_;
  std::shared_ptr<BlockCache> blocks_;

  // As they are stored, with what the open transaction has written; read anew when the version is another.
  std::optional<std::uint64_t> loadedVersion_;  // of the store; none: nothing is read
  std::unique_ptr<ItemPaths> paths_;
  Segments segments_;
  RecordNumber indexedThrough_ = 0;  // documents beyond are in no segment

  // Of the open transaction alone.
  std::unique_ptr<ItemExtractor> extractor_;  // works on `paths_`, and adds to them
  std::unique_ptr<IndexMemtable> memtable_;
  Transaction transaction_;

  std::unique_ptr<Snapshot> snapshot_;  // null: to be made
};

}  // namespace database_client::embedded
