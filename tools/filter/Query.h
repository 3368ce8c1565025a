// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_provider/database_provider.h>

#include <string>

#include "tools/filter/Expression.h"

namespace database_provider::recordctl {

/// The query document that selects the records for which the expression holds.
ObjectProperties queryOf(const Expression& expression);

/// The filter of a text. Throws `FilterError`.
DatabaseFilter filterOf(const std::string& text);

}  // namespace database_provider::recordctl
