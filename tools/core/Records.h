// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_provider/database_provider.h>
#include <database_provider/records.h>

#include <memory>

#include "records/layout.h"

namespace database_provider::recordctl {

/// Where the records of a kind are kept.
using RecordPlace = layout::Place;

const RecordPlace& placeOf(RecordKind kind);

/// The provider of a kind, working through `client`, which must outlive it.
std::unique_ptr<DatabaseProviderInterface> providerOf(RecordKind kind, DataBaseClient& client);

/// An empty record of a kind.
std::unique_ptr<DatabaseRecordInterface> newRecordOf(RecordKind kind);

}  // namespace database_provider::recordctl
