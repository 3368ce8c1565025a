// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>

#include "client/bson/View.h"
#include "client/embedded/query/pipeline/Stage.h"

namespace database_client::embedded {

/// The stages that hold nothing but a number: $match $project $addFields $set $unset $replaceRoot $replaceWith $limit
/// $skip $count; null for any other name.
StagePtr parseSimpleStage(std::string_view name, const bson::Value& operand);

/// Operands of $limit and $skip.
std::int64_t parseLimit(const bson::Value& operand);
std::int64_t parseSkip(const bson::Value& operand);

}  // namespace database_client::embedded
