// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "client/Cancellation.h"
#include "database_client/DataBaseClient.h"

namespace database_client {

struct Namespace {
  const std::string& database;
  const std::string& collection;
};

/// A `find` as an engine runs it.
struct FindRequest {
  const ObjectProperties& query;
  const ObjectProperties& projection;
  int limit;  ///< 0: no limit
  int skip;
  const UnreadableHandler* unreadable = nullptr;  ///< instead of the engine's
  const ObjectProperties* sort = nullptr;         ///< paths and 1 or -1; null: the order of the store
  /// {_id: value} of the record behind which the results begin; null: none. With a `sort` that is one of "_id" alone.
  const ObjectProperties* after = nullptr;
};

enum class UpdateKind { replaceFirst, setInAll, appendToArrayInAll };

/// What stands in an address besides the host.
struct ConnectRequest {
  const std::string& authDatabase;
  const std::string& host;
  int port;
  const std::string& user;
  const std::string& password;
  std::shared_ptr<Cancellation> cancellation = std::make_shared<Cancellation>();
};

/// A store behind a `DataBaseClient`. The client has checked names, sizes, depth and the form of arguments; an
/// engine throws `Error` for everything else, and starts no thread.
class Engine {
 public:
  /// Takes one result; false asks for no more.
  using Receiver = std::function<bool(ObjectProperties&&)>;

  Engine() = default;
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;
  virtual ~Engine() = default;

  virtual bool isOpen() const noexcept = 0;

  /// Told of what reads pass over; an empty one lets them fail.
  void setUnreadableHandler(UnreadableHandler handler) { unreadable_ = std::move(handler); }

  /// `document` begins with its "_id".
  virtual void insert(const Namespace& where, const ObjectProperties& document) = 0;
  virtual std::list<BulkFailure> insertMany(const Namespace& where, const std::vector<ObjectProperties>& documents) = 0;
  virtual UpdateResult update(const Namespace& where, const ObjectProperties& selector,
                              const ObjectProperties& document, UpdateKind kind, bool upsert) = 0;
  virtual void find(const Namespace& where, const FindRequest& request, const Receiver& receive) = 0;
  /// `stages` is the pipeline as one document whose keys "0", "1", … hold the stages.
  virtual void aggregate(const Namespace& where, const ObjectProperties& stages, const Receiver& receive) = 0;
  /// The documents removed. Where `isCounted`, what would make a wrong number of them, such as a repetition, is an
  /// error instead.
  virtual long long remove(const Namespace& where, const ObjectProperties& query, bool isCounted) = 0;
  virtual bool keepsInsertionOrder() const = 0;

  /// `roles` is one document whose keys "0", "1", … hold {"role", "db"}.
  virtual void createUser(const std::string& database, const std::string& user, const std::string& password,
                          const ObjectProperties& roles, const ObjectProperties& customData) = 0;
  virtual void modifyUser(const std::string& database, const std::string& user, const ObjectProperties& roles,
                          const ObjectProperties& customData) = 0;
  virtual void changePassword(const std::string& database, const std::string& user, const std::string& password) = 0;
  virtual void dropUser(const std::string& database, const std::string& user) = 0;

  virtual long long count(const Namespace& where, const ObjectProperties& query) = 0;
  virtual ObjectProperties explain(const Namespace& where, const ObjectProperties& query) = 0;
  virtual std::list<std::string> databaseNames() = 0;
  virtual std::list<std::string> collectionNames(const std::string& database) = 0;
  virtual std::list<DeploymentStep> setUpDeployment(const DeploymentPlan& plan) = 0;

  virtual AccessControl accessControl() = 0;
  virtual StoreDescription describe() = 0;
  virtual CollectionSize collectionSize(const Namespace& where) = 0;

  // What only some engines have.
  virtual void beginTransaction();
  virtual void commitTransaction();
  virtual void rollbackTransaction();
  virtual CheckReport check();
  virtual void compact();
  virtual void backup(const std::string& path);
  virtual CheckReport repair(const std::string& path);

 protected:
  /// Null where reads are to fail.
  const UnreadableHandler* unreadable() const { return unreadable_ ? &unreadable_ : nullptr; }
  /// Throws Error{unsupported} naming the operation.
  [[noreturn]] static void refuse(const char* operation);

 private:
  UnreadableHandler unreadable_{};
};

/// Opens the engine that the host asks for. Throws Error{query} for arguments that make no sense, and Error of another
/// kind (connection, timeout, authentication, storage) when the store cannot be used.
std::unique_ptr<Engine> openEngine(const ConnectRequest& request);

namespace server {
std::unique_ptr<Engine> open(const ConnectRequest& request);
}
namespace embedded {
/// `path` is what stands behind "file:", options included.
std::unique_ptr<Engine> open(const std::string& path, const ConnectRequest& request);
}  // namespace embedded

}  // namespace database_client
