// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "client/embedded/query/expression/Expression.h"

namespace database_client::embedded {

/// $convert $toBool $toDate $toDouble $toInt $toLong $toObjectId $toString $type $isNumber; null for any other name.
///
/// Dates are neither made of texts nor turned into them, and nothing becomes a decimal128: Error{unsupported}.
ExpressionPtr parseConversionOperator(std::string_view name, const bson::Value& operand, VariableScope& scope);

}  // namespace database_client::embedded
