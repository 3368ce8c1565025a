// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/storage/Schema.h"

#include <algorithm>
#include <map>

#include "client/embedded/sqlite/Transaction.h"
#include "client/embedded/storage/generation.h"
#include "database_client/Error.h"

namespace database_client::embedded::schema {

namespace {

using sqlite::Connection;

/// Name and text of the tables that every store has. SQLite keeps the text as written here, and `verify` compares.
const std::map<std::string, std::string>& storeTables() {
  static const std::map<std::string, std::string> tables = {
      {"collections",
       "CREATE TABLE collections(number INTEGER PRIMARY KEY, database TEXT NOT NULL, name TEXT NOT NULL, "
       "UNIQUE(database, name))"},
      {"blobs", "CREATE TABLE blobs(key INTEGER PRIMARY KEY, bytes BLOB NOT NULL)"},
  };
  return tables;
}

std::string documentsText(std::int64_t collection) {
  return "CREATE TABLE " + documentsTable(collection) +
         "(rid INTEGER PRIMARY KEY, id BLOB NOT NULL UNIQUE, sum INTEGER NOT NULL, body BLOB NOT NULL)";
}

[[noreturn]] void refuse(const Connection& connection, const std::string& why) {
  throw Error(Error::Kind::storage, "store " + connection.file() + ": " + why, {connection.file()});
}

std::map<std::string, std::string> expectedTables(Connection& connection) {
  // The number of a collection is read as a number, so that no text of the file gets into the name of a table.
  std::map<std::string, std::string> expected = storeTables();
  auto numbers = connection.statement("SELECT number FROM collections");
  while (numbers.step()) expected.emplace(documentsTable(numbers.integer(0)), documentsText(numbers.integer(0)));
  return expected;
}

std::map<std::string, std::string> presentTables(Connection& connection) {
  std::map<std::string, std::string> present;
  // What SQLite makes for a UNIQUE has no text; the statistics of its planner are harmless.
  auto rows = connection.statement(
      "SELECT name, sql FROM sqlite_schema WHERE NOT (type = 'index' AND sql IS NULL) "
      "AND NOT (type = 'table' AND name IN ('sqlite_stat1', 'sqlite_stat4'))");
  while (rows.step()) present.emplace(rows.text(0), rows.text(1));
  return present;
}

void setVersion(Connection& connection, std::int64_t number) {
  const std::int64_t before = connection.integer("PRAGMA user_version");
  connection.execute("PRAGMA user_version=" + std::to_string(generation::withVersion(before, number)));
}

}  // namespace

std::string documentsTable(std::int64_t collection) {
  return "documents_" + std::to_string(collection);
}

std::int64_t versionOf(Connection& connection) {
  return generation::versionIn(connection.integer("PRAGMA user_version"));
}

void createCollection(Connection& connection, std::int64_t collection) {
  connection.execute(documentsText(collection));
}

void create(Connection& connection) {
  for (const auto& [name, text] : storeTables()) connection.execute(text);
  connection.execute("PRAGMA application_id=" + std::to_string(applicationId));
  setVersion(connection, version);
}

void migrate(Connection& connection, const std::vector<Migration>& steps, std::int64_t target) {
  if (versionOf(connection) >= target) return;  // The usual case, and no reason to wait for other writers.
  sqlite::Transaction transaction(connection, sqlite::Transaction::Kind::write);
  // Another client may have done it meanwhile.
  std::int64_t reached = versionOf(connection);
  for (const Migration& step : steps) {
    if (step.from != reached) continue;
    for (const std::string& statement : step.statements) connection.execute(statement);
    if (step.change) step.change(connection);
    ++reached;
  }
  if (reached < target) refuse(connection, "format version " + std::to_string(reached) + " is not known");
  setVersion(connection, reached);
  transaction.commit();
}

void verify(Connection& connection) {
  const sqlite::Transaction snapshot(connection, sqlite::Transaction::Kind::read);
  if (connection.integer("PRAGMA application_id") != applicationId) refuse(connection, "another program's database");
  const auto present = presentTables(connection);
  const auto isPresent = [&present](const auto& table) {
    const auto found = present.find(table.first);
    return found != present.end() && found->second == table.second;
  };
  const auto& always = storeTables();
  // Only then can the catalogue be read that the rest is compared with.
  if (!std::all_of(always.begin(), always.end(), isPresent) || present != expectedTables(connection)) {
    refuse(connection, "its tables are not those of a store");
  }
}

}  // namespace database_client::embedded::schema
