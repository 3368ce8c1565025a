// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_provider/database_provider.h>

#include <functional>
#include <memory>
#include <string>

#include "records/layout.h"

namespace database_provider::recordctl {

enum class RecordKind { experiment, scenario };

/// Where the records of a kind are kept.
using RecordPlace = layout::Place;

const RecordPlace& placeOf(RecordKind kind);

/// The provider of a kind, working through `client`, which must outlive it.
std::unique_ptr<DatabaseProviderInterface> providerOf(RecordKind kind, DataBaseClient& client);

/// An empty record of a kind.
std::unique_ptr<DatabaseRecordInterface> newRecordOf(RecordKind kind);

/// The record of a document, which loses its "_id" to it.
struct StoredRecord {
  std::string id;
  std::unique_ptr<DatabaseRecordInterface> record;
};
StoredRecord recordOf(RecordKind kind, ObjectProperties&& document);

/// Which records are read: at most `limit` (0: all) of those selected, after the first `skip`.
struct RecordQuery {
  Selection selection{};
  int limit = 0;
  int skip = 0;
};

/// Hands over the records of a query, in the store's order, one at a time.
void forEachRecord(RecordKind kind, DataBaseClient& client, const RecordQuery& query,
                   const std::function<void(StoredRecord)>& receive);

/// As `forEachRecord`, the documents as they are stored. `projection` as in `DataBaseClient::find`.
void forEachDocument(RecordKind kind, DataBaseClient& client, const RecordQuery& query,
                     const ObjectProperties& projection, const std::function<void(ObjectProperties&)>& receive);

}  // namespace database_provider::recordctl
