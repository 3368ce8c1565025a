// SPDX-License-Identifier: Apache-2.0
#include "client/server/Deployment.h"

#include <algorithm>
#include <string>
#include <utility>

#include "client/DocumentAccess.h"
#include "client/selfServiceRole.h"
#include "client/server/Users.h"
#include "database_client/codes.h"

namespace database_client::server {

namespace {

using State = DeploymentStep::State;

const std::string administrator = "admin";

Operation operationFor(const std::string& action, bool write) {
  Operation operation{action};
  operation.write = write;
  operation.ofUsers = true;
  operation.repeatable = true;
  return operation;
}

bool isRoleThere(OperationRunner& runner) {
  bson::Writer writer;
  writer.beginDocument("rolesInfo");
  writer.appendString("role", selfServiceRole);
  writer.appendString("db", ownDataDatabase);
  writer.end();
  const OwnedBson command(std::move(writer));
  bool there = false;
  runner.command(operationFor("look-up of role " + std::string(selfServiceRole), false), ownDataDatabase, command.get(),
                 [&](bson::View answer) { there = !answer.find("roles").asDocument().empty(); });
  return there;
}

OwnedBson createRoleCommand() {
  bson::Writer command;
  command.appendString("createRole", selfServiceRole);
  appendOwnDataPrivileges(command);
  return OwnedBson(std::move(command));
}

State createRole(OperationRunner& runner) {
  const OwnedBson command = createRoleCommand();
  try {
    runner.command(operationFor("creation of role " + std::string(selfServiceRole), true), ownDataDatabase,
                   command.get(), [](bson::View) {});
    return State::done;
  } catch (const Error& error) {
    if (error.code() != code::roleExists) throw;
    return State::alreadyThere;
  }
}

State ensureRole(OperationRunner& runner, bool dryRun) {
  if (isRoleThere(runner)) return State::alreadyThere;
  return dryRun ? State::planned : createRole(runner);
}

State ensureAdministrator(OperationRunner& runner, const DeploymentPlan& plan) {
  if (isUserThere(runner, {administrator, administrator})) return State::alreadyThere;
  if (plan.dryRun) return State::planned;
  ObjectProperties roles;
  roles.beginGroup("0");
  roles.setValueString("role", "root");
  roles.setValueString("db", administrator);
  roles.endGroup();
  createUser(runner, {administrator, administrator}, plan.administratorPassword, {roles, ObjectProperties()});
  return State::done;
}

std::string indexNameOf(const IndexRequest& request) {
  std::string name;
  for (const std::string& key : request.keys) name += (name.empty() ? "" : "_") + key + "_1";
  return name;
}

void appendKeys(bson::Writer& writer, const IndexRequest& request) {
  writer.beginDocument("key");
  for (const std::string& key : request.keys) writer.appendInt32(key, 1);
  writer.end();
}

bool isAscending(const ObjectProperties& keys, const std::string& key) {
  return keys.valueAsInt64(key, static_cast<std::int64_t>(keys.valueAsDouble(key, 0.0))) == 1;
}

bool isSame(const ObjectProperties& index, const IndexRequest& request) {
  const Entered keys = Entered::group(index, "key");
  if (!keys || index.childKeys() != std::list<std::string>(request.keys.begin(), request.keys.end())) return false;
  return std::all_of(request.keys.begin(), request.keys.end(),
                     [&index](const std::string& key) { return isAscending(index, key); });
}

bool isIndexThere(OperationRunner& runner, const IndexRequest& request) {
  bool there = false;
  const Namespace where{request.database, request.collection};
  try {
    runner.run(operationFor("list of indexes of " + request.collection, false), [&](Attempt& attempt) {
      mongoc_collection_t* const collection = attempt.collection(where);
      const Owned<mongoc_cursor_t> cursor(mongoc_collection_find_indexes_with_opts(collection, nullptr));
      attempt.drain(cursor.get(), [&](ObjectProperties&& index) {
        there = there || isSame(index, request);
        return true;
      });
    });
  } catch (const Error& error) {
    if (error.code() != code::namespaceNotFound) throw;
  }
  return there;
}

OwnedBson createIndexesCommand(const IndexRequest& request) {
  bson::Writer command;
  command.appendString("createIndexes", request.collection);
  command.beginArray("indexes");
  command.beginDocument("0");
  appendKeys(command, request);
  command.appendString("name", indexNameOf(request));
  if (request.unique) command.appendBool("unique", true);
  command.end();
  command.end();
  return OwnedBson(std::move(command));
}

State ensureIndex(OperationRunner& runner, const IndexRequest& request, bool dryRun) {
  if (isIndexThere(runner, request)) return State::alreadyThere;
  if (dryRun) return State::planned;
  const OwnedBson command = createIndexesCommand(request);
  runner.command(operationFor("creation of index " + indexNameOf(request), true), request.database, command.get(),
                 [](bson::View) {});
  return State::done;
}

std::string describe(const IndexRequest& request) {
  std::string keys;
  for (const std::string& key : request.keys) keys += (keys.empty() ? "" : ", ") + key;
  return "index on " + request.database + "." + request.collection + " (" + keys + ")";
}

std::list<DeploymentStep> ensureRoleAndIndexes(OperationRunner& runner, const DeploymentPlan& plan) {
  std::list<DeploymentStep> steps;
  steps.push_back({std::string("role ") + selfServiceRole + " on " + ownDataDatabase, ensureRole(runner, plan.dryRun)});
  for (const IndexRequest& request : plan.indexes) {
    steps.push_back({describe(request), ensureIndex(runner, request, plan.dryRun)});
  }
  return steps;
}

bool isAnonymous(const OperationRunner& runner) {
  return mongoc_uri_get_username(runner.address().uri.get()) == nullptr;
}

// With access control on and no user yet, a server lets an unknown caller make the first one, and do nothing else.
std::list<DeploymentStep> ensureTheRestAsAdministrator(OperationRunner& runner, const DeploymentPlan& plan) {
  OperationRunner known(withUser(runner.address(), {administrator, administrator, plan.administratorPassword}));
  return ensureRoleAndIndexes(known, plan);
}

}  // namespace

std::list<DeploymentStep> setUp(OperationRunner& runner, const DeploymentPlan& plan) {
  std::list<DeploymentStep> steps;
  bool isNew = false;
  if (!plan.administratorPassword.empty()) {
    const State state = ensureAdministrator(runner, plan);
    isNew = state == State::done;
    steps.push_back({"administrator " + administrator, state});
  }
  steps.splice(steps.end(), isNew && isAnonymous(runner) ? ensureTheRestAsAdministrator(runner, plan)
                                                         : ensureRoleAndIndexes(runner, plan));
  return steps;
}

}  // namespace database_client::server
