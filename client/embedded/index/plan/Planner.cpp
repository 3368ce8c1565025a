// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/plan/Planner.h"

#include <algorithm>

#include "client/embedded/index/plan/buildIndexConditions.h"
#include "client/embedded/index/plan/cost.h"

namespace database_client::embedded {

namespace {

std::string describe(const index::IndexCondition& condition) {
  std::vector<std::string> paths;
  condition.describe(paths);
  std::sort(paths.begin(), paths.end());
  paths.erase(std::unique(paths.begin(), paths.end()), paths.end());
  std::string text;
  for (const std::string& path : paths) text += (text.empty() ? "items(" : " and items(") + path + ")";
  return text;
}

/// Whether reading the documents in order is likely to be faster.
bool scanIsCheaper(std::uint64_t estimate, const PlannerHints& hints) {
  // Who only counts reads no document by way of the index, but all of them in a scan.
  if (!hints.documentsAreRead) return false;
  const auto documents = static_cast<double>(hints.documents);
  const auto matches = static_cast<double>(std::max<std::uint64_t>(estimate, 1));
  const bool all = hints.wanted == 0 || hints.wanted >= estimate;
  // Of evenly spread matches a page is full after its share of the documents. The index has to collect all record
  // numbers all the same before it gives the first.
  const double scanned = all ? documents : static_cast<double>(hints.wanted) * documents / matches;
  const std::uint64_t fetched = all ? estimate : hints.wanted;
  return index::cost::scanning(std::min(scanned, documents)) <
         index::cost::collecting(estimate) + index::cost::reading(fetched);
}

}  // namespace

std::optional<Plan::Candidate> Plan::next(RecordNumber after) const {
  const auto known = sure.next(after + 1);
  const auto possible = maybe.next(after + 1);
  if (!known && !possible) return std::nullopt;
  if (known && (!possible || *known < *possible)) return Candidate{*known, false};
  return Candidate{*possible, true};
}

Plan plan(ItemIndex& index, const Query& query, const PlannerHints& hints) {
  const ItemPaths& paths = index.flushAndSnapshot().paths;
  const index::TermScan scan(index);
  Plan plan;
  const index::IndexConditionPtr condition = index::buildIndexConditions(query, paths, scan);
  if (!condition) return plan;
  plan.estimate = std::min(condition->estimate(), hints.documents);
  if (scanIsCheaper(plan.estimate, hints)) return plan;
  index::RecordMatches matches = condition->matches();
  plan.usesIndex = true;
  plan.description = describe(*condition);
  plan.sure = std::move(matches.sure);
  plan.maybe = std::move(matches.maybe);
  return plan;
}

}  // namespace database_client::embedded
