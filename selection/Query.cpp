// SPDX-License-Identifier: Apache-2.0
#include "selection/Query.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "records/layout.h"
#include "selection/Parser.h"

namespace database_provider::selection {

namespace {

using values::Time;
using Kind = Expression::Kind;

template <class... Cases>
struct Overloaded : Cases... {
  using Cases::operator()...;
};
template <class... Cases>
Overloaded(Cases...) -> Overloaded<Cases...>;

bool fitsInt(std::int64_t value) {
  return value >= std::numeric_limits<int>::min() && value <= std::numeric_limits<int>::max();
}

/// `{key: [parts]}`.
ObjectProperties group(const char* key, const std::vector<ObjectProperties>& parts) {
  ObjectProperties result;
  result.beginArray(key);
  for (std::size_t i = 0; i < parts.size(); ++i) result.include(std::to_string(i), parts[i]);
  result.endArray();
  return result;
}

/// The same condition on whichever of category and description the name stands for.
template <class OnCategory, class OnDescription>
ObjectProperties onField(Field field, const OnCategory& onCategory, const OnDescription& onDescription) {
  if (field == Field::category) return onCategory();
  if (field == Field::description) return onDescription();
  return group("$or", {onCategory(), onDescription()});
}

void setDescription(DatabaseFilter& filter, const Expression& condition) {
  const OperationType operation = condition.operation;
  const std::string& name = condition.name.text;
  std::visit(Overloaded{[&](const std::string& text) {
                          filter.setDescriptionAsString(operation, name, text, condition.options);
                        },
                        [&](bool value) { filter.setDescriptionAsBool(operation, name, value); },
                        [&](std::int64_t value) {
                          if (fitsInt(value))
                            filter.setDescriptionAsInt(operation, name, static_cast<int>(value));
                          else
                            filter.setDescriptionAsLongLong(operation, name, value);
                        },
                        [&](double value) { filter.setDescriptionAsDouble(operation, name, value); },
                        [&](Time time) { filter.setDescriptionAsTime(operation, name, time.milliseconds); }},
             condition.values.front().typed);
}

ObjectProperties comparison(const Expression& condition) {
  const Name& name = condition.name;
  const std::string& text = condition.values.front().text;
  if (name.field == Field::id) {
    DatabaseFilter filter;
    filter.setId(condition.operation, text);
    return filter.toObjectProeprties();
  }
  return onField(
      name.field,
      [&] {
        DatabaseFilter filter;
        filter.setCategory(condition.operation, name.text, text, condition.options);
        return filter.toObjectProeprties();
      },
      [&] {
        DatabaseFilter filter;
        setDescription(filter, condition);
        return filter.toObjectProeprties();
      });
}

ObjectProperties existence(const Name& name) {
  return onField(
      name.field,
      [&] {
        DatabaseFilter filter;
        filter.setCategory(OperationType::exists, name.text, "", "");
        return filter.toObjectProeprties();
      },
      [&] {
        DatabaseFilter filter;
        filter.setDescriptionAsString(OperationType::exists, name.text, "", "");
        return filter.toObjectProeprties();
      });
}

void setTyped(ObjectProperties& document, const std::string& key, const Value& value) {
  std::visit(Overloaded{[&](const std::string& text) { document.setValueString(key, text); },
                        [&](bool boolean) { document.setValueBool(key, boolean); },
                        [&](std::int64_t integer) { document.setValueInt64(key, integer); },
                        [&](double real) { document.setValueDouble(key, real); },
                        [&](Time time) { document.setValueTime(key, time.milliseconds); }},
             value.typed);
}

template <class Set>
ObjectProperties in(const std::vector<Value>& values, const Set& set) {
  ObjectProperties result;
  result.beginArray("$in");
  for (std::size_t i = 0; i < values.size(); ++i) set(result, std::to_string(i), values[i]);
  result.endArray();
  return result;
}

/// One item of an array of names and values has this name and meets the condition on its value.
ObjectProperties item(const char* array, const std::string& name, const ObjectProperties& condition) {
  ObjectProperties match;
  match.setValueString("name", name);
  match.include("value", condition);
  ObjectProperties element;
  element.include("$elemMatch", match);
  ObjectProperties result;
  result.include(array, element);
  return result;
}

ObjectProperties membership(const Expression& condition) {
  const auto setText = [](ObjectProperties& document, const std::string& key, const Value& value) {
    document.setValueString(key, value.text);
  };
  const auto setId = [](ObjectProperties& document, const std::string& key, const Value& value) {
    document.setValueId(key, value.text);
  };
  const Name& name = condition.name;
  if (name.field == Field::id) {
    ObjectProperties result;
    result.include("_id", in(condition.values, setId));
    return result;
  }
  return onField(
      name.field, [&] { return item(layout::path::category, name.text, in(condition.values, setText)); },
      [&] { return item(layout::path::description, name.text, in(condition.values, setTyped)); });
}

/// The least id that is made in a second of the epoch.
std::string firstIdOf(long long second) {
  std::array<char, 25> text{};
  const int length =
      std::snprintf(text.data(), text.size(), "%08llx0000000000000000", static_cast<unsigned long long>(second));
  return {text.data(), static_cast<std::size_t>(length)};
}

/// The object ids made from one second on and before another. An object id begins with the second in which it was made,
/// 32 bits of it, the highest byte first, so that the ids of a time are a range; and a store compares an object id with
/// no other kind of value.
ObjectProperties idsMade(std::optional<long long> from, std::optional<long long> before) {
  constexpr long long endOfSeconds = 1LL << 32U;
  constexpr const char* lastId = "ffffffffffffffffffffffff";
  ObjectProperties ids;
  if (from && *from < endOfSeconds) ids.setValueId("$gte", firstIdOf(std::max(*from, 0LL)));
  if (from && *from >= endOfSeconds) ids.setValueId("$gt", lastId);
  if (before && *before < endOfSeconds) ids.setValueId("$lt", firstIdOf(std::max(*before, 0LL)));
  if (before && *before >= endOfSeconds) ids.setValueId("$lte", lastId);
  ObjectProperties result;
  result.include("_id", ids);
  return result;
}

ObjectProperties creation(OperationType operation, const Moment& moment) {
  switch (operation) {
    case OperationType::less:
      return idsMade({}, moment.first);
    case OperationType::lessOrEqual:
      return idsMade({}, moment.end);
    case OperationType::greater:
      return idsMade(moment.end, {});
    case OperationType::greaterOrEqual:
      return idsMade(moment.first, {});
    case OperationType::notEqual:
      return group("$or", {idsMade({}, moment.first), idsMade(moment.end, {})});
    default:
      return idsMade(moment.first, moment.end);
  }
}

ObjectProperties grouping(const char* key, const std::vector<Expression>& operands) {
  std::vector<ObjectProperties> parts;
  parts.reserve(operands.size());
  for (const Expression& operand : operands) parts.push_back(queryOf(operand));
  return group(key, parts);
}

}  // namespace

ObjectProperties queryOf(const Expression& expression) {
  switch (expression.kind) {
    case Kind::comparison:
      return comparison(expression);
    case Kind::oneOf:
      return membership(expression);
    case Kind::has:
      return existence(expression.name);
    case Kind::created:
      return creation(expression.operation, expression.moment);
    case Kind::any:
      return grouping("$or", expression.operands);
    case Kind::negation:
      return grouping("$nor", expression.operands);
    case Kind::all:
      break;
  }
  return expression.operands.empty() ? ObjectProperties() : grouping("$and", expression.operands);
}

}  // namespace database_provider::selection
