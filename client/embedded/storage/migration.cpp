// SPDX-License-Identifier: Apache-2.0

// What brings a file of an older version of the format up to date.

#include <string>
#include <vector>

#include "client/embedded/storage/Checksum.h"
#include "client/embedded/storage/Schema.h"

namespace database_client::embedded::schema {

namespace {

using sqlite::Connection;

/// What stands beside one document.
struct Sum {
  RecordNumber rid;
  std::int64_t sum;
};

/// Rows are not changed while a statement steps over them, so they are read and then written; 500 sums are little
/// memory.
constexpr const char* batchSize = "500";

/// The sums, as `to` has them, of the first documents above `last`, which is moved to the last one. What does not fit
/// its sum is left out: damage stays damage.
std::vector<Sum> nextSums(Connection& connection, const std::string& table, const Checksum& from, const Checksum& to,
                          RecordNumber& last) {
  auto rows =
      connection.statement("SELECT rid, sum, body FROM " + table + " WHERE rid > ?1 ORDER BY rid LIMIT " + batchSize);
  rows.bind(1, rowId(last));
  std::vector<Sum> sums;
  while (rows.step()) {
    last = recordNumber(rows.integer(0));
    const sqlite::Blob body = rows.blob(2);
    if (from.of(last, body.data, body.size) != rows.integer(1)) continue;
    sums.push_back({last, to.of(last, body.data, body.size)});
  }
  return sums;
}

void writeSums(Connection& connection, const std::string& table, const std::vector<Sum>& sums) {
  auto update = connection.statement("UPDATE " + table + " SET sum = ?2 WHERE rid = ?1");
  for (const Sum& each : sums) update.bind(1, rowId(each.rid)).bind(2, each.sum).run();
}

/// The sum beside a document covers its place as well.
void coverPlaces(Connection& connection) {
  auto collections = connection.statement("SELECT number, database, name FROM collections");
  while (collections.step()) {
    const std::string table = documentsTable(collections.integer(0));
    const std::string database(collections.text(1));
    const std::string name(collections.text(2));
    const Checksum from(1, database, name);
    const Checksum to(2, database, name);
    RecordNumber last = 0;
    RecordNumber before = 0;
    // As long as a batch gets further: one that is all damaged gives no sums, and still moves `last`. Row ids are
    // compared, since one that damage made negative would be the greatest of record numbers.
    do {
      before = last;
      writeSums(connection, table, nextSums(connection, table, from, to, last));
    } while (rowId(before) < rowId(last));
  }
}

}  // namespace

const std::vector<Migration>& migrations() {
  static const std::vector<Migration> steps = {{1, {}, coverPlaces}};
  return steps;
}

}  // namespace database_client::embedded::schema
