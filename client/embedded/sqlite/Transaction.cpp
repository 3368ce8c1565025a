#include "client/embedded/sqlite/Transaction.h"

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
  connection_.statement(nested_ ? commitNested : "COMMIT").run();
  open_ = false;
}

void Transaction::rollback() noexcept {
  open_ = false;
  // After some failures SQLite has undone everything by itself.
  if (!connection_.inTransaction()) return;
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
