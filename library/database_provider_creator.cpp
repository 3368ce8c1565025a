// SPDX-License-Identifier: Apache-2.0
#include "database_provider/database_provider_creator.h"

#include "providers/database_experiment.h"
#include "providers/database_scenario.h"
#include "records/ExperimentDatabaseRecord.h"
#include "records/ScenarioDatabaseRecord.h"
#include "sources/database_source_info.h"
#include "sources/dataserver_source_info.h"
#include "users/UsersDatabase.h"

database_provider::DatabaseFilter* createFilter() {
  return new database_provider::DatabaseFilter;
}

database_provider::ExperimentDatabaseInterface* createExperimentDatabase() {
  return new database_provider::ExperimentDatabase;
}

database_provider::DatabaseProviderInterface* createScenarioDatabase() {
  return new database_provider::ScenarioDatabase;
}

database_provider::DatabaseSourceInfoInterface* createDatabaseSourceInfo() {
  return new database_provider::DatabaseSourceInfo;
}

database_provider::DataServerSourceInfoInterface* createDataServerSourceInfo() {
  return new database_provider::DataServerSourceInfo;
}

database_provider::ExperimentDatabaseRecordInterface* createExperimentDatabaseRecord() {
  return new database_provider::ExperimentDatabaseRecord;
}

database_provider::DatabaseRecordInterface* createScenarioDatabaseRecord() {
  return new database_provider::ScenarioDatabaseRecord;
}

database_provider::UsersDatabaseInterface* createUsersDatabase() {
  return new database_provider::UsersDatabase;
}
