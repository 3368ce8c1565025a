// SPDX-License-Identifier: Apache-2.0
#include "database_client/DataBaseClient.h"

#include <optional>
#include <utility>

#include "client/Engine.h"
#include "client/ObjectId.h"
#include "client/arguments.h"
#include "client/saslPrepare.h"

/// The connection as applications see it, over whichever engine the host's name chose. Here arguments are checked and
/// put into the engines' form, and nothing else happens: whatever is done alike on every store is done once, here, and
/// whatever is not is the engine's.
///
/// Invariants:
/// - First it is asked whether there is a connection, then whether the names are sound, then the rest. So a call tells
///   the same error on every store, and one without a connection never complains of a document.
/// - A list of the caller's is changed by one splice that cannot throw, after the engine gave all there is: a call that
///   fails leaves it as it was.
/// - What makes no sense throws, also from `connect`. A store that is not to be had makes `connect` false, and the
///   reason is kept for the operations that follow, which throw it.
/// - Cancellation and the handler of unreadable documents are the client's and not the engine's: they can be set before
///   there is a connection, and outlast it.
namespace database_client {

namespace {

/// What a read found, owned until all of it goes into the caller's list.
class Results {
 public:
  Results() = default;
  ~Results() {
    for (const ObjectProperties* document : documents_) delete document;
  }
  Results(const Results&) = delete;
  Results& operator=(const Results&) = delete;

  Engine::Receiver receiver() {
    return [this](ObjectProperties&& document) {
      auto owned = std::make_unique<ObjectProperties>(std::move(document));
      documents_.push_back(owned.get());
      static_cast<void>(owned.release());
      return true;
    };
  }
  void moveTo(std::list<ObjectProperties*>& documents) noexcept { documents.splice(documents.end(), documents_); }

 private:
  std::list<ObjectProperties*> documents_{};
};

/// Whether `connect` answers this failure with false: the arguments were good, the store was not to be had.
bool isRefusal(const Error& error) {
  return error.kind() != Error::Kind::query && error.kind() != Error::Kind::document &&
         error.kind() != Error::Kind::unsupported;
}

/// What the operations throw after `connect` was refused: to them, whatever the reason, there is no connection.
Error refusal(const Error& reason) {
  const bool isTold = reason.kind() == Error::Kind::authentication || reason.kind() == Error::Kind::connection;
  if (isTold) return reason;
  return {Error::Kind::connection,
          reason.what(),
          {reason.where(), reason.code(), reason.retryable(), reason.outcomeUnknown()}};
}

UpdateKind updateKind(int operation) {
  switch (operation) {
    case UpdateOperation::replace:
      return UpdateKind::replaceFirst;
    case UpdateOperation::set:
      return UpdateKind::setInAll;
    case UpdateOperation::append:
      return UpdateKind::appendToArrayInAll;
    default:
      throw Error(Error::Kind::query, "operation: " + std::to_string(operation) + " where 1, 3 or 9 is expected",
                  {"operation"});
  }
}

bool isUpsert(int flags) {
  if (flags != UpdateFlags::none && flags != UpdateFlags::upsert) {
    throw Error(Error::Kind::query, "flags: " + std::to_string(flags) + " where 0 or 1 is expected", {"flags"});
  }
  return flags == UpdateFlags::upsert;
}

void checkCredentials(const std::string& user, const std::string& password) {
  arguments::checkText("user", user);
  arguments::checkText("password", password);
  if (!user.empty() && isEmptyPassword(password)) {
    throw Error(Error::Kind::authentication, "user \"" + user + "\" comes with an empty password", {"password"});
  }
}

/// The document as it is stored, checked.
ObjectProperties prepared(const ObjectProperties* document) {
  if (document == nullptr) throw Error(Error::Kind::query, "document: a null pointer", {"document"});
  ObjectProperties stored = arguments::withId(*document);
  arguments::checkDocument("document", stored);  // Not before: a new id may be what makes it too large.
  return stored;
}

}  // namespace

struct DataBaseClient::Connection {
  std::shared_ptr<Cancellation> cancellation = std::make_shared<Cancellation>();
  std::unique_ptr<Engine> engine{};
  std::optional<Error> failure{};
  UnreadableHandler unreadable{};

  void close() {
    engine.reset();
    failure.reset();
  }

  Engine& open() const {
    if (engine) return *engine;
    if (failure) throw Error(*failure);
    throw Error(Error::Kind::connection, "not connected");
  }
  /// The engine, once the names are such as a store accepts.
  Engine& openFor(const std::string& database, const std::string& collection) const {
    Engine& found = open();
    arguments::checkCollection(database, collection);
    return found;
  }
  Engine& openForUser(const std::string& database, const std::string& user) const {
    Engine& found = open();
    arguments::checkDatabase(database);
    arguments::checkUser(user);
    return found;
  }
};

DataBaseClient::DataBaseClient() : connection_(std::make_unique<Connection>()) {}
DataBaseClient::~DataBaseClient() = default;

bool DataBaseClient::connect(const std::string& authDatabase, const std::string& host, const int& port,
                             const std::string& user, const std::string& password) {
  connection_->close();
  try {
    arguments::checkText("host", host);
    arguments::checkText("authDatabase", authDatabase);
    checkCredentials(user, password);
    connection_->engine = openEngine({authDatabase, host, port, user, password, connection_->cancellation});
    connection_->engine->setUnreadableHandler(connection_->unreadable);
  } catch (const Error& error) {
    if (!isRefusal(error)) throw;
    connection_->failure = refusal(error);
  }
  return connection_->engine != nullptr;
}

bool DataBaseClient::disconnect() {
  connection_->close();
  return true;
}

bool DataBaseClient::isConnected() const {
  return connection_->engine && connection_->engine->isOpen();
}

std::string DataBaseClient::failure() const {
  return connection_->failure ? connection_->failure->what() : "";
}

bool DataBaseClient::insert(const std::string& database, const std::string& collection,
                            const ObjectProperties* document, std::string& id) {
  Engine& engine = connection_->openFor(database, collection);
  const ObjectProperties stored = prepared(document);
  engine.insert({database, collection}, stored);
  id = stored.valueAsId("_id", "");
  return true;
}

std::list<BulkFailure> DataBaseClient::insertMany(const std::string& database, const std::string& collection,
                                                  const std::vector<const ObjectProperties*>& documents,
                                                  std::vector<std::string>& ids) {
  Engine& engine = connection_->openFor(database, collection);
  std::list<BulkFailure> failures;
  std::vector<ObjectProperties> stored;
  std::vector<std::size_t> places;  // of the stored ones in `documents`
  stored.reserve(documents.size());
  places.reserve(documents.size());
  for (std::size_t i = 0; i < documents.size(); ++i) {
    // One that is refused here keeps the others from the store as little as one that the store refuses.
    try {
      stored.push_back(prepared(documents[i]));
      places.push_back(i);
    } catch (const Error& error) {
      failures.push_back({i, error});
    }
  }
  // An id for each document, in their order; empty where nothing was inserted.
  std::vector<std::string> made(documents.size());
  for (std::size_t i = 0; i < stored.size(); ++i) made[places[i]] = stored[i].valueAsId("_id", "");
  for (const BulkFailure& failure : engine.insertMany({database, collection}, stored)) {
    made[places[failure.index]].clear();
    failures.push_back({places[failure.index], failure.error});
  }
  ids.insert(ids.end(), made.begin(), made.end());
  failures.sort([](const BulkFailure& a, const BulkFailure& b) { return a.index < b.index; });
  return failures;
}

void DataBaseClient::update(const std::string& database, const std::string& collection,
                            const ObjectProperties& selector, const ObjectProperties& document, const int& flags,
                            const int& operation) {
  // This class's own: where `updateCounted` is overridden by a call of `update`, the two would not end.
  DataBaseClient::updateCounted(database, collection, selector, document, flags, operation);
}

UpdateResult DataBaseClient::updateCounted(const std::string& database, const std::string& collection,
                                           const ObjectProperties& selector, const ObjectProperties& document,
                                           const int& flags, const int& operation) {
  Engine& engine = connection_->openFor(database, collection);
  const UpdateKind kind = updateKind(operation);
  const bool upsert = isUpsert(flags);
  arguments::checkDocument("selector", selector);
  arguments::checkDocument("document", document);
  if (kind == UpdateKind::replaceFirst) arguments::checkReplacement(document);
  return engine.update({database, collection}, selector, document, kind, upsert);
}

void DataBaseClient::find(const std::string& database, const std::string& collection, const ObjectProperties& query,
                          const ObjectProperties& projection, std::list<ObjectProperties*>& documents, int limit,
                          int skip) {
  Engine& engine = connection_->openFor(database, collection);
  arguments::checkPage(limit, skip);
  arguments::checkDocument("query", query);
  arguments::checkDocument("projection", projection);
  Results results;
  engine.find({database, collection}, {query, arguments::projectionFor(projection), limit, skip}, results.receiver());
  results.moveTo(documents);
}

void DataBaseClient::findEach(const std::string& database, const std::string& collection, const ObjectProperties& query,
                              const ObjectProperties& projection, int limit, int skip,
                              const std::function<bool(ObjectProperties&)>& receive) {
  findEach(database, collection, query, projection, limit, skip, receive, connection_->unreadable);
}

void DataBaseClient::findEach(const std::string& database, const std::string& collection, const ObjectProperties& query,
                              const ObjectProperties& projection, int limit, int skip,
                              const std::function<bool(ObjectProperties&)>& receive,
                              const UnreadableHandler& unreadable) {
  Engine& engine = connection_->openFor(database, collection);
  arguments::checkPage(limit, skip);
  arguments::checkDocument("query", query);
  arguments::checkDocument("projection", projection);
  const auto pass = [&receive](ObjectProperties&& document) { return receive(document); };
  engine.find({database, collection},
              {query, arguments::projectionFor(projection), limit, skip, unreadable ? &unreadable : nullptr}, pass);
}

void DataBaseClient::findEach(const std::string& database, const std::string& collection, const ObjectProperties& query,
                              const FindOptions& options, const std::function<bool(ObjectProperties&)>& receive) {
  Engine& engine = connection_->openFor(database, collection);
  arguments::checkPage(options.limit, options.skip);
  arguments::checkDocument("query", query);
  arguments::checkDocument("projection", options.projection);
  arguments::checkDocument("sort", options.sort);
  arguments::checkSort(options.sort);
  ObjectProperties after;
  if (!options.after.empty()) {
    arguments::checkText("after", options.after);
    arguments::checkSortOfPages(options.sort);
    after.setValueId("_id", options.after);
  }
  const ObjectProperties projection = arguments::projectionFor(options.projection);
  FindRequest request{query, projection, options.limit, options.skip};
  if (!options.sort.isEmpty()) request.sort = &options.sort;
  if (!options.after.empty()) request.after = &after;
  engine.find({database, collection}, request, [&receive](ObjectProperties&& document) { return receive(document); });
}

bool DataBaseClient::keepsInsertionOrder() const {
  return connection_->open().keepsInsertionOrder();
}

void DataBaseClient::setUnreadableHandler(const UnreadableHandler& unreadable) {
  connection_->unreadable = unreadable;
  if (connection_->engine) connection_->engine->setUnreadableHandler(unreadable);
}

void DataBaseClient::aggregate(const std::string& database, const std::string& collection,
                               const ObjectProperties& pipeline, std::list<ObjectProperties*>& documents) {
  Engine& engine = connection_->openFor(database, collection);
  arguments::checkDocument("pipeline", pipeline);
  Results results;
  engine.aggregate({database, collection}, arguments::stagesOf(pipeline), results.receiver());
  results.moveTo(documents);
}

void DataBaseClient::aggregateEach(const std::string& database, const std::string& collection,
                                   const ObjectProperties& pipeline,
                                   const std::function<bool(ObjectProperties&)>& receive) {
  Engine& engine = connection_->openFor(database, collection);
  arguments::checkDocument("pipeline", pipeline);
  const auto pass = [&receive](ObjectProperties&& document) { return receive(document); };
  engine.aggregate({database, collection}, arguments::stagesOf(pipeline), pass);
}

void DataBaseClient::remove(const std::string& database, const std::string& collection, const ObjectProperties& query) {
  Engine& engine = connection_->openFor(database, collection);
  arguments::checkDocument("query", query);
  engine.remove({database, collection}, query, false);
}

long long DataBaseClient::removeCounted(const std::string& database, const std::string& collection,
                                        const ObjectProperties& query) {
  Engine& engine = connection_->openFor(database, collection);
  arguments::checkDocument("query", query);
  return engine.remove({database, collection}, query, true);
}

std::string DataBaseClient::createId() {
  return ObjectId::make().text();
}

void DataBaseClient::createUser(const std::string& database, const std::string& user, const std::string& password,
                                const ObjectProperties& roles, const ObjectProperties& customData) {
  Engine& engine = connection_->openForUser(database, user);
  arguments::checkPassword("password", password);
  arguments::checkRoles(roles);
  arguments::checkDocument("customData", customData);
  engine.createUser(database, user, password, roles, customData);
}

void DataBaseClient::modifyUser(const std::string& database, const std::string& user, const ObjectProperties& roles,
                                const ObjectProperties& customData) {
  Engine& engine = connection_->openForUser(database, user);
  arguments::checkRoles(roles);
  arguments::checkDocument("customData", customData);
  engine.modifyUser(database, user, roles, customData);
}

void DataBaseClient::changePassword(const std::string& database, const std::string& user, const std::string& password) {
  Engine& engine = connection_->openForUser(database, user);
  arguments::checkPassword("password", password);
  engine.changePassword(database, user, password);
}

void DataBaseClient::dropUser(const std::string& database, const std::string& user) {
  connection_->openForUser(database, user).dropUser(database, user);
}

long long DataBaseClient::count(const std::string& database, const std::string& collection,
                                const ObjectProperties& query) {
  Engine& engine = connection_->openFor(database, collection);
  arguments::checkDocument("query", query);
  return engine.count({database, collection}, query);
}

ObjectProperties DataBaseClient::explain(const std::string& database, const std::string& collection,
                                         const ObjectProperties& query) {
  Engine& engine = connection_->openFor(database, collection);
  arguments::checkDocument("query", query);
  return engine.explain({database, collection}, query);
}

std::list<std::string> DataBaseClient::databaseNames() {
  return connection_->open().databaseNames();
}

std::list<std::string> DataBaseClient::collectionNames(const std::string& database) {
  Engine& engine = connection_->open();
  arguments::checkDatabase(database);
  return engine.collectionNames(database);
}

std::list<DeploymentStep> DataBaseClient::setUpDeployment(const DeploymentPlan& plan) {
  Engine& engine = connection_->open();
  arguments::checkPassword("administratorPassword", plan.administratorPassword);
  for (const IndexRequest& index : plan.indexes) arguments::checkCollection(index.database, index.collection);
  return engine.setUpDeployment(plan);
}

AccessControl DataBaseClient::accessControl() {
  return connection_->open().accessControl();
}

StoreDescription DataBaseClient::describe() {
  return connection_->open().describe();
}

CollectionSize DataBaseClient::collectionSize(const std::string& database, const std::string& collection) {
  return connection_->openFor(database, collection).collectionSize({database, collection});
}

void DataBaseClient::beginTransaction() {
  connection_->open().beginTransaction();
}
void DataBaseClient::commitTransaction() {
  connection_->open().commitTransaction();
}
void DataBaseClient::rollbackTransaction() {
  connection_->open().rollbackTransaction();
}

CheckReport DataBaseClient::check() {
  return connection_->open().check();
}
void DataBaseClient::compact() {
  connection_->open().compact();
}
void DataBaseClient::backup(const std::string& path) {
  Engine& engine = connection_->open();
  arguments::checkText("path", path);
  engine.backup(path);
}

CheckReport DataBaseClient::repair(const std::string& path) {
  Engine& engine = connection_->open();
  arguments::checkText("path", path);
  return engine.repair(path);
}

void DataBaseClient::setCancellation(std::function<bool()> isWanted) {
  connection_->cancellation->set(std::move(isWanted));
}

Transaction::Transaction(DataBaseClient& client) : client_(client) {
  client_.beginTransaction();
}

Transaction::~Transaction() {
  if (!open_) return;
  try {
    client_.rollbackTransaction();
  } catch (const std::exception&) {
    // A store that cannot undo any more has lost the transaction with its connection.
  }
}

void Transaction::commit() {
  if (!open_) return;
  open_ = false;  // Also where the commit fails: then there is nothing left to be undone.
  client_.commitTransaction();
}

}  // namespace database_client
