// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/sqlite/Statement.h"

#include <sqlite3.h>

#include <utility>

#include "client/embedded/sqlite/Connection.h"
#include "client/embedded/sqlite/throwError.h"

namespace database_client::embedded::sqlite {

Statement::Statement(Statement&& other) noexcept
    : connection_(other.connection_), home_(other.home_), statement_(std::exchange(other.statement_, nullptr)) {}

Statement::~Statement() {
  if (statement_ != nullptr) connection_->giveBack(*home_, statement_);
}

void Statement::check(int code) const {
  if (code != SQLITE_OK) fail(code, connection_->file(), "use a statement");
}

Statement& Statement::bind(int parameter, std::int64_t value) {
  check(sqlite3_bind_int64(statement_, parameter, value));
  return *this;
}

Statement& Statement::bindText(int parameter, std::string_view value) {
  // A null pointer would bind NULL.
  const char* data = value.data() == nullptr ? "" : value.data();
  check(sqlite3_bind_text64(statement_, parameter, data, value.size(), SQLITE_STATIC, SQLITE_UTF8));
  return *this;
}

Statement& Statement::bindBlob(int parameter, const void* data, std::size_t size) {
  check(sqlite3_bind_blob64(statement_, parameter, data == nullptr ? "" : data, size, SQLITE_STATIC));
  return *this;
}

Statement& Statement::bindNull(int parameter) {
  check(sqlite3_bind_null(statement_, parameter));
  return *this;
}

bool Statement::step() {
  const int code = sqlite3_step(statement_);
  if (code == SQLITE_ROW) return true;
  if (code == SQLITE_DONE) return false;
  // SQLite calls a COMMIT read-only too; and what a reader cannot store is what was written before it.
  const bool isReading = sqlite3_stmt_readonly(statement_) != 0 && sqlite3_column_count(statement_) > 0;
  const bool isFull = (code & 0xFF) == SQLITE_FULL;
  sqlite3_reset(statement_);
  connection_->refuse(code, isReading && !isFull ? "read" : "write");
}

void Statement::run() {
  while (step()) {
  }
  sqlite3_reset(statement_);
}

void Statement::reset() {
  sqlite3_reset(statement_);
}

bool Statement::isNull(int column) const {
  return sqlite3_column_type(statement_, column) == SQLITE_NULL;
}

std::int64_t Statement::integer(int column) const {
  return sqlite3_column_int64(statement_, column);
}

std::string_view Statement::text(int column) const {
  const auto blobOfText = blob(column);
  return {reinterpret_cast<const char*>(blobOfText.data), blobOfText.size};
}

Blob Statement::blob(int column) const {
  // The pointer has to be asked for before the size: asking may convert the value.
  const auto* data = static_cast<const std::uint8_t*>(sqlite3_column_blob(statement_, column));
  return {data, static_cast<std::size_t>(sqlite3_column_bytes(statement_, column))};
}

}  // namespace database_client::embedded::sqlite
