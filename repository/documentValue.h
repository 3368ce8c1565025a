// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_client/ElementReader.h>

#include <optional>
#include <string>

#include "database_provider/Record.h"

namespace database_provider::repository {

/// The value at hand, if it is of a kind that descriptions have.
std::optional<Value> valueOf(const ElementReader& element);

/// Puts a value under a key of the document's current level, of its own kind; null where there is none.
DATABASE_PROVIDER_EXPORT void putValue(ObjectProperties& document, const std::string& key,
                                       const std::optional<Value>& value);

/// The value under a key of the document's current level, if it is of a kind that descriptions have.
std::optional<Value> valueAt(const ObjectProperties& document, const std::string& key);

/// The kind that a value has in a document.
PropertyType typeOf(const Value& value);

}  // namespace database_provider::repository
