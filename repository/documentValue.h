// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_client/ElementReader.h>

#include <optional>
#include <string>

#include "database_provider/Record.h"

namespace database_provider::repository {

/// The value at hand, if it is of a kind that descriptions have.
std::optional<Value> valueOf(const ElementReader& element);

/// The value under a key of the document's current level, if it is of a kind that descriptions have.
std::optional<Value> valueAt(const ObjectProperties& document, const std::string& key);

}  // namespace database_provider::repository
