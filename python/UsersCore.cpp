// SPDX-License-Identifier: Apache-2.0
#include "UsersCore.h"

#include <list>
#include <utility>
#include <vector>

#include "RecordObject.h"
#include "bson.h"
#include "values.h"

namespace database_provider::python {

namespace {

using Role = UsersDatabaseInterface::Role;
using Roles = std::list<Role>;

Roles rolesFromPython(nb::handle dict) {
  Roles roles;
  for (const auto& [key, value] : itemsOf(dict, "roles")) {
    const std::string records = textFromPython(key, "a role's records");
    const std::string right = textFromPython(value, "the role on " + records);
    Role role;
    if (records == "experiments") {
      role.db = DatabaseType::experiment;
    } else if (records == "scenarios") {
      role.db = DatabaseType::base;
    } else {
      refuse("a role", "is on \"" + records + "\"; experiments or scenarios is expected");
    }
    if (right == "read") {
      role.role = DatabaseRoleType::read;
    } else if (right == "readWrite") {
      role.role = DatabaseRoleType::readWrite;
    } else {
      refuse("the role on " + records, "is \"" + right + "\"; read or readWrite is expected");
    }
    roles.push_back(role);
  }
  return roles;
}

nb::dict rolesToPython(const Roles& roles) {
  nb::dict result;
  for (const Role& role : roles)
    result[role.db == DatabaseType::experiment ? "experiments" : "scenarios"] = databaseRoleTypeToString(role.role);
  return result;
}

ObjectProperties customData(nb::handle data) {
  return data.is_none() ? ObjectProperties() : documentFromPython(data, "data");
}

}  // namespace

template <class Step>
auto UsersCore::run(const Step& step) {
  if (connection_->address().rfind("file::memory:", 0) == 0)
    throw database_client::Error(database_client::Error::Kind::unsupported, "a store in memory has no users");
  return connection_->run([&](DataBaseClient& /*client*/) {
    const std::unique_ptr<UsersDatabaseInterface> users = openUsers(connection_->address(), connection_->login());
    return step(*users);
  });
}

nb::list UsersCore::list() {
  const auto found = run([](const UsersDatabaseInterface& users) {
    std::vector<std::pair<std::string, Roles>> result;
    for (const std::string& name : users.enumUsers()) {
      Roles roles;
      ObjectProperties data;
      users.getUserInfo(name, roles, data);
      result.emplace_back(name, std::move(roles));
    }
    return result;
  });
  nb::list result;
  for (const auto& [name, roles] : found) result.append(nb::make_tuple(textToPython(name), rolesToPython(roles)));
  return result;
}

void UsersCore::add(const std::string& name, const std::string& password, nb::handle roles, nb::handle data) {
  const Roles wanted = rolesFromPython(roles);
  const ObjectProperties custom = customData(data);
  run([&](const UsersDatabaseInterface& users) { users.addUser(name, password, wanted, custom); });
}

void UsersCore::update(const std::string& name, nb::handle roles, nb::handle data) {
  const bool keepsData = data.is_none();
  const Roles wanted = rolesFromPython(roles);
  const ObjectProperties custom = customData(data);
  run([&](const UsersDatabaseInterface& users) {
    Roles present;
    ObjectProperties presentData;
    users.getUserInfo(name, present, presentData);
    users.updateUser(name, wanted, keepsData ? presentData : custom);
  });
}

void UsersCore::remove(const std::string& name) {
  run([&](const UsersDatabaseInterface& users) {
    users.removeUser(name);
    users.removeAllUserData(name);
  });
}

void UsersCore::changePassword(const std::string& name, const std::string& password) {
  run([&](const UsersDatabaseInterface& users) { users.changeUserPassword(name, password); });
}

void UsersCore::changeAdminPassword(const std::string& password) {
  run([&](const UsersDatabaseInterface& users) { users.changeAdminPassword(password); });
}

nb::tuple UsersCore::info(const std::string& name) {
  const auto [roles, data] = run([&](const UsersDatabaseInterface& users) {
    std::pair<Roles, ObjectProperties> result;
    users.getUserInfo(name, result.first, result.second);
    return result;
  });
  return nb::make_tuple(rolesToPython(roles), documentToPython(data));
}

}  // namespace database_provider::python
