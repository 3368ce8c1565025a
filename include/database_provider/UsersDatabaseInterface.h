// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <list>
#include <string>

#include "database_provider/types.h"

namespace database_provider {

/// The people who may use the databases, their roles, and the settings that each of them keeps.
///
/// It owns its connection, as the administrator or as a user. What the store refuses is thrown by the client.
class DATABASE_PROVIDER_EXPORT UsersDatabaseInterface {
 public:
  /// One role on one database.
  struct Role {
    DatabaseRoleType role = DatabaseRoleType::undefinedRole;
    DatabaseType db = DatabaseType::undefinedDatabase;
  };

  UsersDatabaseInterface() = default;
  UsersDatabaseInterface(const UsersDatabaseInterface&) = delete;
  UsersDatabaseInterface& operator=(const UsersDatabaseInterface&) = delete;
  virtual ~UsersDatabaseInterface() = default;

  /// Connects as the user "admin", or without a user when the password is empty. Whether that succeeded shows in the
  /// next operation, which throws with the reason if it did not.
  virtual void connectAsAdmin(const std::string& host, int port, const std::string& password) const = 0;
  virtual void connectAsUser(const std::string& host, int port, const std::string& user,
                             const std::string& password) const = 0;
  /// Closes the connection; nothing happens when there is none.
  virtual void disconnect() const = 0;

  // An unknown user is Error{server} with code 11, a name that is taken 51003; nothing has changed then.

  /// Creates a user with these roles and two more that every user gets: changing the own password and custom data, and
  /// reading and writing "databaseManager". An undefined role or database throws `std::runtime_error` before anything
  /// is sent. A server has to be set up before (`DataBaseClient::setUpDeployment`), else it refuses the first of the
  /// two with Error{server}, code 31.
  virtual void addUser(const std::string& name, const std::string& password, const std::list<Role>& roles,
                       const ObjectProperties& customData) const = 0;
  /// Replaces a user's roles, the two that every user gets again added, and custom data.
  virtual void updateUser(const std::string& name, const std::list<Role>& roles,
                          const ObjectProperties& customData) const = 0;
  /// Removes a user, whose settings stay until `removeAllUserData`.
  virtual void removeUser(const std::string& name) const = 0;
  virtual void changeUserPassword(const std::string& name, const std::string& password) const = 0;
  /// The first password of the administrator switches the access control of the embedded store on: a connection without
  /// a user, this one too, has no rights from then on.
  virtual void changeAdminPassword(const std::string& password) const = 0;

  /// The names of the users of "databaseManager", the administrator left out, in the store's order.
  virtual std::list<std::string> enumUsers() const = 0;
  /// Appends the user's roles, those on "databaseManager" left out, and replaces `customData`. An unknown name leaves
  /// both as they were.
  ///
  /// A role that the enumeration does not know comes back as its first, `read`, and so does a database, as `base`:
  /// giving the list to `updateUser` would grant that, and take away what the user has.
  virtual void getUserInfo(const std::string& name, std::list<Role>& roles, ObjectProperties& customData) const = 0;

  /// Stores a block of settings of a user under a tag, in place of the one that is there.
  virtual void addUserData(const std::string& user, const std::string& tag, const ObjectProperties& data) const = 0;
  /// Replaces `data` by the block under a tag; without one `data` stays as it was.
  virtual void getUserData(const std::string& user, const std::string& tag, ObjectProperties& data) const = 0;
  /// Removes one block, or all blocks of a user; nothing happens when there is none.
  virtual void removeUserData(const std::string& user, const std::string& tag) const = 0;
  virtual void removeAllUserData(const std::string& user) const = 0;
};

}  // namespace database_provider
