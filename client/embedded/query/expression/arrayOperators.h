// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "client/embedded/query/expression/Expression.h"

namespace database_client::embedded {

/// $arrayElemAt $first $last $size $isArray $in; null for any other name.
ExpressionPtr parseArrayOperator(std::string_view name, const bson::Value& operand, VariableScope& scope);

}  // namespace database_client::embedded
