// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/expression/accumulatingOperators.h"

#include "client/embedded/query/expression/FunctionCall.h"
#include "client/embedded/query/values/NumberSum.h"
#include "client/embedded/query/values/StandardDeviation.h"

namespace database_client::embedded {

using bson::Element;
using bson::Value;

namespace {

template <class Take>
void forEachValue(const Arguments& arguments, const Take& take) {
  if (arguments.count == 1 && !isMissing(arguments[0]) && arguments[0].isArray()) {
    for (const Element& element : arguments[0].asDocument()) take(element.value);
  } else {
    for (const Value& value : arguments) take(value);
  }
}

Value sum(const Arguments& arguments) {
  NumberSum sum;
  forEachValue(arguments, [&sum](const Value& value) { sum.add(value); });
  return sum.total(arguments.scratch.room());
}

Value average(const Arguments& arguments) {
  NumberSum sum;
  forEachValue(arguments, [&sum](const Value& value) { sum.add(value); });
  return sum.average(arguments.scratch.room());
}

/// The first of the least values with a sign of 1, of the greatest with -1; null without any.
template <int sign>
Value extreme(const Arguments& arguments) {
  Value best;
  forEachValue(arguments, [&best](const Value& value) {
    if (!isNullish(value) && (isMissing(best) || compare(value, best) * sign < 0)) best = value;
  });
  return isMissing(best) ? nullValue() : best;
}

template <StandardDeviation::Of of>
Value standardDeviation(const Arguments& arguments) {
  StandardDeviation deviation;
  forEachValue(arguments, [&deviation](const Value& value) { deviation.add(value); });
  const auto result = deviation.result(of);
  return result ? arguments.scratch.keepDouble(*result) : nullValue();
}

constexpr std::array<FunctionOperator, 6> functions = {{
    {"$sum", 0, anyNumber, sum},
    {"$avg", 0, anyNumber, average},
    {"$min", 0, anyNumber, extreme<1>},
    {"$max", 0, anyNumber, extreme<-1>},
    {"$stdDevPop", 0, anyNumber, standardDeviation<StandardDeviation::Of::population>},
    {"$stdDevSamp", 0, anyNumber, standardDeviation<StandardDeviation::Of::sample>},
}};

}  // namespace

ExpressionPtr parseAccumulatingOperator(std::string_view name, const Value& operand, VariableScope& scope) {
  return parseFunctionOf(functions, name, operand, scope);
}

}  // namespace database_client::embedded
