// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "client/bson/View.h"
#include "client/embedded/index/segments/BlobStore.h"

namespace database_client::embedded {

/// Gives the documents with record numbers above `after`, in ascending order; null `data` for one that cannot be read,
/// which then may have anything.
using DocumentsAfter =
    std::function<void(std::int64_t after, const std::function<void(std::int64_t rid, bson::View body)>& receive)>;

class BlockCache;
class ItemExtractor;
class ItemPaths;
class PendingItems;
class Segment;
namespace index {
class SegmentWriter;
}

/// The index over the items of every array of {name, value} documents in the documents of one collection.
///
/// It is told of every change to a document and kept in the same transaction: changes gather in memory and `flush`, to
/// be called before each commit, appends them as one sorted segment; segments are merged as they grow in number. After
/// a transaction that was rolled back, `rollback` drops what was gathered.
///
/// Documents that were added last, one by one, are not worth a segment each: they are left to gather in the collection,
/// and a query makes a segment of them in memory. This needs a way to read them; without one all are written at once.
///
/// What is kept in memory of the stored segments is read anew when `BlobStore::version` changed, which each call looks
/// at; a call must therefore be made inside the transaction it belongs to.
///
/// The store must outlive the index. Failures are `Error`; after one, the transaction is to be rolled back.
class ItemIndex {
 public:
  struct Options {
    std::size_t pendingLimit = 400'000;         ///< entries gathered before a segment is written early
    std::int64_t tailLimit = 64;                ///< documents added one by one before a segment is made of them
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

  // Changes. `rid` is positive; record numbers that only grow make the smallest index.

  /// The document is among those that `DocumentsAfter` gives.
  void add(std::int64_t rid, bson::View body);
  /// `body` is what the document was.
  void remove(std::int64_t rid, bson::View body);
  void replace(std::int64_t rid, bson::View before, bson::View after);
  /// Nobody knows what the document was. Unless it is in no segment, the index is made anew before anything else is
  /// asked of it or written.
  void removeUnknown(std::int64_t rid);
  /// Writes what was gathered. To be called before each commit.
  void flush();
  /// Forgets what was gathered, after the transaction was rolled back.
  void rollback();
  /// Merges all segments into one, in the transaction that is open.
  void compact();
  /// Removes everything.
  void clear();
  /// Makes the index anew of all documents, which `DocumentsAfter` gives.
  void rebuild();
  /// Whether aggregations over all paths can be answered. A path that had something else before it had items can only
  /// be mended by making the index anew.
  bool isAtItsBest();

  // For planning, statistics and checks; they write first what was gathered.

  const ItemPaths& paths();
  const Segments& segments();
  BlockCache& blocks();
  Size size();

 private:
  struct Tail;

  std::int64_t blobOf(std::uint32_t segment) const;
  void synchronize();
  void load();
  std::shared_ptr<const Segment> known(const Segments& before, std::uint32_t number) const;
  std::int64_t readIndexedUpTo(bool isNew) const;
  bool isInTail(std::int64_t rid);
  void setPaths(std::unique_ptr<ItemPaths> paths);
  void gather(std::int64_t rid, bson::View body, bool removed);
  void setIndexedUpTo(std::int64_t rid);
  void indexTail();
  const Tail& withTail();
  void writePending();
  void settle();
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
  std::uint64_t version_ = 0;
  bool loaded_ = false;
  std::unique_ptr<ItemPaths> paths_;
  std::unique_ptr<ItemExtractor> extractor_;  // works on `paths_`
  std::unique_ptr<PendingItems> pending_;
  std::shared_ptr<BlockCache> blocks_;
  Segments segments_;             // as they are stored
  std::int64_t indexedUpTo_ = 0;  // documents beyond are in no segment that is stored
  bool indexedUpToChanged_ = false;
  std::int64_t lastAdded_ = 0;   // in this transaction
  std::size_t addedToTail_ = 0;  // in this transaction
  bool bulk_ = false;            // this transaction adds many
  bool isStale_ = false;         // it has what nobody can take back, and is to be made anew
  std::unique_ptr<Tail> tail_;   // null: to be made
};

}  // namespace database_client::embedded
