// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/match/Matcher.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "client/embedded/query/match/Condition.h"
#include "client/embedded/query/values/numbers.h"

namespace database_client::embedded {

using bson::Type;
using bson::Value;
using bson::View;

namespace {

bool isNaN(const Value& value) {
  if (value.type == Type::real) return std::isnan(value.asDouble());
  return value.type == Type::decimal128 && Decimal::load(value.data).kind == Decimal::Kind::notANumber;
}

bool isText(const Value& value) {
  return value.type == Type::string || value.type == Type::symbol;
}

bool lessThan(const OwnedValue& left, const OwnedValue& right) {
  return compare(left.value(), right.value()) < 0;
}

}  // namespace

bool AllConditions::holds(const MatchTarget& subject) const {
  return std::all_of(conditions_.begin(), conditions_.end(),
                     [&](const ConditionPtr& condition) { return condition->holds(subject); });
}

bool AllNodes::matches(View document) const {
  return std::all_of(nodes_.begin(), nodes_.end(), [&](const auto& node) { return node->matches(document); });
}

bool AnyNode::matches(View document) const {
  return negated_ !=
         std::any_of(nodes_.begin(), nodes_.end(), [&](const auto& node) { return node->matches(document); });
}

bool EqualTest::accepts(const Value& value) const {
  const Value operand = operand_.value();
  if (operand.type == Type::null) return isNullish(value);
  if (isMissing(value)) return false;
  if (operand.type == Type::string && value.type == Type::string) {
    return value.size == operand.size && std::memcmp(value.data, operand.data, operand.size) == 0;
  }
  return equal(value, operand);
}

RelationTest::RelationTest(Relation relation, const Value& operand)
    : relation_(relation), operand_(operand), operandIsNaN_(isNaN(operand)) {}

bool RelationTest::acceptsOtherClass(const Value& value) const {
  const bool upward = relation_ == Relation::greater || relation_ == Relation::greaterOrEqual;
  const bool orEqual = relation_ == Relation::lessOrEqual || relation_ == Relation::greaterOrEqual;
  const Type operand = operand_.value().type;
  if (operand == Type::minKey) return upward;
  if (operand == Type::maxKey) return !upward;
  return operand == Type::null && orEqual && isNullish(value);
}

bool RelationTest::accepts(const Value& value) const {
  const Value operand = operand_.value();
  if (isMissing(value) || typeClass(value) != typeClass(operand)) return acceptsOtherClass(value);
  const int order = compare(value, operand);
  const bool orEqual = relation_ == Relation::lessOrEqual || relation_ == Relation::greaterOrEqual;
  if (order == 0) return orEqual;
  if (operandIsNaN_ || isNaN(value)) return false;
  const bool upward = relation_ == Relation::greater || relation_ == Relation::greaterOrEqual;
  return upward == (order > 0);
}

bool PatternTest::accepts(const Value& value) const {
  if (isMissing(value)) return false;
  if (isText(value)) return pattern_.found(value.asString());
  return value.type == Type::regex && pattern_.is(value.regexPattern(), value.regexOptions());
}

InTest::InTest(std::vector<OwnedValue> values, std::vector<std::unique_ptr<const PatternTest>> patterns)
    : holdsNull_(std::any_of(values.begin(), values.end(), [](const auto& value) { return isNullish(value.value()); })),
      values_(std::move(values)),
      patterns_(std::move(patterns)) {
  std::stable_sort(values_.begin(), values_.end(), lessThan);
}

bool InTest::accepts(const Value& value) const {
  if (isNullish(value)) return holdsNull_;
  const auto at =
      std::lower_bound(values_.begin(), values_.end(), value,
                       [](const OwnedValue& left, const Value& right) { return compare(left.value(), right) < 0; });
  if (at != values_.end() && equal(at->value(), value)) return true;
  return std::any_of(patterns_.begin(), patterns_.end(), [&](const auto& pattern) { return pattern->accepts(value); });
}

bool ModuloTest::accepts(const Value& value) const {
  if (isMissing(value) || !value.isNumber()) return false;
  const auto number = truncated(value);
  if (!number) return false;
  // The one quotient that does not fit an int64 comes from dividing by -1, where the remainder is always 0.
  return (divisor_ == -1 ? 0 : *number % divisor_) == remainder_;
}

bool ElementDocumentTest::accepts(const Value& value) const {
  if (isMissing(value) || !value.isArray()) return false;
  const View array = value.asDocument();
  return std::any_of(array.begin(), array.end(), [this](const bson::Element& element) {
    const bool level = element.value.isDocument() || element.value.isArray();
    return level && query_->matches(element.value.asDocument());
  });
}

bool ElementValueTest::accepts(const Value& value) const {
  if (isMissing(value) || !value.isArray()) return false;
  const View array = value.asDocument();
  return std::any_of(array.begin(), array.end(),
                     [this](const bson::Element& element) { return condition_->holds(MatchTarget(element.value)); });
}

Matcher::Matcher(View query) : root_(parseQuery(query)) {}
Matcher::Matcher(Matcher&& other) noexcept = default;
Matcher& Matcher::operator=(Matcher&& other) noexcept = default;
Matcher::~Matcher() = default;

bool Matcher::matches(View document) const {
  return root_->matches(document);
}

bool Matcher::matchesEverything() const {
  const auto* all = dynamic_cast<const AllNodes*>(root_.get());
  return all != nullptr && all->empty();
}

}  // namespace database_client::embedded
