// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/bson/View.h"
#include "client/embedded/query/pipeline/Stage.h"

namespace database_client::embedded {

/// $group. Holds a state for each group, never the documents.
StagePtr parseGroup(const bson::Value& operand);

}  // namespace database_client::embedded
