// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "client/embedded/query/expression/Expression.h"

namespace database_client::embedded {

/// Those that bind variables: $let $map $filter; null for any other name.
ExpressionPtr parseBindingOperator(std::string_view name, const bson::Value& operand, VariableScope& scope);

}  // namespace database_client::embedded
