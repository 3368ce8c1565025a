// SPDX-License-Identifier: Apache-2.0
#pragma once

// Where everything stands that the library keeps: the databases and collections, the keys of a record's document, and
// the paths by which queries, pipelines and indexes reach them. Persisted names: they are never changed.
//
//   database "experiment"       "records"               experiments
//   database "base"             "collection.scenarios"  scenarios
//   each of these two           "configuration"         one document: "categoriesNames": [ { "name", "order" } … ]
//   database "databaseManager"  "customization"         settings, one document for each pair of "user" and "tag"
//   database "admin"            "system.users"          the users, as the server keeps them
//
// A record's document:
//
//   document    = { user record } "recordInfo"
//   recordInfo  = "category" "description" "additionalData"      each absent until first written
//   category    = [ { "name": string, "value": string } … ]
//   description = [ { "name": string, "value": of the kind of "type", "type": int32, a PropertyType } … ]
//   additionalData = "files" "dataSource"
//   files       = [ { "fileId": string, "type": int32, an ObjectType, "host": string, "path": string } … ]
//   dataSource  = a serialized source, "type": int32, a SourceType
//
// The user record is every other key at the top.

namespace database_provider::layout {

/// A collection of the library's.
struct Place {
  const char* database;
  const char* collection;
};

inline constexpr Place experiments{"experiment", "records"};
inline constexpr Place scenarios{"base", "collection.scenarios"};
inline constexpr Place settings{"databaseManager", "customization"};
inline constexpr Place users{"admin", "system.users"};
/// Stands beside the records of either kind.
inline constexpr const char* configuration = "configuration";

namespace key {
inline constexpr const char* recordInfo = "recordInfo";
inline constexpr const char* category = "category";
inline constexpr const char* description = "description";
inline constexpr const char* additionalData = "additionalData";
inline constexpr const char* files = "files";
inline constexpr const char* dataSource = "dataSource";
inline constexpr const char* categoriesNames = "categoriesNames";
}  // namespace key

namespace path {
inline constexpr const char* category = "recordInfo.category";
inline constexpr const char* categoryName = "recordInfo.category.name";
inline constexpr const char* categoryValue = "recordInfo.category.value";
inline constexpr const char* description = "recordInfo.description";
inline constexpr const char* descriptionName = "recordInfo.description.name";
inline constexpr const char* descriptionValue = "recordInfo.description.value";
inline constexpr const char* descriptionType = "recordInfo.description.type";
inline constexpr const char* additionalData = "recordInfo.additionalData";
inline constexpr const char* files = "recordInfo.additionalData.files";
inline constexpr const char* dataSource = "recordInfo.additionalData.dataSource";
inline constexpr const char* dataSourceHost = "recordInfo.additionalData.dataSource.host";
inline constexpr const char* dataSourceType = "recordInfo.additionalData.dataSource.type";
}  // namespace path

}  // namespace database_provider::layout
