// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/expression/arrayOperators.h"

#include <cstdint>
#include <limits>
#include <string>

#include "client/embedded/query/expression/FunctionCall.h"
#include "client/embedded/query/expression/comparisonOperators.h"
#include "client/embedded/query/values/errors.h"
#include "client/embedded/query/values/numbers.h"

namespace database_client::embedded {

using bson::Element;
using bson::Value;
using bson::View;

namespace {

bool isArray(const Value& value) {
  return !isMissing(value) && value.isArray();
}

View arrayOf(const Arguments& arguments, const Value& value, int code) {
  if (!isArray(value)) refuseOperand(arguments, code, "an array", value);
  return value.asDocument();
}

/// Counted from the end below zero; missing where the array has no such element.
Value elementOf(View array, std::int64_t index) {
  if (index < 0) index += static_cast<std::int64_t>(array.count());
  for (const Element& element : array) {
    if (index-- == 0) return element.value;
  }
  return {};
}

Value elementAt(const Arguments& arguments) {
  if (arguments.anyNullish()) return nullValue();
  const View array = arrayOf(arguments, arguments[0], code::elementOfNoArray);
  if (!arguments[1].isNumber()) {
    refuseOperand(arguments, code::elementIndexNotANumber, "a number as the position", arguments[1]);
  }
  const auto index = exactInteger(arguments[1]);
  if (!index || *index < std::numeric_limits<std::int32_t>::min() ||
      *index > std::numeric_limits<std::int32_t>::max()) {
    refuseQuery(code::elementIndexNotAnInteger, "$arrayElemAt takes an int32 as the position", arguments.name);
  }
  return elementOf(array, *index);
}

template <int index>
Value elementAtEnd(const Arguments& arguments) {
  if (isNullish(arguments[0])) return nullValue();
  return elementOf(arrayOf(arguments, arguments[0], code::elementOfNoArray), index);
}

Value size(const Arguments& arguments) {
  const View array = arrayOf(arguments, arguments[0], code::sizeOfNoArray);
  return arguments.scratch.keepInt32(static_cast<std::int32_t>(array.count()));
}

Value isIn(const Arguments& arguments) {
  const View array = arrayOf(arguments, arguments[1], code::inWithoutArray);
  return booleanValue(std::any_of(array.begin(), array.end(), [&arguments](const Element& element) {
    return compareOperands(arguments[0], element.value) == 0;
  }));
}

constexpr std::array<FunctionOperator, 6> functions = {{
    {"$arrayElemAt", 2, 2, elementAt},
    {"$first", 1, 1, elementAtEnd<0>},
    {"$last", 1, 1, elementAtEnd<-1>},
    {"$size", 1, 1, size},
    {"$isArray", 1, 1, [](const Arguments& arguments) { return booleanValue(isArray(arguments[0])); }},
    {"$in", 2, 2, isIn},
}};

}  // namespace

ExpressionPtr parseArrayOperator(std::string_view name, const Value& operand, VariableScope& scope) {
  return parseFunctionOf(functions, name, operand, scope);
}

}  // namespace database_client::embedded
