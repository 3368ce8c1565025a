// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/plan/IndexCondition.h"

#include <algorithm>

#include "client/bson/Writer.h"
#include "client/embedded/index/plan/cost.h"
#include "client/embedded/query/match/Matcher.h"

namespace database_client::embedded::index {

namespace {

constexpr std::uint64_t fewRecords = 16;  // whose terms are walked over at once

}  // namespace

void RecordMatches::intersect(const RecordMatches& other) {
  RecordSet both = std::move(maybe);
  both.unite(sure);
  RecordSet others;
  others.unite(other.sure);
  others.unite(other.maybe);
  both.intersect(others);
  sure.intersect(other.sure);
  both.subtract(sure);
  maybe = std::move(both);
}

void RecordMatches::makeUnsure() {
  maybe.unite(sure);
  sure.clear();
}

void ItemCondition::addTerms(std::string low, std::string high, bool sure) {
  const std::uint64_t estimate = scan_.estimate(low, high);
  terms_.push_back({{std::move(low), std::move(high)}, sure, estimate});
}

void ItemCondition::addNamedTerms(PathId path, std::string_view name, std::string low, std::string high, bool sure) {
  addTerms(std::move(low), std::move(high), sure);
  terms_.back().item = Item{path, std::string(name)};
}

std::uint64_t ItemCondition::estimate() const {
  std::uint64_t total = 0;
  for (const Terms& terms : terms_) total += terms.estimate;
  return total;
}

RecordMatches ItemCondition::matches() const {
  RecordMatches matches;
  for (const Terms& terms : terms_) {
    if (terms.sure && textFilter_) {
      collectTexts(terms.range, matches);
    } else if (const auto records = recordsWithoutOtherValues(terms)) {
      matches.sure.unite(*records);
    } else {
      scan_.collect(terms.range.low, terms.range.high, terms.sure ? matches.sure : matches.maybe);
    }
  }
  matches.maybe.subtract(matches.sure);
  return matches;
}

/// The records of a range that has most values of its name, by the fewer terms of the other values: the records with an
/// item of the name are few runs, mostly. Nothing where that is not faster, or where a record may have two such items.
std::optional<RecordSet> ItemCondition::recordsWithoutOtherValues(const Terms& terms) const {
  if (!terms.sure || !terms.item || terms.estimate < fewRecords) return std::nullopt;
  const auto& [path, name] = *terms.item;
  const std::optional<std::uint64_t> all = countUnique(scan_, path, name);
  if (!all || terms.estimate < *all / 2) return std::nullopt;
  const KeyRange names = allNamed(path, TermKind::name, name);
  const KeyRange values = allNamed(path, TermKind::value, name);
  const KeyRange nonIndexable = allOf(path, TermKind::nonIndexable);
  RecordSet records;
  RecordSet others;
  scan_.collect(names.low, names.high, records);
  scan_.collect(values.low, terms.range.low, others);
  scan_.collect(terms.range.high, values.high, others);
  scan_.collect(nonIndexable.low, nonIndexable.high, others);
  records.subtract(others);
  return records;
}

void ItemCondition::collectTexts(const KeyRange& range, RecordMatches& matches) const {
  TextProbe probe;
  scan_.eachTerm(range.low, range.high, [&](std::string_view key, auto&& eachRun) {
    scan_.checkWanted();
    const ParsedKey parsed = parseKey(key);
    if (parsed.valueClass == ValueClass::string && !probe.accepts(*textFilter_, parsed.payload)) return;
    eachRun([&](Run run) { matches.sure.addRange(run.first, run.length); });
  });
}

std::uint64_t Conjunction::estimate() const {
  std::uint64_t least = ~std::uint64_t{0};
  for (const IndexConditionPtr& part : parts_) least = std::min(least, part->estimate());
  return least;
}

/// Begins with the most selective part; one that costs more than rechecking what the others leave is not asked, which
/// costs the certainty of the rest and nothing else.
RecordMatches Conjunction::matches() const {
  struct Estimated {
    std::uint64_t records;
    const IndexCondition* part;
  };
  std::vector<Estimated> parts;
  for (const IndexConditionPtr& part : parts_) parts.push_back({part->estimate(), part.get()});
  std::sort(parts.begin(), parts.end(), [](const Estimated& a, const Estimated& b) { return a.records < b.records; });
  RecordMatches matches = parts.front().part->matches();
  bool complete = complete_;
  for (std::size_t i = 1; i < parts.size(); ++i) {
    if (cost::collecting(parts[i].records) <= cost::reading(matches.count())) {
      matches.intersect(parts[i].part->matches());
    } else {
      complete = false;
    }
  }
  if (!complete) matches.makeUnsure();
  return matches;
}

void Conjunction::describe(std::vector<std::string>& paths) const {
  for (const IndexConditionPtr& part : parts_) part->describe(paths);
}

std::uint64_t Disjunction::estimate() const {
  std::uint64_t total = 0;
  for (const IndexConditionPtr& part : parts_) total += part->estimate();
  return total;
}

RecordMatches Disjunction::matches() const {
  RecordMatches matches;
  for (const IndexConditionPtr& part : parts_) {
    const RecordMatches one = part->matches();
    matches.sure.unite(one.sure);
    matches.maybe.unite(one.maybe);
  }
  matches.maybe.subtract(matches.sure);
  return matches;
}

void Disjunction::describe(std::vector<std::string>& paths) const {
  for (const IndexConditionPtr& part : parts_) part->describe(paths);
}

bool TextProbe::accepts(const Condition& condition, std::string_view text) {
  bson::Writer writer;
  writer.appendString("", text);
  bytes_ = writer.take();
  return holds(condition, bson::View{bytes_.data(), bytes_.size()}.begin()->value);
}

}  // namespace database_client::embedded::index
