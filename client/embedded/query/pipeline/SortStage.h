// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>

#include "client/bson/View.h"
#include "client/embedded/query/pipeline/Stage.h"

namespace database_client::embedded {

/// $sort. `kept`: how many of the first documents are ever asked for; only these are held.
StagePtr parseSort(const bson::Value& operand, std::optional<std::size_t> kept);

}  // namespace database_client::embedded
