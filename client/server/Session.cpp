// SPDX-License-Identifier: Apache-2.0
#include "client/server/Session.h"

#include <chrono>
#include <string_view>
#include <utility>

#include "client/DocumentAccess.h"
#include "client/server/Link.h"

namespace database_client::server {

namespace {

bool send(mongoc_client_t* client, const Call& call, const std::string& database, const bson_t* command, Reply& reply,
          bson_error_t& error) {
  if (call.write) {
    return mongoc_client_write_command_with_opts(client, database.c_str(), command, nullptr, reply.get(), &error);
  }
  return mongoc_client_read_command_with_opts(client, database.c_str(), command, nullptr, nullptr, reply.get(), &error);
}

std::string_view nameOf(const bson_t* command) {
  bson_iter_t at;
  return bson_iter_init(&at, command) && bson_iter_next(&at) ? bson_iter_key(&at) : "";
}

}  // namespace

Attempt::Attempt(std::shared_ptr<Link> link, const Call& call, const Address& address, bool maybeDone)
    : link_(std::move(link)),
      call_(call),
      address_(address),
      maybeDone_(maybeDone),
      outer_(std::exchange(link_->observation, &observation_)),
      knownLink_(link_->answered) {
  link_->breakage = {};
}

Attempt::~Attempt() {
  link_->observation = outer_;
}

mongoc_client_t* Attempt::client() const {
  return link_->client.get();
}

mongoc_collection_t* Attempt::collection(const Namespace& where) const {
  if (!link_->collection || link_->database != where.database ||
      mongoc_collection_get_name(link_->collection.get()) != where.collection) {
    link_->collection.reset(mongoc_client_get_collection(client(), where.database.c_str(), where.collection.c_str()));
    link_->database = where.database;
  }
  return link_->collection.get();
}

Owned<mongoc_database_t> Attempt::database(const std::string& name) const {
  return Owned<mongoc_database_t>(mongoc_client_get_database(client(), name.c_str()));
}

Circumstances Attempt::circumstances() const {
  Circumstances result;
  result.action = call_.action;
  result.where = observation_.host.empty() ? address_.hosts : observation_.host;
  result.login = address_.login();
  result.cause = link_->cause.reason;
  result.causeTimedOut = link_->cause.timedOut;
  result.breakage = link_->breakage.reason;
  result.secrets = address_.secrets;
  result.secrets.push_back(call_.secret);
  result.write = call_.write;
  result.manyDocuments = call_.manyDocuments;
  result.insertion = call_.insertion;
  result.ofUsers = call_.ofUsers;
  result.unanswered = observation_.unanswered;
  result.timedOut = observation_.timedOut || link_->breakage.timedOut;
  result.maybeDone = maybeDone_;
  return result;
}

void Attempt::fail(const bson_error_t& error, const bson_t* reply) {
  const bool isOutOfReach = error.domain == MONGOC_ERROR_STREAM || error.domain == MONGOC_ERROR_SERVER_SELECTION;
  if (isOutOfReach && !link_->streams.cancellation->isWanted()) failCancelled();
  // A broken stream says more than the answers before it.
  if (error.domain != MONGOC_ERROR_STREAM) check();
  if (error.domain == 0) failWithoutReason(reply);
  const Aftermath aftermath = aftermathOf(error);
  const int code = error.domain == MONGOC_ERROR_SERVER ? static_cast<int>(error.code) : 0;
  unreachable_ = aftermath == Aftermath::unreachable;
  lost_ = aftermath == Aftermath::lost || isStepDown(code);
  passing_ = isPassing(code);
  untouched_ = isNotPrimary(code) && !observation_.unanswered && !call_.manyDocuments;
  usable_ = !unreachable_ && !lost_;
  throw toError(circumstances(), error, reply);
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
  throw toError(circumstances(), isDamaged ? Error::Kind::connection : Error::Kind::server, flaw.reason);
}

void Attempt::failSilent() {
  observation_.timedOut = true;
  throw toError(circumstances(), Error::Kind::timeout, "the server sends one empty batch after the other");
}

// The stream was ended, which ends a read on the server too (from version 4.2 on); a write may go on there.
void Attempt::failCancelled() {
  usable_ = false;
  const bool isUnknown = call_.write && (observation_.unanswered || maybeDone_);
  throw Error(Error::Kind::cancelled, call_.action + ": cancelled by the caller",
              {circumstances().where, 0, false, isUnknown});
}

Error Attempt::refusal(int code, const std::string& reason) const {
  bson_error_t error{};
  bson_set_error(&error, MONGOC_ERROR_SERVER, static_cast<std::uint32_t>(code), "%s", reason.c_str());
  Circumstances ofOne = circumstances();
  ofOne.manyDocuments = false;
  return toError(ofOne, error, nullptr);
}

void Attempt::check() {
  if (observation_.flaw) fail(*observation_.flaw);
}

bool Attempt::mayRepeat() const {
  if (delivered_ || observation_.timedOut) return false;
  const bool stale = unreachable_ && knownLink_ && !observation_.unanswered;
  if (stale) return true;
  if (!call_.write) return lost_ && address_.retryReads;
  const bool isHarmless = untouched_ || (call_.repeatable && (lost_ || passing_));
  return isHarmless && link_->hasSuccessors &&
         mongoc_uri_get_option_as_bool(address_.uri.get(), MONGOC_URI_RETRYWRITES, true);
}

bool Attempt::deliver(bson::View document, const Engine::Receiver& receive) {
  check();
  link_->streams.cancellation->check();
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
    link_->streams.cancellation->check();
  } while (mongoc_cursor_more(cursor));
}

Session::Session(Address address, std::shared_ptr<Cancellation> cancellation)
    : address_(std::move(address)), cancellation_(std::move(cancellation)) {}

Session::~Session() = default;

const std::shared_ptr<Link>& Session::link(const Call& call) {
  if (!link_) link_ = openLink(address_, call, cancellation_);
  return link_;
}

// The error after which the operation may be tried once more; nothing when it is done.
std::optional<Error> Session::attempt(const Call& call, const std::function<void(Attempt&)>& action,
                                      const std::optional<Error>& before) {
  const std::shared_ptr<Link> mine = link(call);
  Attempt attempt(mine, call, address_, before && before->outcomeUnknown());
  try {
    action(attempt);
    mine->answered = true;
    proved_ = true;
    if (!attempt.isLinkUsable()) settle(mine, attempt);
    return std::nullopt;
  } catch (const Error& error) {
    settle(mine, attempt);
    if (before || !attempt.mayRepeat()) throw;
    return error;
  }
}

void Session::settle(const std::shared_ptr<Link>& link, const Attempt& attempt) {
  if (!attempt.isLinkUsable()) {
    if (link_ == link) link_.reset();
    proved_ = false;
  } else if (attempt.wasAnswered()) {
    link->answered = true;
    proved_ = true;
  }
}

void Session::run(const Call& call, const std::function<void(Attempt&)>& action) {
  const std::optional<Error> failure = attempt(call, action, std::nullopt);
  if (failure) attempt(call, action, failure);
}

void Session::command(const Call& call, const std::string& database, const bson_t* command,
                      const std::function<void(bson::View)>& receive) {
  run(call, [&](Attempt& attempt) {
    Reply reply;
    bson_error_t error{};
    if (!send(attempt.client(), call, database, command, reply, error)) attempt.fail(error, reply.get());
    attempt.check();
    if (const auto flaw = flawOf(nameOf(command), reply.get())) attempt.fail(*flaw);
    receive(reply.view());
  });
}

void Session::ping() {
  bson::Writer command;
  command.appendInt32("ping", 1);
  const Written written(std::move(command));
  this->command({"connect"}, "admin", written.get(), [](bson::View) {});
}

void Session::setPassword(const std::string& password) {
  mongoc_uri_set_password(address_.uri.get(), password.c_str());
  address_.secrets.push_back(password);
  link_.reset();
}

}  // namespace database_client::server
