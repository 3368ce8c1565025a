// SPDX-License-Identifier: Apache-2.0

// The operations on users, and setting up.

#include <algorithm>
#include <utility>

#include "client/DocumentAccess.h"
#include "client/embedded/EmbeddedEngine.h"
#include "client/embedded/users/UserDirectory.h"
#include "client/saslPrepare.h"
#include "client/selfServiceRole.h"
#include "database_client/Error.h"
#include "database_client/codes.h"

namespace database_client::embedded {

using bson::Byte;
using bson::Element;
using bson::View;

namespace {

std::string nameOf(const std::string& database, const std::string& user) {
  return user + "@" + database;
}

[[noreturn]] void reject(int code, const std::string& message, const std::string& where) {
  throw Error(Error::Kind::server, message, {where, code});
}

void requirePassword(const std::string& password) {
  if (isEmptyPassword(password)) reject(code::passwordRequired, "the password is empty", "password");
}

std::string textAt(View group, const char* key) {
  const bson::Value value = group.find(key);
  const bool isText = value.data != nullptr && value.type == bson::Type::string;
  if (!isText) throw Error(Error::Kind::query, std::string("roles: \"") + key + "\" is no text", {"roles"});
  return std::string(value.asString());
}

/// Each grant once, in the order given.
std::vector<Grant> grantsOf(const ObjectProperties& roles) {
  std::vector<Grant> grants;
  for (const Element& element : DocumentAccess::view(roles)) {
    if (!element.value.isDocument()) throw Error(Error::Kind::query, "roles: a group is expected", {"roles"});
    const View group = element.value.asDocument();
    Grant grant{textAt(group, "role"), textAt(group, "db")};
    if (std::find(grants.begin(), grants.end(), grant) == grants.end()) grants.push_back(std::move(grant));
  }
  return grants;
}

std::vector<Byte> bytesOf(const ObjectProperties& document) {
  const View view = DocumentAccess::view(document);
  return {view.data, view.data + view.size};
}

User requireUser(UserDirectory& directory, const std::string& database, const std::string& name) {
  auto user = directory.find(database, name);
  if (!user) reject(code::userNotFound, "there is no user " + nameOf(database, name), "user");
  return *std::move(user);
}

bool isAdministrator(const User& user) {
  return user.database == "admin" && user.name == "admin";
}

bool isRoot(const std::vector<Grant>& grants) {
  return std::find(grants.begin(), grants.end(), Grant{"root", "admin"}) != grants.end();
}

bool areSame(const std::vector<Grant>& left, const std::vector<Grant>& right) {
  return std::is_permutation(left.begin(), left.end(), right.begin(), right.end());
}

/// The role that every user of the library gets comes with the first user who has it: a file needs no setting up.
void requireRoles(UserDirectory& directory, const std::vector<Grant>& grants) {
  for (const Grant& grant : grants) {
    if (isBuiltIn(grant)) continue;
    if (!(grant == Grant{selfServiceRole, ownDataDatabase})) {
      reject(code::roleNotFound, "there is no role " + nameOf(grant.database, grant.role), "roles");
    }
    if (!directory.hasOwnDataRole()) directory.makeOwnDataRole();
  }
}

}  // namespace

void EmbeddedEngine::requireUserRights(const std::string& database, const std::vector<Grant>& grants,
                                       const char* operation, const std::string& user) {
  login_.require(Action::administerUsers, database, operation, nameOf(database, user));
  for (const Grant& grant : grants) {
    login_.require(Action::administerUsers, grant.database, "grant the role " + grant.role, grant.database);
  }
}

void EmbeddedEngine::createUser(const std::string& database, const std::string& user, const std::string& password,
                                const ObjectProperties& roles, const ObjectProperties& customData) {
  requirePassword(password);
  const Credentials credentials = Credentials::of(password);
  const std::vector<Grant> grants = grantsOf(roles);
  Store::Writing writing(store_, Store::WriteScope::one);
  requireUserRights(database, grants, "create the user", user);
  UserDirectory directory(store_);
  requireRoles(directory, grants);
  if (directory.find(database, user)) reject(code::userExists, "there is a user " + nameOf(database, user), "user");
  directory.insert({database, user, credentials, bytesOf(customData), grants});
  login_.changed();
  writing.commit();
}

void EmbeddedEngine::requireChangeRights(const std::optional<User>& known, const std::string& database,
                                         const std::vector<Grant>& grants, const std::string& user) {
  if (!known || !areSame(known->grants, grants)) {
    login_.require(Action::replaceRoles, "admin", "replace the roles of the user", nameOf(database, user));
    requireUserRights(database, grants, "change the user", user);
    return;
  }
  const bool isOwn = login_.isUser(database, user) && login_.may(Action::changeOwnCustomData, database);
  if (!isOwn) login_.require(Action::administerUsers, database, "change the user", nameOf(database, user));
}

void EmbeddedEngine::modifyUser(const std::string& database, const std::string& user, const ObjectProperties& roles,
                                const ObjectProperties& customData) {
  const std::vector<Grant> grants = grantsOf(roles);
  Store::Writing writing(store_, Store::WriteScope::one);
  UserDirectory directory(store_);
  requireChangeRights(directory.find(database, user), database, grants, user);
  User changed = requireUser(directory, database, user);
  requireRoles(directory, grants);
  if (isAdministrator(changed) && !isRoot(grants)) {
    reject(code::illegalOperation, "the administrator keeps the role root", "roles");
  }
  changed.grants = grants;
  changed.customData = bytesOf(customData);
  directory.replace(changed);
  login_.changed();
  writing.commit();
}

void EmbeddedEngine::changePassword(const std::string& database, const std::string& user, const std::string& password) {
  requirePassword(password);
  const Credentials credentials = Credentials::of(password);
  Store::Writing writing(store_, Store::WriteScope::one);
  const bool isOwn = login_.isUser(database, user) && login_.may(Action::changeOwnPassword, database);
  if (!isOwn) login_.require(Action::administerUsers, database, "change the password", nameOf(database, user));
  UserDirectory directory(store_);
  User changed = requireUser(directory, database, user);
  changed.credentials = credentials;
  directory.replace(changed);
  login_.changed();
  writing.commit();
}

void EmbeddedEngine::dropUser(const std::string& database, const std::string& user) {
  Store::Writing writing(store_, Store::WriteScope::one);
  login_.require(Action::administerUsers, database, "remove the user", nameOf(database, user));
  UserDirectory directory(store_);
  const User removed = requireUser(directory, database, user);
  if (isAdministrator(removed)) reject(code::illegalOperation, "the administrator cannot be removed", "user");
  directory.remove(database, user);
  login_.changed();
  writing.commit();
}

DeploymentStep EmbeddedEngine::setUpRole(bool dryRun) {
  const std::string what = std::string("role ") + selfServiceRole + " on " + ownDataDatabase;
  UserDirectory directory(store_);
  if (directory.hasOwnDataRole()) return {what, DeploymentStep::State::alreadyThere};
  if (dryRun) return {what, DeploymentStep::State::planned};
  directory.makeOwnDataRole();
  return {what, DeploymentStep::State::done};
}

DeploymentStep EmbeddedEngine::setUpAdministrator(bool dryRun, const std::string& password) {
  const std::string what = "administrator admin";
  UserDirectory directory(store_);
  User administrator = requireUser(directory, "admin", "admin");
  if (administrator.credentials) return {what, DeploymentStep::State::alreadyThere};
  if (dryRun) return {what, DeploymentStep::State::planned};
  administrator.credentials = Credentials::of(password);
  directory.replace(administrator);
  login_.changed();
  return {what, DeploymentStep::State::done};
}

std::list<DeploymentStep> EmbeddedEngine::setUpDeployment(const DeploymentPlan& plan) {
  std::list<DeploymentStep> steps;
  Store::Writing writing(store_, Store::WriteScope::one);
  login_.require(Action::administerUsers, ownDataDatabase, "make roles");
  steps.push_back(setUpRole(plan.dryRun));
  if (!plan.administratorPassword.empty()) {
    login_.require(Action::administerUsers, "admin", "make the administrator");
    steps.push_back(setUpAdministrator(plan.dryRun, plan.administratorPassword));
  }
  if (!plan.dryRun) writing.commit();
  return steps;
}

}  // namespace database_client::embedded
