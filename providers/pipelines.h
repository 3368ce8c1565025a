// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "database_provider/types.h"

namespace database_provider {

/// The aggregation that groups the descriptions of all records by name and type: {"_id": {"name", "type"}, "count"}.
ObjectProperties descriptionsNamesPipeline();

/// The aggregation that counts the entries of a category by value: {"_id": value, "count"}. `name` is a regular
/// expression for the whole name, whatever its letter case.
ObjectProperties categoriesStatisticsPipeline(const std::string& name);

}  // namespace database_provider
