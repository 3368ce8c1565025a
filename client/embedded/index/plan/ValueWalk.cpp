// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/plan/ValueWalk.h"

#include <algorithm>
#include <array>
#include <limits>

namespace database_client::embedded::index {

namespace {

constexpr std::size_t fewestAhead = 16;
constexpr std::size_t mostAhead = 4096;
/// Records of a value that are kept with it; of one that has more they are read when somebody asks.
constexpr std::size_t keptRecords = 8;
constexpr std::size_t orderedSize = 8;  // of a number's payload: what orders it, before its kind

/// In ascending order, as a server has them.
constexpr std::array<ValueClass, 5> sortedClasses = {ValueClass::number, ValueClass::string, ValueClass::objectId,
                                                     ValueClass::boolean, ValueClass::date};

}  // namespace

ValueWalk::ValueWalk(const TermScan& scan, const ItemColumn& column, bool isDescending)
    : scan_(scan), valueAt_(column.valueAt()), isDescending_(isDescending), ahead_(fewestAhead) {
  for (const ValueClass kind : sortedClasses) ranges_.push_back(column.valuesOf(kind, kind));
  if (!isDescending) std::reverse(ranges_.begin(), ranges_.end());
}

ValueWalk::ValueWalk(const TermScan& scan, const ItemColumn& column, ValueClass kind, bool isDescending)
    : scan_(scan),
      valueAt_(column.valueAt()),
      isDescending_(isDescending),
      ranges_{column.valuesOf(kind, kind)},
      ahead_(fewestAhead) {}

bool ValueWalk::next() {
  if (at_ < entries_.size()) {
    ++at_;
    return true;
  }
  return readAhead();
}

std::string_view ValueWalk::coarse(std::string_view key) const {
  const bool isNumber = key.size() > valueAt_ && key[valueAt_] == static_cast<char>(ValueClass::number);
  return isNumber ? key.substr(0, valueAt_ + 1 + orderedSize) : key;
}

std::string_view ValueWalk::valueOf(std::string_view key) const {
  // With two bytes behind it is an int64 between two doubles, which equals no other number.
  const std::string_view front = coarse(key);
  return key.size() - front.size() == 1 ? front : key;
}

bool ValueWalk::readAhead() {
  at_ = 1;
  while (!ranges_.empty()) {
    keys_.clear();
    records_.clear();
    entries_.clear();
    KeyRange& range = ranges_.back();
    if (isDescending_) {
      // Equal numbers must not be torn apart.
      const std::string low(std::max<std::string_view>(coarse(scan_.lastBlock(range.low, range.high)), range.low));
      readRange(low, range.high, std::numeric_limits<std::size_t>::max());
      range.high = low;
      if (range.high <= range.low) ranges_.pop_back();
    } else if (!readUpwards()) {
      ranges_.pop_back();
    }
    if (!entries_.empty()) return true;
  }
  at_ = 0;
  return false;
}

/// False when nothing is left of the range.
bool ValueWalk::readUpwards() {
  KeyRange& range = ranges_.back();
  readRange(range.low, range.high, ahead_);
  ahead_ = std::min(2 * ahead_, mostAhead);
  if (entries_.empty()) return false;
  // Behind the last value, of whatever kind a number is.
  const std::string_view key = keyOf(entries_.back());
  range.low = key;
  if (valueOf(key) != key) range.low.back() = static_cast<char>(NumberTag::end);
  if (valueOf(key) == key) range.low.push_back('\0');
  return true;
}

/// Reads values, whole ones, until there are `most`.
void ValueWalk::readRange(std::string_view low, std::string_view high, std::size_t most) {
  scan_.checkWanted();
  scan_.eachGroup(low, high, [&](std::string_view key, const TermScan::Parts& parts) {
    const bool isNew = entries_.empty() || valueOf(keyOf(entries_.back())) != valueOf(key);
    if (isNew && entries_.size() == most) return false;
    if (isNew) {
      entries_.push_back({keys_.size(), key.size(), records_.size(), 0, true});
      keys_.append(key);
    }
    Entry& entry = entries_.back();
    for (const TermIterator* part : parts) {
      const TermView& term = part->term();
      const bool isKept = term.counts.added == 1 && term.addedSize == 0 && entry.records < keptRecords;
      entry.isComplete = entry.isComplete && isKept;
      if (!entry.isComplete) break;
      records_.push_back(term.only);
      ++entry.records;
    }
    return true;
  });
}

KeyRange ValueWalk::terms() const {
  const std::string value(valueOf(key()));
  return {value, value == key() ? value + '\0' : value + static_cast<char>(NumberTag::end)};
}

void ValueWalk::collect(const RecordSet* among, const RecordSet& except, std::uint64_t most, RecordSet& records) const {
  const auto isWanted = [&](RecordNumber record) {
    return (among == nullptr || among->contains(record)) && !except.contains(record);
  };
  const Entry& entry = current();
  if (entry.isComplete) {
    for (std::size_t i = entry.firstRecord; i < entry.firstRecord + entry.records; ++i) {
      if (isWanted(records_[i])) records.add(records_[i]);
    }
    return;
  }
  const KeyRange range = terms();
  scan_.eachGroup(range.low, range.high, [&](std::string_view, const TermScan::Parts& parts) {
    scan_.checkWanted();
    std::uint64_t taken = 0;
    const auto take = [&](Run run) {
      for (RecordNumber record = run.first; record < run.first + run.length && taken < most; ++record) {
        if (!isWanted(record)) continue;
        records.add(record);
        ++taken;
      }
      return taken < most;
    };
    if (!TermScan::isPlain(parts)) return PostingSum().each(parts, take, [](Run) {});
    for (const TermIterator* part : parts) {
      taken = 0;  // Records ascend in each part alone.
      part->forEachAdded(take);
    }
  });
}

}  // namespace database_client::embedded::index
