// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/plan/selectRecords.h"

#include <utility>

#include "client/embedded/index/plan/Planner.h"
#include "client/embedded/index/plan/cost.h"

namespace database_client::embedded {

std::optional<RecordSet> selectRecords(ItemIndex& index, const Matcher& condition, const DocumentSource& documents) {
  Plan plan = embedded::plan(index, condition.query(), {documents.last, 0, false});
  if (!plan.usesIndex) return std::nullopt;
  const std::uint64_t unsure = plan.maybe.count();
  if (index::cost::reading(unsure) > index::cost::scanning(static_cast<double>(documents.last))) return std::nullopt;
  for (auto record = plan.maybe.next(0); record; record = plan.maybe.next(*record + 1)) {
    const bson::View document = documents.read(*record);
    if (document.data != nullptr && condition.matches(document)) plan.sure.add(*record);
  }
  return std::move(plan.sure);
}

}  // namespace database_client::embedded
