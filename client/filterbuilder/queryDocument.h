// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>
#include <vector>

#include "client/bson/View.h"
#include "client/filterbuilder/FilterBuilder.h"

namespace database_client::filter {

/// The query document of a filter. Throws Error{document} beyond 100 levels or 16 MiB.
std::vector<bson::Byte> toQuery(const FilterBuilder& filter);

/// Adds the conditions of a query document one by one.
void addQuery(FilterBuilder& filter, bson::View query);

/// Parts the conditions of the outermost level: those on `key` go to `taken`, all others to `kept`. Throws
/// Error{document} beyond 100 groups in each other.
void split(const FilterBuilder& filter, std::string_view key, FilterBuilder& kept, FilterBuilder& taken);

}  // namespace database_client::filter
