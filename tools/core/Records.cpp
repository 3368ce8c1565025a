// SPDX-License-Identifier: Apache-2.0
#include "tools/core/Records.h"

#include <utility>

#include "tools/terminal/Interrupt.h"

namespace database_provider::recordctl {

const RecordPlace& placeOf(RecordKind kind) {
  return kind == RecordKind::experiment ? layout::experiments : layout::scenarios;
}

std::unique_ptr<DatabaseProviderInterface> providerOf(RecordKind kind, DataBaseClient& client) {
  std::unique_ptr<DatabaseProviderInterface> result;
  if (kind == RecordKind::experiment)
    result.reset(createExperimentDatabase());
  else
    result.reset(createScenarioDatabase());
  result->setDatabaseClient(&client);
  return result;
}

std::unique_ptr<DatabaseRecordInterface> newRecordOf(RecordKind kind) {
  if (kind == RecordKind::experiment) return std::unique_ptr<DatabaseRecordInterface>(createExperimentDatabaseRecord());
  return std::unique_ptr<DatabaseRecordInterface>(createScenarioDatabaseRecord());
}

StoredRecord recordOf(RecordKind kind, ObjectProperties&& document) {
  StoredRecord result{document.valueAsId("_id", ""), newRecordOf(kind)};
  auto owned = std::make_unique<ObjectProperties>(std::move(document));
  owned->removeKey("_id");
  result.record->setD(owned.release());
  return result;
}

void forEachDocument(RecordKind kind, DataBaseClient& client, const RecordQuery& query,
                     const ObjectProperties& projection, const std::function<void(ObjectProperties&)>& receive) {
  const RecordPlace place = placeOf(kind);
  client.findEach(place.database, place.collection, query.selection.query(), projection, query.limit, query.skip,
                  [&](ObjectProperties& document) {
                    checkInterrupt();
                    receive(document);
                    return true;
                  });
}

void forEachRecord(RecordKind kind, DataBaseClient& client, const RecordQuery& query,
                   const std::function<void(StoredRecord)>& receive) {
  forEachDocument(kind, client, query, ObjectProperties(),
                  [&](ObjectProperties& document) { receive(recordOf(kind, std::move(document))); });
}

}  // namespace database_provider::recordctl
