// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "client/bson/View.h"

namespace database_client::embedded::index {

/// The beginning of a pipeline that counts items, taken apart.
struct StatisticsPattern {
  enum class Kind { none, namesAndTypes, values };

  Kind kind = Kind::none;
  bool hasFilter = false;
  bson::View filter;      ///< of a $match before the others
  std::string path;       ///< the array of items
  bson::View nameFilter;  ///< {name: …} of the $match in between, for `values`
  std::string countKey;   ///< what the count is called
  std::vector<bson::Element> stages;
  std::size_t answered = 0;  ///< how many stages the counters stand for
};

/// Recognises the two aggregations by their exact form.
StatisticsPattern recogniseStatistics(bson::View stages);

}  // namespace database_client::embedded::index
