// SPDX-License-Identifier: Apache-2.0
#include "client/server/Users.h"

#include <cstring>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>

#include "client/DocumentAccess.h"
#include "database_client/codes.h"

namespace database_client::server {

namespace {

Operation operationFor(const char* verb, const UserName& name, const std::string& secret = {}) {
  Operation operation{std::string(verb) + " \"" + name.user + "\" on " + name.database};
  operation.write = true;
  operation.ofUsers = true;
  operation.repeatable = true;
  operation.secret = secret;
  return operation;
}

void send(OperationRunner& runner, const Operation& operation, const std::string& database, bson::Writer&& writer) {
  const OwnedBson command(std::move(writer));
  runner.command(operation, database, command.get(), [](bson::View) {});
}

void appendGrants(bson::Writer& command, const UserGrants& grants) {
  command.appendArray("roles", DocumentAccess::view(grants.roles));
  command.appendDocument("customData", DocumentAccess::view(grants.customData));
}

bool isOwn(const OperationRunner& runner, const UserName& name) {
  const mongoc_uri_t* uri = runner.address().uri.get();
  const char* user = mongoc_uri_get_username(uri);
  return user != nullptr && name.user == user && name.database == mongoc_uri_get_auth_source(uri);
}

using Role = std::pair<std::string, std::string>;

std::string textAt(bson::View group, const char* key) {
  const bson::Value value = group.find(key);
  const bool isText = value.data != nullptr && value.type == bson::Type::string;
  return isText ? std::string(value.asString()) : std::string();
}

std::set<Role> rolesIn(bson::View roles) {
  std::set<Role> result;
  for (const bson::Element& role : roles) {
    if (!role.value.isDocument()) continue;
    result.emplace(textAt(role.value.asDocument(), "role"), textAt(role.value.asDocument(), "db"));
  }
  return result;
}

// The one name that a query asks for, an empty one when it asks for all, nothing for any other query.
std::optional<std::string> askedFor(const ObjectProperties& query) {
  const bson::View view = DocumentAccess::view(query);
  if (view.empty()) return std::string();
  const bson::Element first = *view.begin();
  const bool byName = view.count() == 1 && first.key == "user" && first.value.type == bson::Type::string;
  if (!byName) return std::nullopt;
  return std::string(first.value.asString());
}

OwnedBson usersInfoAll(const std::string& user) {
  bson::Writer command;
  command.beginDocument("usersInfo");
  command.appendBool("forAllDBs", true);
  command.end();
  if (!user.empty()) {
    command.beginDocument("filter");
    command.appendString("user", user);
    command.end();
  }
  return OwnedBson(std::move(command));
}

OwnedBson usersInfoOne(const UserName& name) {
  bson::Writer command;
  command.beginDocument("usersInfo");
  command.appendString("user", name.user);
  command.appendString("db", name.database);
  command.end();
  return OwnedBson(std::move(command));
}

std::list<ObjectProperties> usersIn(bson::View answer) {
  std::list<ObjectProperties> users;
  for (const bson::Element& user : answer.find("users").asDocument()) {
    users.push_back(DocumentAccess::adopt(user.value.asDocument()));
  }
  return users;
}

std::list<ObjectProperties> ask(OperationRunner& runner, const std::string& database, const OwnedBson& command) {
  std::list<ObjectProperties> users;
  runner.command({"list of users"}, database, command.get(), [&](bson::View answer) { users = usersIn(answer); });
  return users;
}

// A user without rights over others may still ask for itself.
std::list<ObjectProperties> askWithinRights(OperationRunner& runner, const std::string& user) {
  try {
    return ask(runner, "admin", usersInfoAll(user));
  } catch (const Error& error) {
    const char* own = mongoc_uri_get_username(runner.address().uri.get());
    const bool mayAskForItself = error.kind() == Error::Kind::authorization && own != nullptr && user == own;
    if (!mayAskForItself) throw;
  }
  const std::string database = mongoc_uri_get_auth_source(runner.address().uri.get());
  return ask(runner, database, usersInfoOne({database, user}));
}

// False also when this connection may not know.
bool hasRoles(OperationRunner& runner, const UserName& name, const ObjectProperties& roles) {
  try {
    const std::list<ObjectProperties> users = ask(runner, name.database, usersInfoOne(name));
    if (users.empty()) return false;
    const bson::Value held = DocumentAccess::view(users.front()).find("roles");
    return held.data != nullptr && held.isArray() && rolesIn(held.asDocument()) == rolesIn(DocumentAccess::view(roles));
  } catch (const Error& error) {
    if (error.kind() != Error::Kind::authorization) throw;
    return false;
  }
}

bool hasPassword(const OperationRunner& runner, const UserName& name, const std::string& password) {
  try {
    OperationRunner(withUser(runner.address(), {name.database, name.user, password}), runner.cancellation()).ping();
    return true;
  } catch (const Error&) {
    return false;
  }
}

}  // namespace

void createUser(OperationRunner& runner, const UserName& name, const std::string& password, const UserGrants& grants) {
  bson::Writer command;
  command.appendString("createUser", name.user);
  command.appendString("pwd", password);
  appendGrants(command, grants);
  try {
    send(runner, operationFor("creation of user", name, password), name.database, std::move(command));
  } catch (const Error& error) {
    // Who is there already may be the one that the attempt before this, whose answer was lost, has made.
    const bool mayBeOurs = error.code() == code::userExists && error.outcomeUnknown();
    if (!mayBeOurs || !hasRoles(runner, name, grants.roles) || !hasPassword(runner, name, password)) throw;
  }
}

void modifyUser(OperationRunner& runner, const UserName& name, const UserGrants& grants) {
  bson::Writer command;
  command.appendString("updateUser", name.user);
  appendGrants(command, grants);
  try {
    send(runner, operationFor("change of user", name), name.database, std::move(command));
  } catch (const Error& error) {
    // Naming roles takes the right to give and take any, even when they stay as they are.
    const bool remainsTheData = error.kind() == Error::Kind::authorization && hasRoles(runner, name, grants.roles);
    if (!remainsTheData) throw;
    bson::Writer dataAlone;
    dataAlone.appendString("updateUser", name.user);
    dataAlone.appendDocument("customData", DocumentAccess::view(grants.customData));
    send(runner, operationFor("change of user", name), name.database, std::move(dataAlone));
  }
}

void changePassword(OperationRunner& runner, const UserName& name, const std::string& password) {
  bson::Writer command;
  command.appendString("updateUser", name.user);
  command.appendString("pwd", password);
  send(runner, operationFor("change of the password of", name, password), name.database, std::move(command));
  if (isOwn(runner, name)) runner.setPassword(password);
}

void dropUser(OperationRunner& runner, const UserName& name) {
  bson::Writer command;
  command.appendString("dropUser", name.user);
  try {
    send(runner, operationFor("removal of user", name), name.database, std::move(command));
  } catch (const Error& error) {
    // The attempt before this one, whose answer was lost, may have removed the user.
    const bool isGone = error.code() == code::userNotFound && error.outcomeUnknown();
    if (!isGone) throw;
  }
}

bool holdsUsers(const Namespace& where) {
  return where.database == "admin" && where.collection == "system.users";
}

void findUsers(OperationRunner& runner, const FindRequest& request, const Engine::Receiver& receive) {
  const std::optional<std::string> user = askedFor(request.query);
  if (!user || !request.projection.isEmpty() || request.sort != nullptr) {
    throw Error(Error::Kind::unsupported, "this server tells of its users only all of them, or those of one name");
  }
  int position = 0;
  for (ObjectProperties& found : askWithinRights(runner, *user)) {
    const bool beyond = request.limit > 0 && position >= request.skip + request.limit;
    if (beyond) return;
    if (position++ < request.skip) continue;
    found.removeKey("credentials");
    if (!receive(std::move(found))) return;
  }
}

bool isUserThere(OperationRunner& runner, const UserName& name) {
  try {
    return !ask(runner, name.database, usersInfoOne(name)).empty();
  } catch (const Error& error) {
    if (error.kind() != Error::Kind::authorization) throw;
    return false;
  }
}

}  // namespace database_client::server
