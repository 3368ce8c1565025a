// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <string_view>
#include <vector>

#include "client/embedded/query/expression/Expression.h"
#include "client/embedded/query/expression/VariableScope.h"
#include "client/embedded/query/values/compare.h"

namespace database_client::embedded {

/// The values of the operands of one call, and room for its result.
struct Arguments {
  std::string_view name;  ///< of the operator
  const bson::Value* values;
  std::size_t count;
  Scratch& scratch;

  const bson::Value& operator[](std::size_t at) const { return values[at]; }
  const bson::Value* begin() const { return values; }
  const bson::Value* end() const { return values + count; }
  bool anyNullish() const { return std::any_of(begin(), end(), isNullish); }
};

/// An operator that is a function of the values of all its operands.
struct FunctionOperator {
  std::string_view name;
  std::size_t minimum;
  std::size_t maximum;
  bson::Value (*function)(const Arguments& arguments);
};
constexpr std::size_t anyNumber = std::numeric_limits<std::size_t>::max();

/// A node that calls the function. Throws Error{query} for a number of operands that it does not take.
ExpressionPtr parseFunctionCall(const FunctionOperator& function, const bson::Value& operand, VariableScope& scope);

/// The call of the operator of this name in a table; null when it is not there.
template <std::size_t size>
ExpressionPtr parseFunctionOf(const std::array<FunctionOperator, size>& table, std::string_view name,
                              const bson::Value& operand, VariableScope& scope) {
  const auto found = std::find_if(table.begin(), table.end(),
                                  [name](const FunctionOperator& function) { return function.name == name; });
  return found == table.end() ? nullptr : parseFunctionCall(*found, operand, scope);
}

/// The operands of an operator: the elements of an array, or the one that stands there without.
std::vector<ExpressionPtr> parseOperands(const bson::Value& operand, VariableScope& scope);
/// Throws Error{query}, as a server counts.
void checkOperandCount(std::string_view name, std::size_t count, std::size_t minimum, std::size_t maximum);
bool areConstant(const std::vector<ExpressionPtr>& operands);

/// Throws Error{query}: the operator takes `taken`, and not this value, which may be missing.
[[noreturn]] void refuseOperand(const Arguments& arguments, int code, const char* taken, const bson::Value& value);

}  // namespace database_client::embedded
