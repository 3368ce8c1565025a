// SPDX-License-Identifier: Apache-2.0
#include "tests/support/ScriptedServer.h"

#include <sys/socket.h>
#include <zlib.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstring>
#include <iostream>
#include <stdexcept>
#include <utility>

#include "tests/support/Socket.h"
#include "tests/support/Wire.h"

namespace database_test {

namespace {

constexpr std::uint32_t longestJson = 1024 * 1024;
// The body within a message that zlib compressed.
std::vector<std::uint8_t> uncompressed(const std::vector<std::uint8_t>& body) {
  constexpr std::uint8_t zlib = 2;
  constexpr std::size_t before = 9;
  if (body.size() < before || int32At(body, 0) != opMessage || body[8] != zlib) {
    throw std::runtime_error("the client compressed in a way that it was not offered");
  }
  auto size = static_cast<uLongf>(int32At(body, 4));
  std::vector<std::uint8_t> plain(size);
  if (uncompress(plain.data(), &size, body.data() + before, body.size() - before) != Z_OK || size != plain.size()) {
    throw std::runtime_error("the client sent a message that cannot be uncompressed");
  }
  return plain;
}

int lengthOf(const bson_t* command, const char* array) {
  bson_iter_t at;
  bson_iter_t inside;
  int length = 0;
  if (!bson_iter_init_find(&at, command, array) || !bson_iter_recurse(&at, &inside)) return 0;
  while (bson_iter_next(&inside)) ++length;
  return length;
}

Request requestOf(const bson_t* command) {
  Request request;
  if (command->len < longestJson) request.json = toJson(command);
  request.documents = lengthOf(command, "documents");
  bson_iter_t at;
  if (bson_iter_init(&at, command) && bson_iter_next(&at)) request.name = bson_iter_key(&at);
  if (request.name == "ismaster" || request.name == "isMaster") request.name = "hello";
  if (bson_iter_init_find(&at, command, "$db")) request.database = bson_iter_utf8(&at, nullptr);
  return request;
}

bool write(Stream& stream, const std::vector<std::uint8_t>& bytes, int drip) {
  if (drip == 0) return stream.write(bytes.data(), bytes.size());
  return std::all_of(bytes.begin(), bytes.end(), [&](std::uint8_t byte) {
    std::this_thread::sleep_for(std::chrono::milliseconds(drip));
    return stream.write(&byte, 1);
  });
}

// TLS writes without the flag that keeps a signal away; only this thread is spared it, the client under test is not.
void ignoreBrokenPipes() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGPIPE);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
}

std::string quoted(const std::string& text) {
  return "\"" + text + "\"";
}

std::string listOf(const std::vector<std::string>& texts) {
  std::string list;
  for (const std::string& text : texts) list += (list.empty() ? "" : ", ") + quoted(text);
  return "[" + list + "]";
}

Step batchOf(int cursor, const char* name, const std::string& documents) {
  return answer(R"({"ok": 1, "cursor": {"id": {"$numberLong": ")" + std::to_string(cursor) + R"("}, "ns": "d.c", ")" +
                name + R"(": [)" + documents + "]}}");
}

}  // namespace

struct ScriptedServer::Connection {
  explicit Connection(int socket) : stream(socket) {}
  ~Connection() { thread.join(); }
  Stream stream;
  std::atomic<bool> over{false};
  std::thread thread{};
};

Step answer(const std::string& json) {
  Step step;
  step.answer = json;
  return step;
}

std::vector<std::uint8_t> bsonOf(const std::string& json) {
  return bytesOf(fromJson(json).get());
}

Step answerOf(const std::vector<std::uint8_t>& bytes) {
  Step step;
  step.bytes = bytes;
  return step;
}

std::vector<std::uint8_t> withBatch(const std::vector<std::uint8_t>& document) {
  bson_t inner;
  if (!bson_init_static(&inner, document.data(), document.size())) throw std::invalid_argument("not a document");
  const Bson batch(bson_new());
  bson_append_document(batch.get(), "0", -1, &inner);
  const Bson cursor(bson_new());
  bson_append_int64(cursor.get(), "id", -1, 0);
  bson_append_utf8(cursor.get(), "ns", -1, "d.c", -1);
  bson_append_array(cursor.get(), "firstBatch", -1, batch.get());
  const Bson answer(bson_new());
  bson_append_document(answer.get(), "cursor", -1, cursor.get());
  bson_append_int32(answer.get(), "ok", -1, 1);
  return bytesOf(answer.get());
}

Step batch(const std::string& documents) {
  return batchOf(0, "firstBatch", documents);
}

Step openBatch(const std::string& documents) {
  return batchOf(7, "firstBatch", documents);
}

Step nextBatch(const std::string& documents) {
  return batchOf(7, "nextBatch", documents);
}

Step lastBatch(const std::string& documents) {
  return batchOf(0, "nextBatch", documents);
}

Step failing(Step::Fate fate) {
  Step step;
  step.fate = fate;
  return step;
}

Step refusal(int code, const std::string& text, const std::string& more) {
  return answer(R"({"ok": 0, "code": )" + std::to_string(code) + R"(, "errmsg": )" + quoted(text) + more + "}");
}

ScriptedServer::ScriptedServer(Pose pose, TlsFiles tls) : tls_(std::move(tls)), pose_(std::move(pose)) {
  start();
}

ScriptedServer::~ScriptedServer() {
  stop();
}

std::string ScriptedServer::host() const {
  return "127.0.0.1:" + std::to_string(port_);
}

void ScriptedServer::start() {
  listener_ = listenOn(port_);
  acceptor_ = std::thread([this] { accept(); });
}

void ScriptedServer::stop() {
  if (!acceptor_.joinable()) return;
  ::shutdown(listener_, SHUT_RDWR);
  acceptor_.join();
  closeSocket(std::exchange(listener_, -1));
  std::vector<std::unique_ptr<Connection>> connections;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    connections.swap(connections_);
  }
  for (const auto& connection : connections) connection->stream.shutdown();
}

void ScriptedServer::pose(const Pose& pose) {
  const std::lock_guard<std::mutex> lock(mutex_);
  pose_ = pose;
}

void ScriptedServer::script(const std::string& command, const std::vector<Step>& steps) {
  const std::lock_guard<std::mutex> lock(mutex_);
  scripts_[command] = steps;
}

void ScriptedServer::always(const std::string& command, const Step& step) {
  const std::lock_guard<std::mutex> lock(mutex_);
  always_[command] = step;
}

void ScriptedServer::answerBy(const std::string& command, const std::function<Step(const Request&)>& choose) {
  const std::lock_guard<std::mutex> lock(mutex_);
  choices_[command] = choose;
}

void ScriptedServer::alter(const std::function<void(const std::string&, std::vector<std::uint8_t>&)>& change) {
  const std::lock_guard<std::mutex> lock(mutex_);
  alter_ = change;
}

std::vector<Request> ScriptedServer::received(const std::string& command) const {
  const std::lock_guard<std::mutex> lock(mutex_);
  std::vector<Request> matching;
  std::copy_if(received_.begin(), received_.end(), std::back_inserter(matching),
               [&](const Request& request) { return request.name == command; });
  return matching;
}

int ScriptedServer::connections() const {
  const std::lock_guard<std::mutex> lock(mutex_);
  return accepted_;
}

void ScriptedServer::accept() {
  for (;;) {
    const int socket = acceptFrom(listener_);
    if (socket < 0) return;
    const std::lock_guard<std::mutex> lock(mutex_);
    ++accepted_;
    const auto isOver = [](const auto& connection) { return connection->over.load(); };
    connections_.erase(std::remove_if(connections_.begin(), connections_.end(), isOver), connections_.end());
    connections_.push_back(std::make_unique<Connection>(socket));
    Connection& connection = *connections_.back();
    connection.thread = std::thread([this, &connection] { serve(connection); });
  }
}

void ScriptedServer::serve(Connection& connection) {
  ignoreBrokenPipes();
  if (!tls_.certificate.empty() && !connection.stream.startTls(tls_.certificate, tls_.key)) {
    connection.stream.shutdown();
    connection.over = true;
    return;
  }
  try {
    while (serveOne(connection)) {
    }
  } catch (const std::exception& error) {
    std::cerr << "scripted server: " << error.what() << '\n';
  }
  connection.stream.shutdown();
  connection.over = true;
}

bool ScriptedServer::serveOne(Connection& connection) {
  Message message;
  if (!readMessage(connection.stream, message)) return false;
  auto& [header, body] = message;
  const bool compressed = header.opCode == opCompressed;
  if (compressed) {
    body = uncompressed(body);
    header.opCode = opMessage;
  }
  const bool legacy = header.opCode == opQuery;
  if (!legacy && header.opCode != opMessage) return false;
  Request request = requestOf((legacy ? commandOfQuery(body) : commandOfMessage(body)).get());
  request.wire = body;
  request.compressed = compressed;
  const Step step = stepFor(request);
  const bool expectsNone = !legacy && (static_cast<std::uint32_t>(int32At(body, 0)) & moreToCome) != 0;
  return expectsNone || perform(connection, step, {request, header.id, legacy});
}

bool ScriptedServer::perform(Connection& connection, const Step& step, const Exchange& exchange) const {
  if (step.delay > 0) std::this_thread::sleep_for(std::chrono::milliseconds(step.delay));
  const bool foreign = step.fate == Step::Fate::foreignResponse;
  const std::vector<std::uint8_t> document = step.bytes.empty() ? bytesOf(fromJson(step.answer).get()) : step.bytes;
  std::vector<std::uint8_t> whole = replyWith(document, exchange.id + (foreign ? 1000 : 0), exchange.legacy);
  Stream& stream = connection.stream;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (alter_) alter_(exchange.request.name, whole);
  }
  switch (step.fate) {
    case Step::Fate::answer:
    case Step::Fate::foreignResponse:
      return write(stream, whole, step.drip) && whole.size() >= sizeof(std::int32_t) &&
             static_cast<std::size_t>(int32At(whole, 0)) == whole.size();
    case Step::Fate::silence:
      return true;
    case Step::Fate::close:
      return false;
    case Step::Fate::reset:
      stream.reset();
      return false;
    case Step::Fate::cut:
      stream.write(whole.data(), whole.size() / 2);
      return false;
    case Step::Fate::absurdLength:
      whole[0] = whole[1] = whole[2] = 0xFF;
      whole[3] = 0x7F;
      return stream.write(whole.data(), whole.size());
    case Step::Fate::garbage:
      const char* page = "HTTP/1.1 400 Bad Request\r\nContent-Type: text/html\r\n\r\n<html>not a database</html>\r\n";
      stream.write(page, std::strlen(page));
      return false;
  }
  return false;
}

Step ScriptedServer::stepFor(const Request& request) {
  const std::lock_guard<std::mutex> lock(mutex_);
  received_.push_back(request);
  std::vector<Step>& steps = scripts_[request.name];
  if (!steps.empty()) {
    Step step = steps.front();
    steps.erase(steps.begin());
    return step;
  }
  const auto standing = always_.find(request.name);
  if (standing != always_.end()) return standing->second;
  const auto choice = choices_.find(request.name);
  return choice != choices_.end() ? choice->second(request) : defaultStep(request);
}

Step ScriptedServer::defaultStep(const Request& request) const {
  if (request.name == "hello") return database_test::answer(hello());
  if (request.name == "insert") {
    return database_test::answer(R"({"ok": 1, "n": )" + std::to_string(request.documents) + "}");
  }
  if (request.name == "update") return database_test::answer(R"({"ok": 1, "n": 1, "nModified": 1})");
  if (request.name == "delete") return database_test::answer(R"({"ok": 1, "n": 1})");
  if (request.name == "find" || request.name == "aggregate" || request.name == "listCollections" ||
      request.name == "listIndexes") {
    return batch("");
  }
  if (request.name == "usersInfo") return database_test::answer(R"({"ok": 1, "users": []})");
  if (request.name == "rolesInfo") return database_test::answer(R"({"ok": 1, "roles": []})");
  if (request.name == "listDatabases") return database_test::answer(R"({"ok": 1, "databases": []})");
  return Step{};
}

std::string ScriptedServer::hello() const {
  std::string text = R"({"ok": 1, "helloOk": true, "maxBsonObjectSize": 16777216, "maxMessageSizeBytes": 48000000,
      "minWireVersion": 0, "maxWireVersion": 17, "readOnly": false)";
  text += R"(, "maxWriteBatchSize": )" + std::to_string(pose_.maxWriteBatchSize);
  if (pose_.takesZlib) text += R"(, "compression": ["zlib"])";
  const bool writable = pose_.role != Pose::Role::secondary;
  text += R"(, "ismaster": )" + std::string(writable ? "true" : "false");
  if (!pose_.mechanisms.empty()) text += R"(, "saslSupportedMechs": )" + listOf(pose_.mechanisms);
  if (pose_.role == Pose::Role::standalone) return text + "}";
  text += R"(, "logicalSessionTimeoutMinutes": 30)";
  if (pose_.role == Pose::Role::router) return text + R"(, "msg": "isdbgrid"})";
  text += R"(, "setName": )" + quoted(pose_.setName) + R"(, "setVersion": 1, "me": )" + quoted(host());
  text += std::string(R"(, "secondary": )") + (writable ? "false" : "true") + R"(, "hosts": )" + listOf(pose_.hosts);
  if (!pose_.primary.empty()) text += R"(, "primary": )" + quoted(pose_.primary);
  if (writable) {
    std::string id = std::to_string(pose_.election);
    id.insert(0, 24 - id.size(), '0');
    text += R"(, "electionId": {"$oid": )" + quoted(id) + "}";
  }
  return text + "}";
}

}  // namespace database_test
