// SPDX-License-Identifier: Apache-2.0
#include "providers/database_scenario.h"

#include "records/ScenarioDatabaseRecord.h"
#include "records/layout.h"

namespace database_provider {

ScenarioDatabase::ScenarioDatabase() : TypedProvider(layout::scenarios) {}

std::unique_ptr<DatabaseRecordInterface> ScenarioDatabase::createRecord() const {
  return std::make_unique<ScenarioDatabaseRecord>();
}

}  // namespace database_provider
