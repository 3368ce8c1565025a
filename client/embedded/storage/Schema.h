// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "client/embedded/sqlite/Connection.h"

/// The tables of a store file; docs/file-format.md tells what is in them.
namespace database_client::embedded::schema {

/// In the header of the file: "dbps".
constexpr std::int64_t applicationId = 0x64627073;
/// The version that this library writes. A newer one is refused, an older one migrated.
constexpr std::int64_t version = 2;
constexpr int pageSize = 8192;

/// One step of a migration, which makes a file of `from` one of the next version: the statements, then the change.
struct Migration {
  std::int64_t from;
  std::vector<std::string> statements;
  std::function<void(sqlite::Connection&)> change{};
};

/// The version that the file has.
std::int64_t versionOf(sqlite::Connection& connection);
std::string documentsTable(std::int64_t collection);
/// Makes the tables of one more collection.
void createCollection(sqlite::Connection& connection, std::int64_t collection);

/// Makes an empty file a store, in the transaction that is open.
void create(sqlite::Connection& connection);
/// Brings a store of an older version to `target`, in one transaction.
void migrate(sqlite::Connection& connection, const std::vector<Migration>& steps, std::int64_t target);
/// The steps that lead to `version`.
const std::vector<Migration>& migrations();
/// Throws Error{storage} unless the file holds exactly the tables of a store of its version.
void verify(sqlite::Connection& connection);

}  // namespace database_client::embedded::schema
