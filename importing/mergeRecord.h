// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

#include "database_provider/Record.h"

namespace database_provider::importing {

/// Sets in a stored document what a record has: categories, descriptions, files, its source and its user block. The
/// rest stays as it is, in its place, and so does what already has the value. Empty texts and nulls of the user block
/// change nothing. A description for which `hasKind` is false keeps its kind where the value is written in the same
/// way.
void mergeRecord(RecordKind kind, ObjectProperties& document, const Record& record,
                 const std::function<bool(const std::string& name)>& hasKind);

/// Makes of a stored document that of a record, under its own "_id".
void replaceRecord(ObjectProperties& document, const Record& record);

}  // namespace database_provider::importing
