// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <list>
#include <memory>
#include <string>

#include "database_provider/UsersDatabaseInterface.h"

namespace database_provider {

// A user, in "admin" / "system.users": "user": string, "db": string, "roles": [ { "role": string, "db": string } … ],
// "customData": group. A block of settings, in "databaseManager" / "customization", one for each pair of user and tag:
// "user": string, "tag": string, "data": group.

/// Users of "databaseManager", the administrator "admin", and what the users keep. Its client is destroyed with it,
/// without being disconnected first.
class DATABASE_PROVIDER_EXPORT UsersDatabase : public UsersDatabaseInterface {
 public:
  UsersDatabase();
  /// Works through this client, which must not be null.
  explicit UsersDatabase(std::unique_ptr<DataBaseClient> client);

  void connectAsAdmin(const std::string& host, int port, const std::string& password) const override;
  void connectAsUser(const std::string& host, int port, const std::string& user,
                     const std::string& password) const override;
  void disconnect() const override;

  void addUser(const std::string& name, const std::string& password, const std::list<Role>& roles,
               const ObjectProperties& customData) const override;
  void updateUser(const std::string& name, const std::list<Role>& roles,
                  const ObjectProperties& customData) const override;
  void removeUser(const std::string& name) const override;
  void changeUserPassword(const std::string& name, const std::string& password) const override;
  void changeAdminPassword(const std::string& password) const override;
  std::list<std::string> enumUsers() const override;
  void getUserInfo(const std::string& name, std::list<Role>& roles, ObjectProperties& customData) const override;

  void addUserData(const std::string& user, const std::string& tag, const ObjectProperties& data) const override;
  void getUserData(const std::string& user, const std::string& tag, ObjectProperties& data) const override;
  void removeUserData(const std::string& user, const std::string& tag) const override;
  void removeAllUserData(const std::string& user) const override;

  /// Appends the two roles that every user gets, whether or not they are there already.
  static void addAdditionalRoles(std::list<Role>& roles);
  /// Writes a group "0", "1", … for each role. An undefined database or role throws `std::runtime_error`; the roles
  /// before it stay written.
  static void rolesToObjectProperties(const std::list<Role>& roles, ObjectProperties& document);
  /// Appends the roles of a stored user. Those on "databaseManager" are left out, so what `addAdditionalRoles` added
  /// does not come back.
  static void rolesFromObjectProperties(const ObjectProperties* document, std::list<Role>& roles);

 private:
  std::unique_ptr<DataBaseClient> client_;
};

}  // namespace database_provider
