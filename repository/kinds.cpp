// SPDX-License-Identifier: Apache-2.0
#include "repository/kinds.h"

namespace database_provider::repository {

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

}  // namespace database_provider::repository
