// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "database_client/DataBaseClient.h"
#include "database_client/ElementReader.h"
#include "database_client/ObjectFilter.h"
#include "database_client/ObjectProperties.h"
#include "database_client/types.h"
#include "database_provider/export.h"

namespace database_provider {

using database_client::DataBaseClient;
using database_client::ElementReader;
using database_client::ObjectFilter;
using database_client::ObjectProperties;
using database_client::OperationType;
using database_client::PropertyType;
using database_client::Reader;

/// A database that the library knows. Its name in the store is the name of the constant.
enum class DatabaseType : int {
  base = 0,             ///< scenarios
  experiment = 1,       ///< experiments
  databaseManager = 2,  ///< where users are kept and authenticate
  undefinedDatabase = 3,
};

/// A role that a user can have on a database. Its name in the store is the name of the constant.
enum class DatabaseRoleType : int {
  read = 0,
  readWrite = 1,
  changeOwnPasswordCustomDataRole = 2,  ///< a role of the deployment: users change their own password and custom data
  undefinedRole = 3,
};

/// The kind of data source that an experiment record names. Stored in records: append, never renumber.
enum class SourceType : int {
  undefinedSource = 0,  ///< no source
  databaseSource = 1,
  dataServerSource = 2,
};

/// The kind of a file that a record refers to. Stored in records: append, never renumber.
enum class ObjectType : int {
  xmlObject = 1,
  mediaObject = 2,
  archiveObject = 3,
  documentObject = 4,
  extraXmlObject = 5,
};

/// The store's name of a database; empty for a value that is none of the enumeration.
DATABASE_PROVIDER_EXPORT std::string databaseTypeToString(DatabaseType type);
/// The database of this exact name; `DatabaseType::base` for any other name.
DATABASE_PROVIDER_EXPORT DatabaseType databaseNameToDatabaseType(const std::string& name);
/// The store's name of a role; empty for `undefinedRole` and for a value that is none of the enumeration.
DATABASE_PROVIDER_EXPORT std::string databaseRoleTypeToString(DatabaseRoleType type);
/// The role of this exact name; `DatabaseRoleType::read` for any other name.
DATABASE_PROVIDER_EXPORT DatabaseRoleType databaseRoleNameToDatabaseRoleType(const std::string& name);

}  // namespace database_provider
