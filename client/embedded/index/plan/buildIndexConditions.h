// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/embedded/index/items/ItemPaths.h"
#include "client/embedded/index/plan/IndexCondition.h"
#include "client/embedded/index/plan/TermScan.h"
#include "client/embedded/query/match/Query.h"

namespace database_client::embedded::index {

/// What the index can answer of `query`; null when it is of no use for it. `query`, `paths` and `scan` must outlive the
/// result.
IndexConditionPtr buildIndexConditions(const Query& query, const ItemPaths& paths, const TermScan& scan);

}  // namespace database_client::embedded::index
