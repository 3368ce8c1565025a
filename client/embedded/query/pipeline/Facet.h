// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <vector>

#include "client/bson/View.h"
#include "client/embedded/query/pipeline/Stage.h"

namespace database_client::embedded {

/// What parses the stages of one sub-pipeline. $facet is given it, since a pipeline knows $facet among its stages and
/// could not be known by it in turn.
using StagesParser = std::function<std::vector<StagePtr>(bson::View stages)>;

/// $facet: each document goes into every sub-pipeline; one document comes out, when there are no more.
StagePtr parseFacet(const bson::Value& operand, const StagesParser& parseStages);

}  // namespace database_client::embedded
