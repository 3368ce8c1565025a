// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_provider/records.h>

#include <optional>
#include <string>

#include "tools/terminal/Table.h"

namespace database_provider::recordctl {

/// The value as a person reads it, and as an import reads it back; empty where there is none.
std::string valueText(const std::optional<Value>& value);
Table::Cell valueCell(const std::optional<Value>& value);
/// A computed number, with no more digits than somebody compares by eye.
Table::Cell figureCell(const std::optional<double>& figure);
std::string figureText(double figure);

// Put a value under a key, of its own kind; null where there is none.
void putValue(ObjectProperties& document, const std::string& key, const std::optional<Value>& value);
void putText(ObjectProperties& document, const std::string& key, const std::optional<std::string>& text);
void putNumber(ObjectProperties& document, const std::string& key, const std::optional<double>& number);

}  // namespace database_provider::recordctl
