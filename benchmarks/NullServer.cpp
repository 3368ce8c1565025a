// SPDX-License-Identifier: Apache-2.0
#include "benchmarks/NullServer.h"

#include <arpa/inet.h>
#include <bson/bson.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <vector>

// A message is {int32 length, int32 id, int32 responseTo, int32 opCode} and a body. OP_MSG (2013) is {uint32 flags} and
// sections: a byte 0 and one document, or a byte 1 and {int32 size, cstring name, documents}. OP_QUERY (2004), which
// says hello, is {int32 flags, cstring namespace, int32 skip, int32 count, document}; OP_REPLY (1) answers it with
// {int32 flags, int64 cursor, int32 from, int32 count, document}.

namespace {

constexpr unsigned lifetime = 600;  // seconds
constexpr std::size_t headerSize = 16;
constexpr std::size_t firstBatch = 101;
constexpr std::int32_t opReply = 1;
constexpr std::int32_t opQuery = 2004;
constexpr std::int32_t opMessage = 2013;

template <class Number>
void append(std::string& bytes, Number number) {
  bytes.append(reinterpret_cast<const char*>(&number), sizeof number);
}

std::int32_t int32At(std::string_view bytes, std::size_t at) {
  std::int32_t number = 0;
  if (at + sizeof number <= bytes.size()) std::memcpy(&number, bytes.data() + at, sizeof number);
  return number;
}

/// A whole answer but for the number of its request.
std::string answer(std::int32_t opCode, const bson_t& document) {
  std::string bytes;
  for (const std::int32_t field : {0, 1, 0, opCode}) append(bytes, field);
  if (opCode == opReply) {
    for (const std::int32_t field : {8, 0, 0, 0, 1}) append(bytes, field);
  } else {
    append(bytes, std::int32_t{0});
    bytes.push_back('\0');
  }
  bytes.append(reinterpret_cast<const char*>(bson_get_data(&document)), document.len);
  const auto length = static_cast<std::int32_t>(bytes.size());
  std::memcpy(bytes.data(), &length, sizeof length);
  return bytes;
}

std::string greeting(std::int32_t opCode) {
  bson_t document;
  bson_init(&document);
  for (const char* yes : {"helloOk", "ismaster", "isWritablePrimary"}) BSON_APPEND_BOOL(&document, yes, true);
  BSON_APPEND_INT32(&document, "maxBsonObjectSize", 16777216);
  BSON_APPEND_INT32(&document, "maxMessageSizeBytes", 48000000);
  BSON_APPEND_INT32(&document, "maxWriteBatchSize", 100000);
  BSON_APPEND_INT32(&document, "minWireVersion", 0);
  BSON_APPEND_INT32(&document, "maxWireVersion", 17);
  BSON_APPEND_INT32(&document, "ok", 1);
  const std::string bytes = answer(opCode, document);
  bson_destroy(&document);
  return bytes;
}

std::string counted(std::int32_t count) {
  bson_t document;
  bson_init(&document);
  BSON_APPEND_INT32(&document, "n", count);
  BSON_APPEND_DOUBLE(&document, "ok", 1);
  const std::string bytes = answer(opMessage, document);
  bson_destroy(&document);
  return bytes;
}

std::string batch(const char* name, std::size_t size, std::int64_t cursorId, const bson_t& found) {
  bson_t document, cursor, list;
  bson_init(&document);
  BSON_APPEND_DOCUMENT_BEGIN(&document, "cursor", &cursor);
  BSON_APPEND_ARRAY_BEGIN(&cursor, name, &list);
  for (std::size_t i = 0; i < size; ++i) BSON_APPEND_DOCUMENT(&list, std::to_string(i).c_str(), &found);
  bson_append_array_end(&cursor, &list);
  BSON_APPEND_INT64(&cursor, "id", cursorId);
  BSON_APPEND_UTF8(&cursor, "ns", "experiment.records");
  bson_append_document_end(&document, &cursor);
  BSON_APPEND_DOUBLE(&document, "ok", 1);
  const std::string bytes = answer(opMessage, document);
  bson_destroy(&document);
  return bytes;
}

/// The answers to one client, which are sent from where they are.
struct Answers {
  explicit Answers(const bson_t& found)
      : one(batch("firstBatch", 1, 0, found)),
        first(batch("firstBatch", firstBatch, 1, found)),
        next(batch("nextBatch", NullServer::records - firstBatch, 0, found)) {}

  std::string legacyHello = greeting(opReply), hello = greeting(opMessage), done = counted(1), number, one, first, next;
};

bool receive(int socket, char* at, std::size_t size) {
  while (size > 0) {
    const ssize_t got = recv(socket, at, size, 0);
    if (got <= 0) return false;
    at += got;
    size -= static_cast<std::size_t>(got);
  }
  return true;
}

/// A whole message, read with as few calls as possible; empty when the client is gone.
std::string_view nextMessage(int socket, std::vector<char>& buffer) {
  std::size_t have = 0;
  while (have < headerSize) {
    const ssize_t got = recv(socket, buffer.data() + have, buffer.size() - have, 0);
    if (got <= 0) return {};
    have += static_cast<std::size_t>(got);
  }
  const auto length = static_cast<std::size_t>(int32At({buffer.data(), have}, 0));
  if (length < have || length > 64U << 20U) return {};
  if (length > buffer.size()) buffer.resize(length);
  if (!receive(socket, buffer.data() + have, length - have)) return {};
  return {buffer.data(), length};
}

/// The number of documents in the section behind the command.
std::int32_t documentsIn(std::string_view message, std::size_t at) {
  at += 1 + sizeof(std::int32_t);
  at += std::strlen(message.data() + at) + 1;
  std::int32_t count = 0;
  for (; at < message.size(); ++count) at += static_cast<std::size_t>(int32At(message, at));
  return count;
}

std::string& answerTo(std::string_view message, Answers& answers) {
  if (int32At(message, 12) == opQuery) return answers.legacyHello;
  const std::size_t command = headerSize + 5;
  const std::string_view name(message.data() + command + 5);
  if (name == "hello" || name == "isMaster" || name == "ismaster") return answers.hello;
  if (name == "insert") {
    const std::size_t end = command + static_cast<std::size_t>(int32At(message, command));
    return answers.number = counted(documentsIn(message, end));
  }
  if (name == "getMore") return answers.next;
  if (name != "find" && name != "aggregate") return answers.done;
  return message.find(std::string_view("limit", 6)) == std::string_view::npos ? answers.first : answers.one;
}

void serve(int socket, Answers answers) {
  const int yes = 1;
  setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
  std::vector<char> buffer(1U << 16U);
  for (;;) {
    const std::string_view message = nextMessage(socket, buffer);
    if (message.empty()) break;
    std::string& bytes = answerTo(message, answers);
    std::memcpy(bytes.data() + 8, message.data() + 4, sizeof(std::int32_t));
    if (send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL) < 0) break;
  }
  close(socket);
}

/// Of the processors that the program may run on, the server takes the last and the client the first.
void takeProcessor(bool last) {
  cpu_set_t allowed;
  if (sched_getaffinity(0, sizeof allowed, &allowed) != 0) return;
  int chosen = -1;
  for (int i = 0; i < CPU_SETSIZE; ++i) chosen = CPU_ISSET(i, &allowed) && (last || chosen < 0) ? i : chosen;
  CPU_ZERO(&allowed);
  CPU_SET(chosen, &allowed);
  sched_setaffinity(0, sizeof allowed, &allowed);
}

[[noreturn]] void run(int listener, pid_t parent, const std::string& found) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (getppid() != parent) _exit(0);
  alarm(lifetime);
  takeProcessor(true);
  bson_t document;
  bson_init_static(&document, reinterpret_cast<const std::uint8_t*>(found.data()), found.size());
  const Answers answers(document);
  for (;;) {
    const int socket = accept(listener, nullptr, nullptr);
    if (socket < 0) _exit(0);
    std::thread(serve, socket, answers).detach();
  }
}

int listenOn(int& port) {
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  if (bind(listener, generic, size) != 0 || listen(listener, 8) != 0 || getsockname(listener, generic, &size) != 0) {
    throw std::runtime_error("no port to listen on");
  }
  port = ntohs(address.sin_port);
  return listener;
}

}  // namespace

NullServer::NullServer(const std::string& found) {
  const int listener = listenOn(port_);
  const pid_t parent = getpid();
  child_ = fork();
  if (child_ == 0) run(listener, parent, found);
  close(listener);
  if (child_ < 0) throw std::runtime_error("no process for the server");
  takeProcessor(false);
}

NullServer::~NullServer() {
  kill(child_, SIGKILL);
  waitpid(child_, nullptr, 0);
}
