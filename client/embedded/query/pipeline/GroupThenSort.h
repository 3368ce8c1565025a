// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/bson/View.h"
#include "client/embedded/query/pipeline/Stage.h"

/// Stages that stand for a $group and a $sort behind it.
namespace database_client::embedded {

/// $sortByCount: by the operand with a count, from the greatest count on.
StagePtr parseSortByCount(const bson::Value& operand);
/// $bucket: by the boundary at or below an expression, in their order.
StagePtr parseBucket(const bson::Value& operand);

}  // namespace database_client::embedded
