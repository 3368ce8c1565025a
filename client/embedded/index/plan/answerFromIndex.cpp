// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/plan/answerFromIndex.h"

#include <memory>
#include <utility>
#include <vector>

#include "client/embedded/index/plan/FigureAggregator.h"
#include "client/embedded/index/plan/ItemStatistics.h"
#include "client/embedded/index/plan/RecordSorter.h"
#include "client/embedded/index/plan/recogniseItemPipelines.h"

namespace database_client::embedded {

using bson::viewOf;

namespace {

using Documents = std::vector<std::vector<bson::Byte>>;

// A source may be copied, what it gives need not be.

Pipeline::Source sourceOf(Documents&& documents) {
  return [given = std::make_shared<const Documents>(std::move(documents))](const Pipeline::Receiver& take) {
    for (const auto& document : *given) {
      if (!take(viewOf(document))) return;
    }
  };
}

Pipeline::Source sourceOf(ItemCounts&& counts) {
  return [given = std::make_shared<const ItemCounts>(std::move(counts))](const Pipeline::Receiver& take) {
    given->groups.give(given->countKey, [&take](std::vector<bson::Byte>&& group) { return take(viewOf(group)); });
  };
}

}  // namespace

IndexAnswer answerFromIndex(ItemIndex& index, const Pipeline& pipeline, const DocumentSource& documents) {
  if (const auto pattern = index::recogniseSortedRecords(pipeline)) {
    auto records = RecordSorter(index, *pattern, documents).run();
    return records ? IndexAnswer{pattern->answered, sourceOf(std::move(*records))} : IndexAnswer();
  }
  if (const auto pattern = index::recogniseGroupedFigures(pipeline)) {
    auto groups = FigureAggregator(index, *pattern, documents).run();
    return groups ? IndexAnswer{pattern->answered, sourceOf(std::move(*groups))} : IndexAnswer();
  }
  ItemCounts counts = countItems(index, pipeline, documents);
  const std::size_t answered = counts.stages;
  return answered > 0 ? IndexAnswer{answered, sourceOf(std::move(counts))} : IndexAnswer();
}

}  // namespace database_client::embedded
