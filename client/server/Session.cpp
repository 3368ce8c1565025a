#include "client/server/Session.h"

#include <utility>

#include "client/DocumentAccess.h"
#include "client/bson/validate.h"
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

}  // namespace

Attempt::Attempt(std::shared_ptr<Link> link, const Call& call, const Address& address)
    : link_(std::move(link)),
      call_(call),
      address_(address),
      outer_(std::exchange(link_->observation, &observation_)),
      knownLink_(link_->answered) {}

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
  result.cause = link_->cause;
  result.secrets = address_.secrets;
  result.secrets.push_back(call_.secret);
  result.write = call_.write;
  result.manyDocuments = call_.manyDocuments;
  result.insertion = call_.insertion;
  result.ofUsers = call_.ofUsers;
  result.unanswered = observation_.unanswered;
  result.timedOut = observation_.timedOut;
  return result;
}

void Attempt::fail(const bson_error_t& error, const bson_t* reply) {
  const Aftermath aftermath = aftermathOf(error);
  const bool steppedDown = error.domain == MONGOC_ERROR_SERVER && isStepDown(static_cast<int>(error.code));
  unreachable_ = aftermath == Aftermath::unreachable;
  lost_ = aftermath == Aftermath::lost || steppedDown;
  usable_ = !unreachable_ && !lost_;
  throw toError(circumstances(), error, reply);
}

void Attempt::failMalformed(const std::string& reason) {
  usable_ = false;
  lost_ = true;
  throw malformedAnswer(circumstances(), reason);
}

Error Attempt::refusal(int code, const std::string& reason) const {
  bson_error_t error{};
  bson_set_error(&error, MONGOC_ERROR_SERVER, static_cast<std::uint32_t>(code), "%s", reason.c_str());
  return toError(circumstances(), error, nullptr);
}

void Attempt::check() {
  if (observation_.malformed) failMalformed("the server's answer is damaged or incomplete");
}

bool Attempt::mayRepeat(bool retryReads) const {
  if (delivered_ || observation_.timedOut) return false;
  const bool stale = unreachable_ && knownLink_ && !observation_.unanswered;
  return stale || (lost_ && retryReads && !call_.write);
}

bson::View Attempt::validated(bson::View document) {
  check();
  try {
    return bson::validate(document.data, document.size);
  } catch (const Error& error) {
    failMalformed(std::string("the server sent a damaged document: ") + error.what());
  }
}

bool Attempt::deliver(bson::View document, const Engine::Receiver& receive) {
  ObjectProperties result = DocumentAccess::adopt(validated(document));
  delivered_ = true;
  return receive(std::move(result));
}

void Attempt::drain(mongoc_cursor_t* cursor, const Engine::Receiver& receive) {
  const bson_t* document = nullptr;
  while (mongoc_cursor_next(cursor, &document)) {
    if (!deliver({bson_get_data(document), document->len}, receive)) return;
  }
  bson_error_t error{};
  const bson_t* reply = nullptr;
  if (mongoc_cursor_error_document(cursor, &error, &reply)) fail(error, reply);
  check();
}

Session::Session(Address address) : address_(std::move(address)) {}

Session::~Session() = default;

const std::shared_ptr<Link>& Session::link(const Call& call) {
  if (!link_) link_ = openLink(address_, call);
  return link_;
}

bool Session::attempt(const Call& call, const std::function<void(Attempt&)>& action, bool last) {
  const std::shared_ptr<Link> mine = link(call);
  Attempt attempt(mine, call, address_);
  try {
    action(attempt);
    mine->answered = true;
    proved_ = true;
    return true;
  } catch (const Error&) {
    settle(mine, attempt);
    if (last || !attempt.mayRepeat(address_.retryReads)) throw;
    return false;
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
  if (!attempt(call, action, false)) attempt(call, action, true);
}

void Session::command(const Call& call, const std::string& database, const bson_t* command,
                      const std::function<void(bson::View)>& receive) {
  run(call, [&](Attempt& attempt) {
    Reply reply;
    bson_error_t error{};
    if (!send(attempt.client(), call, database, command, reply, error)) attempt.fail(error, reply.get());
    receive(attempt.validated(reply.view()));
  });
}

void Session::setPassword(const std::string& password) {
  mongoc_uri_set_password(address_.uri.get(), password.c_str());
  address_.secrets.push_back(password);
  link_.reset();
}

}  // namespace database_client::server
