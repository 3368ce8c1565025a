// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/items/ItemIndex.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

#include "client/embedded/index/items/IndexMemtable.h"
#include "client/embedded/index/items/ItemExtractor.h"
#include "client/embedded/index/segments/MergedTerms.h"
#include "client/embedded/index/segments/Segment.h"
#include "client/embedded/index/segments/SegmentWriter.h"
#include "client/embedded/index/segments/bytes.h"

namespace database_client::embedded {

namespace {

// The key of a blob: collection, segment, block. Segment 0 holds the paths.
constexpr int blockBits = 17;
constexpr int segmentBits = 26;
constexpr std::uint32_t lastSegment = (1U << segmentBits) - 1;
constexpr std::uint64_t mostBlobs = (1U << blockBits) - 8;  // one term can fill several blobs at once
/// A segment of level n has at least this much times the fan-out to the power of n.
constexpr std::uint64_t unitOfLevels = 1024;
/// Of a block and a chunk: no segment in memory is cut into blobs.
constexpr std::size_t unlimited = std::size_t{1} << 40;
/// What `indexedThrough_` is where every document is told to the index. Below it every number of a row fits.
constexpr RecordNumber everything = std::numeric_limits<std::int64_t>::max();

/// The level at which a segment of this size would be if it had been merged of small ones: a large transaction makes a
/// segment that waits for others of its size, and is not merged with small ones again and again.
std::uint32_t levelOf(std::uint64_t bytes, std::size_t fanOut) {
  std::uint32_t level = 0;
  for (std::uint64_t size = unitOfLevels * fanOut; size <= bytes; size *= fanOut) ++level;
  return level;
}

/// Adds documents that cannot be read, once all others are added, so that all their paths are known: such a document is
/// non-indexable under each of them, and stays a candidate for every query.
void addUnreadable(const std::vector<RecordNumber>& records, ItemExtractor& extractor, IndexMemtable& memtable) {
  for (const RecordNumber record : records) {
    extractor.extractUnreadable();
    memtable.change(record, extractor, false);
  }
}

/// Takes the only blob of a segment that is not stored: `SegmentWriter::finish` gives its bytes.
class NullBlobStore : public BlobStore {
 public:
  std::string read(std::int64_t /*key*/) override { return {}; }
  void write(std::int64_t /*key*/, std::string_view /*bytes*/) override {}
  void erase(std::int64_t /*first*/, std::int64_t /*last*/) override {}
  std::optional<std::int64_t> firstKey(std::int64_t /*first*/, std::int64_t /*last*/) override { return {}; }
  std::uint64_t version() override { return 0; }
};

}  // namespace

std::int64_t ItemIndex::firstKey(std::int64_t collection) {
  return collection << (segmentBits + blockBits);
}

std::int64_t ItemIndex::lastKey(std::int64_t collection) {
  return firstKey(collection + 1) - 1;
}

ItemIndex::ItemIndex(BlobStore& store, std::int64_t collection) : ItemIndex(store, collection, Options()) {}

ItemIndex::ItemIndex(BlobStore& store, std::int64_t collection, const Options& options, DocumentsAfter documents,
                     std::shared_ptr<BlockCache> blocks)
    : store_(store),
      collection_(collection),
      options_(options),
      documents_(std::move(documents)),
      blocks_(blocks ? std::move(blocks) : std::make_shared<BlockCache>(store, options.cacheSize)),
      paths_(std::make_unique<ItemPaths>()),
      extractor_(std::make_unique<ItemExtractor>(*paths_)),
      memtable_(std::make_unique<IndexMemtable>()) {}

ItemIndex::~ItemIndex() {
  forgetBlocks();
}

std::int64_t ItemIndex::blobOf(std::uint32_t segment) const {
  return firstKey(collection_) + (static_cast<std::int64_t>(segment) << blockBits);
}

/// Only while nothing is gathered: the memtable and the paths would belong to another state.
void ItemIndex::loadIfChanged() {
  const std::uint64_t version = store_.version();
  if (loadedVersion_ == version) return;
  loadedVersion_.reset();  // should reading fail half-way
  load();
  loadedVersion_ = version;
}

void ItemIndex::load() {
  snapshot_.reset();
  const std::string paths = store_.read(firstKey(collection_));
  indexedThrough_ = readIndexedThrough(paths.empty());
  setPaths(paths.empty() ? std::make_unique<ItemPaths>() : std::make_unique<ItemPaths>(index::unseal(paths)));
  Segments before;
  before.swap(segments_);
  // Each head is looked up by the first key from its segment on, so that there is no list of segments to be kept true.
  std::int64_t from = blobOf(1);
  while (const auto key = store_.firstKey(from, lastKey(collection_))) {
    const auto number = static_cast<std::uint32_t>((*key - firstKey(collection_)) >> blockBits);
    segments_.push_back(loadSegment(before, number));
    from = blobOf(number + 1);
  }
  // Numbers of segments that are gone may be given again; then blocks in memory would be taken for the new ones.
  const bool allStay = std::all_of(before.begin(), before.end(), [&](const std::shared_ptr<const Segment>& segment) {
    return std::find(segments_.begin(), segments_.end(), segment) != segments_.end();
  });
  if (!allStay) forgetBlocks();
}

/// The segment as it is stored; the object there was, if it still says the same.
std::shared_ptr<const Segment> ItemIndex::loadSegment(const Segments& before, std::uint32_t number) const {
  std::string head = store_.read(blobOf(number));
  for (const auto& segment : before) {
    if (segment->number() == number && segment->head() == head) return segment;
  }
  return std::make_shared<const Segment>(number, blobOf(number), std::move(head));
}

/// Without a note of it, all documents are in segments, unless there are none at all.
RecordNumber ItemIndex::readIndexedThrough(bool isNew) const {
  const std::string blob = documents_ ? store_.read(firstKey(collection_) + 1) : std::string();
  if (!blob.empty()) return index::ByteReader(index::unseal(blob)).varint();
  return documents_ && isNew ? 0 : everything;
}

void ItemIndex::setIndexedThrough(RecordNumber record) {
  indexedThrough_ = record;
  transaction_.indexedThroughChanged = true;
}

/// Before each change: `indexedThrough_`, which decides what is to be done, is that of the transaction's state.
void ItemIndex::beginChange() {
  if (memtable_->empty()) loadIfChanged();
  snapshot_.reset();
}

void ItemIndex::add(RecordNumber record, bson::View body) {
  beginChange();
  if (!isUnindexed(record)) return gather(record, body, false);
  transaction_.lastAdded = std::max(transaction_.lastAdded, record);
  if (transaction_.isBulk) {
    gather(record, body, false);
    setIndexedThrough(record);
  } else if (++transaction_.unindexedAdded >= options_.bulkSize) {
    indexUnindexed();
    transaction_.isBulk = true;
  }
}

void ItemIndex::remove(RecordNumber record, bson::View body) {
  beginChange();
  if (!isUnindexed(record)) gather(record, body, true);
}

void ItemIndex::removeUnreadable(RecordNumber record) {
  beginChange();
  if (!isUnindexed(record)) transaction_.mustRebuild = true;
}

void ItemIndex::replace(RecordNumber record, bson::View before, bson::View after) {
  beginChange();
  if (isUnindexed(record)) return;
  // All that was and all that is: what stayed the same cancels when the memtable is written.
  gather(record, before, true);
  gather(record, after, false);
}

void ItemIndex::setPaths(std::unique_ptr<ItemPaths> paths) {
  paths_ = std::move(paths);
  extractor_ = std::make_unique<ItemExtractor>(*paths_);
}

void ItemIndex::gather(RecordNumber record, bson::View body, bool removed) {
  extractor_->extract(body);
  memtable_->change(record, *extractor_, removed);
  if (memtable_->entries() >= options_.memtableLimit) flushMemtable();
}

void ItemIndex::indexUnindexed() {
  if (!documents_ || indexedThrough_ == everything) return;
  std::vector<RecordNumber> unreadable;
  documents_(indexedThrough_, [&](RecordNumber record, bson::View body) {
    if (body.data == nullptr) {
      unreadable.push_back(record);
    } else {
      gather(record, body, false);
    }
    setIndexedThrough(record);
  });
  addUnreadable(unreadable, *extractor_, *memtable_);
}

void ItemIndex::flush() {
  if (transaction_.mustRebuild) rebuild();
  const bool isDue = transaction_.lastAdded >= indexedThrough_ + options_.unindexedLimit;
  if (transaction_.unindexedAdded > 0 && isDue) indexUnindexed();
  if (!memtable_->empty() || paths_->changed() || transaction_.indexedThroughChanged) {
    flushMemtable();
    mergeWhereDue();
  }
  transaction_ = {};
}

void ItemIndex::rollback() {
  dropLoaded();
  transaction_ = {};
}

/// All that was read and gathered. What the transaction wrote may be in blocks in memory, under keys that are given
/// again.
void ItemIndex::dropLoaded() {
  loadedVersion_.reset();
  memtable_->clear();
  setPaths(std::make_unique<ItemPaths>());
  forgetBlocks();
  segments_.clear();
  snapshot_.reset();
}

/// With the paths and the mark that its segment is to be read with.
void ItemIndex::flushMemtable() {
  if (paths_->changed()) {
    std::string bytes = paths_->bytes();
    index::seal(bytes);
    store_.write(firstKey(collection_), bytes);
    paths_->setUnchanged();
  }
  if (transaction_.indexedThroughChanged) {
    std::string bytes;
    index::putVarint(bytes, indexedThrough_);
    index::seal(bytes);
    store_.write(firstKey(collection_) + 1, bytes);
    transaction_.indexedThroughChanged = false;
  }
  if (memtable_->empty()) return;
  const std::uint32_t number = nextNumber();
  index::SegmentWriter writer(store_, blobOf(number), options_.blockSize, options_.chunkSize);
  memtable_->write(writer);
  if (writer.empty()) return;  // All that was gathered came to nothing.
  finish(writer, number, levelOf(writer.bytes(), options_.fanOut));
}

void ItemIndex::finish(index::SegmentWriter& writer, std::uint32_t number, std::uint32_t level) {
  snapshot_.reset();
  segments_.push_back(std::make_shared<const Segment>(number, blobOf(number), writer.finish(level)));
}

/// Ascending, so that numbers tell the age of segments, until the last one is given; then the gaps.
std::uint32_t ItemIndex::nextNumber() {
  std::uint32_t last = 0;
  for (const auto& segment : segments_) last = std::max(last, segment->number());
  if (last < lastSegment) return last + 1;
  forgetBlocks();  // There may be some of a segment that had the number before.
  std::uint32_t unused = 1;
  while (std::any_of(segments_.begin(), segments_.end(), [&](const auto& s) { return s->number() == unused; }))
    ++unused;
  return unused;
}

void ItemIndex::mergeWhereDue() {
  // From the lowest up: a merge may make the next level full.
  for (std::uint32_t level = 0; level <= highestLevel(); ++level) {
    const Segments inputs = mergeable(level);
    // Where the limit of a merge leaves but a few, writing them again would gain too little.
    if (inputs.size() >= std::max<std::size_t>(2, options_.fanOut / 2)) merge(inputs, level + 1);
  }
}

std::uint32_t ItemIndex::highestLevel() const {
  std::uint32_t highest = 0;
  for (const auto& segment : segments_) highest = std::max(highest, segment->level());
  return highest;
}

/// The oldest segments of a level that is full, as many as make no segment beyond the limit.
ItemIndex::Segments ItemIndex::mergeable(std::uint32_t level) const {
  const auto isThere = [level](const auto& segment) { return segment->level() == level; };
  const auto count = static_cast<std::size_t>(std::count_if(segments_.begin(), segments_.end(), isThere));
  if (count < (level == 0 ? options_.smallFanOut : options_.fanOut)) return {};
  Segments all;
  std::copy_if(segments_.begin(), segments_.end(), std::back_inserter(all), isThere);
  std::sort(all.begin(), all.end(), [](const auto& a, const auto& b) { return a->number() < b->number(); });
  Segments fitting;
  std::uint64_t bytes = 0;
  for (const auto& segment : all) {
    bytes += segment->bytes();
    if (bytes > options_.mergeLimit) break;
    fitting.push_back(segment);
  }
  return fitting;
}

/// The inputs are erased once all of the output is written; the transaction makes both happen or neither.
void ItemIndex::merge(const Segments& inputs, std::uint32_t level) {
  std::vector<index::TermIterator> iterators;
  for (const auto& segment : inputs) iterators.emplace_back(*segment, *blocks_, false);
  index::MergedTerms terms(std::move(iterators));
  index::SurplusTerms surplus;
  const bool isWhole = inputs.size() == segments_.size();
  terms.seekToFirst();
  while (terms.valid()) {
    const std::uint32_t number = nextNumber();
    index::SegmentWriter writer(store_, blobOf(number), options_.blockSize, options_.chunkSize);
    index::mergeTerms(
        terms, writer, [&] { return writer.blobs() < mostBlobs; }, isWhole ? nullptr : &surplus);
    if (!writer.empty()) finish(writer, number, level);
  }
  for (std::size_t layer = 0; layer < surplus.layers(); ++layer) {
    const std::uint32_t number = nextNumber();
    index::SegmentWriter writer(store_, blobOf(number), options_.blockSize, options_.chunkSize);
    surplus.write(layer, writer);
    finish(writer, number, level);
  }
  for (const auto& segment : inputs) drop(*segment);
}

void ItemIndex::drop(const Segment& segment) {
  snapshot_.reset();
  const std::uint32_t number = segment.number();
  store_.erase(blobOf(number), blobOf(number + 1) - 1);
  segments_.erase(std::remove_if(segments_.begin(), segments_.end(),
                                 [number](const auto& kept) { return kept->number() == number; }),
                  segments_.end());
}

void ItemIndex::forgetBlocks() {
  blocks_->forget(firstKey(collection_), lastKey(collection_));
}

void ItemIndex::compact() {
  if (transaction_.mustRebuild) rebuild();
  if (memtable_->empty()) loadIfChanged();
  indexUnindexed();
  flushMemtable();
  if (segments_.size() < 2) return;
  const Segments inputs = segments_;
  std::uint64_t bytes = 0;
  for (const auto& segment : inputs) bytes += segment->bytes();
  merge(inputs, levelOf(bytes, options_.fanOut));
}

void ItemIndex::clear() {
  dropLoaded();
  transaction_ = {};
  store_.erase(firstKey(collection_), lastKey(collection_));
  indexedThrough_ = documents_ ? 0 : everything;
  loadedVersion_ = store_.version();
}

void ItemIndex::rebuild() {
  const ItemPaths before = *paths_;
  clear();
  // A path that had items once is tracked from the start, so that it is clean.
  setPaths(std::make_unique<ItemPaths>(before.trackedOnly()));
  indexUnindexed();
}

const ItemIndex::Snapshot& ItemIndex::flushAndSnapshot() {
  if (transaction_.mustRebuild) rebuild();
  if (memtable_->empty()) {
    loadIfChanged();
  } else {
    flushMemtable();
  }
  if (!snapshot_) snapshot_ = makeSnapshot();
  return *snapshot_;
}

std::unique_ptr<ItemIndex::Snapshot> ItemIndex::makeSnapshot() const {
  // With paths of its own: those that only unindexed documents have must not be stored before the documents are
  // indexed.
  auto snapshot = std::make_unique<Snapshot>(Snapshot{*paths_, segments_});
  IndexMemtable memtable;
  ItemExtractor extractor(snapshot->paths);
  std::vector<RecordNumber> unreadable;
  const auto take = [&](RecordNumber record, bson::View body) {
    if (body.data == nullptr) return unreadable.push_back(record);
    extractor.extract(body);
    memtable.change(record, extractor, false);
  };
  if (documents_ && indexedThrough_ != everything) documents_(indexedThrough_, take);
  addUnreadable(unreadable, extractor, memtable);
  if (!memtable.empty()) {
    NullBlobStore nullStore;
    index::SegmentWriter writer(nullStore, 0, unlimited, unlimited);
    memtable.write(writer);
    // Number 0 is that of no stored segment, and its blocks are never asked for, since all of it is in the head.
    snapshot->segments.push_back(std::make_shared<const Segment>(0, 0, writer.finish(0)));
  }
  return snapshot;
}

ItemIndex::Size ItemIndex::Snapshot::size() const {
  Size size;
  for (const auto& segment : segments) {
    ++size.segments;
    size.terms += segment->terms();
    size.bytes += segment->bytes();
  }
  return size;
}

BlockCache& ItemIndex::blocks() {
  return *blocks_;
}

}  // namespace database_client::embedded
