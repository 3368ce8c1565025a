// SPDX-License-Identifier: Apache-2.0
#include "users/UsersDatabase.h"

#include <stdexcept>
#include <utility>

#include "records/FetchedDocuments.h"
#include "records/layout.h"

namespace database_provider {

using database_client::EnteredScope;
using database_client::GroupScope;
using database_client::UpdateFlags;
using database_client::UpdateOperation;

namespace {

using Role = UsersDatabaseInterface::Role;

constexpr const char* admin = "admin";
constexpr const char* databaseManager = layout::settings.database;
constexpr const char* systemUsers = layout::users.collection;
constexpr const char* customization = layout::settings.collection;

ObjectProperties rolesDocument(std::list<Role> roles) {
  UsersDatabase::addAdditionalRoles(roles);
  ObjectProperties document;
  UsersDatabase::rolesToObjectProperties(roles, document);
  return document;
}

void requireDefined(const Role& role) {
  if (role.db == DatabaseType::undefinedDatabase) throw std::runtime_error("Undefined databaseType");
  if (role.role == DatabaseRoleType::undefinedRole) throw std::runtime_error("Undefined role");
}

void writeRole(const Role& role, ObjectProperties& level) {
  level.setValueString("role", databaseRoleTypeToString(role.role));
  level.setValueString("db", databaseTypeToString(role.db));
}

/// A role that the enumerations have no name for, which somebody granted by other means, is passed over.
void readRole(const ObjectProperties& level, std::list<Role>& roles) {
  const DatabaseType db = databaseNameToDatabaseType(level.valueAsString("db", ""));
  if (db == DatabaseType::databaseManager || db == DatabaseType::undefinedDatabase) return;
  const DatabaseRoleType role = databaseRoleNameToDatabaseRoleType(level.valueAsString("role", ""));
  if (role == DatabaseRoleType::undefinedRole) return;
  roles.push_back({role, db});
}

bool isOfDatabaseManager(const ObjectProperties& user) {
  return user.valueAsString("db", "") == databaseManager;
}

ObjectProperties selectUser(const std::string& user) {
  ObjectProperties selector;
  selector.setValueString("user", user);
  return selector;
}

ObjectProperties selectBlock(const std::string& user, const std::string& tag) {
  ObjectProperties selector = selectUser(user);
  selector.setValueString("tag", tag);
  return selector;
}

}  // namespace

UsersDatabase::UsersDatabase() : client_(std::make_unique<DataBaseClient>()) {}

UsersDatabase::UsersDatabase(std::unique_ptr<DataBaseClient> client) : client_(std::move(client)) {}

void UsersDatabase::connectAsAdmin(const std::string& host, int port, const std::string& password) const {
  // A deployment that is being set up has no administrator yet, and lets in who gives no name.
  client_->connect(admin, host, port, password.empty() ? "" : admin, password);
}

void UsersDatabase::connectAsUser(const std::string& host, int port, const std::string& user,
                                  const std::string& password) const {
  client_->connect(databaseManager, host, port, user, password);
}

void UsersDatabase::disconnect() const {
  client_->disconnect();
}

void UsersDatabase::addUser(const std::string& name, const std::string& password, const std::list<Role>& roles,
                            const ObjectProperties& customData) const {
  client_->createUser(databaseManager, name, password, rolesDocument(roles), customData);
}

void UsersDatabase::updateUser(const std::string& name, const std::list<Role>& roles,
                               const ObjectProperties& customData) const {
  client_->modifyUser(databaseManager, name, rolesDocument(roles), customData);
}

void UsersDatabase::removeUser(const std::string& name) const {
  client_->dropUser(databaseManager, name);
}

void UsersDatabase::changeUserPassword(const std::string& name, const std::string& password) const {
  client_->changePassword(databaseManager, name, password);
}

void UsersDatabase::changeAdminPassword(const std::string& password) const {
  client_->changePassword(admin, admin, password);
}

std::list<std::string> UsersDatabase::enumUsers() const {
  FetchedDocuments found;
  client_->find(admin, systemUsers, ObjectProperties(), ObjectProperties(), found.list(), 0, 0);
  std::list<std::string> names;
  while (!found.empty()) {
    const std::unique_ptr<ObjectProperties> user = found.take();
    const std::string name = user->valueAsString("user", "");
    if (name != admin && isOfDatabaseManager(*user)) names.push_back(name);
  }
  return names;
}

void UsersDatabase::getUserInfo(const std::string& name, std::list<Role>& roles, ObjectProperties& customData) const {
  FetchedDocuments found;
  client_->find(admin, systemUsers, selectUser(name), ObjectProperties(), found.list(), 1, 0);
  if (found.empty()) return;
  const std::unique_ptr<ObjectProperties> user = found.take();
  if (user->valueAsString("user", "") == admin) return;
  // A document that does not say where the user belongs still gives the custom data, and no role.
  if (user->contains("db")) {
    if (!isOfDatabaseManager(*user)) return;
    rolesFromObjectProperties(user.get(), roles);
  }
  user->exclude("customData", customData);
}

void UsersDatabase::addAdditionalRoles(std::list<Role>& roles) {
  roles.push_back({DatabaseRoleType::changeOwnPasswordCustomDataRole, DatabaseType::databaseManager});
  roles.push_back({DatabaseRoleType::readWrite, DatabaseType::databaseManager});
}

void UsersDatabase::rolesToObjectProperties(const std::list<Role>& roles, ObjectProperties& document) {
  int index = 0;
  for (const Role& role : roles) {
    requireDefined(role);
    const GroupScope entry(document, std::to_string(index++));
    writeRole(role, document);
  }
}

void UsersDatabase::rolesFromObjectProperties(const ObjectProperties* document, std::list<Role>& roles) {
  const EnteredScope array = EnteredScope::array(*document, "roles");
  const int count = array ? document->size() : 0;
  for (int i = 0; i < count; ++i) {
    const EnteredScope role = EnteredScope::at(*document, i);
    if (role) readRole(*document, roles);
  }
}

void UsersDatabase::addUserData(const std::string& user, const std::string& tag, const ObjectProperties& data) const {
  const ObjectProperties selector = selectBlock(user, tag);
  // The whole block again, so that nothing is left of what stood under the tag before.
  ObjectProperties block = selector;
  block.include("data", data);
  client_->update(databaseManager, customization, selector, block, UpdateFlags::upsert, UpdateOperation::replace);
}

void UsersDatabase::getUserData(const std::string& user, const std::string& tag, ObjectProperties& data) const {
  FetchedDocuments found;
  client_->find(databaseManager, customization, selectBlock(user, tag), ObjectProperties(), found.list(), 1, 0);
  if (!found.empty()) found.take()->exclude("data", data);
}

void UsersDatabase::removeUserData(const std::string& user, const std::string& tag) const {
  client_->remove(databaseManager, customization, selectBlock(user, tag));
}

void UsersDatabase::removeAllUserData(const std::string& user) const {
  client_->remove(databaseManager, customization, selectUser(user));
}

}  // namespace database_provider
