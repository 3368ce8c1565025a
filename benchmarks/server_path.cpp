// SPDX-License-Identifier: Apache-2.0

// The engine for servers beside bare libmongoc, against a server that answers at once. Each benchmark does the same on
// both sides by turns, and tells of each side the median time of a turn, and the processor time of this program in it:
//
//     taskset -c 0 build/benchmark/benchmarks/server_path_benchmark --benchmark_repetitions=9
//
// One side runs libmongoc as its manual says, with the documents built by libbson's macros.

#include <benchmark/benchmark.h>
#include <mongoc/mongoc.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <ctime>
#include <list>
#include <stdexcept>
#include <string>
#include <vector>

#include "benchmarks/NullServer.h"
#include "benchmarks/record.h"
#include "client/DocumentAccess.h"
#include "client/Engine.h"
#include "client/server/OperationRunner.h"
#include "database_client/DataBaseClient.h"

namespace database_client {
namespace {

using record::texts;

const std::string database = "experiment";
const std::string collection = "records";

struct Bson {
  Bson() { bson_init(&value); }
  ~Bson() { bson_destroy(&value); }
  Bson(const Bson&) = delete;
  Bson& operator=(const Bson&) = delete;
  bson_t value{};
};

// The driver's own name for its document type carries an alignment that a template argument would lose.
using Pointer = struct _bson_t*;

std::string stored() {
  bson_oid_t id;
  bson_oid_init(&id, nullptr);
  Bson document;
  BSON_APPEND_OID(&document.value, "_id", &id);
  record::append(&document.value);
  return {reinterpret_cast<const char*>(bson_get_data(&document.value)), document.value.len};
}

/// The record of record.h, through the document of the library.
ObjectProperties build() {
  ObjectProperties d;
  {
    const Group info(d, "recordInfo");
    {
      const Array list(d, "category");
      for (std::size_t i = 0; i < 5; ++i) {
        const Group item(d, texts.index[i]);
        d.setValueString("name", texts.names[i]);
        d.setValueString("value", texts.values[i]);
      }
    }
    {
      const Array list(d, "description");
      for (std::size_t i = 0; i < 20; ++i) {
        const Group item(d, texts.index[i]);
        d.setValueString("name", texts.names[i]);
        if (i % 2 == 0) {
          d.setValueDouble("value", static_cast<double>(i) * 0.5);
        } else {
          d.setValueString("value", texts.values[i]);
        }
        d.setValueInt32("type", i % 2 == 0 ? 8 : 4);
      }
    }
    const Group additional(d, "additionalData");
    const Array list(d, "files");
    for (std::size_t i = 0; i < 3; ++i) {
      const Group item(d, texts.index[i]);
      d.setValueString("fileId", texts.index[i]);
      d.setValueInt32("type", 3);
      d.setValueString("host", texts.names[i]);
      d.setValueString("path", texts.values[i]);
    }
  }
  d.setValueString("user", texts.names[0]);
  d.setValueString("comment", texts.values[0]);
  return d;
}

void expect(bool holds, const char* what) {
  if (!holds) throw std::runtime_error(what);
}

/// The driver alone.
class Bare {
 public:
  explicit Bare(const std::string& address) : client_(mongoc_client_new(address.c_str())) {
    mongoc_client_set_error_api(client_, MONGOC_ERROR_API_VERSION_2);
    collection_ = mongoc_client_get_collection(client_, database.c_str(), collection.c_str());
  }
  ~Bare() {
    for (Pointer document : documents_) bson_destroy(document);
    mongoc_collection_destroy(collection_);
    mongoc_client_destroy(client_);
  }
  Bare(const Bare&) = delete;
  Bare& operator=(const Bare&) = delete;

  void ping() {
    Bson command, reply;
    BSON_APPEND_INT32(&command.value, "ping", 1);
    expect(mongoc_client_command_simple(client_, "admin", &command.value, nullptr, &reply.value, &error_), "ping");
  }

  void insertOne() {
    bson_oid_t id;
    bson_oid_init(&id, nullptr);
    Bson document;
    BSON_APPEND_OID(&document.value, "_id", &id);
    record::append(&document.value);
    expect(mongoc_collection_insert_one(collection_, &document.value, nullptr, nullptr, &error_), "insert");
  }

  void findOne(const bson_oid_t& id) {
    Bson query, options;
    BSON_APPEND_OID(&query.value, "_id", &id);
    BSON_APPEND_INT64(&options.value, "limit", 1);
    expect(find(query.value, options.value) == 1, "find");
  }

  void findAll() {
    const Bson query, options;
    expect(find(query.value, options.value) == NullServer::records, "find all");
  }

  /// The documents of `insertMany`, whose building is not measured.
  void prepare(std::size_t size) {
    while (documents_.size() < size) {
      bson_oid_t id;
      bson_oid_init(&id, nullptr);
      bson_t* document = bson_new();
      BSON_APPEND_OID(document, "_id", &id);
      record::append(document);
      documents_.push_back(document);
    }
  }
  void insertMany(const bson_t* options) {
    auto** documents = const_cast<const bson_t**>(documents_.data());
    expect(mongoc_collection_insert_many(collection_, documents, documents_.size(), options, nullptr, &error_),
           "insert many");
  }

 private:
  /// Keeps a copy of each result for as long as the read lasts.
  std::size_t find(const bson_t& query, const bson_t& options) {
    mongoc_cursor_t* cursor = mongoc_collection_find_with_opts(collection_, &query, &options, nullptr);
    std::list<Pointer> copies;
    const bson_t* document = nullptr;
    while (mongoc_cursor_next(cursor, &document)) copies.push_back(bson_copy(document));
    expect(!mongoc_cursor_error(cursor, &error_), "cursor");
    mongoc_cursor_destroy(cursor);
    for (Pointer copy : copies) bson_destroy(copy);
    return copies.size();
  }

  mongoc_client_t* client_;
  mongoc_collection_t* collection_;
  bson_error_t error_{};
  std::vector<Pointer> documents_{};
};

/// The same through the library.
class Ours {
 public:
  explicit Ours(const std::string& address) : runner_(server::makeAddress({"", address, 0, "", ""})) {
    expect(client_.connect("", address, 0, "", ""), "connect");
  }

  void ping() {
    Bson command;
    BSON_APPEND_INT32(&command.value, "ping", 1);
    runner_.command({"ping"}, "admin", &command.value, [](bson::View) {});
  }

  void insertOne() {
    const ObjectProperties document = build();
    std::string id;
    client_.insert(database, collection, &document, id);
  }

  void findOne(const std::string& id) {
    ObjectProperties query;
    query.setValueId("_id", id);
    expect(find(query, 1) == 1, "find");
  }

  void findAll() { expect(find(ObjectProperties(), 0) == NullServer::records, "find all"); }

  void prepare(std::size_t size) {
    while (documents_.size() < size) documents_.push_back(build());
    pointers_.clear();
    for (const ObjectProperties& document : documents_) pointers_.push_back(&document);
  }
  void insertMany() {
    std::vector<std::string> ids;
    expect(client_.insertMany(database, collection, pointers_, ids).empty(), "insert many");
  }

 private:
  std::size_t find(const ObjectProperties& query, int limit) {
    std::list<ObjectProperties*> found;
    client_.find(database, collection, query, ObjectProperties(), found, limit, 0);
    for (const ObjectProperties* document : found) delete document;
    return found.size();
  }

  server::OperationRunner runner_;
  DataBaseClient client_{};
  std::vector<ObjectProperties> documents_{};
  std::vector<const ObjectProperties*> pointers_{};
};

struct Time {
  double passed, processor;  // seconds
};

double seconds(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

Time now() {
  return {seconds(CLOCK_MONOTONIC), seconds(CLOCK_THREAD_CPUTIME_ID)};
}

class Turns {
 public:
  template <class Action>
  double take(Action action) {
    const Time start = now();
    action();
    const Time end = now();
    passed_.push_back(end.passed - start.passed);
    processor_.push_back(end.processor - start.processor);
    return passed_.back();
  }
  /// Of the medians.
  double passed() { return median(passed_); }
  double processor() { return median(processor_); }

 private:
  static double median(std::vector<double>& values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
  }
  std::vector<double> passed_{}, processor_{};
};

/// Runs both by turns of `calls` calls; what is told is of one of the `items` of a turn.
template <class First, class Second>
void byTurns(benchmark::State& state, int calls, double items, First ours, Second bare) {
  Turns oursTurns, bareTurns;
  for (auto _ : state) {
    state.SetIterationTime(oursTurns.take([&] {
      for (int i = 0; i < calls; ++i) ours();
    }));
    bareTurns.take([&] {
      for (int i = 0; i < calls; ++i) bare();
    });
  }
  const double micro = 1e6 / items;
  state.counters["ours_us"] = oursTurns.passed() * micro;
  state.counters["bare_us"] = bareTurns.passed() * micro;
  state.counters["ratio"] = oursTurns.passed() / bareTurns.passed();
  state.counters["ours_cpu_us"] = oursTurns.processor() * micro;
  state.counters["bare_cpu_us"] = bareTurns.processor() * micro;
  state.counters["cpu_ratio"] = oursTurns.processor() / bareTurns.processor();
}

struct Sides {
  NullServer server{stored()};
  Bare bare{server.address()};
  Ours ours{server.address()};
};

Sides& sides() {
  static Sides both;
  return both;
}

constexpr int fewCalls = 8;
constexpr std::size_t many = 1000;

void Ping(benchmark::State& state) {
  Sides& s = sides();
  byTurns(
      state, fewCalls, fewCalls, [&] { s.ours.ping(); }, [&] { s.bare.ping(); });
}

void InsertOne(benchmark::State& state) {
  Sides& s = sides();
  byTurns(
      state, fewCalls, fewCalls, [&] { s.ours.insertOne(); }, [&] { s.bare.insertOne(); });
}

void FindOne(benchmark::State& state) {
  Sides& s = sides();
  bson_oid_t id;
  bson_oid_init(&id, nullptr);
  std::array<char, 25> text{};
  bson_oid_to_string(&id, text.data());
  const std::string ours(text.data());
  byTurns(
      state, fewCalls, fewCalls, [&] { s.ours.findOne(ours); }, [&] { s.bare.findOne(id); });
}

void FindAll(benchmark::State& state) {
  Sides& s = sides();
  byTurns(
      state, 1, NullServer::records, [&] { s.ours.findAll(); }, [&] { s.bare.findAll(); });
}

void InsertMany(benchmark::State& state, bool validates) {
  Sides& s = sides();
  s.ours.prepare(many);
  s.bare.prepare(many);
  Bson options;
  if (!validates) BSON_APPEND_BOOL(&options.value, "validate", false);
  byTurns(
      state, 1, many, [&] { s.ours.insertMany(); }, [&] { s.bare.insertMany(&options.value); });
}

bool registerAll() {
  const auto add = [](const char* name, auto function, auto... arguments) {
    benchmark::RegisterBenchmark(name, function, arguments...)->UseManualTime()->Unit(benchmark::kMicrosecond);
  };
  add("ping", Ping);
  add("insert one", InsertOne);
  add("find one by id", FindOne);
  add("find all", FindAll);
  add("insert many", InsertMany, true);
  add("insert many, driver's check off", InsertMany, false);
  return true;
}

[[maybe_unused]] const bool registered = registerAll();

}  // namespace
}  // namespace database_client
