// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "client/embedded/query/expression/Expression.h"

namespace database_client::embedded {

/// $sum $avg $min $max $stdDevPop $stdDevSamp over their operands, or over the elements of a single one that is an
/// array; null for any other name. They pass over what the accumulators of $group pass over.
ExpressionPtr parseAccumulatingOperator(std::string_view name, const bson::Value& operand, VariableScope& scope);

}  // namespace database_client::embedded
