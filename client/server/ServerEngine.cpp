// SPDX-License-Identifier: Apache-2.0
#include "client/server/ServerEngine.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string_view>
#include <utility>

#include "client/DocumentAccess.h"
#include "client/server/Deployment.h"
#include "client/server/Description.h"
#include "client/server/Driver.h"
#include "client/server/Explanation.h"
#include "client/server/Repetition.h"
#include "client/server/Users.h"

namespace database_client::server {

namespace {

// An address with a password in it is among the arguments: the driver is started before anything can write a log line.
Address addressFor(const ConnectRequest& request) {
  startDriver();
  return makeAddress(request);
}

std::string nameOf(const Namespace& where) {
  return where.database + "." + where.collection;
}

Operation readOperation(const char* verb, const Namespace& where) {
  return {verb + (" " + nameOf(where))};
}

Operation writeOperation(const char* verb, const Namespace& where) {
  Operation operation = readOperation(verb, where);
  operation.write = true;
  return operation;
}

std::int64_t numberAt(bson::View document, std::string_view key) {
  const bson::Value value = document.find(key);
  if (value.data == nullptr) return 0;
  if (value.type == bson::Type::int32) return value.asInt32();
  return value.type == bson::Type::int64 ? value.asInt64() : 0;
}

[[noreturn]] void failNonsense(Attempt& attempt, const std::string& reason) {
  attempt.fail(Flaw{Flaw::Nature::nonsense, reason});
}

// What could be an answer to another request.
[[noreturn]] void failDamaged(Attempt& attempt, const std::string& reason) {
  attempt.fail(Flaw{Flaw::Nature::damaged, reason});
}

void expectCount(Attempt& attempt, std::int64_t acknowledged, std::int64_t expected) {
  attempt.check();
  if (acknowledged == expected) return;
  failDamaged(attempt, "the server acknowledged " + std::to_string(acknowledged) + " documents instead of " +
                           std::to_string(expected));
}

// The bytes are known to be good, and the driver's check would refuse keys that a store takes.
void appendUnchecked(bson::Writer& options) {
  options.appendBool("validate", false);
}

OwnedBson insertOptions() {
  bson::Writer options;
  appendUnchecked(options);
  options.appendBool("ordered", false);
  return OwnedBson(std::move(options));
}

OwnedBson insertOneOptions() {
  bson::Writer options;
  appendUnchecked(options);
  return OwnedBson(std::move(options));
}

OwnedBson updateOptions(bool upsert) {
  bson::Writer options;
  appendUnchecked(options);
  options.appendBool("upsert", upsert);
  return OwnedBson(std::move(options));
}

void appendPage(bson::Writer& writer, const FindRequest& request) {
  if (!request.projection.isEmpty()) writer.appendDocument("projection", DocumentAccess::view(request.projection));
  if (request.sort != nullptr) writer.appendDocument("sort", DocumentAccess::view(*request.sort));
  if (request.limit > 0) writer.appendInt64("limit", request.limit);
  if (request.skip > 0) writer.appendInt64("skip", request.skip);
}

/// {$and: [query, {$or: [{_id: {$gt: id}}, {_id: {$type: [kinds behind that of the id]}}]}]}: a comparison in a query
/// sees values of its operand's own kind alone, while an order goes on with those of the kinds behind it. Each part is
/// a range of the index on "_id", and a server merges ranges in the order that is asked for.
ObjectProperties behind(const ObjectProperties& query, const bson::Value& id, bool isDescending) {
  // What an "_id" can be, in the order of values. Records are named by a text or an object id.
  using bson::Type;
  constexpr std::array<Type, 18> kinds{
      Type::minKey, Type::null,      Type::real,      Type::int32,  Type::int64,         Type::decimal128,
      Type::symbol, Type::string,    Type::document,  Type::binary, Type::objectId,      Type::boolean,
      Type::date,   Type::timestamp, Type::dbPointer, Type::code,   Type::codeWithScope, Type::maxKey};
  const bool isText = id.type == Type::string;
  const auto* const below = std::find(kinds.begin(), kinds.end(), isText ? Type::symbol : Type::objectId);
  const auto* const above = below + (isText ? 2 : 1);  // Symbols compare as texts do.
  const auto* const first = isDescending ? kinds.begin() : above;
  const auto* const last = isDescending ? below : kinds.end();
  bson::Writer writer;
  writer.beginArray("$and");
  writer.appendDocument("0", DocumentAccess::view(query));
  writer.beginDocument("1");
  writer.beginArray("$or");
  writer.beginDocument("0");
  writer.beginDocument("_id");
  writer.append(isDescending ? "$lt" : "$gt", id);
  writer.end();
  writer.end();
  writer.beginDocument("1");
  writer.beginDocument("_id");
  writer.beginArray("$type");
  for (const auto* kind = first; kind != last; ++kind) {
    const int number = *kind == Type::minKey ? -1 : static_cast<int>(*kind);
    writer.appendInt32(bson::IndexKey(static_cast<std::size_t>(kind - first)), number);
  }
  return DocumentAccess::adopt(writer.take());
}

OwnedBson findOptions(const FindRequest& request) {
  bson::Writer options;
  appendPage(options, request);
  return OwnedBson(std::move(options));
}

OwnedBson findOneCommand(const Namespace& where, const FindRequest& request) {
  bson::Writer command;
  command.appendString("find", where.collection);
  command.appendDocument("filter", DocumentAccess::view(request.query));
  appendPage(command, request);
  command.appendBool("singleBatch", true);
  return OwnedBson(std::move(command));
}

OwnedBson under(const char* key, const ObjectProperties& document) {
  bson::Writer writer;
  writer.appendDocument(key, DocumentAccess::view(document));
  return OwnedBson(std::move(writer));
}

std::string textAt(bson::View document, std::string_view key) {
  const bson::Value value = document.find(key);
  const bool isText = value.data != nullptr && value.type == bson::Type::string;
  return isText ? std::string(value.asString()) : std::string();
}

BulkFailure failureOf(const Attempt& attempt, bson::View entry) {
  return {static_cast<std::size_t>(numberAt(entry, "index")),
          attempt.refusal(static_cast<int>(numberAt(entry, "code")), textAt(entry, "errmsg"))};
}

std::list<BulkFailure> failuresOf(Attempt& attempt, bson::View reply, std::size_t documents) {
  attempt.check();
  std::list<BulkFailure> failures;
  const bson::Value errors = reply.find("writeErrors");
  if (errors.data == nullptr || !errors.isArray()) return failures;
  for (const bson::Element& error : errors.asDocument()) {
    if (error.value.isDocument()) failures.push_back(failureOf(attempt, error.value.asDocument()));
  }
  const auto isOutside = [documents](const BulkFailure& failure) { return failure.index >= documents; };
  if (std::any_of(failures.begin(), failures.end(), isOutside)) {
    failDamaged(attempt, "the server refused a document that it was not sent");
  }
  return failures;
}

// The documents are in, but not on as many servers as asked; more important to know than which ones were refused.
bool findWriteConcernError(bson::View reply, bson_error_t& error) {
  const bson::Value errors = reply.find("writeConcernErrors");
  if (errors.data == nullptr || !errors.isArray() || errors.asDocument().empty()) return false;
  const bson::Value first = errors.asDocument().begin()->value;
  const bson::View entry = first.isDocument() ? first.asDocument() : bson::emptyDocument();
  bson_set_error(&error, MONGOC_ERROR_WRITE_CONCERN, static_cast<std::uint32_t>(numberAt(entry, "code")), "%s",
                 textAt(entry, "errmsg").c_str());
  return true;
}

std::vector<BorrowedBson> lend(const std::vector<ObjectProperties>& documents) {
  std::vector<BorrowedBson> lent;
  lent.reserve(documents.size());
  for (const ObjectProperties& document : documents) lent.emplace_back(DocumentAccess::view(document));
  return lent;
}

// The driver's own name for its document type carries an alignment that a template argument would lose.
using DocumentPointer = const struct _bson_t*;

std::vector<DocumentPointer> pointersTo(const std::vector<BorrowedBson>& lent) {
  std::vector<DocumentPointer> pointers;
  pointers.reserve(lent.size());
  for (const BorrowedBson& one : lent) pointers.push_back(one.get());
  return pointers;
}

void expectNoMoreThan(Attempt& attempt, int received, int limit) {
  if (limit == 0 || received <= limit) return;
  failNonsense(attempt, "the server sent more than the " + std::to_string(limit) + " documents that were asked for");
}

bool isWritingStage(bson::View stage) {
  return stage.find("$out").data != nullptr || stage.find("$merge").data != nullptr;
}

bool writes(bson::View stages) {
  return std::any_of(stages.begin(), stages.end(), [](const bson::Element& stage) {
    return stage.value.isDocument() && isWritingStage(stage.value.asDocument());
  });
}

// A count by "count" may be wrong on sharded collections and after a crash.
OwnedBson countingPipeline(const ObjectProperties& query) {
  bson::Writer writer;
  writer.beginArray("pipeline");
  writer.beginDocument("0");
  writer.appendDocument("$match", DocumentAccess::view(query));
  writer.end();
  writer.beginDocument("1");
  writer.beginDocument("$group");
  writer.appendInt32("_id", 1);
  writer.beginDocument("n");
  writer.appendInt32("$sum", 1);
  writer.end();
  writer.end();
  writer.end();
  writer.end();
  return OwnedBson(std::move(writer));
}

bool isRefusal(const Error& error) {
  return error.kind() == Error::Kind::authorization || error.kind() == Error::Kind::unsupported ||
         error.kind() == Error::Kind::query;
}

OwnedBson explainCommand(const Namespace& where, const ObjectProperties& query) {
  bson::Writer command;
  command.beginDocument("explain");
  command.appendString("find", where.collection);
  command.appendDocument("filter", DocumentAccess::view(query));
  command.end();
  command.appendString("verbosity", "executionStats");
  return OwnedBson(std::move(command));
}

long long countIn(Attempt& attempt, const ObjectProperties& counted) {
  constexpr double most = 9007199254740992.0;  // up to here, a double is exact
  const bson::Value n = DocumentAccess::view(counted).find("n");
  std::int64_t number = -1;
  if (n.data != nullptr && n.type == bson::Type::real) {
    const double real = n.asDouble();
    if (real >= 0 && real <= most && std::floor(real) == real) number = static_cast<std::int64_t>(real);
  } else if (n.data != nullptr && (n.type == bson::Type::int32 || n.type == bson::Type::int64)) {
    number = numberAt(DocumentAccess::view(counted), "n");
  }
  if (number < 0) failNonsense(attempt, "the server's answer makes no sense: it holds no count");
  return number;
}

OwnedBson listDatabasesCommand() {
  bson::Writer command;
  command.appendInt32("listDatabases", 1);
  command.appendBool("nameOnly", true);
  return OwnedBson(std::move(command));
}

OwnedBson nameOnlyOptions() {
  bson::Writer options;
  options.appendBool("nameOnly", true);
  options.appendBool("authorizedCollections", true);
  return OwnedBson(std::move(options));
}

}  // namespace

ServerEngine::ServerEngine(const ConnectRequest& request) : runner_(addressFor(request), request.cancellation) {
  runner_.ping();
}

bool ServerEngine::isOpen() const noexcept {
  return runner_.isOpen();
}

bool ServerEngine::isAcknowledged() const {
  return mongoc_write_concern_is_acknowledged(mongoc_uri_get_write_concern(runner_.address().uri.get()));
}

void ServerEngine::insert(const Namespace& where, const ObjectProperties& document) {
  Operation operation = writeOperation("insert into", where);
  operation.insertion = true;
  const BorrowedBson lent(DocumentAccess::view(document));
  const OwnedBson options = insertOneOptions();
  runner_.run(operation, [&](Attempt& attempt) {
    mongoc_collection_t* const collection = attempt.collection(where);
    Reply reply;
    bson_error_t error{};
    if (!mongoc_collection_insert_one(collection, lent.get(), options.get(), reply.get(), &error)) {
      // What is in the way may have been put there by the first of two tries of the driver's.
      if (attempt.lostAnAnswer() && isDuplicateKey(error) && isStored(attempt, where, document)) return;
      attempt.fail(error, reply.get());
    }
    if (isAcknowledged()) expectCount(attempt, numberAt(reply.view(), "insertedCount"), 1);
  });
}

std::list<BulkFailure> ServerEngine::insertMany(const Namespace& where,
                                                const std::vector<ObjectProperties>& documents) {
  std::list<BulkFailure> failures;
  if (documents.empty()) return failures;
  Operation operation = writeOperation("insert into", where);
  operation.insertion = true;
  operation.manyDocuments = true;
  const std::vector<BorrowedBson> lent = lend(documents);
  std::vector<DocumentPointer> pointers = pointersTo(lent);
  const OwnedBson options = insertOptions();
  runner_.run(operation, [&](Attempt& attempt) {
    mongoc_collection_t* const collection = attempt.collection(where);
    Reply reply;
    bson_error_t error{};
    const bool isDone =
        mongoc_collection_insert_many(collection, pointers.data(), pointers.size(), options.get(), reply.get(), &error);
    failures = failuresOf(attempt, reply.view(), pointers.size());

    // Refused documents are a result of this call and no failure of it, but the driver reports both in the same way,
    // and what was applied without being replicated as asked likewise, which is looked at next.
    const bool isOnlyRefusals = error.domain == MONGOC_ERROR_SERVER && !failures.empty();
    const bool isApplied = error.domain == MONGOC_ERROR_WRITE_CONCERN;
    if (!isDone && !isOnlyRefusals && !isApplied) attempt.fail(error, reply.get());
    if (findWriteConcernError(reply.view(), error)) attempt.fail(error, reply.get());
    if (!isAcknowledged()) return;

    // What one command cannot hold the driver sends as several, whose answers it adds up. Where one of them is refused
    // as a whole, it forgets so when a later one succeeds, and when refused documents are all that it reports in the
    // end: the sum is too small then, and the refusal is the one that was observed on the way.
    const auto sent = static_cast<std::int64_t>(pointers.size());
    const std::int64_t told = numberAt(reply.view(), "insertedCount") + static_cast<std::int64_t>(failures.size());
    if (told < sent && attempt.wasRefused()) attempt.failAsRefused(reply.get());
    // For any other difference there is no reason but that the answer is not to what was asked.
    expectCount(attempt, told, sent);

    // The driver repeats a command whose answer it lost. A server that does not tell a repetition refuses it for
    // the documents that the first try has put there.
    if (attempt.lostAnAnswer()) forgiveOwnDocuments(attempt, where, documents, failures);
  });
  return failures;
}

UpdateResult ServerEngine::update(const Namespace& where, const ObjectProperties& selector,
                                  const ObjectProperties& document, UpdateKind kind, bool upsert) {
  const bool replaces = kind == UpdateKind::replaceFirst;
  Operation operation = writeOperation("update of", where);
  operation.manyDocuments = !replaces;
  operation.appends = kind == UpdateKind::appendToArrayInAll;
  const BorrowedBson query(DocumentAccess::view(selector));
  const BorrowedBson whole(DocumentAccess::view(document));
  const OwnedBson change = under(kind == UpdateKind::setInAll ? "$set" : "$push", document);
  const OwnedBson options = updateOptions(upsert);
  const auto send = replaces ? &mongoc_collection_replace_one : &mongoc_collection_update_many;
  UpdateResult result;
  runner_.run(operation, [&](Attempt& attempt) {
    mongoc_collection_t* const collection = attempt.collection(where);
    Reply reply;
    bson_error_t error{};
    if (!send(collection, query.get(), replaces ? whole.get() : change.get(), options.get(), reply.get(), &error)) {
      attempt.fail(error, reply.get());
    }
    if (!isAcknowledged()) return;
    attempt.check();
    result = {numberAt(reply.view(), "matchedCount"), numberAt(reply.view(), "modifiedCount"),
              numberAt(reply.view(), "upsertedCount")};
    const long long touched = result.matched + result.inserted;
    if (touched == 0 && upsert) failDamaged(attempt, "the server acknowledged neither a match nor an insert");
    if (touched > 1 && replaces) failDamaged(attempt, "the server acknowledged more than one replacement");
  });
  return result;
}

void ServerEngine::findPlainly(const Namespace& where, const FindRequest& request, const Receiver& receive) {
  request.limit == 1 ? findOne(where, request, receive) : findMany(where, request, receive);
}

// The first answer is the last: without a cursor, the driver looks for a server once instead of twice.
void ServerEngine::findOne(const Namespace& where, const FindRequest& request, const Receiver& receive) {
  const OwnedBson command = findOneCommand(where, request);
  runner_.run(readOperation("find in", where), [&](Attempt& attempt) {
    Reply reply;
    bson_error_t error{};
    if (!mongoc_client_read_command_with_opts(attempt.client(), where.database.c_str(), command.get(), nullptr, nullptr,
                                              reply.get(), &error)) {
      attempt.fail(error, reply.get());
    }
    attempt.check();
    const bson::Value cursor = reply.view().find("cursor");
    const bool hasCursor = cursor.data != nullptr && cursor.isDocument();
    const bson::Value batch = hasCursor ? cursor.asDocument().find("firstBatch") : bson::Value{};
    if (batch.data == nullptr || !batch.isArray()) failDamaged(attempt, "the server's answer has no documents");
    int received = 0;
    for (const bson::Element& document : batch.asDocument()) {
      expectNoMoreThan(attempt, ++received, 1);
      attempt.deliver(document.value.asDocument(), receive);
    }
  });
}

void ServerEngine::findMany(const Namespace& where, const FindRequest& request, const Receiver& receive) {
  const BorrowedBson query(DocumentAccess::view(request.query));
  const OwnedBson options = findOptions(request);
  runner_.run(readOperation("find in", where), [&](Attempt& attempt) {
    mongoc_collection_t* const collection = attempt.collection(where);
    const Owned<mongoc_cursor_t> cursor(
        mongoc_collection_find_with_opts(collection, query.get(), options.get(), nullptr));
    int received = 0;
    attempt.drain(cursor.get(), [&](ObjectProperties&& document) {
      expectNoMoreThan(attempt, ++received, request.limit);
      return receive(std::move(document));
    });
  });
}

void ServerEngine::find(const Namespace& where, const FindRequest& request, const Receiver& receive) {
  if (request.after != nullptr) {
    // A server has no order of its own in which one could go on.
    ObjectProperties sort;
    sort.setValueInt32("_id", 1);
    if (request.sort != nullptr) sort = *request.sort;
    const bool isDescending = sort.valueAsDouble("_id", 1) < 0;
    const bson::Value id = DocumentAccess::view(*request.after).find("_id");
    const ObjectProperties rest = behind(request.query, id, isDescending);
    find(where, {rest, request.projection, request.limit, request.skip, request.unreadable, &sort}, receive);
    return;
  }
  if (!holdsUsers(where)) {
    findPlainly(where, request, receive);
    return;
  }
  bool found = false;
  try {
    findPlainly(where, request, [&](ObjectProperties&& user) {
      found = true;
      user.removeKey("credentials");
      return receive(std::move(user));
    });
  } catch (const Error& error) {
    if (found || !isRefusal(error)) throw;
  }
  if (!found) findUsers(runner_, request, receive);
}

void ServerEngine::aggregate(const Namespace& where, const ObjectProperties& stages, const Receiver& receive) {
  const bson::View view = DocumentAccess::view(stages);
  bson::Writer writer;
  writer.appendArray("pipeline", view);
  const OwnedBson pipeline(std::move(writer));
  Operation operation = readOperation("aggregate in", where);
  operation.write = writes(view);
  operation.manyDocuments = operation.write;
  runner_.run(operation, [&](Attempt& attempt) {
    mongoc_collection_t* const collection = attempt.collection(where);
    const Owned<mongoc_cursor_t> cursor(
        mongoc_collection_aggregate(collection, MONGOC_QUERY_NONE, pipeline.get(), nullptr, nullptr));
    attempt.drain(cursor.get(), receive);
  });
}

long long ServerEngine::remove(const Namespace& where, const ObjectProperties& query, bool isCounted) {
  Operation operation = writeOperation("remove from", where);
  operation.manyDocuments = true;
  // What a first try removed before its answer was lost no second one counts.
  operation.repeatable = !isCounted;
  const BorrowedBson selector(DocumentAccess::view(query));
  long long removed = 0;
  runner_.run(operation, [&](Attempt& attempt) {
    mongoc_collection_t* const collection = attempt.collection(where);
    Reply reply;
    bson_error_t error{};
    if (!mongoc_collection_delete_many(collection, selector.get(), nullptr, reply.get(), &error)) {
      attempt.fail(error, reply.get());
    }
    if (!isAcknowledged()) return;
    attempt.check();
    removed = numberAt(reply.view(), "deletedCount");
  });
  return removed;
}

void ServerEngine::createUser(const std::string& database, const std::string& user, const std::string& password,
                              const ObjectProperties& roles, const ObjectProperties& customData) {
  server::createUser(runner_, {database, user}, password, {roles, customData});
}

void ServerEngine::modifyUser(const std::string& database, const std::string& user, const ObjectProperties& roles,
                              const ObjectProperties& customData) {
  server::modifyUser(runner_, {database, user}, {roles, customData});
}

void ServerEngine::changePassword(const std::string& database, const std::string& user, const std::string& password) {
  server::changePassword(runner_, {database, user}, password);
}

void ServerEngine::dropUser(const std::string& database, const std::string& user) {
  server::dropUser(runner_, {database, user});
}

long long ServerEngine::count(const Namespace& where, const ObjectProperties& query) {
  // The driver has a function for this, which ends the process when the server keeps the cursor.
  const OwnedBson pipeline = countingPipeline(query);
  long long result = 0;
  runner_.run(readOperation("count in", where), [&](Attempt& attempt) {
    mongoc_collection_t* const collection = attempt.collection(where);
    const Owned<mongoc_cursor_t> cursor(
        mongoc_collection_aggregate(collection, MONGOC_QUERY_NONE, pipeline.get(), nullptr, nullptr));
    int received = 0;
    attempt.drain(cursor.get(), [&](ObjectProperties&& counted) {
      expectNoMoreThan(attempt, ++received, 1);
      result = countIn(attempt, counted);
      return true;
    });
    if (received == 0) result = 0;
  });
  return result;
}

ObjectProperties ServerEngine::explain(const Namespace& where, const ObjectProperties& query) {
  const OwnedBson command = explainCommand(where, query);
  ObjectProperties summary;
  try {
    runner_.command(readOperation("explain in", where), where.database, command.get(),
                    [&](bson::View answer) { summary = summaryOf(answer); });
  } catch (const Error& error) {
    if (error.kind() != Error::Kind::unsupported) throw;
    summary.setValueString("index", "");
    summary.setValueInt64("returned", count(where, query));
  }
  return summary;
}

std::list<std::string> ServerEngine::databaseNames() {
  const OwnedBson command = listDatabasesCommand();
  std::list<std::string> names;
  runner_.command({"list of databases"}, "admin", command.get(), [&](bson::View answer) {
    for (const bson::Element& entry : answer.find("databases").asDocument()) {
      const std::string name = textAt(entry.value.asDocument(), "name");
      if (!name.empty()) names.push_back(name);
    }
  });
  names.sort();
  return names;
}

std::list<std::string> ServerEngine::collectionNames(const std::string& database) {
  std::list<std::string> names;
  const OwnedBson options = nameOnlyOptions();
  runner_.run({"list of collections of " + database}, [&](Attempt& attempt) {
    const Owned<mongoc_database_t> handle = attempt.database(database);
    const Owned<mongoc_cursor_t> cursor(mongoc_database_find_collections_with_opts(handle.get(), options.get()));
    attempt.drain(cursor.get(), [&](ObjectProperties&& entry) {
      names.push_back(entry.valueAsString("name", ""));
      return true;
    });
  });
  names.sort();
  return names;
}

std::list<DeploymentStep> ServerEngine::setUpDeployment(const DeploymentPlan& plan) {
  return setUp(runner_, plan);
}

AccessControl ServerEngine::accessControl() {
  return accessControlOf(runner_);
}

StoreDescription ServerEngine::describe() {
  return server::describe(runner_);
}

CollectionSize ServerEngine::collectionSize(const Namespace& where) {
  CollectionSize size = sizeOf(runner_, where);
  if (!size.documentBytes) size.documents = count(where, ObjectProperties());
  return size;
}

std::unique_ptr<Engine> open(const ConnectRequest& request) {
  return std::make_unique<ServerEngine>(request);
}

}  // namespace database_client::server
