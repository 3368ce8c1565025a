// SPDX-License-Identifier: Apache-2.0
#include "tests/support/Relay.h"

#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <iostream>
#include <set>
#include <stdexcept>
#include <thread>

#include "database_client/codes.h"

namespace database_test {

namespace code = database_client::code;

namespace {

const char* const setName = "relay";
constexpr std::chrono::milliseconds withoutPrimary{300};

bool isGreeting(const std::string& name) {
  return name == "hello" || name == "isMaster" || name == "ismaster";
}

bool isForAnyMember(const std::string& name) {
  static const std::set<std::string> names{"ping",        "buildInfo",    "saslStart", "saslContinue", "logout",
                                           "endSessions", "killSessions", "getMore",   "killCursors",  "getParameter"};
  return isGreeting(name) || names.count(name) > 0;
}

bool isReadingName(const std::string& name) {
  static const std::set<std::string> names{"find",        "aggregate",     "count",     "distinct",  "listCollections",
                                           "listIndexes", "listDatabases", "usersInfo", "rolesInfo", "explain"};
  return names.count(name) > 0;
}

bool hasWritingStage(const bson_t* command) {
  bson_iter_t top;
  bson_iter_t stage;
  bson_iter_t inside;
  if (!bson_iter_init_find(&top, command, "pipeline") || !bson_iter_recurse(&top, &stage)) return false;
  while (bson_iter_next(&stage)) {
    for (const char* name : {"$out", "$merge"}) {
      if (bson_iter_recurse(&stage, &inside) && bson_iter_find(&inside, name)) return true;
    }
  }
  return false;
}

bool isTrueAt(const bson_t* document, const char* key) {
  bson_iter_t at;
  return bson_iter_init_find(&at, document, key) && bson_iter_as_bool(&at);
}

bool wantsPrimary(const bson_t* command) {
  bson_iter_t top;
  bson_iter_t mode;
  const bool isSaid = bson_iter_init(&top, command) && bson_iter_find_descendant(&top, "$readPreference.mode", &mode);
  return !isSaid || std::string(bson_iter_utf8(&mode, nullptr)) == "primary";
}

void copyWithout(const std::set<std::string>& keys, const bson_t* from, bson_t* to) {
  bson_iter_t at;
  bson_iter_init(&at, from);
  while (bson_iter_next(&at)) {
    if (keys.count(bson_iter_key(&at)) == 0) bson_append_iter(to, bson_iter_key(&at), -1, &at);
  }
}

Bson refusalWith(int code, const char* name, const std::string& text) {
  Bson reply(bson_new());
  bson_append_double(reply.get(), "ok", -1, 0);
  bson_append_int32(reply.get(), "code", -1, code);
  bson_append_utf8(reply.get(), "codeName", -1, name, -1);
  bson_append_utf8(reply.get(), "errmsg", -1, text.c_str(), -1);
  return reply;
}

// A router tells of each shard what a server tells of itself.
void appendShards(bson_t* group, const char* key, const bson_t* ofServer) {
  const Bson shard(bson_new());
  bson_append_utf8(shard.get(), "shardName", -1, "shard0000", -1);
  bson_concat(shard.get(), ofServer);
  const Bson shards(bson_new());
  bson_append_document(shards.get(), "0", -1, shard.get());
  const Bson whole(bson_new());
  bson_append_utf8(whole.get(), "stage", -1, "SINGLE_SHARD", -1);
  bson_append_array(whole.get(), "shards", -1, shards.get());
  bson_append_document(group, key, -1, whole.get());
}

bson_t documentIn(const bson_iter_t& at) {
  std::uint32_t size = 0;
  const std::uint8_t* data = nullptr;
  bson_t document;
  bson_iter_document(&at, &size, &data);
  bson_init_static(&document, data, size);
  return document;
}

// {"queryPlanner": {"winningPlan": ...}, "executionStats": {"executionStages": ...}} with both parts by shard
Bson explanationOfRouter(const bson_t* ofServer) {
  Bson explanation(bson_new());
  bson_iter_t at;
  bson_iter_init(&at, ofServer);
  while (bson_iter_next(&at)) {
    const std::string key = bson_iter_key(&at);
    if (key != "queryPlanner" && key != "executionStats") {
      bson_append_iter(explanation.get(), key.c_str(), -1, &at);
      continue;
    }
    const char* const part = key == "queryPlanner" ? "winningPlan" : "executionStages";
    const bson_t group = documentIn(at);
    const Bson changed(bson_new());
    copyWithout({part}, &group, changed.get());
    bson_iter_t inside;
    if (bson_iter_init_find(&inside, &group, part)) {
      const bson_t plan = documentIn(inside);
      const Bson wrapped(bson_new());
      bson_append_document(wrapped.get(), part, -1, &plan);
      appendShards(changed.get(), part, wrapped.get());
    }
    bson_append_document(explanation.get(), key.c_str(), -1, changed.get());
  }
  return explanation;
}

std::int64_t cursorIn(const bson_t* reply) {
  bson_iter_t top;
  bson_iter_t id;
  const bool isThere = bson_iter_init(&top, reply) && bson_iter_find_descendant(&top, "cursor.id", &id);
  return isThere ? bson_iter_as_int64(&id) : 0;
}

bson_t documentOf(const Message& reply) {
  constexpr std::size_t beforeInReply = 20;
  constexpr std::size_t beforeInMessage = 5;
  return documentAt(reply.body, reply.header.opCode == opReply ? beforeInReply : beforeInMessage);
}

}  // namespace

/// A command as it came, and what there is to know of it.
class Relay::Command {
 public:
  explicit Command(Message&& message)
      : message_(std::move(message)), document_(isLegacy() ? commandOfQuery(message_.body) : commandOfBody()) {
    bson_iter_t at;
    if (bson_iter_init(&at, document()) && bson_iter_next(&at)) {
      name = bson_iter_key(&at);
      number_ = bson_iter_as_int64(&at);
    }
    isRead = isReadingName(name) && !hasWritingStage(document());
  }

  bool isLegacy() const { return message_.header.opCode == opQuery; }
  const bson_t* document() const { return document_.get(); }
  std::int32_t id() const { return message_.header.id; }
  bool wantsReply() const {
    return isLegacy() || (static_cast<std::uint32_t>(int32At(message_.body, 0)) & moreToCome) == 0;
  }
  bool isRetryableWrite() const { return bson_has_field(document(), "txnNumber"); }
  /// What a repetition has in common with it, and no other write.
  Bytes identity() const {
    Bson identity(bson_new());
    bson_iter_t at;
    bson_iter_init(&at, document());
    while (bson_iter_next(&at)) {
      const std::string key = bson_iter_key(&at);
      if (key == "lsid" || key == "txnNumber") bson_append_iter(identity.get(), key.c_str(), -1, &at);
    }
    return bytesOf(identity.get());
  }
  /// The cursor of a "getMore" or of a "killCursors" of one.
  std::int64_t cursor() const {
    bson_iter_t top;
    bson_iter_t first;
    if (name == "getMore") return number_;
    const bool isSaid = bson_iter_init(&top, document()) && bson_iter_find_descendant(&top, "cursors.0", &first);
    return isSaid ? bson_iter_as_int64(&first) : 0;
  }
  bool sendTo(Stream& server) const {
    return server.write(&message_.header, sizeof message_.header) &&
           server.write(message_.body.data(), message_.body.size());
  }

  std::string name{};
  bool isRead = false;

 private:
  // Without the document sequences, which nobody looks at here.
  Bson commandOfBody() const {
    const bson_t document = documentAt(message_.body, 5);
    return Bson(bson_copy(&document));
  }

  Message message_;
  Bson document_;
  std::int64_t number_ = 0;
};

struct Relay::Connection {
  Connection(int at, int ofClient, int ofServer) : member(at), client(ofClient), server(ofServer) {}
  ~Connection() { thread.join(); }
  int member;
  Stream client;
  Stream server;
  std::atomic<bool> over{false};
  std::thread thread{};
};

struct Relay::Member {
  Member() : listener(listenOn(port)) {}
  ~Member() { closeSocket(listener); }
  int port = 0;
  int listener;
  std::thread acceptor{};
};

Relay::Relay(int server, const Shape& shape) : server_(server), shape_(shape) {
  const int members = shape.role == Shape::Role::set ? 3 : 2;
  for (int i = 0; i < members; ++i) members_.push_back(std::make_unique<Member>());
  for (int i = 0; i < members; ++i) {
    members_[static_cast<std::size_t>(i)]->acceptor = std::thread([this, i] { accept(i); });
  }
}

Relay::~Relay() {
  for (const auto& member : members_) ::shutdown(member->listener, SHUT_RDWR);
  for (const auto& member : members_) member->acceptor.join();
  std::vector<std::unique_ptr<Connection>> connections;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    connections.swap(connections_);
  }
  for (const auto& connection : connections) {
    connection->client.shutdown();
    connection->server.shutdown();
  }
}

std::string Relay::host(int member) const {
  return "127.0.0.1:" + std::to_string(members_[static_cast<std::size_t>(member)]->port);
}

std::string Relay::uri() const {
  std::string hosts = host(0);
  for (int i = 1; i < static_cast<int>(members_.size()); ++i) hosts += "," + host(i);
  return "mongodb://" + hosts + "/" + (shape_.role == Shape::Role::set ? std::string("?replicaSet=") + setName : "");
}

void Relay::elect(Moment moment, const std::string& command) {
  const std::lock_guard<std::mutex> lock(mutex_);
  plans_.push_back({moment, command});
}

int Relay::elections() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return elections_;
}

int Relay::emptyBatches() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return batches_.emptyBatches();
}

void Relay::accept(int member) {
  for (;;) {
    const int client = acceptFrom(members_[static_cast<std::size_t>(member)]->listener);
    if (client < 0) return;
    const int server = connectTo(server_);
    const std::lock_guard<std::mutex> lock(mutex_);
    if (server < 0 || isDown(member)) {
      closeSocket(server);
      resetSocket(client);
      continue;
    }
    const auto isOver = [](const auto& connection) { return connection->over.load(); };
    connections_.erase(std::remove_if(connections_.begin(), connections_.end(), isOver), connections_.end());
    connections_.push_back(std::make_unique<Connection>(member, client, server));
    Connection& connection = *connections_.back();
    connection.thread = std::thread([this, &connection] { serve(connection); });
  }
}

void Relay::serve(Connection& connection) {
  try {
    while (serveOne(connection)) {
    }
  } catch (const std::exception& error) {
    std::cerr << "relay: " << error.what() << '\n';
  }
  connection.client.shutdown();
  connection.server.shutdown();
  connection.over = true;
}

bool Relay::serveOne(Connection& connection) {
  Message message;
  if (!readMessage(connection.client, message)) return false;
  const Command command(std::move(message));
  if (const std::optional<Moment> moment = electionWith(connection, command)) {
    Message reply;
    const bool isCarriedOut = *moment == Moment::unanswered;
    if (isCarriedOut && (!command.sendTo(connection.server) || !readMessage(connection.server, reply))) return false;
    beginElection(connection, *moment);
    if (isCarriedOut && mustBeSeen(reply)) {
      const bson_t document = documentOf(reply);
      return answer(connection, command, &document);
    }
    if (*moment != Moment::refused) return false;
  }
  const std::optional<Bson> own = ownAnswer(connection, command);
  return own ? answer(connection, command, own->get()) : pass(connection, command);
}

bool Relay::pass(Connection& connection, const Command& command) {
  if (!command.sendTo(connection.server)) return false;
  if (!command.wantsReply()) return true;
  Message reply;
  if (!readMessage(connection.server, reply)) return false;
  const bson_t document = documentOf(reply);
  return answer(connection, command, shown(connection, command, &document).get());
}

bool Relay::answer(Connection& connection, const Command& command, const bson_t* document) {
  if (!command.wantsReply()) return true;
  const Bytes reply = replyWith(bytesOf(document), command.id(), command.isLegacy());
  return connection.client.write(reply.data(), reply.size());
}

// What the members do not ask the server.
std::optional<Bson> Relay::ownAnswer(const Connection& connection, const Command& command) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const bool isForPrimary = !isForAnyMember(command.name) && (!command.isRead || wantsPrimary(command.document()));
  if (isForPrimary && !isPrimary(connection.member)) return refusal(command);
  const std::int64_t cursor = command.cursor();
  const auto owner = cursors_.find(cursor);
  const bool isForeign = owner != cursors_.end() && owner->second != connection.member;
  if (command.name == "getMore") {
    return isForeign ? refusalWith(code::cursorNotFound, "CursorNotFound", "cursor id " + std::to_string(cursor))
                     : batches_.next(cursor);
  }
  if (command.name != "killCursors" || !batches_.forget(cursor)) return std::nullopt;
  return fromJson(R"({"cursorsKilled": [{"$numberLong": ")" + std::to_string(cursor) + R"("}], "ok": 1})");
}

// The server's reply as this member would give it.
Bson Relay::shown(const Connection& connection, const Command& command, const bson_t* reply) {
  const std::lock_guard<std::mutex> lock(mutex_);
  if (!isTrueAt(reply, "ok")) return Bson(bson_copy(reply));
  if (isGreeting(command.name)) return greeting(connection.member, command, reply);
  if (command.name == "explain" && shape_.role == Shape::Role::routers) return explanationOfRouter(reply);
  const bool isWhole = !shape_.givesEmptyBatches || isTrueAt(command.document(), "singleBatch");
  Bson changed = isWhole ? Bson(bson_copy(reply)) : batches_.holdBack(reply);
  if (const std::int64_t cursor = cursorIn(changed.get()); cursor != 0) cursors_[cursor] = connection.member;
  return changed;
}

/// The moments take turns. Of a repeated insert that is refused the client cannot tell whether it was its own first try
/// that is in the way, so that one that may be repeated is not cut off unsent.
Relay::Moment Relay::nextMoment(const std::string& command) const {
  const std::array<Moment, 3> turns{Moment::unanswered, Moment::refused, Moment::unsent};
  const Moment turn = turns[static_cast<std::size_t>(elections_) % turns.size()];
  const bool isAmbiguous = shape_.victims == Shape::Victims::repeatable && command == "insert";
  return turn == Moment::unsent && isAmbiguous ? Moment::refused : turn;
}

std::optional<Relay::Moment> Relay::electionWith(const Connection& connection, const Command& command) {
  const std::lock_guard<std::mutex> lock(mutex_);
  const bool isOfPrimary = shape_.role == Shape::Role::set && isPrimary(connection.member);
  if (!isOfPrimary || (isForAnyMember(command.name) && command.name != "getMore")) return std::nullopt;
  const bool isCutOff =
      shape_.victims == Shape::Victims::all || command.isRead || command.isRetryableWrite() || command.name == "delete";
  if (!isCutOff && (command.name == "update" || command.name == "aggregate" || command.name == "getMore")) {
    return std::nullopt;
  }
  const bool isTermOver = shape_.term.count() > 0 && Clock::now() - electedAt_ > shape_.term;
  const bool isPlanned = !plans_.empty() && plans_.front().command == command.name;
  const bool isRepetition = command.isRetryableWrite() && command.identity() == cutOff_;
  if ((!isPlanned && !isTermOver) || isRepetition) return std::nullopt;
  const Moment moment = isPlanned ? plans_.front().moment : nextMoment(command.name);
  if (isPlanned) plans_.pop_front();
  cutOff_ = command.identity();
  return isCutOff ? moment : Moment::refused;
}

// A refusal that is lost can, after a repetition, not be told from one of what the client itself has written.
bool Relay::mustBeSeen(const Message& reply) const {
  const bson_t document = documentOf(reply);
  const bool isRefusal = !isTrueAt(&document, "ok") || bson_has_field(&document, "writeErrors");
  return shape_.victims == Shape::Victims::repeatable && isRefusal;
}

void Relay::beginElection(const Connection& cause, Moment moment) {
  const std::lock_guard<std::mutex> lock(mutex_);
  ++elections_;
  down_ = moment == Moment::refused ? -1 : primary_;
  primary_ = (primary_ + 1) % static_cast<int>(members_.size());
  electedAt_ = Clock::now() + withoutPrimary;
  if (shape_.victims != Shape::Victims::all || moment == Moment::refused) return;
  for (const auto& connection : connections_) {
    if (connection.get() != &cause && connection->member == cause.member) connection->client.shutdown();
  }
}

bool Relay::hasPrimary() const {
  return Clock::now() >= electedAt_;
}

bool Relay::isPrimary(int member) const {
  return shape_.role == Shape::Role::routers || (member == primary_ && hasPrimary());
}

bool Relay::isDown(int member) const {
  return member == down_ && !hasPrimary();
}

Bson Relay::refusal(const Command& command) const {
  Bson reply = command.isRead ? refusalWith(code::notPrimaryNoSecondaryOk, "NotPrimaryNoSecondaryOk",
                                            "not primary and secondaryOk=false")
                              : refusalWith(code::notWritablePrimary, "NotWritablePrimary", "not primary");
  appendTopologyVersion(reply.get());
  if (command.isRetryableWrite()) {
    const Bson labels = fromJson(R"({"0": "RetryableWriteError"})");
    bson_append_array(reply.get(), "errorLabels", -1, labels.get());
  }
  return reply;
}

Bson Relay::greeting(int member, const Command& command, const bson_t* ofServer) const {
  // What is compressed could not be looked into.
  const std::set<std::string> ofTheServer{
      "setName",           "setVersion", "hosts",     "primary",         "me",  "secondary",  "ismaster",
      "isWritablePrimary", "electionId", "lastWrite", "topologyVersion", "msg", "compression"};
  Bson greeting(bson_new());
  copyWithout(ofTheServer, ofServer, greeting.get());
  const char* const primary = command.name == "hello" ? "isWritablePrimary" : "ismaster";
  bson_append_bool(greeting.get(), primary, -1, isPrimary(member));
  if (shape_.role == Shape::Role::routers) {
    bson_append_utf8(greeting.get(), "msg", -1, "isdbgrid", -1);
  } else {
    appendSet(greeting.get(), member);
  }
  return greeting;
}

void Relay::appendSet(bson_t* greeting, int member) const {
  const Bson hosts(bson_new());
  for (int i = 0; i < static_cast<int>(members_.size()); ++i) {
    bson_append_utf8(hosts.get(), std::to_string(i).c_str(), -1, host(i).c_str(), -1);
  }
  bson_append_utf8(greeting, "setName", -1, setName, -1);
  bson_append_int32(greeting, "setVersion", -1, 1);
  bson_append_array(greeting, "hosts", -1, hosts.get());
  bson_append_utf8(greeting, "me", -1, host(member).c_str(), -1);
  bson_append_bool(greeting, "secondary", -1, !isPrimary(member));
  if (hasPrimary()) bson_append_utf8(greeting, "primary", -1, host(primary_).c_str(), -1);
  if (isPrimary(member)) {
    std::string id = std::to_string(elections_ + 1);
    id.insert(0, 24 - id.size(), '0');
    bson_oid_t oid;
    bson_oid_init_from_string(&oid, id.c_str());
    bson_append_oid(greeting, "electionId", -1, &oid);
  }
  appendTopologyVersion(greeting);
}

// Counts the changes of a member's state, so that an error of before the last one is known as old.
void Relay::appendTopologyVersion(bson_t* document) const {
  const std::int64_t changes = 2 * elections_ + (hasPrimary() ? 1 : 0);
  const Bson version = fromJson(R"({"processId": {"$oid": "5e1a70000000000000000001"}, "counter": {"$numberLong": ")" +
                                std::to_string(changes) + R"("}})");
  bson_append_document(document, "topologyVersion", -1, version.get());
}

}  // namespace database_test
