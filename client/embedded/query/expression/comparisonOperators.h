// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "client/embedded/query/expression/Expression.h"

namespace database_client::embedded {

/// $eq $ne $lt $lte $gt $gte $cmp; null for any other name.
ExpressionPtr parseComparisonOperator(std::string_view name, const bson::Value& operand, VariableScope& scope);

/// The order of expressions: as `compare`, but what is missing equals undefined and lies below null.
int compareOperands(const bson::Value& left, const bson::Value& right);

}  // namespace database_client::embedded
