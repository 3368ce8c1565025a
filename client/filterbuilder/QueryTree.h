// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "client/bson/Buffer.h"
#include "client/bson/View.h"
#include "client/filterbuilder/Steps.h"

namespace database_client::filter {

/// The query document of the steps. Throws Error{document} beyond 100 levels or 16 MiB.
bson::Buffer toQuery(const Steps& steps);

/// Adds the conditions of a query document one by one.
void addDocument(Steps& steps, bson::View query);

/// Parts the conditions of the outermost level: those on `key` go to `taken`, all others to `kept`.
void split(const Steps& steps, std::string_view key, Steps& kept, Steps& taken);

}  // namespace database_client::filter
