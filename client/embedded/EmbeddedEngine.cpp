// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/EmbeddedEngine.h"

#include <memory>
#include <optional>

#include "client/DocumentAccess.h"
#include "client/embedded/users/UserDirectory.h"

namespace database_client::embedded {

namespace {

bool isShared(const StoreAddress& address) {
  return !address.isMemory() && !address.exclusive;
}

bool isUserList(const Namespace& where) {
  return where.database == "admin" && where.collection == "system.users";
}

bool isRoleList(const Namespace& where) {
  return where.database == "admin" && where.collection == "system.roles";
}

bool asksForUser(bson::View query, const std::string& user) {
  const bson::Value asked = query.find("user");
  return query.count() == 1 && asked.data != nullptr && asked.type == bson::Type::string && asked.asString() == user;
}

/// The administrator is part of every store, from its making on.
void makeAdministrator(Store& store) {
  {
    const Store::Reading reading(store);
    if (store.find("admin", "system.users") != nullptr) return;
  }
  Store::Writing writing(store, Store::WriteScope::one);
  // Another client may have been quicker.
  if (store.find("admin", "system.users") != nullptr) return;
  UserDirectory(store).insert(UserDirectory::administrator());
  writing.commit();
}

}  // namespace

EmbeddedEngine::EmbeddedEngine(const StoreAddress& address, const ConnectRequest& request)
    : store_(openStore(address, newFile_), isShared(address)), login_(store_) {
  store_.connection().setCancellation(request.cancellation);
  makeAdministrator(store_);
  newFile_.keep();
  if (request.user.empty()) return;
  const Store::Reading reading(store_);
  login_.authenticate(request.authDatabase.empty() ? "admin" : request.authDatabase, request.user, request.password);
}

Collection* EmbeddedEngine::reading(const Namespace& where, const char* operation) {
  const Action action = isUserList(where) || isRoleList(where) ? Action::listUsers : Action::read;
  if (!login_.may(action, where.database)) login_.refuse(operation, where.database + "." + where.collection);
  return store_.find(where.database, where.collection);
}

// Users may see themselves, whatever their rights over others: the query for it, when this is what the query asks.
std::optional<ObjectProperties> EmbeddedEngine::lookUpOfSelf(const Namespace& where, const ObjectProperties& query) {
  if (!isUserList(where) || login_.may(Action::listUsers, where.database)) return std::nullopt;
  if (!login_.hasUser() || !asksForUser(DocumentAccess::view(query), login_.user())) return std::nullopt;
  ObjectProperties self;
  self.setValueString("user", login_.user());
  self.setValueString("db", login_.database());
  return self;
}

void EmbeddedEngine::beginTransaction() {
  {
    const Store::Reading reading(store_);
    login_.requireSomeChange("begin a transaction");
  }
  store_.begin();
}

void EmbeddedEngine::commitTransaction() {
  store_.commit();
}

void EmbeddedEngine::rollbackTransaction() {
  store_.rollback();
  login_.changed();
}

std::unique_ptr<Engine> open(const std::string& path, const ConnectRequest& request) {
  return std::make_unique<EmbeddedEngine>(StoreAddress::parse(path), request);
}

}  // namespace database_client::embedded
