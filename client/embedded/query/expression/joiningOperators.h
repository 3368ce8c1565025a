// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>
#include <vector>

#include "client/embedded/query/expression/Expression.h"

namespace database_client::embedded {

/// $concat $concatArrays $mergeObjects; null for any other name.
ExpressionPtr parseJoiningOperator(std::string_view name, const bson::Value& operand, VariableScope& scope);

/// The fields of both; one of `right` takes the place of that of `left` with the same name.
std::vector<bson::Byte> mergedDocument(bson::View left, bson::View right);

}  // namespace database_client::embedded
