// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/match/Matcher.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <type_traits>

#include "client/embedded/query/values/compare.h"
#include "client/embedded/query/values/numbers.h"

namespace database_client::embedded {

using bson::Type;
using bson::Value;
using bson::View;

namespace {

/// What a condition is about: the values that a path leads to in a document, or a single value (in $elemMatch).
class MatchTarget {
 public:
  MatchTarget(const Path& path, View document) : path_(&path), document_(document) {}
  explicit MatchTarget(const Value& value) : value_(value) {}

  template <class Test>
  bool any(bool wholeArrays, const Test& test) const {
    return path_ == nullptr ? test(value_) : path_->any(document_, wholeArrays, test);
  }

 private:
  const Path* path_ = nullptr;
  View document_;
  Value value_;
};

bool isMatch(const Query& query, View document);
bool isMet(const Condition& condition, const MatchTarget& target);

bool isNaN(const Value& value) {
  if (value.type == Type::real) return std::isnan(value.asDouble());
  return value.type == Type::decimal128 && Decimal::load(value.data).kind == Decimal::Kind::notANumber;
}

bool acceptsEqual(const Value& operand, const Value& value) {
  if (operand.type == Type::null) return isNullish(value);
  if (isMissing(value)) return false;
  if (operand.type == Type::string && value.type == Type::string) {
    return value.size == operand.size && std::memcmp(value.data, operand.data, operand.size) == 0;
  }
  return equal(value, operand);
}

bool accepts(const CompareTest& test, const Value& value) {
  const Value operand = test.operand.value();
  if (test.comparison == Comparison::equal) return acceptsEqual(operand, value);
  const bool upward = test.comparison == Comparison::greater || test.comparison == Comparison::greaterOrEqual;
  const bool orEqual = test.comparison == Comparison::lessOrEqual || test.comparison == Comparison::greaterOrEqual;
  if (isMissing(value) || typeClass(value) != typeClass(operand)) {
    // Values of another class are neither less nor greater, but for the ends of the order, and null for what is absent.
    if (operand.type == Type::minKey) return upward;
    if (operand.type == Type::maxKey) return !upward;
    return operand.type == Type::null && orEqual && isNullish(value);
  }
  const int order = compare(value, operand);
  if (order == 0) return orEqual;
  // The order of values puts NaN below all numbers, for sorting; a condition compares it with none.
  if (isNaN(operand) || isNaN(value)) return false;
  return upward == (order > 0);
}

bool isFound(const Pattern& pattern, const Value& value) {
  if (isMissing(value)) return false;
  if (value.type == Type::string || value.type == Type::symbol) return pattern.found(value.asString());
  return value.type == Type::regex && pattern.is(value.regexPattern(), value.regexOptions());
}

bool accepts(const PatternTest& test, const Value& value) {
  return isFound(*test.pattern, value);
}

bool accepts(const InTest& test, const Value& value) {
  if (isNullish(value)) return test.acceptsNull;
  const auto at =
      std::lower_bound(test.values.begin(), test.values.end(), value,
                       [](const OwnedValue& left, const Value& right) { return compare(left.value(), right) < 0; });
  if (at != test.values.end() && equal(at->value(), value)) return true;
  return std::any_of(test.patterns.begin(), test.patterns.end(),
                     [&](const auto& pattern) { return isFound(*pattern, value); });
}

bool accepts(const ExistsTest& /*test*/, const Value& value) {
  return !isMissing(value);
}

bool accepts(const TypeTest& test, const Value& value) {
  return !isMissing(value) && test.types[static_cast<std::size_t>(value.type)];
}

bool accepts(const SizeTest& test, const Value& value) {
  return !isMissing(value) && value.isArray() && value.asDocument().count() == test.size;
}

bool accepts(const ModuloTest& test, const Value& value) {
  if (isMissing(value) || !value.isNumber()) return false;
  const auto number = truncated(value);
  if (!number) return false;
  // The one quotient that does not fit an int64 comes from dividing by -1, where the remainder is always 0.
  return (test.divisor == -1 ? 0 : *number % test.divisor) == test.remainder;
}

bool accepts(const ElementQueryTest& test, const Value& value) {
  if (isMissing(value) || !value.isArray()) return false;
  const View array = value.asDocument();
  return std::any_of(array.begin(), array.end(), [&test](const bson::Element& element) {
    return element.value.isLevel() && isMatch(*test.query, element.value.asDocument());
  });
}

bool accepts(const ElementValueTest& test, const Value& value) {
  if (isMissing(value) || !value.isArray()) return false;
  const View array = value.asDocument();
  return std::any_of(array.begin(), array.end(), [&test](const bson::Element& element) {
    return isMet(*test.condition, MatchTarget(element.value));
  });
}

/// Whether a test is about an array as such, so that an array at the end of a path does not stand for its elements.
template <class Test>
constexpr bool asksWholeArrays =
    std::is_same_v<Test, SizeTest> || std::is_same_v<Test, ElementQueryTest> || std::is_same_v<Test, ElementValueTest>;

bool isMet(const Condition& condition, const MatchTarget& target) {
  const auto partHolds = [&target](const Condition& part) { return isMet(part, target); };
  switch (condition.kind) {
    case Condition::Kind::test:
      break;
    case Condition::Kind::conjunction:
      return std::all_of(condition.parts.begin(), condition.parts.end(), partHolds);
    case Condition::Kind::containsAll:
      return !condition.parts.empty() && std::all_of(condition.parts.begin(), condition.parts.end(), partHolds);
    case Condition::Kind::negation:
      return !partHolds(condition.parts.front());
  }
  // The kind of test is found out here, once, and not for each value on the path.
  return std::visit(
      [&target](const auto& test) {
        return target.any(asksWholeArrays<std::decay_t<decltype(test)>>,
                          [&test](const Value& value) { return accepts(test, value); });
      },
      condition.test);
}

bool isMatch(const Query& query, View document) {
  const auto partMatches = [document](const Query& part) { return isMatch(part, document); };
  switch (query.kind) {
    case Query::Kind::field:
      break;
    case Query::Kind::all:
      return std::all_of(query.parts.begin(), query.parts.end(), partMatches);
    case Query::Kind::any:
      return std::any_of(query.parts.begin(), query.parts.end(), partMatches);
    case Query::Kind::none:
      return std::none_of(query.parts.begin(), query.parts.end(), partMatches);
  }
  return isMet(query.condition, MatchTarget(query.path, document));
}

}  // namespace

bool Matcher::matches(View document) const {
  return isMatch(query_, document);
}

bool holds(const Condition& condition, const Value& value) {
  return isMet(condition, MatchTarget(value));
}

}  // namespace database_client::embedded
