// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/embedded/sqlite/Connection.h"

namespace database_client::embedded::sqlite {

/// A transaction for a scope, undone unless committed. Inside a transaction that is open already it is a savepoint: it
/// can be undone by itself, and becomes permanent with the outer one.
class Transaction {
 public:
  enum class Kind {
    read,   ///< everything read comes from one state of the store
    write,  ///< waits for other writers first
  };

  Transaction(Connection& connection, Kind kind);
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;
  /// Never throws.
  ~Transaction();

  /// Makes the changes permanent; a second call does nothing. A failure undoes them; where that cannot be made sure of,
  /// the error says that the outcome is unknown.
  void commit();
  /// Whether this is a savepoint of an outer transaction.
  bool isNested() const { return nested_; }

 private:
  void commitOutermost();
  bool overwriteLog() noexcept;
  void rollback() noexcept;

  Connection& connection_;
  bool nested_;
  bool open_ = true;
};

}  // namespace database_client::embedded::sqlite
