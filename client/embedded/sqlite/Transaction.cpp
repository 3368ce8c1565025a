// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/sqlite/Transaction.h"

#include <string>

#include "database_client/Error.h"

namespace database_client::embedded::sqlite {

namespace {

constexpr const char* rollbackAll = "ROLLBACK";
// The name may be used again inside itself: SQLite takes the innermost.
constexpr const char* beginNested = "SAVEPOINT nested";
constexpr const char* commitNested = "RELEASE nested";
constexpr const char* rollbackNested = "ROLLBACK TO nested";

const char* beginning(bool nested, Transaction::Kind kind) {
  if (nested) return beginNested;
  return kind == Transaction::Kind::write ? "BEGIN IMMEDIATE" : "BEGIN";
}

}  // namespace

Transaction::Transaction(Connection& connection, Kind kind)
    : connection_(connection), nested_(connection.inTransaction()) {
  connection_.statement(beginning(nested_, kind)).run();
}

Transaction::~Transaction() {
  if (open_) rollback();
}

void Transaction::commit() {
  if (!open_) return;
  if (!connection_.inTransaction()) {
    open_ = false;
    throw Error(Error::Kind::storage, "store " + connection_.file() + ": the transaction was undone by a failure");
  }
  if (nested_) {
    connection_.statement(commitNested).run();
  } else {
    commitOutermost();
  }
  open_ = false;
}

void Transaction::commitOutermost() {
  try {
    connection_.statement("COMMIT").run();
  } catch (const Error& error) {
    // The record that makes a commit stands behind all that it makes permanent, and did not fit either.
    const bool isFull = connection_.failedForSpace();
    rollback();
    if (error.retryable() || isFull || overwriteLog()) throw;
    throw Error(error.kind(), std::string(error.what()) + "; whether it took place is not known",
                {error.where(), error.code(), false, true});
  }
}

/// A commit that fails may have written all of its changes to the log, where a crash would let the next process find
/// and keep them. Another commit writes over them.
bool Transaction::overwriteLog() noexcept {
  try {
    if (connection_.text("PRAGMA journal_mode") != "wal") return true;
    const std::int64_t version = connection_.integer("PRAGMA user_version");
    Transaction other(connection_, Kind::write);
    connection_.execute("PRAGMA user_version=" + std::to_string(version));
    connection_.statement("COMMIT").run();
    other.open_ = false;
    return true;
  } catch (...) {
    return false;
  }
}

void Transaction::rollback() noexcept {
  open_ = false;
  // After some failures SQLite has undone everything by itself. And what a child process has is its parent's.
  if (!connection_.inTransaction() || connection_.isForeign()) return;
  try {
    if (!nested_) {
      connection_.statement(rollbackAll).run();
      return;
    }
    connection_.statement(rollbackNested).run();
    connection_.statement(commitNested).run();
  } catch (...) {  // A rollback that fails leaves a journal that the next opening rolls back.
  }
}

}  // namespace database_client::embedded::sqlite
