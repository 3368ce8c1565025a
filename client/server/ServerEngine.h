// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/Engine.h"
#include "client/server/OperationRunner.h"

namespace database_client::server {

/// The engine for a MongoDB deployment: a standalone server, a replica set or a sharded cluster.
///
/// An acknowledgement counts only when it says exactly what was asked for, unless the address gives up
/// acknowledgements (w=0).
class ServerEngine final : public Engine {
 public:
  /// Proves the connection with a ping.
  explicit ServerEngine(const ConnectRequest& request);

  bool isOpen() const noexcept override;

  void insert(const Namespace& where, const ObjectProperties& document) override;
  std::list<BulkFailure> insertMany(const Namespace& where, const std::vector<ObjectProperties>& documents) override;
  void update(const Namespace& where, const ObjectProperties& selector, const ObjectProperties& document,
              UpdateKind kind, bool upsert) override;
  /// On "admin"."system.users" the credentials are left out, and users that the server keeps elsewhere, or does not let
  /// this user read, are asked for by command.
  void find(const Namespace& where, const FindRequest& request, const Receiver& receive) override;
  void aggregate(const Namespace& where, const ObjectProperties& stages, const Receiver& receive) override;
  void remove(const Namespace& where, const ObjectProperties& query) override;

  void createUser(const std::string& database, const std::string& user, const std::string& password,
                  const ObjectProperties& roles, const ObjectProperties& customData) override;
  void modifyUser(const std::string& database, const std::string& user, const ObjectProperties& roles,
                  const ObjectProperties& customData) override;
  void changePassword(const std::string& database, const std::string& user, const std::string& password) override;
  void dropUser(const std::string& database, const std::string& user) override;

  long long count(const Namespace& where, const ObjectProperties& query) override;
  /// A server that cannot explain gives no "examined".
  ObjectProperties explain(const Namespace& where, const ObjectProperties& query) override;
  std::list<std::string> databaseNames() override;
  std::list<std::string> collectionNames(const std::string& database) override;
  std::list<DeploymentStep> setUpDeployment(const DeploymentPlan& plan) override;
  AccessControl accessControl() override;
  StoreDescription describe() override;
  CollectionSize collectionSize(const Namespace& where) override;

 private:
  bool isAcknowledged() const;
  void findPlainly(const Namespace& where, const FindRequest& request, const Receiver& receive);
  void findOne(const Namespace& where, const FindRequest& request, const Receiver& receive);
  void findMany(const Namespace& where, const FindRequest& request, const Receiver& receive);

  OperationRunner runner_;
};

}  // namespace database_client::server
