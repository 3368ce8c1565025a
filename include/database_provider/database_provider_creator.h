// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "database_provider/DataServerSourceInfoInterface.h"
#include "database_provider/DatabaseFilter.h"
#include "database_provider/DatabaseProviderInterface.h"
#include "database_provider/DatabaseSourceInfoInterface.h"
#include "database_provider/ExperimentDatabaseInterface.h"
#include "database_provider/ExperimentDatabaseRecordInterface.h"
#include "database_provider/UsersDatabaseInterface.h"

// The factories, found under their plain names by programs that open the library at run time. Each returns a new
// object, never null, which the caller deletes. They may be called from any thread.
extern "C" {

/// An empty filter.
DATABASE_PROVIDER_EXPORT database_provider::DatabaseFilter* createFilter();
/// The experiments, not connected: database "experiment", collection "records".
DATABASE_PROVIDER_EXPORT database_provider::ExperimentDatabaseInterface* createExperimentDatabase();
/// The scenarios, not connected: database "base", collection "collection.scenarios".
DATABASE_PROVIDER_EXPORT database_provider::DatabaseProviderInterface* createScenarioDatabase();
DATABASE_PROVIDER_EXPORT database_provider::DatabaseSourceInfoInterface* createDatabaseSourceInfo();
DATABASE_PROVIDER_EXPORT database_provider::DataServerSourceInfoInterface* createDataServerSourceInfo();
DATABASE_PROVIDER_EXPORT database_provider::ExperimentDatabaseRecordInterface* createExperimentDatabaseRecord();
DATABASE_PROVIDER_EXPORT database_provider::DatabaseRecordInterface* createScenarioDatabaseRecord();
/// The users, not connected.
DATABASE_PROVIDER_EXPORT database_provider::UsersDatabaseInterface* createUsersDatabase();

}  // extern "C"
