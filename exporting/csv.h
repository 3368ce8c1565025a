// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "database_provider/export.h"

namespace database_provider::exporting {

/// Cells as a line of CSV with its end, as RFC 4180 wants it.
DATABASE_PROVIDER_EXPORT std::string csvLine(const std::vector<std::string>& cells);

}  // namespace database_provider::exporting
