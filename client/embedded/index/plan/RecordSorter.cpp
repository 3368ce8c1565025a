// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/plan/RecordSorter.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "client/bson/Writer.h"
#include "client/embedded/index/plan/ValueWalk.h"
#include "client/embedded/index/plan/cost.h"
#include "client/embedded/index/segments/bytes.h"
#include "client/embedded/query/pipeline/Pipeline.h"
#include "client/embedded/query/values/compare.h"

namespace database_client::embedded {

using bson::Value;
using bson::View;
using bson::viewOf;

namespace {

/// Numbers of removed records that are asked for before a scan is cheaper.
constexpr std::uint64_t mostGone = 10'000;

/// Whether {$lte: [value, null]} holds.
bool countsAsMissing(const Value& value) {
  constexpr int nullClass = 5;
  return typeClass(value) <= nullClass;
}

}  // namespace

RecordSorter::RecordSorter(ItemIndex& index, const index::SortedRecordsPattern& pattern,
                           const DocumentSource& documents)
    : index_(index),
      pattern_(pattern),
      documents_(documents),
      paths_(index.flushAndSnapshot().paths),
      scan_(index),
      wanted_(pattern.skip + pattern.limit) {}

std::optional<std::vector<std::vector<bson::Byte>>> RecordSorter::run() {
  if (!prepare() || !order(0, selected_ ? &*selected_ : nullptr)) return std::nullopt;
  std::vector<std::vector<bson::Byte>> documents;
  std::size_t bytes = 0;
  for (std::size_t i = pattern_.skip; i < found_.size(); ++i) {
    scan_.checkWanted();
    const View document = documents_.read(found_[i]);
    if (document.data == nullptr) index::damaged("a record that is not there");
    bytes += document.size;
    if (bytes > Pipeline::defaultMemoryLimit) return std::nullopt;
    documents.emplace_back(document.data, document.data + document.size);
  }
  return documents;
}

bool RecordSorter::prepare() {
  std::uint64_t odd = 0;
  for (const auto& key : pattern_.keys) {
    Level& level = levels_.emplace_back(Level{key.kind, key.isDescending});
    if (key.kind != Kind::item) continue;
    level.column.emplace(paths_, scan_, key.item);
    if (!level.column->isIndexed()) return false;
    level.odd = level.column->oddRecords();
    odd += level.odd.count();
  }
  if (index::cost::reading(odd) > index::cost::scanning(static_cast<double>(documents_.last))) return false;
  if (pattern_.filter != nullptr) {
    selected_ = selectRecords(index_, *pattern_.filter, documents_);
    if (!selected_) return false;
  }
  return !haveArraysInSeveralKeys();
}

/// By two arrays no server sorts. Who goes through the pipeline will be told.
bool RecordSorter::haveArraysInSeveralKeys() {
  RecordSet suspects;
  for (auto a = levels_.begin(); a != levels_.end(); ++a) {
    for (auto b = levels_.begin(); b != a; ++b) {
      RecordSet both;
      both.unite(a->odd);
      both.intersect(b->odd);
      suspects.unite(both);
    }
  }
  if (selected_) suspects.intersect(*selected_);
  for (auto record = suspects.next(0); record; record = suspects.next(*record + 1)) {
    const View document = documents_.read(*record);
    if (document.data == nullptr) continue;
    const auto arrays = std::count_if(levels_.begin(), levels_.end(), [&](const Level& level) {
      return level.column && level.column->valueIn(document).isArray();
    });
    if (arrays > 1) return true;
  }
  return false;
}

/// Adds the records in `among` (null: all there are) in the order of the keys from number `level` on, until there are
/// enough. False when that would cost too much.
bool RecordSorter::order(std::size_t level, const RecordSet* among) {
  if (level == levels_.size()) return takeAscending(*among);
  if (among == nullptr) return levels_[level].column && orderByTerms(level, among);
  const std::uint64_t records = among->count();
  const auto last = static_cast<double>(documents_.last);
  const double values =
      std::min(last, static_cast<double>(missing()) * last / static_cast<double>(std::max<std::uint64_t>(records, 1)));
  const bool isReadSooner = index::cost::reading(records) <= index::cost::visiting(values);
  return levels_[level].column && !isReadSooner ? orderByTerms(level, among) : orderByReading(level, *among);
}

/// Where the records of a condition lie far from the end at which it begins, it goes over to reading them.
bool RecordSorter::orderByTerms(std::size_t level, const RecordSet* among) {
  const Level& key = levels_[level];
  const bool isLast = level + 1 == levels_.size();
  const std::size_t foundBefore = found_.size();
  const double mostSpent = among != nullptr ? index::cost::reading(among->count()) : std::numeric_limits<double>::max();

  RecordSet oddRecords;
  oddRecords.unite(key.odd);
  if (among != nullptr) oddRecords.intersect(*among);
  const SortOrder order = orderFrom(level, level + 1);
  const std::vector<ReadRecord> odd = readInOrder(oddRecords, level, level + 1, order);
  auto nextOdd = odd.begin();
  const auto takeOddAt = [&](const SortOrder::Key& place) {
    RecordSet group;
    for (; nextOdd != odd.end() && order.compare(nextOdd->key, place) == 0; ++nextOdd) group.add(nextOdd->record);
    return group;
  };
  const auto takeOddBefore = [&](const SortOrder::Key& place) {
    while (nextOdd != odd.end() && !isFull() && order.compare(nextOdd->key, place) < 0) {
      if (!orderGroup(level + 1, takeOddAt(nextOdd->key))) return false;
    }
    return true;
  };

  index::ValueWalk walk(scan_, *key.column, key.isDescending);
  for (std::uint64_t visited = 1; !isFull() && walk.next(); ++visited) {
    if (index::cost::visiting(static_cast<double>(visited)) > mostSpent) {
      found_.resize(foundBefore);
      return orderByReading(level, *among);
    }
    RecordSet group;
    if (nextOdd != odd.end()) {
      const SortOrder::Key term = keyOfTerm(level, walk.key(), order);
      if (!takeOddBefore(term)) return false;
      group = takeOddAt(term);
    }
    walk.collect(among, key.odd, isLast ? missing() : std::numeric_limits<std::uint64_t>::max(), group);
    if (!group.empty() && !orderGroup(level + 1, group)) return false;
  }
  if (isFull()) return true;
  const SortOrder::Key null = keyIn(bson::emptyDocument(), level, level + 1, order);
  if (!takeOddBefore(null) || !takeWithoutValue(level, among, takeOddAt(null))) return false;
  while (nextOdd != odd.end() && !isFull()) {
    if (!orderGroup(level + 1, takeOddAt(nextOdd->key))) return false;
  }
  return true;
}

/// The records whose value is null or missing.
bool RecordSorter::takeWithoutValue(std::size_t level, const RecordSet* among, const RecordSet& equal) {
  if (isFull()) return true;
  const Level& key = levels_[level];
  RecordSet group;
  RecordSet nulls = key.column->recordsWithNull();
  if (among != nullptr) {
    group.unite(*among);
    nulls.intersect(*among);
  } else if (documents_.last > 0) {
    group.addRange(1, documents_.last);
  }
  group.subtract(key.column->recordsWithItem());
  group.unite(nulls);
  group.subtract(key.odd);
  group.unite(equal);
  if (group.empty()) return true;
  const bool before = std::exchange(mayBeGone_, mayBeGone_ || among == nullptr);
  const bool isDone = orderGroup(level + 1, group);
  mayBeGone_ = before;
  return isDone;
}

bool RecordSorter::orderGroup(std::size_t level, const RecordSet& group) {
  const bool isOne = level < levels_.size() && !mayBeGone_ && group.count() == 1;
  return isOne ? takeAscending(group) : order(level, &group);
}

bool RecordSorter::takeAscending(const RecordSet& records) {
  for (auto record = records.next(0); record && !isFull(); record = records.next(*record + 1)) {
    if (mayBeGone_ && documents_.read(*record).data == nullptr) {
      if (++gone_ > mostGone) return false;
    } else {
      found_.push_back(*record);
    }
  }
  return true;
}

bool RecordSorter::orderByReading(std::size_t level, const RecordSet& records) {
  const SortOrder order = orderFrom(level, levels_.size());
  for (const ReadRecord& read : readInOrder(records, level, levels_.size(), order)) {
    if (isFull()) break;
    found_.push_back(read.record);
  }
  return true;
}

std::vector<RecordSorter::ReadRecord> RecordSorter::readInOrder(const RecordSet& records, std::size_t first,
                                                                std::size_t last, const SortOrder& order) const {
  std::vector<ReadRecord> read;
  for (auto record = records.next(0); record; record = records.next(*record + 1)) {
    scan_.checkWanted();
    const View document = documents_.read(*record);
    if (document.data != nullptr) read.push_back({keyIn(document, first, last, order), *record});
  }
  std::stable_sort(read.begin(), read.end(),
                   [&](const ReadRecord& a, const ReadRecord& b) { return order.compare(a.key, b.key) < 0; });
  return read;
}

/// The order of the keys from number `first` to before `last`, as the stages have it.
SortOrder RecordSorter::orderFrom(std::size_t first, std::size_t last) const {
  bson::Writer writer;
  for (std::size_t i = first; i < last; ++i) {
    writer.appendInt32(index::numbered("missing", i), 1);
    writer.appendInt32(index::numbered("value", i), levels_[i].isDescending ? -1 : 1);
  }
  const std::vector<bson::Byte> bytes = writer.take();
  return SortOrder({bson::Type::document, bytes.data(), bytes.size()});
}

SortOrder::Key RecordSorter::keyIn(View document, std::size_t first, std::size_t last, const SortOrder& order) const {
  bson::Writer writer;
  for (std::size_t i = first; i < last; ++i) {
    bson::Writer made;
    std::vector<bson::Byte> time;
    Value value = levels_[i].column ? levels_[i].column->valueIn(document) : document.find("_id");
    if (levels_[i].kind == Kind::timeOfId) {
      const bool isObjectId = !isMissing(value) && value.type == bson::Type::objectId;
      // Its first four bytes are seconds.
      const std::int64_t seconds = isObjectId ? __builtin_bswap32(bson::load<std::uint32_t>(value.data)) : 0;
      isObjectId ? made.appendDate("", seconds * 1000) : made.appendNull("");
      time = made.take();
      value = viewOf(time).begin()->value;
    }
    writer.appendBool(index::numbered("missing", i), countsAsMissing(value));
    if (!isMissing(value)) writer.append(index::numbered("value", i), value);
  }
  const std::vector<bson::Byte> bytes = writer.take();
  return order.key(viewOf(bytes));
}

SortOrder::Key RecordSorter::keyOfTerm(std::size_t level, std::string_view key, const SortOrder& order) const {
  const std::string_view encoded = key.substr(levels_[level].column->valueAt());
  bson::Writer writer;
  writer.appendBool(index::numbered("missing", level), false);
  index::appendDecoded(writer, index::numbered("value", level), static_cast<index::ValueClass>(encoded[0]),
                       encoded.substr(1));
  const std::vector<bson::Byte> bytes = writer.take();
  return order.key(viewOf(bytes));
}

}  // namespace database_client::embedded
