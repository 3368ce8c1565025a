// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/expression/comparisonOperators.h"

#include "client/embedded/query/expression/FunctionCall.h"

namespace database_client::embedded {

using bson::Type;
using bson::Value;

namespace {

constexpr bson::Byte noByte[1] = {};

int order(const Arguments& arguments) {
  return compareOperands(arguments[0], arguments[1]);
}

constexpr std::array<FunctionOperator, 7> functions = {{
    {"$eq", 2, 2, [](const Arguments& arguments) { return booleanValue(order(arguments) == 0); }},
    {"$ne", 2, 2, [](const Arguments& arguments) { return booleanValue(order(arguments) != 0); }},
    {"$lt", 2, 2, [](const Arguments& arguments) { return booleanValue(order(arguments) < 0); }},
    {"$lte", 2, 2, [](const Arguments& arguments) { return booleanValue(order(arguments) <= 0); }},
    {"$gt", 2, 2, [](const Arguments& arguments) { return booleanValue(order(arguments) > 0); }},
    {"$gte", 2, 2, [](const Arguments& arguments) { return booleanValue(order(arguments) >= 0); }},
    {"$cmp", 2, 2,
     [](const Arguments& arguments) {
       const int result = order(arguments);
       return arguments.scratch.keepInt32((result > 0) - (result < 0));
     }},
}};

}  // namespace

int compareOperands(const Value& left, const Value& right) {
  constexpr Value undefined{Type::undefined, noByte, 0};
  return compare(isMissing(left) ? undefined : left, isMissing(right) ? undefined : right);
}

ExpressionPtr parseComparisonOperator(std::string_view name, const Value& operand, VariableScope& scope) {
  return parseFunctionOf(functions, name, operand, scope);
}

}  // namespace database_client::embedded
