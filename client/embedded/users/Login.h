// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "client/embedded/storage/Store.h"
#include "client/embedded/users/Rights.h"

namespace database_client::embedded {

/// Who is logged in to the store, and what that user may do. Access is controlled from the moment the administrator has
/// a password. Rights are read anew when others may have changed them. Calls belong inside a transaction of the store.
class Login {
 public:
  /// Of nobody in particular.
  explicit Login(Store& store) : store_(store) {}

  /// Proves the user. Throws Error{authentication}, code 18: the same, after the same time, for an unknown user and for
  /// a wrong password.
  void authenticate(const std::string& database, const std::string& user, const std::string& password);

  /// Throws Error{authorization}, code 13, when the user has not the right. `operation` and `target` are for the
  /// message.
  void require(Action action, const std::string& database, const std::string& operation,
               const std::string& target = {});
  [[noreturn]] void refuse(const std::string& operation, const std::string& target) const;
  bool may(Action action, const std::string& database);
  /// The right that a transaction wants, which keeps all others from writing: to write in some database, or to
  /// administer users.
  void requireSomeChange(const std::string& operation);
  /// Whether rights are asked for at all.
  bool isControlled();
  /// The same for a client that is no user at all.
  void requireUser(const std::string& operation);
  /// Whether the user who was proved is still there, when `may` was last asked.
  bool hasUser() const { return isThere_; }
  bool isUser(const std::string& database, const std::string& user) const;
  /// Both empty where none was proved.
  const std::string& database() const { return database_; }
  const std::string& user() const { return user_; }
  /// Users and rights have been changed by this client.
  void changed() { version_ = 0; }

 private:
  void refresh();

  Store& store_;
  bool isProved_ = false;
  std::string database_{};
  std::string user_{};
  std::string id_{};
  bool isThere_ = false;
  std::uint64_t version_ = 0;
  bool isControlled_ = false;
  Rights rights_{};
};

}  // namespace database_client::embedded
