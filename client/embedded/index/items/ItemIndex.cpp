// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/items/ItemIndex.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <utility>

#include "client/embedded/index/items/IndexMemtable.h"
#include "client/embedded/index/items/ItemExtractor.h"
#include "client/embedded/index/items/ItemPaths.h"
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
constexpr std::uint64_t unitOfLevels = 1024;
constexpr std::size_t unlimited = std::size_t{1} << 40;
constexpr std::int64_t everything = std::numeric_limits<std::int64_t>::max();

/// The level at which a segment of this size would be if it had been merged of small ones.
std::uint32_t levelOf(std::uint64_t bytes, std::size_t fanOut) {
  std::uint32_t level = 0;
  for (std::uint64_t size = unitOfLevels * fanOut; size <= bytes; size *= fanOut) ++level;
  return level;
}

/// Notes documents that cannot be read, once all others are noted, so that all their paths are known.
void noteUnknown(const std::vector<std::int64_t>& rids, ItemExtractor& extractor, IndexMemtable& memtable) {
  for (const std::int64_t rid : rids) {
    extractor.extractUnknown();
    memtable.change(static_cast<std::uint64_t>(rid), extractor, false);
  }
}

/// Takes the only blob of a segment that is not stored.
class NullBlobStore : public BlobStore {
 public:
  std::string read(std::int64_t /*key*/) override { return {}; }
  void write(std::int64_t /*key*/, std::string_view /*bytes*/) override {}
  void erase(std::int64_t /*first*/, std::int64_t /*last*/) override {}
  std::optional<std::int64_t> firstKey(std::int64_t /*first*/, std::int64_t /*last*/) override { return {}; }
  std::uint64_t version() override { return 0; }
};

}  // namespace

/// What queries see: the stored segments, and one in memory of the documents that are in none of them.
struct ItemIndex::Snapshot {
  ItemPaths paths;
  Segments segments;
};

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
      paths_(std::make_unique<ItemPaths>()),
      extractor_(std::make_unique<ItemExtractor>(*paths_)),
      memtable_(std::make_unique<IndexMemtable>()),
      blocks_(blocks ? std::move(blocks) : std::make_shared<BlockCache>(store, options.cacheSize)) {}

ItemIndex::~ItemIndex() {
  forgetBlocks();
}

std::int64_t ItemIndex::blobOf(std::uint32_t segment) const {
  return firstKey(collection_) + (static_cast<std::int64_t>(segment) << blockBits);
}

void ItemIndex::synchronize() {
  const std::uint64_t version = store_.version();
  if (loaded_ && version == version_) return;
  load();
  version_ = version;
}

void ItemIndex::load() {
  loaded_ = false;
  snapshot_.reset();
  const std::string paths = store_.read(firstKey(collection_));
  indexedThrough_ = readIndexedThrough(paths.empty());
  setPaths(paths.empty() ? std::make_unique<ItemPaths>() : std::make_unique<ItemPaths>(index::unseal(paths)));
  Segments before;
  before.swap(segments_);
  std::int64_t from = blobOf(1);
  while (const auto key = store_.firstKey(from, lastKey(collection_))) {
    const auto number = static_cast<std::uint32_t>((*key - firstKey(collection_)) >> blockBits);
    segments_.push_back(known(before, number));
    from = blobOf(number + 1);
  }
  const bool allStay = std::all_of(before.begin(), before.end(), [&](const std::shared_ptr<const Segment>& segment) {
    return std::find(segments_.begin(), segments_.end(), segment) != segments_.end();
  });
  if (!allStay) forgetBlocks();
  loaded_ = true;
}

/// The segment as it is stored; the object there was, if it still says the same.
std::shared_ptr<const Segment> ItemIndex::known(const Segments& before, std::uint32_t number) const {
  std::string head = store_.read(blobOf(number));
  for (const auto& segment : before) {
    if (segment->number() == number && segment->head() == head) return segment;
  }
  return std::make_shared<const Segment>(number, blobOf(number), std::move(head));
}

/// Without a note of it, all documents are in segments, unless there are none at all.
std::int64_t ItemIndex::readIndexedThrough(bool isNew) const {
  const std::string blob = documents_ ? store_.read(firstKey(collection_) + 1) : std::string();
  if (!blob.empty()) return static_cast<std::int64_t>(index::ByteReader(index::unseal(blob)).varint());
  return documents_ && isNew ? 0 : everything;
}

void ItemIndex::setIndexedThrough(std::int64_t rid) {
  indexedThrough_ = rid;
  indexedThroughChanged_ = true;
}

/// Whether a document that changes is in no stored segment, so that there is nothing to be changed.
bool ItemIndex::isUnindexed(std::int64_t rid) {
  if (memtable_->empty()) synchronize();
  snapshot_.reset();
  return rid > indexedThrough_;
}

void ItemIndex::add(std::int64_t rid, bson::View body) {
  if (!isUnindexed(rid)) return gather(rid, body, false);
  lastAdded_ = std::max(lastAdded_, rid);
  if (bulk_) {
    gather(rid, body, false);
    setIndexedThrough(rid);
  } else if (++unindexedAdded_ >= options_.bulkSize) {
    indexUnindexed();
    bulk_ = true;
  }
}

void ItemIndex::remove(std::int64_t rid, bson::View body) {
  if (!isUnindexed(rid)) gather(rid, body, true);
}

void ItemIndex::removeUnknown(std::int64_t rid) {
  if (!isUnindexed(rid)) isStale_ = true;
}

void ItemIndex::replace(std::int64_t rid, bson::View before, bson::View after) {
  if (isUnindexed(rid)) return;
  gather(rid, before, true);
  gather(rid, after, false);
}

void ItemIndex::setPaths(std::unique_ptr<ItemPaths> paths) {
  paths_ = std::move(paths);
  extractor_ = std::make_unique<ItemExtractor>(*paths_);
}

void ItemIndex::gather(std::int64_t rid, bson::View body, bool removed) {
  extractor_->extract(body);
  memtable_->change(static_cast<std::uint64_t>(rid), *extractor_, removed);
  if (memtable_->entries() >= options_.memtableLimit) flushMemtable();
}

void ItemIndex::indexUnindexed() {
  if (!documents_ || indexedThrough_ == everything) return;
  std::vector<std::int64_t> unknown;
  documents_(indexedThrough_, [&](std::int64_t rid, bson::View body) {
    if (body.data == nullptr) {
      unknown.push_back(rid);
    } else {
      gather(rid, body, false);
    }
    setIndexedThrough(rid);
  });
  noteUnknown(unknown, *extractor_, *memtable_);
}

void ItemIndex::flush() {
  if (isStale_) rebuild();
  if (unindexedAdded_ > 0 && lastAdded_ - indexedThrough_ >= options_.unindexedLimit) indexUnindexed();
  unindexedAdded_ = 0;
  lastAdded_ = 0;
  bulk_ = false;
  if (memtable_->empty() && !paths_->changed() && !indexedThroughChanged_) return;
  flushMemtable();
  mergeWhereDue();
}

void ItemIndex::rollback() {
  memtable_->clear();
  setPaths(std::make_unique<ItemPaths>());
  forgetBlocks();
  segments_.clear();
  snapshot_.reset();
  indexedThroughChanged_ = false;
  unindexedAdded_ = 0;
  lastAdded_ = 0;
  bulk_ = false;
  isStale_ = false;
  loaded_ = false;
}

void ItemIndex::flushMemtable() {
  if (paths_->changed()) {
    std::string bytes = paths_->bytes();
    index::seal(bytes);
    store_.write(firstKey(collection_), bytes);
    paths_->setUnchanged();
  }
  if (indexedThroughChanged_) {
    std::string bytes;
    index::putVarint(bytes, static_cast<std::uint64_t>(indexedThrough_));
    index::seal(bytes);
    store_.write(firstKey(collection_) + 1, bytes);
    indexedThroughChanged_ = false;
  }
  if (memtable_->empty()) return;
  const std::uint32_t number = nextNumber();
  index::SegmentWriter writer(store_, blobOf(number), options_.blockSize, options_.chunkSize);
  memtable_->write(writer);
  if (writer.empty()) return;
  finish(writer, number, levelOf(writer.bytes(), options_.fanOut));
}

void ItemIndex::finish(index::SegmentWriter& writer, std::uint32_t number, std::uint32_t level) {
  snapshot_.reset();
  segments_.push_back(std::make_shared<const Segment>(number, blobOf(number), writer.finish(level)));
}

std::uint32_t ItemIndex::nextNumber() {
  std::uint32_t last = 0;
  for (const auto& segment : segments_) last = std::max(last, segment->number());
  if (last < lastSegment) return last + 1;
  forgetBlocks();
  std::uint32_t unused = 1;
  while (std::any_of(segments_.begin(), segments_.end(), [&](const auto& s) { return s->number() == unused; }))
    ++unused;
  return unused;
}

void ItemIndex::mergeWhereDue() {
  for (std::uint32_t level = 0; level <= highestLevel(); ++level) {
    const Segments inputs = mergeable(level);
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

void ItemIndex::merge(const Segments& inputs, std::uint32_t level) {
  std::vector<index::TermIterator> iterators;
  for (const auto& segment : inputs) iterators.emplace_back(*segment, *blocks_, false);
  index::MergedTerms terms(std::move(iterators));
  terms.seekToFirst();
  while (terms.valid()) {
    const std::uint32_t number = nextNumber();
    index::SegmentWriter writer(store_, blobOf(number), options_.blockSize, options_.chunkSize);
    index::mergeTerms(terms, writer, [&] { return writer.blobs() < mostBlobs; });
    if (!writer.empty()) finish(writer, number, level);
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
  if (isStale_) rebuild();
  if (memtable_->empty()) synchronize();
  indexUnindexed();
  flushMemtable();
  if (segments_.size() < 2) return;
  const Segments inputs = segments_;
  std::uint64_t bytes = 0;
  for (const auto& segment : inputs) bytes += segment->bytes();
  merge(inputs, levelOf(bytes, options_.fanOut));
}

void ItemIndex::clear() {
  memtable_->clear();
  forgetBlocks();
  segments_.clear();
  store_.erase(firstKey(collection_), lastKey(collection_));
  setPaths(std::make_unique<ItemPaths>());
  snapshot_.reset();
  isStale_ = false;
  indexedThrough_ = documents_ ? 0 : everything;
  indexedThroughChanged_ = false;
  version_ = store_.version();
  loaded_ = true;
}

void ItemIndex::rebuild() {
  const ItemPaths before = *paths_;
  clear();
  // A path that had items once is tracked from the start, so that it is clean.
  setPaths(std::make_unique<ItemPaths>(before.trackedOnly()));
  indexUnindexed();
}

bool ItemIndex::needsRebuild() {
  return !paths().allTrackedAreClean();
}

void ItemIndex::sync() {
  if (isStale_) rebuild();
  if (memtable_->empty()) {
    synchronize();
  } else {
    flushMemtable();
  }
}

const ItemIndex::Snapshot& ItemIndex::snapshot() {
  sync();
  if (snapshot_) return *snapshot_;
  auto snapshot = std::make_unique<Snapshot>(Snapshot{*paths_, segments_});
  IndexMemtable memtable;
  ItemExtractor extractor(snapshot->paths);
  std::vector<std::int64_t> unknown;
  const auto take = [&](std::int64_t rid, bson::View body) {
    if (body.data == nullptr) return unknown.push_back(rid);
    extractor.extract(body);
    memtable.change(static_cast<std::uint64_t>(rid), extractor, false);
  };
  if (documents_ && indexedThrough_ != everything) documents_(indexedThrough_, take);
  noteUnknown(unknown, extractor, memtable);
  if (!memtable.empty()) {
    NullBlobStore nullStore;
    index::SegmentWriter writer(nullStore, 0, unlimited, unlimited);
    memtable.write(writer);
    snapshot->segments.push_back(std::make_shared<const Segment>(0, 0, writer.finish(0)));
  }
  snapshot_ = std::move(snapshot);
  return *snapshot_;
}

const ItemPaths& ItemIndex::paths() {
  return snapshot().paths;
}

const ItemIndex::Segments& ItemIndex::segments() {
  return snapshot().segments;
}

BlockCache& ItemIndex::blocks() {
  return *blocks_;
}

ItemIndex::Size ItemIndex::size() {
  Size size;
  for (const auto& segment : segments()) {
    ++size.segments;
    size.terms += segment->terms();
    size.bytes += segment->bytes();
  }
  return size;
}

}  // namespace database_client::embedded
