// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "client/embedded/query/expression/Expression.h"

namespace database_client::embedded {

/// $and $or $not $cond $ifNull $switch; null for any other name. They evaluate no more operands than they need.
ExpressionPtr parseConditionalOperator(std::string_view name, const bson::Value& operand, VariableScope& scope);

}  // namespace database_client::embedded
