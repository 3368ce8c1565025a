#include "providers/database_scenario.h"

#include "records/ScenarioDatabaseRecord.h"

namespace database_provider {

ScenarioDatabase::ScenarioDatabase() : TypedProvider("base", "collection.scenarios") {}

std::unique_ptr<DatabaseRecordInterface> ScenarioDatabase::createRecord() const {
  return std::make_unique<ScenarioDatabaseRecord>();
}

}  // namespace database_provider
