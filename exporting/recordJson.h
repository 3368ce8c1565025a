// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "exporting/RecordColumns.h"

namespace database_provider::exporting {

/// A record as other programs read it: {"id", "created", "categories": {}, "descriptions": {}}, with what the columns
/// name, or with everything where there are none.
DATABASE_PROVIDER_EXPORT ObjectProperties recordJson(const Record& record, const RecordColumns* columns = nullptr);

}  // namespace database_provider::exporting
