// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <list>
#include <optional>
#include <string>
#include <vector>

#include "client/Engine.h"
#include "client/embedded/storage/Collection.h"
#include "client/embedded/storage/IdScan.h"
#include "client/embedded/storage/Store.h"
#include "client/embedded/storage/StoreAddress.h"
#include "client/embedded/storage/StoreFile.h"
#include "client/embedded/users/Login.h"
#include "client/embedded/users/Rights.h"
#include "client/embedded/users/UserDirectory.h"

namespace database_client::embedded {

class Cursor;

/// The engine for one file. Each call is one transaction: it does everything or nothing, and reads from one state of
/// the store. A receiver of results may use the same client, also to write; what the call has still to hand over is
/// then taken into memory first, so the results are those of the moment when the call began.
class EmbeddedEngine : public Engine {
 public:
  /// Throws Error{storage} where the store cannot be opened, Error{authentication} where it refuses the user.
  EmbeddedEngine(const StoreAddress& address, const ConnectRequest& request);

  bool isOpen() const noexcept override { return true; }

  void insert(const Namespace& where, const ObjectProperties& document) override;
  std::list<BulkFailure> insertMany(const Namespace& where, const std::vector<ObjectProperties>& documents) override;
  UpdateResult update(const Namespace& where, const ObjectProperties& selector, const ObjectProperties& document,
                      UpdateKind kind, bool upsert) override;
  void find(const Namespace& where, const FindRequest& request, const Receiver& receive) override;
  void aggregate(const Namespace& where, const ObjectProperties& stages, const Receiver& receive) override;
  long long remove(const Namespace& where, const ObjectProperties& query, bool isCounted) override;
  bool keepsInsertionOrder() const override { return true; }

  void createUser(const std::string& database, const std::string& user, const std::string& password,
                  const ObjectProperties& roles, const ObjectProperties& customData) override;
  void modifyUser(const std::string& database, const std::string& user, const ObjectProperties& roles,
                  const ObjectProperties& customData) override;
  void changePassword(const std::string& database, const std::string& user, const std::string& password) override;
  void dropUser(const std::string& database, const std::string& user) override;

  long long count(const Namespace& where, const ObjectProperties& query) override;
  ObjectProperties explain(const Namespace& where, const ObjectProperties& query) override;
  std::list<std::string> databaseNames() override;
  std::list<std::string> collectionNames(const std::string& database) override;
  std::list<DeploymentStep> setUpDeployment(const DeploymentPlan& plan) override;
  AccessControl accessControl() override;
  StoreDescription describe() override;
  CollectionSize collectionSize(const Namespace& where) override;

  void beginTransaction() override;
  void commitTransaction() override;
  void rollbackTransaction() override;
  CheckReport check() override;
  void compact() override;
  void backup(const std::string& path) override;
  CheckReport repair(const std::string& path) override;

 private:
  Collection* reading(const Namespace& where, const char* operation);
  /// Sorts what the cursor gives as the stage $sort does. `order` where that is by "_id".
  static void giveSorted(Cursor& cursor, const FindRequest& request, const std::optional<IdOrder>& order,
                         const std::function<bool(bson::View)>& give);
  std::optional<ObjectProperties> lookUpOfSelf(const Namespace& where, const ObjectProperties& query);
  void requireWrite(const Namespace& where, const char* operation);
  void requireUserRights(const std::string& database, const std::vector<Grant>& grants, const char* operation,
                         const std::string& user);
  void requireChangeRights(const std::optional<User>& known, const std::string& database,
                           const std::vector<Grant>& grants, const std::string& user);
  DeploymentStep setUpRole(bool dryRun);
  DeploymentStep setUpAdministrator(bool dryRun, const std::string& password);
  void compactIndex(Collection& collection);

  NewFile newFile_{};  // Before the store, so that the file is closed when it is removed.
  Store store_;
  Login login_;
};

}  // namespace database_client::embedded
