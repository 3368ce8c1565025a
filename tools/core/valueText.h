// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_provider/records.h>

#include <optional>
#include <string>

#include "repository/documentValue.h"
#include "repository/valueText.h"
#include "tools/terminal/Table.h"

namespace database_provider::recordctl {

using repository::putValue;
using repository::valueText;

Table::Cell valueCell(const std::optional<Value>& value);
/// A computed number, with no more digits than somebody compares by eye.
Table::Cell figureCell(const std::optional<double>& figure);
std::string figureText(double figure);

// Put a value under a key; null where there is none.
void putText(ObjectProperties& document, const std::string& key, const std::optional<std::string>& text);
void putNumber(ObjectProperties& document, const std::string& key, const std::optional<double>& number);

}  // namespace database_provider::recordctl
