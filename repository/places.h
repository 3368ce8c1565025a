// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "database_provider/Record.h"
#include "records/layout.h"

namespace database_provider::repository {

/// Where the records of a kind are kept.
inline const layout::Place& placeOf(RecordKind kind) {
  return kind == RecordKind::experiment ? layout::experiments : layout::scenarios;
}

}  // namespace database_provider::repository
