// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <utility>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/core/Network.h"
#include "tools/terminal/Table.h"
#include "tools/terminal/Terminal.h"
#include "values/Text.h"

namespace database_provider::recordctl {

namespace {

using values::inQuotes;
using values::splitEscaped;

using Role = UsersDatabaseInterface::Role;

struct UserOptions {
  std::string name{};
  std::vector<std::string> roles{};
  std::string data{};
  std::string passwordFile{};
  std::string administratorPasswordFile{};
  bool yes = false;
};

/// The name conversions of the library take every unknown name for the first one, so that it is checked here.
Role parseRole(const std::string& text) {
  const auto parts = splitEscaped(text, ':');
  Role result;
  if (parts.size() == 2) result = {databaseRoleNameToDatabaseRoleType(parts[0]), databaseNameToDatabaseType(parts[1])};
  const bool isKnown = parts.size() == 2 && databaseRoleTypeToString(result.role) == parts[0] &&
                       databaseTypeToString(result.db) == parts[1] && result.db != DatabaseType::undefinedDatabase;
  if (!isKnown)
    throw UsageError("--role: expected read or readWrite, a colon, and experiment or base, found " + inQuotes(text));
  return result;
}

std::list<Role> parseRoles(const std::vector<std::string>& texts) {
  std::list<Role> result;
  for (const std::string& text : texts) {
    for (const std::string& piece : splitEscaped(text, ',')) result.push_back(parseRole(piece));
  }
  return result;
}

std::string askTwice(const std::string& user) {
  std::string password = askPassword("New password of " + user + ": ");
  if (askPassword("The same again: ") != password) throw UsageError("the two passwords differ");
  return password;
}

/// RECORDCTL_PASSWORD is the password of whoever asks; where nobody in particular does, it is free for this.
std::string newPassword(const Session& session, const UserOptions& options) {
  warnWhenInTheClear(session.options.store);
  std::string result;
  const char* free = session.options.login.user.empty() ? std::getenv("RECORDCTL_PASSWORD") : nullptr;
  if (!options.passwordFile.empty())
    result = readPasswordFile(options.passwordFile);
  else if (const char* given = std::getenv("RECORDCTL_NEW_PASSWORD"))
    result = given;
  else if (free != nullptr)
    result = free;
  else if (standardInputIsTerminal())
    result = askTwice(options.name);
  else
    throw UsageError("the new password is missing; use --new-password-file or RECORDCTL_NEW_PASSWORD");
  if (result.empty()) throw UsageError("the new password is empty");
  return result;
}

ObjectProperties parseData(const std::string& json) {
  return json.empty() ? ObjectProperties() : ObjectProperties::fromJson(json);
}

bool isKnown(const UsersDatabaseInterface& users, const std::string& name) {
  const auto names = users.enumUsers();
  return std::find(names.begin(), names.end(), name) != names.end();
}

std::string roleName(const Role& role) {
  return databaseRoleTypeToString(role.role) + ":" + databaseTypeToString(role.db);
}

struct UserInfo {
  std::string name;
  std::list<Role> roles{};
  ObjectProperties data{};
};

UserInfo infoOf(const UsersDatabaseInterface& users, const std::string& name) {
  UserInfo result{name};
  users.getUserInfo(name, result.roles, result.data);
  return result;
}

ObjectProperties toJson(const UserInfo& user) {
  ObjectProperties result;
  result.setValueString("name", user.name);
  result.beginArray("roles");
  int index = 0;
  for (const Role& role : user.roles) {
    const database_client::GroupScope item(result, std::to_string(index++));
    result.setValueString("role", databaseRoleTypeToString(role.role));
    result.setValueString("db", databaseTypeToString(role.db));
  }
  result.endArray();
  return result;
}

void write(const Session& session, const std::vector<UserInfo>& users) {
  if (session.json()) {
    for (const UserInfo& user : users) writeJson(toJson(user));
    return;
  }
  Table table(std::cout, outputLayout(), {{"name"}, {"roles"}, {"data"}});
  for (const UserInfo& user : users) {
    std::string roles;
    for (const Role& role : user.roles) roles += (roles.empty() ? "" : ", ") + roleName(role);
    table.add({{user.name}, {roles}, {user.data.isEmpty() ? "" : user.data.toJson()}});
  }
  table.finish();
}

void list(Session& session) {
  auto connection = session.connect(session.options.store, Access::existing);
  DataBaseClient& client = *connection;
  const auto users = usersThrough(std::move(connection));
  std::vector<UserInfo> result;
  for (const std::string& name : users->enumUsers()) result.push_back(infoOf(*users, name));
  write(session, result);
  if (result.empty()) std::cerr << "recordctl: no users\n";
  if (client.accessControl() == database_client::AccessControl::off) tellUncontrolled(session.options.store);
}

void show(Session& session, const UserOptions& options) {
  const auto users = session.users(Access::existing);
  if (isKnown(*users, options.name)) return write(session, {infoOf(*users, options.name)});
  std::cerr << "recordctl: there is no user " << inQuotes(options.name) << '\n';
  session.noteFailure();
}

bool isUncontrolled(Session& session) {
  return session.isNewFile() || session.store(Access::existing).accessControl() == database_client::AccessControl::off;
}

/// Roles mean nothing where access is not controlled, so that nobody is given some there unawares.
bool mayAdd(Session& session, const UserOptions& options) {
  if (options.yes || !options.administratorPasswordFile.empty() || !isUncontrolled(session)) return true;
  const std::string how = howUncontrolled(session.options.store);
  if (!standardInputIsTerminal())
    throw UsageError(how +
                     "; nobody can be asked: --admin-password-file FILE sets the administrator's password along with "
                     "the user, --yes adds the user all the same");
  tellUncontrolled(session.options.store);
  return confirmed("Add the user all the same?");
}

std::string administratorPassword(const UserOptions& options) {
  if (options.administratorPasswordFile.empty()) return "";
  std::string result = readPasswordFile(options.administratorPasswordFile);
  if (result.empty()) throw UsageError(options.administratorPasswordFile + ": the password is empty");
  return result;
}

/// Sets the administrator's password along with what `addUser` does. The user comes first where both are one
/// transaction: from then on, whoever is nobody may do nothing more.
template <class AddUser>
void addControlled(DataBaseClient& client, const std::string& password, const AddUser& addUser) {
  database_client::DeploymentPlan plan;
  plan.administratorPassword = password;
  if (!hasTransactions(client)) {
    client.setUpDeployment(plan);
    return addUser();
  }
  database_client::Transaction transaction(client);
  addUser();
  client.setUpDeployment(plan);
  transaction.commit();
}

void add(Session& session, const UserOptions& options) {
  const auto roles = parseRoles(options.roles);
  const ObjectProperties data = parseData(options.data);
  const std::string ofAdministrator = administratorPassword(options);
  if (!mayAdd(session, options)) {
    std::cerr << "recordctl: nothing was done\n";
    return;
  }
  const std::string password = newPassword(session, options);
  auto connection = session.connect(session.options.store, Access::create);
  DataBaseClient& client = *connection;
  const auto users = usersThrough(std::move(connection));
  const auto addUser = [&] { users->addUser(options.name, password, roles, data); };
  if (ofAdministrator.empty())
    addUser();
  else
    addControlled(client, ofAdministrator, addUser);
  std::cerr << "recordctl: user " << inQuotes(options.name) << " added\n";
  if (client.accessControl() == database_client::AccessControl::off) tellUncontrolled(session.options.store);
}

/// What is not given stays as it is.
void update(Session& session, const UserOptions& options) {
  if (options.roles.empty() && options.data.empty()) throw UsageError("what is to change? Give --role or --data");
  const auto users = session.users(Access::existing);
  UserInfo user = infoOf(*users, options.name);
  if (!options.roles.empty()) user.roles = parseRoles(options.roles);
  if (!options.data.empty()) user.data = parseData(options.data);
  users->updateUser(options.name, user.roles, user.data);
  std::cerr << "recordctl: user " << inQuotes(options.name) << " changed\n";
}

void remove(Session& session, const UserOptions& options) {
  session.users(Access::existing)->removeUser(options.name);
  std::cerr << "recordctl: user " << inQuotes(options.name) << " removed\n";
}

void changePassword(Session& session, const UserOptions& options) {
  const auto users = session.users(Access::existing);
  const std::string password = newPassword(session, options);
  if (options.name == "admin")
    users->changeAdminPassword(password);
  else
    users->changeUserPassword(options.name, password);
  std::cerr << "recordctl: password of " << inQuotes(options.name) << " changed\n";
}

void addRights(const Command& command, UserOptions& options) {
  command.option("--role", "ROLE:DATABASE", options.roles,
                 "read or readWrite, on experiment or base: readWrite:experiment");
  command.option("--data", "JSON", options.data, "data that is kept with the user");
}

void addNewPassword(const Command& command, UserOptions& options) {
  command.option("--new-password-file", "FILE", options.passwordFile,
                 "a file with the new password; else RECORDCTL_NEW_PASSWORD or a prompt");
}

}  // namespace

void addUsers(const Command& commands, Session& session) {
  auto options = std::make_shared<UserOptions>();
  const Command command = commands.add("users", "The people who may use the store");
  command.add("list", "Names and roles").run([&session] { list(session); });
  const auto addOne = [&](const char* name, const char* help, void (*action)(Session&, const UserOptions&)) {
    const Command one = command.add(name, help);
    one.argument("NAME", options->name, "the user");
    one.run([&session, options, action] { action(session, *options); });
    return one;
  };
  const Command adding = addOne("add", "Add a user", add);
  addRights(adding, *options);
  addNewPassword(adding, *options);
  adding.option(
      "--admin-password-file", "FILE", options->administratorPasswordFile,
      "a file with a password for the administrator, who gets it along with the user where there is none yet");
  adding.flag("--yes,-y", options->yes, "do not ask where access is not controlled");
  addOne("show", "One user", show);
  addRights(addOne("update", "Replace a user's roles or data", update), *options);
  addOne("remove", "Remove a user", remove);
  addNewPassword(addOne("passwd", "Change a password; that of admin too", changePassword), *options);
}

}  // namespace database_provider::recordctl
