// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "database_client/ObjectProperties.h"

namespace database_test {

/// A filter and what it selects of the records of `filterRecords`.
struct FilterRow {
  std::string name;
  std::string expected;  ///< ids with a blank between two
  /// The filter's query in several ways that must all select the same.
  std::function<std::vector<database_client::ObjectProperties>()> queries;
};

/// The records that the rows are about, with the ids "1" to "8".
const std::vector<const char*>& filterRecords();

const std::vector<FilterRow>& filterRows();

}  // namespace database_test
