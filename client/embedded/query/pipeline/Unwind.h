// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/bson/View.h"
#include "client/embedded/query/pipeline/Stage.h"

namespace database_client::embedded {

/// $unwind.
StagePtr parseUnwind(const bson::Value& operand);

}  // namespace database_client::embedded
