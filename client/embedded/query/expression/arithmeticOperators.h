// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "client/embedded/query/expression/Expression.h"

namespace database_client::embedded {

/// $add $subtract $multiply $divide $mod $abs $floor $ceil $round $trunc; null for any other name. Null and missing
/// give null.
ExpressionPtr parseArithmeticOperator(std::string_view name, const bson::Value& operand, VariableScope& scope);

}  // namespace database_client::embedded
