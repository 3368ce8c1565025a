// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

struct sqlite3_stmt;

namespace database_client::embedded::sqlite {

class Connection;
struct Prepared;

/// Bytes of a column where SQLite keeps them; valid until the statement is next stepped, reset or given back.
struct Blob {
  const std::uint8_t* data = nullptr;
  std::size_t size = 0;
};

/// A prepared statement on loan from its connection: it goes back, reset and unbound, at the end of the scope.
///
/// The same text may be on loan several times at once, each loan with a cursor of its own. Parameters count from 1,
/// columns from 0. Text and bytes that are bound are not copied: they must last until the statement is stepped for the
/// last time. Failures are `Error` as `fail` makes them.
class Statement {
 public:
  Statement(Statement&& other) noexcept;
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;
  Statement& operator=(Statement&&) = delete;
  ~Statement();

  Statement& bind(int parameter, std::int64_t value);
  Statement& bindText(int parameter, std::string_view value);
  Statement& bindBlob(int parameter, const void* data, std::size_t size);
  Statement& bindNull(int parameter);

  /// Moves to the next row; false at the end.
  bool step();
  /// Steps to the end and makes the statement ready for the next bindings.
  void run();
  /// Makes the statement ready to be stepped from the start; bindings stay.
  void reset();

  bool isNull(int column) const;
  std::int64_t integer(int column) const;
  std::string_view text(int column) const;
  Blob blob(int column) const;

 private:
  friend class Connection;
  Statement(Connection& connection, Prepared& home, sqlite3_stmt* statement)
      : connection_(&connection), home_(&home), statement_(statement) {}
  void check(int code) const;

  Connection* connection_;
  Prepared* home_;
  sqlite3_stmt* statement_;
};

}  // namespace database_client::embedded::sqlite
