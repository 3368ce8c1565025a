// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_provider/database_provider.h>

#include <string>
#include <vector>

#include "tools/core/Records.h"
#include "tools/terminal/Table.h"

namespace database_provider::recordctl {

/// The value of a description as a person reads it; empty where there is none.
Table::Cell descriptionCell(const DatabaseRecordInterface& record, const std::string& name);

/// Puts a description under `name` of a document, of the kind that it has.
void putDescription(ObjectProperties& document, const DatabaseRecordInterface& record, const std::string& name);

/// The name of a description's kind: string, bool, int, long, double or time.
std::string typeName(PropertyType type);

std::vector<std::string> categoryNames(const DatabaseRecordInterface& record);
std::vector<std::string> descriptionNames(const DatabaseRecordInterface& record);

}  // namespace database_provider::recordctl
