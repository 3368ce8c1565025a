// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/plan/ValueRanges.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace database_client::embedded::index {

namespace {

std::string begin(ValueClass kind, std::string_view payload = {}) {
  std::string bytes(1, static_cast<char>(kind));
  return bytes.append(payload);
}

std::string end(ValueClass kind) {
  return std::string(1, static_cast<char>(static_cast<int>(kind) + 1));
}

std::string successor(std::string bytes) {
  bytes.push_back('\0');
  return bytes;
}

bool isNan(const bson::Value& value) {
  return value.type == bson::Type::real && std::isnan(value.asDouble());
}

/// The payloads of NaN come before this.
std::string afterNan() {
  std::string payload(8, '\0');
  payload.push_back(static_cast<char>(NumberTag::end));
  return payload;
}

}  // namespace

void ValueRanges::add(std::string low, std::string high, bool sure) {
  if (low < high) ranges_.push_back({std::move(low), std::move(high), sure});
}

void ValueRanges::addClass(ValueClass kind, bool sure) {
  add(begin(kind), end(kind), sure);
}

ValueRanges ValueRanges::everything(bool sure) {
  ValueRanges all;
  all.add(begin(ValueClass::missing), end(static_cast<ValueClass>(lastValueClass)), sure);
  return all;
}

ValueRanges ValueRanges::existing() {
  ValueRanges missing;
  missing.addClass(ValueClass::missing, true);
  return missing.complement();
}

ValueRanges ValueRanges::texts() {
  ValueRanges ranges;
  ranges.addClass(ValueClass::string, true);
  ranges.addClass(ValueClass::longString, false);
  ranges.addClass(ValueClass::opaque, false);
  return ranges;
}

ValueRanges ValueRanges::ofComparison(Comparison comparison, const bson::Value& operand) {
  ValueRanges ranges;
  switch (operand.type) {
    case bson::Type::int32:
    case bson::Type::int64:
    case bson::Type::real:
    case bson::Type::decimal128:
      ranges.addNumbers(comparison, operand);
      break;
    case bson::Type::string:
      ranges.addTexts(comparison, operand.asString());
      break;
    case bson::Type::boolean:
    case bson::Type::date:
    case bson::Type::objectId:
      ranges.addFixed(comparison, operand);
      break;
    case bson::Type::null:
      if (comparison != Comparison::equal) return everything(false);
      ranges.addClass(ValueClass::missing, true);
      ranges.addClass(ValueClass::null, true);
      break;
    case bson::Type::binary:
    case bson::Type::timestamp:
    case bson::Type::document:
      break;  // equal only to values of the same type, which have to be looked up
    default:
      return everything(false);
  }
  ranges.addClass(ValueClass::opaque, false);
  return ranges;
}

void ValueRanges::addNumbers(Comparison comparison, const bson::Value& operand) {
  const auto bounds = boundsOfNumber(operand);
  if (!bounds || (isNan(operand) && comparison != Comparison::equal)) return addClass(ValueClass::number, false);
  const std::string before = begin(ValueClass::number, bounds->before);
  const std::string after = begin(ValueClass::number, bounds->after);
  const std::string numbers = begin(ValueClass::number, afterNan());
  switch (comparison) {
    case Comparison::equal:
      return add(before, after, true);
    case Comparison::less:
    case Comparison::lessOrEqual:
      add(begin(ValueClass::number), numbers, false);
      return add(numbers, comparison == Comparison::less ? before : after, true);
    case Comparison::greater:
    case Comparison::greaterOrEqual:
      return add(comparison == Comparison::greater ? after : before, end(ValueClass::number), true);
  }
}

void ValueRanges::addTexts(Comparison comparison, std::string_view text) {
  const std::string at = begin(ValueClass::string, text);
  switch (comparison) {
    case Comparison::equal:
      add(at, successor(at), true);
      break;
    case Comparison::less:
      add(begin(ValueClass::string), at, true);
      break;
    case Comparison::lessOrEqual:
      add(begin(ValueClass::string), successor(at), true);
      break;
    case Comparison::greater:
      add(successor(at), end(ValueClass::string), true);
      break;
    case Comparison::greaterOrEqual:
      add(at, end(ValueClass::string), true);
      break;
  }
  addLongTexts(comparison, text);
}

/// Of a long text only the beginning is known: it decides unless `text` begins in the same way.
void ValueRanges::addLongTexts(Comparison comparison, std::string_view text) {
  const bool open = text.size() >= textPrefix;
  const std::string same = begin(ValueClass::longString, text.substr(0, textPrefix));
  const std::string beyond = open ? afterPrefix(same) : same;
  switch (comparison) {
    case Comparison::equal:
      if (text.size() > longestText) add(same, beyond, false);
      return;
    case Comparison::less:
    case Comparison::lessOrEqual:
      add(begin(ValueClass::longString), same, true);
      return add(same, beyond, false);
    case Comparison::greater:
    case Comparison::greaterOrEqual:
      add(same, beyond, false);
      return add(beyond, end(ValueClass::longString), true);
  }
}

/// Kinds whose payloads order them and are equal only for equal values.
void ValueRanges::addFixed(Comparison comparison, const bson::Value& operand) {
  std::string payload;
  const ValueClass kind = encodeValue(operand, payload);
  const std::string at = begin(kind, payload);
  switch (comparison) {
    case Comparison::equal:
      return add(at, successor(at), true);
    case Comparison::less:
      return add(begin(kind), at, true);
    case Comparison::lessOrEqual:
      return add(begin(kind), successor(at), true);
    case Comparison::greater:
      return add(successor(at), end(kind), true);
    case Comparison::greaterOrEqual:
      return add(at, end(kind), true);
  }
}

/// Adds a range behind all others.
void ValueRanges::append(std::string_view low, std::string_view high, Part part) {
  if (part == Part::none) return;
  const bool sure = part == Part::sure;
  if (!ranges_.empty() && ranges_.back().high == low && ranges_.back().sure == sure) {
    ranges_.back().high = high;
  } else {
    ranges_.push_back({std::string(low), std::string(high), sure});
  }
}

/// A sweep over the bounds of all ranges in ascending order. Between two neighbouring bounds every value meets the same
/// conditions, so that `decide` is asked once for each such interval, with the number of conditions whose ranges cover
/// it. This takes time in proportion to the ranges, times their logarithm, where intersecting pair by pair would take
/// it in proportion to their square: an $in may have tens of thousands of values.
///
/// The ranges of one condition are disjoint, so each condition counts at most once for an interval. Values in no range
/// at all are decided too, which the complement needs: the sweep begins and ends at the bounds of all values.
template <class Decide>
ValueRanges ValueRanges::combine(const std::vector<ValueRanges>& conditions, Decide decide) {
  struct Bound {
    std::string_view at;
    bool sure;
    bool begins;
  };
  std::vector<Bound> bounds;
  for (const ValueRanges& condition : conditions) {
    for (const Range& range : condition.ranges_) {
      bounds.push_back({range.low, range.sure, true});
      bounds.push_back({range.high, range.sure, false});
    }
  }
  std::sort(bounds.begin(), bounds.end(), [](const Bound& a, const Bound& b) { return a.at < b.at; });
  const std::string first = begin(ValueClass::missing);
  const std::string last = end(static_cast<ValueClass>(lastValueClass));
  ValueRanges result;
  Met met;
  auto next = bounds.begin();
  for (std::string_view from = first; from < last;) {
    // All bounds at one place are passed before anything is decided, so it does not matter that a range which ends
    // there may come behind one that begins there: `met` is looked at when both are done.
    for (; next != bounds.end() && next->at <= from; ++next) {
      std::size_t& count = next->sure ? met.surely : met.maybe;
      next->begins ? ++count : --count;
    }
    const std::string_view to = next == bounds.end() ? std::string_view(last) : next->at;
    result.append(from, to, decide(met));
    from = to;
  }
  return result;
}

ValueRanges ValueRanges::intersectionOf(const std::vector<ValueRanges>& conditions) {
  return combine(conditions, [all = conditions.size()](const Met& met) {
    if (met.surely == all) return Part::sure;
    return met.surely + met.maybe == all ? Part::maybe : Part::none;
  });
}

ValueRanges ValueRanges::unionOf(const std::vector<ValueRanges>& conditions) {
  return combine(conditions, [](const Met& met) {
    if (met.surely > 0) return Part::sure;
    return met.maybe > 0 ? Part::maybe : Part::none;
  });
}

ValueRanges ValueRanges::complement() const {
  return combine({*this}, [](const Met& met) {
    if (met.maybe > 0) return Part::maybe;
    return met.surely > 0 ? Part::none : Part::sure;
  });
}

bool ValueRanges::includeMissing() const {
  // A missing value comes before all others.
  return !ranges_.empty() && ranges_.front().low == begin(ValueClass::missing);
}

bool ValueRanges::mayBeAnything() const {
  return ranges_.size() == 1 && !ranges_[0].sure && ranges_[0].low == begin(ValueClass::missing) &&
         ranges_[0].high == end(static_cast<ValueClass>(lastValueClass));
}

}  // namespace database_client::embedded::index
