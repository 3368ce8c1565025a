// SPDX-License-Identifier: Apache-2.0

// Runs a client against a server in the same process whose answers are damaged, and tells in one line for each damage
// what the caller saw:
//
//     mutation_probe bits|fields|random FIRST COUNT STEP
//
// "bits" flips each bit of each answer, "fields" puts a value of every kind in the place of each field, "random" does
// anything, by a seed. From FIRST on, COUNT of them are tried, each STEP after the last.

#include <openssl/hmac.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iostream>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "client/bson/View.h"
#include "client/bson/base64.h"
#include "client/embedded/users/Credentials.h"
#include "tests/client/server/ServerTest.h"
#include "tests/support/ScriptedServer.h"

namespace {

using database_client::DataBaseClient;
using database_client::document;
using database_client::Error;
using database_client::ObjectProperties;
using database_test::answer;
using database_test::Request;
using database_test::ScriptedServer;
using database_test::Step;
namespace bson = database_client::bson;
namespace scram = database_client::embedded;

using Bytes = std::vector<std::uint8_t>;

// The server's side of a login by SCRAM-SHA-256.

class Login {
 public:
  Step start(const Request& request) {
    const std::string first = payloadOf(request.json);
    clientFirst_ = first.substr(3);  // behind "n,,"
    serverFirst_ = first.substr(first.find("r=")) + "srv,s=" + bson::toBase64(credentials_.salt) +
                   ",i=" + std::to_string(credentials_.iterations);
    return said(serverFirst_, false);
  }
  Step goOn(const Request& request) const {
    const std::string last = payloadOf(request.json);
    const std::string spoken = clientFirst_ + "," + serverFirst_ + "," + last.substr(0, last.find(",p="));
    const std::string& key = credentials_.serverKey;
    std::string signature(32, '\0');
    unsigned int size = 0;
    HMAC(EVP_sha256(), key.data(), static_cast<int>(key.size()), reinterpret_cast<const unsigned char*>(spoken.data()),
         spoken.size(), reinterpret_cast<unsigned char*>(signature.data()), &size);
    return said("v=" + bson::toBase64(signature), true);
  }

 private:
  static std::string payloadOf(const std::string& json) {
    const std::string mark = R"("base64": ")";
    const std::string spaced = R"("base64" : ")";
    const std::size_t tight = json.find(mark);
    const std::size_t start = tight == std::string::npos ? json.find(spaced) + spaced.size() : tight + mark.size();
    return bson::fromBase64(json.substr(start, json.find('"', start) - start)).value_or(std::string());
  }
  static Step said(const std::string& text, bool done) {
    return answer(R"({"conversationId": 1, "done": )" + std::string(done ? "true" : "false") +
                  R"(, "payload": {"$binary": {"base64": ")" + bson::toBase64(text) +
                  R"(", "subType": "00"}}, "ok": 1})");
  }

  scram::Credentials credentials_ = scram::Credentials::of("pw");
  std::string clientFirst_{};
  std::string serverFirst_{};
};

// What is done with a client.

struct Operation {
  std::string name;
  bool logsIn;
  std::function<void(DataBaseClient&)> run;
};

std::size_t drain(std::list<ObjectProperties*>& documents) {
  const std::size_t size = documents.size();
  for (const ObjectProperties* one : documents) delete one;
  documents.clear();
  return size;
}

void find(DataBaseClient& client, const char* collection, int limit) {
  std::list<ObjectProperties*> documents;
  try {
    client.find("d", collection, document("{}"), document("{}"), documents, limit, 0);
  } catch (...) {
    drain(documents);
    throw;
  }
  drain(documents);
}

std::vector<Operation> operations() {
  const auto insertMany = [](DataBaseClient& client) {
    const ObjectProperties one = document(R"({"_id": 1})");
    const ObjectProperties two = document(R"({"_id": 2})");
    std::vector<std::string> ids;
    client.insertMany("d", "c", {&one, &two}, ids);
  };
  const auto update = [](int operation) {
    return [operation](DataBaseClient& client) {
      client.update("d", "c", document(R"({"_id": 1})"), document(R"({"x": {"y": 1}})"), 1, operation);
    };
  };
  const auto aggregate = [](DataBaseClient& client) {
    std::list<ObjectProperties*> documents;
    client.aggregate("d", "c", document(R"({"pipeline": [{"$match": {}}]})"), documents);
    drain(documents);
  };
  return {
      {"insert many", false, insertMany},
      {"replace", false, update(1)},
      {"set", false, update(3)},
      {"remove", false, [](DataBaseClient& client) { client.remove("d", "c", document("{}")); }},
      {"find", false, [](DataBaseClient& client) { find(client, "c", 0); }},
      {"find one", false, [](DataBaseClient& client) { find(client, "c", 1); }},
      {"find in batches", false, [](DataBaseClient& client) { find(client, "batches", 0); }},
      {"aggregate", false, aggregate},
      {"count", false, [](DataBaseClient& client) { client.count("d", "c", document("{}")); }},
      {"explain", false, [](DataBaseClient& client) { client.explain("d", "c", document("{}")); }},
      {"databases", false, [](DataBaseClient& client) { client.databaseNames(); }},
      {"collections", false, [](DataBaseClient& client) { client.collectionNames("d"); }},
      {"refusal", false, [](DataBaseClient& client) { find(client, "refused", 0); }},
      {"users", false,
       [](DataBaseClient& client) {
         find(client, "c", 0);
         client.createUser("d", "anna", "pw", document("{}"), document("{}"));
         client.dropUser("d", "anna");
       }},
      {"login", true, [](DataBaseClient& client) { find(client, "c", 0); }},
  };
}

/// A value of each kind, and some that stand at a border.
struct Value {
  bson::Type type;
  Bytes bytes;
};

std::vector<Value> everyValue() {
  using bson::Type;
  const Bytes document{5, 0, 0, 0, 0};
  const Bytes text{2, 0, 0, 0, 'x', 0};
  return {{Type::real, {0, 0, 0, 0, 0, 0, 0xF8, 0x7F}},
          {Type::real, {0, 0, 0, 0, 0, 0, 0, 0}},
          {Type::string, text},
          {Type::string, {1, 0, 0, 0, 0}},
          {Type::document, document},
          {Type::document, {12, 0, 0, 0, 0x10, 'x', 0, 1, 0, 0, 0, 0}},
          {Type::array, document},
          {Type::array, {12, 0, 0, 0, 0x10, '0', 0, 1, 0, 0, 0, 0}},
          {Type::binary, {0, 0, 0, 0, 0}},
          {Type::undefined, {}},
          {Type::objectId, Bytes(12, 7)},
          {Type::boolean, {0}},
          {Type::boolean, {1}},
          {Type::date, Bytes(8, 1)},
          {Type::null, {}},
          {Type::regex, {'x', 0, 'i', 0}},
          {Type::code, text},
          {Type::symbol, text},
          {Type::int32, {0, 0, 0, 0}},
          {Type::int32, {0xFF, 0xFF, 0xFF, 0xFF}},
          {Type::int32, {0, 0, 0, 0x80}},
          {Type::int32, {0xFF, 0xFF, 0xFF, 0x7F}},
          {Type::int32, {1, 0, 0, 0}},
          {Type::timestamp, Bytes(8, 1)},
          {Type::int64, Bytes(8, 0)},
          {Type::int64, {0, 0, 0, 0, 1, 0, 0, 0}},
          {Type::int64, Bytes(8, 0xFF)},
          {Type::decimal128, Bytes(16, 0)},
          {Type::maxKey, {}},
          {Type::minKey, {}}};
}

constexpr std::size_t headerSize = 16;

std::int32_t int32At(const Bytes& bytes, std::size_t at) {
  return bson::load<std::int32_t>(bytes.data() + at);
}

std::size_t documentStart(const Bytes& message) {
  return int32At(message, 12) == 1 ? headerSize + 20 : headerSize + 5;
}

void setLength(Bytes& message) {
  bson::store(message.data(), static_cast<std::int32_t>(message.size()));
}

/// Changes one of the fields of a document, counted over all levels.
class FieldChange {
 public:
  using Change = std::function<void(Bytes& out, const bson::Element& field)>;

  FieldChange(std::size_t which, Change change) : left_(which), change_(std::move(change)) {}

  Bytes of(bson::View level) {
    Bytes out(4);
    for (const bson::Element& field : level) {
      if (left_-- == 0) {
        change_(out, field);
      } else if (field.value.isDocument() || field.value.isArray()) {
        put(out, field, of(field.value.asDocument()));
      } else {
        out.insert(out.end(), field.start, field.start + field.size());
      }
    }
    out.push_back(0);
    bson::store(out.data(), static_cast<std::int32_t>(out.size()));
    return out;
  }

  static void put(Bytes& out, const bson::Element& field, const Bytes& value) {
    put(out, field, field.value.type, value);
  }
  static void put(Bytes& out, const bson::Element& field, bson::Type type, const Bytes& value) {
    out.push_back(static_cast<std::uint8_t>(type));
    out.insert(out.end(), field.key.begin(), field.key.end());
    out.push_back(0);
    out.insert(out.end(), value.begin(), value.end());
  }

 private:
  std::size_t left_;
  Change change_;
};

std::size_t fieldsOf(bson::View level) {
  std::size_t count = 0;
  for (const bson::Element& field : level) {
    count += 1;
    if (field.value.isDocument() || field.value.isArray()) count += fieldsOf(field.value.asDocument());
  }
  return count;
}

bson::View documentOf(const Bytes& message) {
  return bson::viewAt(message.data() + documentStart(message));
}

void changeField(Bytes& message, std::size_t which, const FieldChange::Change& change) {
  const Bytes changed = FieldChange(which, change).of(documentOf(message));
  message.resize(documentStart(message));
  message.insert(message.end(), changed.begin(), changed.end());
  setLength(message);
}

// What is done to an answer.

struct Mutation {
  std::size_t operation;
  std::size_t answer;  ///< the number of the answer among those to the operation
  std::function<void(Bytes&)> change;
};

class Random {
 public:
  explicit Random(std::uint64_t seed) : source_(seed) {}
  std::size_t below(std::size_t end) { return source_() % end; }
  std::uint8_t byte() { return static_cast<std::uint8_t>(below(256)); }
  template <class Item>
  const Item& of(const std::vector<Item>& items) {
    return items[below(items.size())];
  }

 private:
  std::mt19937_64 source_;
};

void setInt32(Bytes& message, std::size_t at, std::int32_t number) {
  if (at + sizeof number <= message.size()) bson::store(message.data() + at, number);
}

void changeLength(Bytes& message, Random& random) {
  const auto size = static_cast<std::int32_t>(message.size());
  const std::vector<std::int32_t> lengths{-1, 0,        4,        15,       16,         17,         20,
                                          21, 22,       23,       24,       25,         26,         30,
                                          36, size - 1, size + 1, size / 2, 48'000'000, 48'000'001, 0x7FFFFFFF};
  setInt32(message, 0, random.of(lengths));
}

void wrapCompressed(Bytes& message, Random& random) {
  Bytes body(message.begin() + headerSize, message.end());
  const std::int32_t opCode = int32At(message, 12);
  const auto size = static_cast<std::int32_t>(body.size());
  const std::vector<std::int32_t> sizes{size, size, size - 1, size + 1, 0, -1, 0x7FFFFFFF, 48'000'000};
  message.resize(headerSize);
  setInt32(message, 12, 2012);
  message.resize(headerSize + 9);
  setInt32(message, headerSize, random.below(4) == 0 ? 2012 : opCode);
  setInt32(message, headerSize + 4, random.of(sizes));
  message[headerSize + 8] = static_cast<std::uint8_t>(random.below(5));
  if (random.below(3) == 0) body.resize(random.below(body.size() + 1));
  message.insert(message.end(), body.begin(), body.end());
  setLength(message);
}

void changeAnyField(Bytes& message, Random& random) {
  const std::size_t fields = fieldsOf(documentOf(message));
  if (fields == 0) return;
  const std::size_t kind = random.below(4);
  const Value value = random.of(everyValue());
  changeField(message, random.below(fields), [&](Bytes& out, const bson::Element& field) {
    if (kind <= 1) FieldChange::put(out, field, value.type, value.bytes);
    if (kind == 3) {
      out.insert(out.end(), field.start, field.start + field.size());
      out.insert(out.end(), field.start, field.start + field.size());
    }
  });
}

/// An error that servers do not send so, or hardly ever.
void becomeError(Bytes& message, Random& random) {
  const std::vector<std::string> errors{R"({"ok": 0, "code": 0, "errmsg": "x"})",
                                        R"({"ok": 0, "code": "x", "errmsg": "x"})",
                                        R"({"ok": 0, "code": 10107, "errmsg": 7, "topologyVersion": {}})",
                                        R"({"ok": 0, "errmsg": "x"})",
                                        R"({"ok": 0})",
                                        R"({})",
                                        R"({"$err": "x", "code": 0})",
                                        R"({"ok": 1, "n": 1, "writeConcernError": 7})",
                                        R"({"ok": 1, "n": 1, "writeConcernError": {"code": 0}})",
                                        R"({"ok": 1, "n": 1, "errorLabels": 7})",
                                        R"({"ok": 0, "code": 91, "errmsg": "x", "errorLabels": [7]})",
                                        R"({"ok": 1, "n": 1, "writeErrors": [{"index": -1, "code": 0}]})"};
  message.resize(documentStart(message));
  const Bytes error = database_test::bsonOf(random.of(errors));
  message.insert(message.end(), error.begin(), error.end());
  setLength(message);
}

void changeAnything(Bytes& message, std::uint64_t seed) {
  Random random(seed);
  switch (random.below(14)) {
    case 0:
    case 1:
      for (std::size_t i = 0; i <= random.below(8); ++i) {
        message[random.below(message.size())] ^= static_cast<std::uint8_t>(1U << random.below(8));
      }
      break;
    case 2:
      for (std::size_t i = 0; i <= random.below(4); ++i) message[random.below(message.size())] = random.byte();
      break;
    case 3:
      message.resize(random.below(message.size()));
      break;
    case 4:
      message.resize(headerSize + random.below(message.size() - headerSize));
      setLength(message);
      break;
    case 5:
      changeLength(message, random);
      break;
    case 6:
      setInt32(message, 12, random.of(std::vector<std::int32_t>{0, 1, 1000, 2001, 2004, 2005, 2010, 2011, 2012, 2013}));
      break;
    case 7:
      message[headerSize + random.below(5)] ^= static_cast<std::uint8_t>(1U << random.below(8));
      break;
    case 8:
      wrapCompressed(message, random);
      break;
    case 9:
      for (std::uint8_t& byte : message) byte = random.byte();
      break;
    case 10:
      message.insert(message.end(), 1 + random.below(40), random.byte());
      if (random.below(2) == 0) setLength(message);
      break;
    case 11:
      becomeError(message, random);
      break;
    default:
      changeAnyField(message, random);
  }
}

/// What a caller sees of an operation. Whatever is thrown besides Error ends this program.
std::string run(const ScriptedServer& server, const Operation& operation) {
  DataBaseClient client;
  const std::string address = "mongodb://" + server.host() + "/?connectTimeoutMS=2000&socketTimeoutMS=2000";
  if (!client.connect("", address, 0, operation.logsIn ? "anna" : "", operation.logsIn ? "pw" : "")) {
    return "no connection: " + client.failure();
  }
  try {
    operation.run(client);
    return "done";
  } catch (const Error& error) {
    return std::string(toString(error.kind())) + ": " + error.what();
  }
}

class Bench {
 public:
  Bench() {
    server_.answerBy("find", [](const Request& request) {
      if (request.json.find(R"("refused")") != std::string::npos) return database_test::refusal(2, "makes no sense");
      const bool more = request.json.find(R"("batches")") != std::string::npos;
      return answer(R"({"cursor": {"firstBatch": [{"_id": 1, "x": "y"}, {"_id": 2}], "id": {"$numberLong": ")" +
                    std::string(more ? "7" : "0") + R"("}, "ns": "d.batches"}, "ok": {"$numberDouble": "1.0"}})");
    });
    server_.always("getMore", answer(R"({"cursor": {"nextBatch": [{"_id": 3}], "id": {"$numberLong": "0"},
        "ns": "d.batches"}, "ok": 1, "operationTime": {"$timestamp": {"t": 5, "i": 1}},
        "$clusterTime": {"clusterTime": {"$timestamp": {"t": 5, "i": 1}}, "signature": {"keyId": 1}}})"));
    server_.always("update", answer(R"({"n": 1, "nModified": 1, "upserted": [], "ok": 1})"));
    server_.always("delete", answer(R"({"n": 1, "ok": 1, "writeConcernError": {"code": 64, "errmsg": "slow"}})"));
    server_.always("insert",
                   answer(R"({"n": 1, "ok": 1, "writeErrors": [{"index": 1, "code": 11000, "errmsg": "dup"}]})"));
    server_.always("aggregate", answer(R"({"cursor": {"firstBatch": [{"_id": 1, "n": 3}], "id": {"$numberLong": "0"},
        "ns": "d.c"}, "ok": 1})"));
    server_.always("listCollections", answer(R"({"cursor": {"firstBatch": [{"name": "c", "type": "collection"}],
        "id": {"$numberLong": "0"}, "ns": "d.$cmd.listCollections"}, "ok": 1})"));
    server_.always("listDatabases", answer(R"({"databases": [{"name": "d"}, {"name": "e"}], "ok": 1})"));
    server_.answerBy("saslStart", [this](const Request& request) { return login_.start(request); });
    server_.answerBy("saslContinue", [this](const Request& request) { return login_.goOn(request); });
    for (std::size_t i = 0; i < operations_.size(); ++i) record(i);
  }

  /// The damage of this number; nothing when there are no more.
  std::optional<Mutation> mutation(const std::string& what, std::size_t number) const {
    if (what == "random") {
      const Target& target = targets_[Random(number).below(targets_.size())];
      return Mutation{target.operation, target.answer, [number](Bytes& message) { changeAnything(message, number); }};
    }
    const std::vector<Value> values = everyValue();
    for (const Target& target : targets_) {
      const std::size_t fields = fieldsOf(documentOf(target.message));
      const std::size_t size = what == "bits" ? target.message.size() * 8 : fields * values.size();
      if (number < size) {
        return Mutation{target.operation, target.answer, [=](Bytes& message) {
                          if (what == "bits") {
                            if (number / 8 < message.size())
                              message[number / 8] ^= static_cast<std::uint8_t>(1U << number % 8);
                          } else {
                            const Value& value = values[number % values.size()];
                            changeField(message, number / values.size(), [&](Bytes& out, const bson::Element& field) {
                              FieldChange::put(out, field, value.type, value.bytes);
                            });
                          }
                        }};
      }
      number -= size;
    }
    return std::nullopt;
  }

  std::string outcome(const Mutation& mutation) {
    std::size_t answers = 0;
    server_.alter([&](const std::string&, Bytes& message) {
      if (answers++ == mutation.answer) mutation.change(message);
    });
    const Operation& operation = operations_[mutation.operation];
    const std::string seen = run(server_, operation);
    server_.alter({});
    return operation.name + ", answer " + std::to_string(mutation.answer) + ": " + seen;
  }

 private:
  struct Target {
    std::size_t operation;
    std::size_t answer;
    Bytes message;
  };

  // The same greeting before each operation is looked at once, except where it is another's.
  void record(std::size_t operation) {
    std::vector<std::pair<std::string, Bytes>> answers;
    server_.alter([&](const std::string& command, Bytes& message) { answers.emplace_back(command, message); });
    const std::string seen = run(server_, operations_[operation]);
    server_.alter({});
    for (std::size_t i = 0; i < answers.size(); ++i) {
      const auto& [command, message] = answers[i];
      const bool isCommon = command == "hello" || command == "ping" || command == "endSessions";
      if (isCommon && !common_.insert(command).second) continue;
      targets_.push_back({operation, i, message});
    }
  }

  ScriptedServer server_{};
  Login login_{};
  std::vector<Operation> operations_ = operations();
  std::set<std::string> common_{};
  std::vector<Target> targets_{};
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 5) return EXIT_FAILURE;
  const std::string what = argv[1];
  std::size_t number = std::stoul(argv[2]);
  const std::size_t count = std::stoul(argv[3]);
  const std::size_t step = std::stoul(argv[4]);
  Bench bench;
  for (std::size_t i = 0; i < count; ++i, number += step) {
    const auto mutation = bench.mutation(what, number);
    if (!mutation) break;
    std::cout << what << ' ' << number << ' ' << std::flush;
    std::cout << bench.outcome(*mutation) << std::endl;
  }
  std::cout << "end" << std::endl;
  return EXIT_SUCCESS;
}
