// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "database_provider/Record.h"

namespace database_provider::repository {

/// The integer that a number is without loss; nothing for what is no number.
std::optional<std::int64_t> exactInteger(const Value& value);

/// The value as one of another type: a text that stands for a number, a boolean or a time (ISO 8601) as that, a number
/// as one of another kind where nothing is lost (a zero keeps its sign), everything as a text. Nothing for anything
/// else.
std::optional<Value> converted(const Value& value, PropertyType type);

/// The name of a kind of values, as messages write it ("a text").
std::string kindNameOf(PropertyType type);

}  // namespace database_provider::repository
