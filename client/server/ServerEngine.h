// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/Engine.h"
#include "client/server/OperationRunner.h"

namespace database_client::server {

/// The engine for a MongoDB deployment: a standalone server, a replica set or a sharded cluster.
///
/// A call becomes an operation, which says what it is called in messages and how it may be treated when it fails.
/// OperationRunner runs it as one attempt or two on a DriverConnection, which is the driver's client with all that it
/// tells while it works; between the driver and the network stands a CheckedStream. Whatever goes wrong becomes an
/// Error in one place, ErrorMapping:
///
///     call - Operation - Attempt - libmongoc - CheckedStream - network
///                           |          |             |
///                      ErrorMapping <--+-------------+    events, the driver's error, why a stream was given up
///
/// - A success that a caller is told of is one. An acknowledgement counts only when it says exactly what was asked for,
///   unless the address gives up acknowledgements (w=0): the driver takes an answer without a count for a success.
/// - No document is handed over before the answer that it came with was looked through as a whole (Answer.h).
/// - Nothing that the driver demands of its arguments is left to it, since it ends the process where that is not met:
///   names and documents are checked above all engines, hosts and ports in Address.
/// - The bytes of documents are checked once, on their way in. The driver's own check is switched off: it refuses keys
///   that a store takes, lets bytes through that are no text, and takes more than half of the time of a bulk insert.
///
/// The driver is there for what is long to write and well known: TLS, logging in, the choice of a server, elections.
/// Functions of it that do more than was asked for are not used: its count ends the process when the server keeps the
/// cursor, and its cursor chooses a server twice for one document, which took a quarter more instructions of a find by
/// id.
///
/// Begin reading with `insertMany`, where all that may come back is dealt with, and then with OperationRunner.h.
class ServerEngine final : public Engine {
 public:
  /// Proves the connection with a ping.
  explicit ServerEngine(const ConnectRequest& request);

  bool isOpen() const noexcept override;

  void insert(const Namespace& where, const ObjectProperties& document) override;
  std::list<BulkFailure> insertMany(const Namespace& where, const std::vector<ObjectProperties>& documents) override;
  UpdateResult update(const Namespace& where, const ObjectProperties& selector, const ObjectProperties& document,
                      UpdateKind kind, bool upsert) override;
  /// On "admin"."system.users" the credentials are left out, and users that the server keeps elsewhere, or does not let
  /// this user read, are asked for by command.
  void find(const Namespace& where, const FindRequest& request, const Receiver& receive) override;
  void aggregate(const Namespace& where, const ObjectProperties& stages, const Receiver& receive) override;
  long long remove(const Namespace& where, const ObjectProperties& query, bool isCounted) override;
  bool keepsInsertionOrder() const override { return false; }

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
