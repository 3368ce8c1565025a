// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>

#include "database_provider/Record.h"

namespace database_provider::repository {

/// The value as a person reads it, and as an import reads it back; empty where there is none.
DATABASE_PROVIDER_EXPORT std::string valueText(const std::optional<Value>& value);

}  // namespace database_provider::repository
