#include "client/embedded/index/ValueRanges.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace database_client::embedded::index {

namespace {

using Comparison = ValueRanges::Comparison;

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

ValueRanges ValueRanges::existing(bool exists) {
  ValueRanges missing;
  missing.addClass(ValueClass::missing, true);
  return exists ? missing.complement() : missing;
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

ValueRanges::Part ValueRanges::at(std::string_view value) const {
  const auto after = std::upper_bound(ranges_.begin(), ranges_.end(), value,
                                      [](std::string_view v, const Range& range) { return v < range.low; });
  if (after == ranges_.begin() || value >= std::prev(after)->high) return Part::none;
  return std::prev(after)->sure ? Part::sure : Part::maybe;
}

/// Both sets are constant between the bounds of either.
template <class Combine>
ValueRanges ValueRanges::combine(const ValueRanges& a, const ValueRanges& b, Combine combine) {
  std::vector<std::string> bounds{begin(ValueClass::missing), end(static_cast<ValueClass>(lastValueClass))};
  for (const ValueRanges* ranges : {&a, &b}) {
    for (const Range& range : ranges->ranges_) {
      bounds.push_back(range.low);
      bounds.push_back(range.high);
    }
  }
  std::sort(bounds.begin(), bounds.end());
  bounds.erase(std::unique(bounds.begin(), bounds.end()), bounds.end());
  ValueRanges result;
  for (std::size_t i = 0; i + 1 < bounds.size(); ++i) {
    const Part part = combine(a.at(bounds[i]), b.at(bounds[i]));
    if (part == Part::none) continue;
    const bool sure = part == Part::sure;
    auto& made = result.ranges_;
    if (!made.empty() && made.back().high == bounds[i] && made.back().sure == sure) {
      made.back().high = bounds[i + 1];
    } else {
      made.push_back({bounds[i], bounds[i + 1], sure});
    }
  }
  return result;
}

ValueRanges ValueRanges::intersectedWith(const ValueRanges& other) const {
  return combine(*this, other, [](Part a, Part b) { return std::min(a, b); });
}

ValueRanges ValueRanges::unitedWith(const ValueRanges& other) const {
  return combine(*this, other, [](Part a, Part b) { return std::max(a, b); });
}

ValueRanges ValueRanges::complement() const {
  return combine(*this, nothing(), [](Part a, Part) {
    if (a == Part::maybe) return Part::maybe;
    return a == Part::sure ? Part::none : Part::sure;
  });
}

bool ValueRanges::includeMissing() const {
  return at(begin(ValueClass::missing)) != Part::none;
}

bool ValueRanges::mayBeAnything() const {
  return ranges_.size() == 1 && !ranges_[0].sure && ranges_[0].low == begin(ValueClass::missing) &&
         ranges_[0].high == end(static_cast<ValueClass>(lastValueClass));
}

}  // namespace database_client::embedded::index
