// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/plan/FigureAggregator.h"

#include <algorithm>
#include <cmath>
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
using index::EncodedNumber;
using index::FigureSums;
using index::KeyRange;
using index::Run;
using index::ValueClass;

namespace {

/// More have to go through a $group, which knows how much memory it may take.
constexpr std::size_t mostGroups = 100'000;
constexpr std::size_t mostCombinations = std::size_t{1} << 22;
/// Terms of one record each take less time than the look at the clock that a check costs.
constexpr std::uint64_t termsBetweenChecks = 64;

template <class Kind>
KeyRange rangeOf(const index::ItemColumn& column, Kind kind) {
  if (kind == Kind::number) return column.valuesOf(ValueClass::number, ValueClass::number);
  if (kind == Kind::time) return column.valuesOf(ValueClass::date, ValueClass::date);
  return column.valuesOf(ValueClass::number, ValueClass::objectId);
}

/// The number that a value counts as; nullopt for one that counts as missing.
template <class Kind>
std::optional<EncodedNumber> numberOf(const Value& value, Kind kind) {
  if (isMissing(value)) return std::nullopt;
  if (kind == Kind::time) {
    if (value.type != bson::Type::date) return std::nullopt;
    return index::encodedInteger(value.asInt64());
  }
  const std::optional<EncodedNumber> number = index::encodedNumber(value);
  return number && !number->isNan() ? number : std::nullopt;
}

/// The same from the key of a term, of which `encoded` is the value.
template <class Kind>
std::optional<EncodedNumber> numberOfTerm(std::string_view encoded, Kind kind) {
  const std::string_view payload = encoded.substr(1);
  if (kind == Kind::time) return index::encodedInteger(index::dateIn(payload));
  const EncodedNumber number = index::numberIn(payload);
  return number.isNan() ? std::nullopt : std::optional(number);
}

/// One value, on its own.
OwnedValue finished(bson::Writer& writer) {
  const std::vector<bson::Byte> bytes = writer.take();
  return OwnedValue(View{bytes.data(), bytes.size()}.begin()->value);
}

/// {$min: [{$floor: {$divide: [{$subtract: [number, low]}, width]}}, last]}: a double, unless `last`, an int32, is
/// less. That is infinity here.
template <class Bins>
double binOf(const EncodedNumber& number, const Bins& bins) {
  const double bin = std::floor((number.asDouble() - bins.low) / bins.width);
  return bin > bins.last ? std::numeric_limits<double>::infinity() : bin;
}
template <class Bins>
OwnedValue valueOfBin(double bin, const Bins& bins) {
  bson::Writer writer;
  bin > bins.last ? writer.appendInt32("", bins.last) : writer.appendDouble("", bin);
  return finished(writer);
}

/// What a record whose item has this value is grouped by; missing for null.
template <class By>
OwnedValue groupingValue(const Value& value, const By& by) {
  if (!by.bins) return isNullish(value) ? OwnedValue() : OwnedValue(value);
  const std::optional<EncodedNumber> number = numberOf(value, by.kind);
  return number ? valueOfBin(binOf(*number, *by.bins), *by.bins) : OwnedValue();
}

bool isDecimal(const Value& value) {
  return !isMissing(value) && value.type == bson::Type::decimal128;
}

void appendCount(bson::Writer& out, std::string_view key, std::uint64_t count) {
  if (count > static_cast<std::uint64_t>(std::numeric_limits<std::int32_t>::max())) {
    out.appendInt64(key, static_cast<std::int64_t>(count));
  } else {
    out.appendInt32(key, static_cast<std::int32_t>(count));
  }
}

}  // namespace

FigureAggregator::Codes::Codes() : values_(1), ambiguous_(1) {}

FigureAggregator::Code FigureAggregator::Codes::of(const Value& value) {
  if (isMissing(value)) return 0;
  key_.clear();
  appendCanonicalKey(key_, value);
  const auto [at, isNew] = byKey_.try_emplace(key_, static_cast<Code>(values_.size()));
  if (isNew) {
    values_.emplace_back(value);
    ambiguous_.push_back(false);
  } else {
    const Value known = values_[at->second].value();
    const bool isSame = known.type == value.type &&
                        std::equal(value.data, value.data + value.size, known.data, known.data + known.size);
    if (!isSame) ambiguous_[at->second] = true;
  }
  return at->second;
}

FigureAggregator::FigureAggregator(ItemIndex& index, const index::GroupedFiguresPattern& pattern,
                                   const DocumentSource& documents)
    : index_(index), pattern_(pattern), documents_(documents), paths_(index.flushAndSnapshot().paths), scan_(index) {}

std::optional<std::vector<std::vector<bson::Byte>>> FigureAggregator::run() {
  if (!prepare() || !readRecords()) return std::nullopt;
  if (asksForExtremesAlone()) {
    groups_.push_back(Group{0, 1});
    for (ReadRecord& read : read_) read.group = 0;
  } else if (!combineCodes() || !countRecords()) {
    return std::nullopt;
  }
  if (groups_.size() * measures_.size() * sizeof(FigureSums) > Pipeline::defaultMemoryLimit) return std::nullopt;
  sums_.resize(groups_.size() * measures_.size());
  if (!readsAll_) {
    for (std::size_t i = 0; i < measures_.size(); ++i) asksForExtremesAlone() ? addExtremes(i) : addUp(i);
  }
  for (const ReadRecord& read : read_) {
    for (std::size_t i = 0; i < measures_.size(); ++i) {
      if (read.numbers[i]) sums_[read.group * measures_.size() + i].add(*read.numbers[i], read.record);
    }
  }
  // Where no record was seen there may be none, and no group then.
  const bool isSeen = !read_.empty() ||
                      std::any_of(sums_.begin(), sums_.end(), [](const FigureSums& sums) { return sums.count() > 0; });
  if (asksForExtremesAlone() && !isSeen) groups_[0].count = allRecords();
  std::vector<std::vector<bson::Byte>> documents;
  for (std::size_t i = 0; i < groups_.size(); ++i) {
    if (groups_[i].count != 0 && !write(i, documents.emplace_back())) return std::nullopt;
  }
  return documents;
}

bool FigureAggregator::prepare() {
  double terms = 0;
  const auto use = [&](const index::ItemColumn& column) {
    if (!column.isIndexed()) return false;
    odd_.unite(column.oddRecords());
    terms += static_cast<double>(column.estimate());
    return true;
  };
  for (const Pattern::By& by : pattern_.by) {
    if (!use(keys_.emplace_back(Key{by, {paths_, scan_, by.item}}).column)) return false;
  }
  for (const Pattern::Measure& measure : pattern_.measures) {
    if (!use(measures_.emplace_back(Measure{measure, {paths_, scan_, measure.item}}).column)) return false;
  }
  if (pattern_.filter != nullptr) {
    selected_ = selectRecords(index_, *pattern_.filter, documents_);
    if (!selected_) return false;
    odd_.intersect(*selected_);
    readsAll_ = index::cost::reading(selected_->count()) <= index::cost::visiting(terms);
    if (readsAll_) odd_.unite(*selected_);
  }
  return readsAll_ || index::cost::reading(odd_.count()) <= index::cost::scanning(static_cast<double>(documents_.last));
}

bool FigureAggregator::readRecords() {
  for (auto record = odd_.next(0); record; record = odd_.next(*record + 1)) {
    scan_.checkWanted();
    const View document = documents_.read(*record);
    if (document.data == nullptr) index::damaged("a record that is not there");
    if (!readRecord(*record, document)) return false;
  }
  return true;
}

/// False for a number that nothing here can add up.
bool FigureAggregator::readRecord(RecordNumber record, View document) {
  ReadRecord& read = read_.emplace_back(ReadRecord{record, {}, {}});
  for (Key& key : keys_) {
    const Value value = key.column.valueIn(document);
    if (key.by.bins && isDecimal(value)) return false;
    read.codes.push_back(key.codes.of(groupingValue(value, key.by).value()));
  }
  for (const Measure& measure : measures_) {
    const Value value = measure.column.valueIn(document);
    if (isDecimal(value)) return false;
    read.numbers.push_back(numberOf(value, measure.measure.kind));
  }
  return true;
}

/// Gives each record the combination of the codes of its values, as digits of one number; false when there are too
/// many.
bool FigureAggregator::combineCodes() {
  if (!readsAll_) places_.assign(documents_.last + 1, 0);
  for (std::size_t i = 0; i < keys_.size(); ++i) {
    Key& key = keys_[i];
    if (!readsAll_) addCodes(key, static_cast<std::uint32_t>(combinations_));
    for (ReadRecord& read : read_) read.combination += combinations_ * read.codes[i];
    combinations_ *= key.codes.size();
    if (key.codes.size() > mostGroups || combinations_ > mostCombinations) return false;
  }
  // What the terms say of a record that is read does not count.
  for (const ReadRecord& read : read_) {
    if (!readsAll_) placeOf(read.record) = none;
  }
  return true;
}

void FigureAggregator::addCodes(Key& key, std::uint32_t weight) {
  const KeyRange range = rangeOf(key.column, key.by.kind);
  double binBefore = std::numeric_limits<double>::quiet_NaN();
  Code code = 0;
  std::uint64_t terms = 0;
  scan_.eachTerm(range.low, range.high, [&](std::string_view term, auto&& eachRun) {
    if (++terms % termsBetweenChecks == 0) scan_.checkWanted();
    if (key.codes.size() > mostGroups) return;
    const std::string_view encoded = term.substr(key.column.valueAt());
    if (key.by.bins) {
      const std::optional<EncodedNumber> number = numberOfTerm(encoded, key.by.kind);
      if (!number) return;
      // Values come in order, many of one bin after the other.
      const double bin = binOf(*number, *key.by.bins);
      if (bin != binBefore || std::signbit(bin) != std::signbit(binBefore))
        code = key.codes.of(valueOfBin(bin, *key.by.bins).value());
      binBefore = bin;
    } else {
      const auto kind = static_cast<ValueClass>(encoded[0]);
      if (index::isLookedUp(kind)) return;
      bson::Writer writer;
      index::appendDecoded(writer, "", kind, encoded.substr(1));
      code = key.codes.of(finished(writer).value());
    }
    const std::uint32_t added = code * weight;
    eachRun([&](Run run) {
      placeOf(run.first + run.length - 1);
      for (RecordNumber record = run.first; record < run.first + run.length; ++record) places_[record] += added;
    });
  });
}

std::uint32_t& FigureAggregator::placeOf(RecordNumber record) {
  if (record >= places_.size()) index::damaged("a record number");
  return places_[record];
}

std::uint32_t FigureAggregator::groupOf(std::size_t combination) {
  std::uint32_t& group = byCombination_[combination];
  if (group == none) {
    group = static_cast<std::uint32_t>(groups_.size());
    groups_.push_back(Group{combination});
  }
  return group;
}

void FigureAggregator::count(std::uint32_t group, RecordNumber record) {
  Group& counted = groups_[group];
  ++counted.count;
  if (counted.first == 0 || record < counted.first) counted.first = record;
}

/// Counts the records of each group, and leaves the group of each in `places_`. False when there are too many groups.
bool FigureAggregator::countRecords() {
  byCombination_.assign(combinations_, none);
  const std::uint32_t nulls = groupOf(0);
  std::uint64_t counted = read_.size();
  for (ReadRecord& read : read_) {
    read.group = groupOf(read.combination);
    count(read.group, read.record);
  }
  std::optional<RecordSet::Probe> selected;
  if (selected_) selected.emplace(*selected_);
  for (RecordNumber record = 1; record < places_.size(); ++record) {
    std::uint32_t& place = places_[record];
    if (place == none || (selected && !selected->contains(record))) {
      place = none;
    } else if (place == 0 && !selected_) {
      // There may be no such record; all of these are counted below.
      place = nulls;
    } else {
      if (combinations_ > mostGroups && groups_.size() > mostGroups) return false;
      place = groupOf(place);
      count(place, record);
      ++counted;
    }
  }
  if (!selected_ && counted < documents_.last) groups_[nulls].count += std::max(allRecords(), counted) - counted;
  return groups_.size() <= mostGroups;
}

/// How many records there are. An item that every number up to the last one has spares asking.
std::uint64_t FigureAggregator::allRecords() const {
  const auto isWhole = [this](const index::ItemColumn& column) { return column.countWithItem() == documents_.last; };
  const bool isEvery =
      std::any_of(keys_.begin(), keys_.end(), [&](const Key& key) { return isWhole(key.column); }) ||
      std::any_of(measures_.begin(), measures_.end(), [&](const Measure& measure) { return isWhole(measure.column); });
  return isEvery ? documents_.last : documents_.count();
}

void FigureAggregator::addUp(std::size_t measure) {
  const Measure& added = measures_[measure];
  const Kind kind = added.measure.kind;
  const KeyRange range = rangeOf(added.column, kind);
  std::uint64_t terms = 0;
  scan_.eachTerm(range.low, range.high, [&](std::string_view term, auto&& eachRun) {
    if (++terms % termsBetweenChecks == 0) scan_.checkWanted();
    const std::optional<EncodedNumber> number = numberOfTerm(term.substr(added.column.valueAt()), kind);
    if (!number) return;
    eachRun([&](Run run) {
      placeOf(run.first + run.length - 1);
      for (RecordNumber record = run.first; record < run.first + run.length; ++record) {
        const std::uint32_t group = places_[record];
        if (group != none) sums_[group * measures_.size() + measure].add(*number, record);
      }
    });
  });
}

bool FigureAggregator::asksForExtremesAlone() const {
  return keys_.empty() && !selected_ &&
         std::all_of(pattern_.outputs.begin(), pattern_.outputs.end(), [](const Pattern::Output& output) {
           return output.figure == Figure::minimum || output.figure == Figure::maximum;
         });
}

/// Adds the values at both ends, whatever else there is.
void FigureAggregator::addExtremes(std::size_t measure) {
  const Measure& added = measures_[measure];
  const ValueClass kind = added.measure.kind == Kind::time ? ValueClass::date : ValueClass::number;
  for (const bool isLast : {false, true}) {
    index::ValueWalk walk(scan_, added.column, kind, isLast);
    for (bool isFound = false; !isFound && walk.next();) {
      const KeyRange terms = walk.terms();
      scan_.eachTerm(terms.low, terms.high, [&](std::string_view term, auto&& eachRun) {
        const std::optional<EncodedNumber> number =
            numberOfTerm(term.substr(added.column.valueAt()), added.measure.kind);
        if (!number) return;
        eachRun([&](Run run) {
          for (RecordNumber record = run.first; record < run.first + run.length; ++record) {
            if (odd_.contains(record)) continue;
            sums_[measure].add(*number, record);
            isFound = true;
          }
        });
      });
    }
  }
}

bool FigureAggregator::write(std::size_t group, std::vector<bson::Byte>& document) const {
  bson::Writer out;
  writeId(groups_[group], out);
  for (const Pattern::Output& output : pattern_.outputs) {
    if (output.figure == Figure::records) {
      appendCount(out, output.key, groups_[group].count);
    } else if (!writeFigure(output, sums_[group * measures_.size() + output.measure], out)) {
      return false;
    }
  }
  document = out.take();
  return true;
}

void FigureAggregator::writeId(const Group& group, bson::Writer& out) const {
  if (keys_.empty()) return out.appendNull("_id");
  out.beginDocument("_id");
  std::size_t rest = group.combination;
  for (std::size_t i = 0; i < keys_.size(); ++i) {
    const Key& key = keys_[i];
    const auto code = static_cast<Code>(rest % key.codes.size());
    rest /= key.codes.size();
    OwnedValue shown(key.codes.value(code));
    if (key.codes.isAmbiguous(code)) {
      const View document = documents_.read(group.first);
      if (document.data == nullptr) index::damaged("a record that is not there");
      shown = groupingValue(key.column.valueIn(document), key.by);
    }
    const std::string name = "by" + std::to_string(i);
    isMissing(shown.value()) ? out.appendNull(name) : out.append(name, shown.value());
  }
  out.end();
}

/// False for what only another way of adding up may come to.
bool FigureAggregator::writeFigure(const Pattern::Output& output, const FigureSums& sums, bson::Writer& out) {
  switch (output.figure) {
    case Figure::records:
      return false;
    case Figure::count:
      appendCount(out, output.key, sums.count());
      return true;
    case Figure::mean:
      sums.writeMean(output.key, out);
      return true;
    case Figure::minimum:
    case Figure::maximum:
      if (sums.count() == 0) {
        out.appendNull(output.key);
      } else {
        (output.figure == Figure::minimum ? sums.minimum() : sums.maximum()).append(out, output.key);
      }
      return true;
    case Figure::deviation: {
      if (sums.count() < 2) {
        out.appendNull(output.key);
        return true;
      }
      const std::optional<double> deviation = sums.deviation();
      if (deviation) out.appendDouble(output.key, *deviation);
      return deviation.has_value();
    }
  }
  return false;
}

}  // namespace database_client::embedded
