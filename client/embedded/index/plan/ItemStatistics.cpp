// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/plan/ItemStatistics.h"

#include <xxhash.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>

#include "client/bson/Writer.h"
#include "client/embedded/index/items/ItemExtractor.h"
#include "client/embedded/index/items/ItemPaths.h"
#include "client/embedded/index/plan/IndexCondition.h"
#include "client/embedded/index/plan/StatisticsPattern.h"
#include "client/embedded/index/plan/cost.h"
#include "client/embedded/query/match/Matcher.h"
#include "client/embedded/query/pipeline/Pipeline.h"
#include "client/embedded/query/values/compare.h"

namespace database_client::embedded {

using bson::viewOf;

namespace {

using index::StatisticsPattern;
using index::TermKind;
using index::ValueClass;

std::vector<bson::Byte> idOfName(const index::ParsedKey& key) {
  bson::Writer writer;
  writer.beginDocument("_id");
  if (key.named) writer.appendString("name", key.name);
  if (key.typed) writer.appendInt32("type", key.type);
  writer.end();
  return writer.take();
}

std::vector<bson::Byte> idOfValue(ValueClass kind, std::string_view payload) {
  bson::Writer writer;
  if (kind == ValueClass::missing) {
    writer.appendNull("_id");
  } else {
    index::appendDecoded(writer, "_id", kind, payload);
  }
  return writer.take();
}

std::vector<bson::Byte> idOfValue(const bson::Value& value) {
  bson::Writer writer;
  writer.append("_id", value);
  return writer.take();
}

/// One aggregation answered from the index. Each step returns false when the index cannot tell.
class ItemAggregator {
 public:
  ItemAggregator(ItemIndex& index, const Pipeline& pipeline, const StatisticsPattern& pattern,
                 const DocumentSource& documents)
      : index_(index),
        pipeline_(pipeline),
        pattern_(pattern),
        documents_(documents),
        paths_(index.flushAndSnapshot().paths),
        scan_(index) {}

  bool run() {
    if (paths_.neverUsed(pattern_.path)) return true;
    if (paths_.state(pattern_.path, path_) != ItemPaths::State::tracked || !paths_.isClean(path_)) return false;
    if (pattern_.filter != nullptr) {
      selected_ = selectRecords(index_, *pattern_.filter, documents_);
      if (!selected_) return false;
    }
    const bool counted = pattern_.kind == StatisticsPattern::Kind::namesAndTypes ? countNames() : countValues();
    return counted && countIrregular();
  }

  GroupCounts takeGroups() { return std::move(groups_); }

 private:
  bool countNames() {
    const index::KeyRange range = index::allOf(path_, TermKind::name);
    return countTerms(range, [this](std::string_view key, std::int64_t count) {
      return groups_.add(idOfName(index::parseKey(key)), count);
    });
  }

  bool countValues() {
    const Matcher& matcher = *pattern_.nameFilter;
    index::TextProbe probe;
    std::vector<index::KeyRange> ranges;
    for (const std::string& name : index::namesUnder(scan_, path_)) {
      if (!probe.accepts(matcher.query().condition, name)) continue;
      names_.push_back(name);
      ranges.push_back(index::allNamed(path_, TermKind::value, name));
    }
    if (matcher.matches(bson::emptyDocument())) {
      namelessToo_ = true;
      const std::string prefix = index::KeyBuilder().start(path_, TermKind::value).noName().key();
      ranges.push_back({prefix, index::afterPrefix(prefix)});
    }
    if (isReadSooner(ranges)) return false;
    for (const index::KeyRange& range : ranges) {
      if (!countValuesOf(range)) return false;
    }
    return countLookedUp();
  }

  /// Whether there are so few documents to be counted that the stages are through with them before the terms of all
  /// others have been passed over.
  bool isReadSooner(const std::vector<index::KeyRange>& ranges) const {
    if (!selected_) return false;
    std::uint64_t postings = 0;
    for (const index::KeyRange& range : ranges) postings += scan_.estimate(range.low, range.high);
    return index::cost::aggregating(selected_->count()) < index::cost::passing(postings);
  }

  bool countValuesOf(const index::KeyRange& range) {
    return countTerms(range, [this](std::string_view key, std::int64_t count) { return addValue(key, count); });
  }

  bool addValue(std::string_view key, std::int64_t count) {
    const index::ParsedKey parsed = index::parseKey(key);
    if (!index::isLookedUp(parsed.valueClass)) return groups_.add(idOfValue(parsed.valueClass, parsed.payload), count);
    scan_.collect(key, std::string(key) + '\0', lookedUp_);
    return true;
  }

  /// Gives the number of items of each term that has some, until `take` returns false; of the selected documents, if
  /// some are.
  template <class Take>
  bool countTerms(const index::KeyRange& range, Take take) const {
    bool known = true;
    scan_.eachGroup(range.low, range.high, [&](std::string_view key, const std::vector<index::TermIterator*>& parts) {
      scan_.checkWanted();
      std::int64_t count = 0;
      for (const index::TermIterator* part : parts) {
        known = known && (!selected_ || part->term().counts.extra == 0);
        count += selected_ ? selectedItems(*part) : part->term().counts.items();
      }
      known = known && (count == 0 || take(key, count));
    });
    return known;
  }

  std::int64_t selectedItems(const index::TermIterator& part) const {
    std::int64_t count = 0;
    RecordSet::Probe selected(*selected_);
    const auto countIn = [&](std::int64_t sign) {
      return [&, sign](index::Run run) {
        // Most runs of a value are of one record.
        const std::uint64_t members =
            run.length == 1 ? (selected.contains(run.first) ? 1 : 0) : selected_->countRange(run.first, run.length);
        count += sign * static_cast<std::int64_t>(members);
      };
    };
    part.forEachAdded(countIn(1));
    part.forEachDeleted(countIn(-1));
    return count;
  }

  /// Items whose values only the documents know.
  bool countLookedUp() {
    if (selected_) lookedUp_.intersect(*selected_);
    ItemPaths paths = paths_;
    ItemExtractor extractor(paths);
    for (auto record = lookedUp_.next(0); record; record = lookedUp_.next(*record + 1)) {
      const bson::View document = documents_.read(*record);
      if (document.data == nullptr) continue;
      extractor.extract(document);
      for (const ItemExtractor::Place& place : extractor.places()) {
        if (place.path == path_ && !countLookedUp(extractor.items(place), place.items)) return false;
      }
    }
    return true;
  }

  bool countLookedUp(const Item* items, std::size_t count) {
    std::string payload;
    for (std::size_t i = 0; i < count; ++i) {
      if (!isCounted(items[i]) || !index::isLookedUp(index::encodeValue(items[i].value, payload))) continue;
      if (items[i].value.type == bson::Type::undefined) return false;
      if (!groups_.add(idOfValue(items[i].value), 1)) return false;
    }
    return true;
  }

  bool isCounted(const Item& item) const {
    if (!item.named) return namelessToo_;
    return std::find(names_.begin(), names_.end(), item.name) != names_.end();
  }

  /// Documents that the counters leave out go through the stages themselves.
  bool countIrregular() {
    RecordSet nonIndexable;
    const index::KeyRange range = index::allOf(path_, TermKind::nonIndexable);
    scan_.collect(range.low, range.high, nonIndexable);
    if (selected_) nonIndexable.intersect(*selected_);
    if (nonIndexable.empty()) return true;
    bool known = true;
    runStages(nonIndexable, [&](bson::View group) {
      const bson::Value count = group.find(pattern_.countKey);
      const std::int64_t items = count.type == bson::Type::int32 ? count.asInt32() : count.asInt64();
      known = groups_.add(idOfValue(group.find("_id")), items);
      return known;
    });
    return known;
  }

  void runStages(const RecordSet& records, const Pipeline::Receiver& receive) const {
    pipeline_.run(
        [&](const Pipeline::Receiver& give) {
          for (auto record = records.next(0); record; record = records.next(*record + 1)) {
            const bson::View document = documents_.read(*record);
            if (document.data != nullptr && !give(document)) return;
          }
        },
        receive, pattern_.first, pattern_.answered);
  }

  ItemIndex& index_;
  const Pipeline& pipeline_;
  const StatisticsPattern& pattern_;
  const DocumentSource& documents_;
  const ItemPaths& paths_;
  index::TermScan scan_;
  ItemPaths::Id path_ = ItemPaths::root;
  std::optional<RecordSet> selected_;
  std::vector<std::string> names_;
  bool namelessToo_ = false;
  RecordSet lookedUp_;
  GroupCounts groups_;
};

}  // namespace

/// A table with open addressing over one run of bytes: of a million groups, each in a node of its own, the nodes are
/// most of the memory.
bool GroupCounts::add(const std::vector<bson::Byte>& id, std::int64_t count) {
  const std::string key = canonicalKey(viewOf(id).find("_id"));
  if (2 * (groups_.size() + 1) > table_.size()) rehash();
  const std::size_t at = placeOf(key);
  const std::string_view idBytes(reinterpret_cast<const char*>(id.data()), id.size());
  if (table_[at] == 0) {
    groups_.push_back(
        {bytes_.size(), static_cast<std::uint32_t>(key.size()), static_cast<std::uint32_t>(id.size()), 0});
    bytes_.append(key).append(idBytes);
    table_[at] = static_cast<std::uint32_t>(groups_.size());
  }
  Group& group = groups_[table_[at] - 1];
  if (idOf(group) != idBytes) return false;
  group.count += count;
  return true;
}

void GroupCounts::give(const std::string& countKey, const GroupReceiver& receive) const {
  for (const Group& group : groups_) {
    if (group.count == 0) continue;
    bson::Writer writer;
    writer.append("_id", bson::View{reinterpret_cast<const bson::Byte*>(idOf(group).data()), group.idSize}.find("_id"));
    if (group.count > std::numeric_limits<std::int32_t>::max()) {
      writer.appendInt64(countKey, group.count);
    } else {
      writer.appendInt32(countKey, static_cast<std::int32_t>(group.count));
    }
    if (!receive(writer.take())) return;
  }
}

std::string_view GroupCounts::keyOf(const Group& group) const {
  return std::string_view(bytes_).substr(group.at, group.keySize);
}

std::string_view GroupCounts::idOf(const Group& group) const {
  return std::string_view(bytes_).substr(group.at + group.keySize, group.idSize);
}

/// Where the group of the key is, or belongs.
std::size_t GroupCounts::placeOf(const std::string& key) const {
  const std::size_t mask = table_.size() - 1;
  std::size_t at = XXH3_64bits(key.data(), key.size()) & mask;
  while (table_[at] != 0 && keyOf(groups_[table_[at] - 1]) != key) at = (at + 1) & mask;
  return at;
}

// The groups differ, so that each belongs into the first free place.
void GroupCounts::rehash() {
  table_.assign(std::max<std::size_t>(64, 2 * table_.size()), 0);
  const std::size_t mask = table_.size() - 1;
  for (std::size_t i = 0; i < groups_.size(); ++i) {
    std::size_t at = XXH3_64bits(keyOf(groups_[i]).data(), groups_[i].keySize) & mask;
    while (table_[at] != 0) at = (at + 1) & mask;
    table_[at] = static_cast<std::uint32_t>(i + 1);
  }
}

ItemCounts countItems(ItemIndex& index, const Pipeline& pipeline, const DocumentSource& documents) {
  const StatisticsPattern pattern = index::recogniseStatistics(pipeline);
  if (pattern.kind == StatisticsPattern::Kind::none) return {};
  ItemAggregator aggregator(index, pipeline, pattern, documents);
  if (!aggregator.run()) return {};
  return {pattern.answered, pattern.countKey, aggregator.takeGroups()};
}

}  // namespace database_client::embedded
