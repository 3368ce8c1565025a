// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

#include "client/bson/View.h"
#include "client/embedded/query/match/Matcher.h"
#include "client/embedded/query/pipeline/Pipeline.h"

namespace database_client::embedded::index {

/// The beginning of a pipeline that counts items, taken apart.
struct StatisticsPattern {
  enum class Kind { none, namesAndTypes, values };

  Kind kind = Kind::none;
  const Matcher* filter = nullptr;      ///< of a $match before the others, as `filterOf` tells it
  std::string path;                     ///< the array of items
  const Matcher* nameFilter = nullptr;  ///< {name: …} of the $match in between, for `values`
  std::string countKey;                 ///< what the count is called
  std::size_t first = 0;                ///< the stage behind that of the filter
  std::size_t answered = 0;             ///< how many stages the counters stand for
};

/// Recognises the two aggregations by their exact form.
StatisticsPattern recogniseStatistics(const Pipeline& pipeline);

}  // namespace database_client::embedded::index
