// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/plan/selectRecords.h"

#include <utility>

#include "client/embedded/index/plan/Planner.h"
#include "client/embedded/index/plan/cost.h"
#include "client/embedded/query/match/Matcher.h"

namespace database_client::embedded {

std::optional<RecordSet> selectRecords(ItemIndex& index, bson::View condition, const DocumentSource& documents) {
  const Matcher matcher(condition);
  Plan plan = embedded::plan(index, matcher.query(), {documents.last, 0, false});
  if (!plan.usesIndex) return std::nullopt;
  const std::uint64_t unsure = plan.maybe.count();
  if (index::cost::reading(unsure) > index::cost::scanning(static_cast<double>(documents.last))) return std::nullopt;
  for (auto record = plan.maybe.next(0); record; record = plan.maybe.next(*record + 1)) {
    const bson::View document = documents.read(*record);
    if (document.data != nullptr && matcher.matches(document)) plan.sure.add(*record);
  }
  return std::move(plan.sure);
}

}  // namespace database_client::embedded
