// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/users/Rights.h"

#include <algorithm>
#include <array>

#include "client/selfServiceRole.h"

namespace database_client::embedded {

namespace {

struct Role {
  std::string_view name;
  std::vector<Action> actions;
};

/// Roles that every database has, for that database.
const std::vector<Role>& databaseRoles() {
  static const std::vector<Role> roles = {
      {"read", {Action::read, Action::list}},
      {"readWrite", {Action::read, Action::list, Action::write}},
      {"dbAdmin", {Action::list}},
      {"userAdmin", {Action::administerUsers}},
      {"dbOwner", {Action::read, Action::list, Action::write, Action::administerUsers}},
  };
  return roles;
}

/// Roles of "admin", for every database.
const std::vector<Role>& overallRoles() {
  static const std::vector<Role> roles = {
      {"readAnyDatabase", {Action::read, Action::list}},
      {"readWriteAnyDatabase", {Action::read, Action::list, Action::write}},
      {"dbAdminAnyDatabase", {Action::list}},
      {"userAdminAnyDatabase", {Action::administerUsers, Action::replaceRoles, Action::listUsers, Action::list}},
      {"root",
       {Action::read, Action::list, Action::write, Action::listUsers, Action::administerUsers, Action::replaceRoles,
        Action::administerStore}},
  };
  return roles;
}

/// Roles of "admin" that a server knows and that allow nothing an embedded store has.
constexpr std::array<std::string_view, 7> otherRoles = {
    "backup", "restore", "clusterAdmin", "clusterManager", "clusterMonitor", "hostManager", "enableSharding"};

const Role* find(const std::vector<Role>& roles, std::string_view name) {
  const auto found = std::find_if(roles.begin(), roles.end(), [name](const Role& role) { return role.name == name; });
  return found == roles.end() ? nullptr : &*found;
}

bool holds(const Role* role, Action action) {
  return role != nullptr && std::find(role->actions.begin(), role->actions.end(), action) != role->actions.end();
}

bool allows(const Grant& grant, Action action, std::string_view database) {
  if (grant.database == "admin" && holds(find(overallRoles(), grant.role), action)) return true;
  if (grant.database != database) return false;
  if (grant.role == selfServiceRole && grant.database == ownDataDatabase) {
    return action == Action::changeOwnPassword || action == Action::changeOwnCustomData;
  }
  return holds(find(databaseRoles(), grant.role), action);
}

bool isDatabaseName(std::string_view name) {
  return !name.empty() && name.find_first_of("/\\. \"$") == std::string_view::npos;
}

}  // namespace

bool isBuiltIn(const Grant& grant) {
  if (find(databaseRoles(), grant.role) != nullptr) return isDatabaseName(grant.database);
  const bool isOther = std::find(otherRoles.begin(), otherRoles.end(), grant.role) != otherRoles.end();
  return grant.database == "admin" && (isOther || find(overallRoles(), grant.role) != nullptr);
}

bool Rights::allow(Action action, std::string_view database) const {
  return std::any_of(grants_.begin(), grants_.end(),
                     [&](const Grant& grant) { return allows(grant, action, database); });
}

bool Rights::allowSomewhere(Action action) const {
  return std::any_of(grants_.begin(), grants_.end(),
                     [&](const Grant& grant) { return allows(grant, action, grant.database); });
}

}  // namespace database_client::embedded
