// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "database_provider/Record.h"
#include "database_provider/database_provider_creator.h"
#include "records/layout.h"

/// What experiments and scenarios differ in.
namespace database_provider::repository {

/// Where the records of a kind are kept.
inline const layout::Place& placeOf(RecordKind kind) {
  return kind == RecordKind::experiment ? layout::experiments : layout::scenarios;
}

/// The provider of a kind, working through `client`, which must outlive it.
DATABASE_PROVIDER_EXPORT std::unique_ptr<DatabaseProviderInterface> providerOf(RecordKind kind, DataBaseClient& client);

/// An empty record of a kind.
DATABASE_PROVIDER_EXPORT std::unique_ptr<DatabaseRecordInterface> newRecordOf(RecordKind kind);

}  // namespace database_provider::repository
