// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "client/bson/View.h"
#include "client/embedded/storage/Store.h"
#include "client/embedded/users/Credentials.h"
#include "client/embedded/users/Rights.h"

namespace database_client::embedded {

/// A user as "admin"/"system.users" keeps it:
///
///     {_id: "db.name", userId, user, db, credentials: {"SCRAM-SHA-256": {iterationCount, salt, storedKey, serverKey}},
///      customData, roles: [{role, db}, …]}
///
/// Salt and keys are Base64. The administrator of a new store has no credentials.
struct User {
  std::string database{};
  std::string name{};
  std::optional<Credentials> credentials{};
  std::vector<bson::Byte> customData{};
  std::vector<Grant> grants{};
  std::string id{};  ///< a UUID, to tell two users of one name apart, one of them removed; empty in stores of old
};

/// The users and the roles that were made, in the store's own collections. Every call belongs inside a transaction of
/// the store.
class UserDirectory {
 public:
  explicit UserDirectory(Store& store) : store_(store) {}

  std::optional<User> find(const std::string& database, const std::string& name);
  /// Gives the user an id.
  void insert(User user);
  /// Puts the user in the place of the one of the same name.
  void replace(const User& user);
  /// False when there is none.
  bool remove(const std::string& database, const std::string& name);

  bool hasOwnDataRole();
  void makeOwnDataRole();
  /// The administrator of a new store.
  static User administrator();

 private:
  Collection& users() { return store_.obtain("admin", "system.users"); }

  Store& store_;
};

}  // namespace database_client::embedded
