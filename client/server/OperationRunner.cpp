// SPDX-License-Identifier: Apache-2.0
#include "client/server/OperationRunner.h"

#include <chrono>
#include <string_view>
#include <utility>

#include "client/DocumentAccess.h"
#include "client/server/DriverConnection.h"

namespace database_client::server {

namespace {

bool send(mongoc_client_t* client, const Operation& operation, const std::string& database, const bson_t* command,
          Reply& reply, bson_error_t& error) {
  if (operation.write) {
    return mongoc_client_write_command_with_opts(client, database.c_str(), command, nullptr, reply.get(), &error);
  }
  return mongoc_client_read_command_with_opts(client, database.c_str(), command, nullptr, nullptr, reply.get(), &error);
}

std::string_view nameOf(const bson_t* command) {
  bson_iter_t at;
  return bson_iter_init(&at, command) && bson_iter_next(&at) ? bson_iter_key(&at) : "";
}

}  // namespace

Attempt::Attempt(std::shared_ptr<DriverConnection> connection, const Operation& operation, const Address& address,
                 bool maybeDone)
    : connection_(std::move(connection)),
      operation_(operation),
      address_(address),
      maybeDone_(maybeDone),
      outer_(std::exchange(connection_->events, &events_)),
      knownConnection_(connection_->answered) {
  connection_->breakage = {};
}

Attempt::~Attempt() {
  connection_->events = outer_;
}

mongoc_client_t* Attempt::client() const {
  return connection_->client.get();
}

mongoc_collection_t* Attempt::collection(const Namespace& where) const {
  if (!connection_->collection || connection_->database != where.database ||
      mongoc_collection_get_name(connection_->collection.get()) != where.collection) {
    connection_->collection.reset(
        mongoc_client_get_collection(client(), where.database.c_str(), where.collection.c_str()));
    connection_->database = where.database;
  }
  return connection_->collection.get();
}

Owned<mongoc_database_t> Attempt::database(const std::string& name) const {
  return Owned<mongoc_database_t>(mongoc_client_get_database(client(), name.c_str()));
}

ErrorContext Attempt::context() const {
  ErrorContext result;
  result.action = operation_.action;
  result.where = events_.host.empty() ? address_.hosts : events_.host;
  result.login = address_.login();
  result.cause = connection_->cause.reason;
  result.causeTimedOut = connection_->cause.timedOut;
  result.breakage = connection_->breakage.reason;
  result.secrets = address_.secrets;
  result.secrets.push_back(operation_.secret);
  result.write = operation_.write;
  result.manyDocuments = operation_.manyDocuments;
  result.appends = operation_.appends;
  result.insertion = operation_.insertion;
  result.ofUsers = operation_.ofUsers;
  result.unanswered = events_.unanswered;
  result.timedOut = events_.timedOut || connection_->breakage.timedOut;
  result.maybeDone = maybeDone_;
  return result;
}

void Attempt::fail(const bson_error_t& error, const bson_t* reply) {
  const bool isOutOfReach = error.domain == MONGOC_ERROR_STREAM || error.domain == MONGOC_ERROR_SERVER_SELECTION;
  if (isOutOfReach && !connection_->streams.cancellation->isWanted()) failCancelled();
  // A broken stream says more than the answers before it.
  if (error.domain != MONGOC_ERROR_STREAM) check();
  if (error.domain == 0) failWithoutReason(reply);
  const ConnectionState state = connectionStateOf(error);
  const int code = error.domain == MONGOC_ERROR_SERVER ? static_cast<int>(error.code) : 0;
  unreachable_ = state == ConnectionState::unreachable;
  // Whoever steps down has a successor, or comes back: either is found by a client that looks for servers anew.
  lost_ = state == ConnectionState::lost || isStepDown(code);
  passing_ = isPassing(code);
  untouched_ = isNotPrimary(code) && !events_.unanswered && !operation_.manyDocuments;
  usable_ = !unreachable_ && !lost_;
  throw toError(context(), error, reply);
}

// The driver forgets why one of several commands failed when a later one succeeds.
void Attempt::failWithoutReason(const bson_t* reply) {
  if (wasRefused()) failAsRefused(reply);
  fail(Flaw{Flaw::Nature::nonsense, "the server's answer makes no sense: it is a failure without a reason"});
}

void Attempt::fail(const Flaw& flaw) {
  usable_ = false;
  lost_ = true;
  const bool isDamaged = flaw.nature == Flaw::Nature::damaged;
  throw toError(context(), isDamaged ? Error::Kind::connection : Error::Kind::server, flaw.reason);
}

void Attempt::failSilent() {
  events_.timedOut = true;
  throw toError(context(), Error::Kind::timeout, "the server sends one empty batch after the other");
}

// The stream was ended, which ends a read on the server too (from version 4.2 on); a write may go on there.
void Attempt::failCancelled() {
  usable_ = false;
  const bool isUnknown = operation_.write && (events_.unanswered || maybeDone_);
  throw Error(Error::Kind::cancelled, operation_.action + ": cancelled by the caller",
              {context().where, 0, false, isUnknown});
}

Error Attempt::refusal(int code, const std::string& reason) const {
  bson_error_t error{};
  bson_set_error(&error, MONGOC_ERROR_SERVER, static_cast<std::uint32_t>(code), "%s", reason.c_str());
  ErrorContext ofOne = context();
  ofOne.manyDocuments = false;
  return toError(ofOne, error, nullptr);
}

void Attempt::check() {
  if (events_.flaw) fail(*events_.flaw);
}

bool Attempt::mayRepeat() const {
  if (delivered_ || events_.timedOut) return false;
  // A connection that stood is gone, as after a restart of the server, and nothing of the operation was sent.
  const bool isStale = unreachable_ && knownConnection_ && !events_.unanswered;
  if (isStale) return true;
  if (!operation_.write) return lost_ && address_.retryReads;
  const bool isHarmless = untouched_ || (operation_.repeatable && (lost_ || passing_));
  return isHarmless && connection_->hasSuccessors &&
         mongoc_uri_get_option_as_bool(address_.uri.get(), MONGOC_URI_RETRYWRITES, true);
}

bool Attempt::deliver(bson::View document, const Engine::Receiver& receive) {
  check();
  connection_->streams.cancellation->check();
  ObjectProperties result = DocumentAccess::adopt(document);
  delivered_ = true;
  return receive(std::move(result));
}

void Attempt::drain(mongoc_cursor_t* cursor, const Engine::Receiver& receive) {
  using Clock = std::chrono::steady_clock;
  const std::chrono::milliseconds patience(address_.socketTimeout > 0 ? address_.socketTimeout
                                                                      : MONGOC_DEFAULT_SOCKETTIMEOUTMS);
  std::optional<Clock::time_point> emptySince;
  // Routers, aggregations and busy servers send empty batches in the middle; the end is where the cursor is gone.
  do {
    const bson_t* document = nullptr;
    while (mongoc_cursor_next(cursor, &document)) {
      emptySince.reset();
      if (!deliver({bson_get_data(document), document->len}, receive)) return;
    }
    bson_error_t error{};
    const bson_t* reply = nullptr;
    if (mongoc_cursor_error_document(cursor, &error, &reply)) fail(error, reply);
    check();
    const Clock::time_point now = Clock::now();
    if (!emptySince) emptySince = now;
    if (now - *emptySince > patience) failSilent();
    connection_->streams.cancellation->check();
  } while (mongoc_cursor_more(cursor));
}

OperationRunner::OperationRunner(Address address, std::shared_ptr<Cancellation> cancellation)
    : address_(std::move(address)), cancellation_(std::move(cancellation)) {}

OperationRunner::~OperationRunner() = default;

const std::shared_ptr<DriverConnection>& OperationRunner::connection(const Operation& operation) {
  if (!connection_) connection_ = openConnection(address_, operation, cancellation_);
  return connection_;
}

// The error after which the operation may be tried once more; nothing when it is done.
std::optional<Error> OperationRunner::attempt(const Operation& operation, const std::function<void(Attempt&)>& action,
                                              const std::optional<Error>& before) {
  const std::shared_ptr<DriverConnection> mine = connection(operation);
  Attempt attempt(mine, operation, address_, before && before->outcomeUnknown());
  try {
    action(attempt);
    mine->answered = true;
    proved_ = true;
    if (!attempt.isConnectionUsable()) updateConnectionState(mine, attempt);
    return std::nullopt;
  } catch (const Error& error) {
    updateConnectionState(mine, attempt);
    if (before || !attempt.mayRepeat()) throw;
    return error;
  }
}

void OperationRunner::updateConnectionState(const std::shared_ptr<DriverConnection>& connection,
                                            const Attempt& attempt) {
  if (!attempt.isConnectionUsable()) {
    if (connection_ == connection) connection_.reset();
    proved_ = false;
  } else if (attempt.wasAnswered()) {
    connection->answered = true;
    proved_ = true;
  }
}

void OperationRunner::run(const Operation& operation, const std::function<void(Attempt&)>& action) {
  const std::optional<Error> failure = attempt(operation, action, std::nullopt);
  if (failure) attempt(operation, action, failure);
}

void OperationRunner::command(const Operation& operation, const std::string& database, const bson_t* command,
                              const std::function<void(bson::View)>& receive) {
  run(operation, [&](Attempt& attempt) {
    Reply reply;
    bson_error_t error{};
    if (!send(attempt.client(), operation, database, command, reply, error)) attempt.fail(error, reply.get());
    attempt.check();
    if (const auto flaw = flawOf(nameOf(command), reply.view())) attempt.fail(*flaw);
    receive(reply.view());
  });
}

void OperationRunner::ping() {
  bson::Writer command;
  command.appendInt32("ping", 1);
  const OwnedBson written(std::move(command));
  this->command({"connect"}, "admin", written.get(), [](bson::View) {});
}

void OperationRunner::setPassword(const std::string& password) {
  mongoc_uri_set_password(address_.uri.get(), password.c_str());
  address_.secrets.push_back(password);
  connection_.reset();
}

}  // namespace database_client::server
