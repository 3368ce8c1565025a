// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_provider/database_provider.h>

#include "selection/Expression.h"

namespace database_provider::selection {

/// The query document that selects the records for which the expression holds.
DATABASE_PROVIDER_EXPORT ObjectProperties queryOf(const Expression& expression);

}  // namespace database_provider::selection
