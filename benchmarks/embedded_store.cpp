// SPDX-License-Identifier: Apache-2.0

// The embedded store beside the same work in bare SQLite: a table (rid, id UNIQUE, body), 8 KB pages, a write-ahead
// log, held alone, without any index over items. BENCHMARK_FOLDER tells where the files go ("/tmp").

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "client/DocumentAccess.h"
#include "client/Engine.h"
#include "client/ObjectId.h"
#include "client/bson/Writer.h"

namespace database_client {
namespace {

/// A record of 5 categories and 20 descriptions, about 2.3 KB.
ObjectProperties recordWithId(int number, const ObjectId& id) {
  bson::Writer writer;
  writer.appendObjectId("_id", id.bytes.data());
  writer.beginDocument("recordInfo");
  writer.beginArray("category");
  for (int i = 0; i < 5; ++i) {
    writer.beginDocument(bson::IndexKey(static_cast<std::size_t>(i)));
    writer.appendString("name", "category" + std::to_string(i));
    writer.appendString("value", "value" + std::to_string((number * 7 + i * 13) % 80));
    writer.end();
  }
  writer.end();
  writer.beginArray("description");
  for (int i = 0; i < 20; ++i) {
    writer.beginDocument(bson::IndexKey(static_cast<std::size_t>(i)));
    writer.appendString("name", "description" + std::to_string(i));
    writer.appendInt32("type", i % 2 == 0 ? 8 : 4);
    if (i % 2 == 0) {
      writer.appendDouble("value", number * 0.37 + i);
    } else {
      writer.appendString("value", "text of a description " + std::to_string(number % 1000 + i));
    }
    writer.end();
  }
  writer.end();
  writer.appendString("comment", std::string(700, 'c'));
  return DocumentAccess::adopt(writer.take());
}

ObjectProperties record(int number, ObjectId& id) {
  id = ObjectId::make();
  return recordWithId(number, id);
}

std::string freshPath() {
  const char* folder = std::getenv("BENCHMARK_FOLDER");
  const std::string path = std::string(folder == nullptr ? "/tmp" : folder) + "/embedded_store_benchmark";
  for (const char* side : {"", "-wal", "-shm", "-journal"}) std::remove((path + side).c_str());
  return path;
}

const std::string database = "experiment";
const std::string collection = "records";

class Ours {
 public:
  explicit Ours(const std::string& options)
      : engine_(embedded::open(freshPath() + options, ConnectRequest{"", "", 0, "", ""})) {}
  void insert(const ObjectProperties& document, const ObjectId& /*id*/) {
    engine_->insert({database, collection}, document);
  }
  void insertMany(const std::vector<ObjectProperties>& documents, const std::vector<ObjectId>& /*ids*/) {
    engine_->insertMany({database, collection}, documents);
  }
  void replace(const ObjectProperties& document, const ObjectId& id) {
    engine_->update({database, collection}, queryOf(id), document, UpdateKind::replaceFirst, false);
  }
  std::size_t find(const ObjectId& id) {
    const ObjectProperties query = queryOf(id);
    std::size_t size = 0;
    engine_->find({database, collection}, {query, projection_, 1, 0}, [&size](ObjectProperties&& document) {
      size += DocumentAccess::view(document).size;
      return true;
    });
    return size;
  }

 private:
  static ObjectProperties queryOf(const ObjectId& id) {
    bson::Writer writer;
    writer.appendObjectId("_id", id.bytes.data());
    return DocumentAccess::adopt(writer.take());
  }

  std::unique_ptr<Engine> engine_;
  ObjectProperties projection_{};
};

class Bare {
 public:
  explicit Bare(const std::string& options) {
    if (sqlite3_open(freshPath().c_str(), &file_) != SQLITE_OK) throw std::runtime_error("no file");
    run("PRAGMA page_size=8192; PRAGMA locking_mode=EXCLUSIVE; PRAGMA journal_mode=WAL; PRAGMA cache_size=-32768");
    run(options.find("normal") == std::string::npos ? "PRAGMA synchronous=FULL" : "PRAGMA synchronous=NORMAL");
    run("CREATE TABLE t(rid INTEGER PRIMARY KEY, id BLOB NOT NULL UNIQUE, body BLOB NOT NULL)");
    sqlite3_prepare_v2(file_, "INSERT INTO t(id, body) VALUES(?1, ?2)", -1, &insert_, nullptr);
    sqlite3_prepare_v2(file_, "UPDATE t SET body = ?2 WHERE id = ?1", -1, &replace_, nullptr);
    sqlite3_prepare_v2(file_, "SELECT body FROM t WHERE id = ?1", -1, &find_, nullptr);
  }
  Bare(const Bare&) = delete;
  Bare& operator=(const Bare&) = delete;
  ~Bare() {
    sqlite3_finalize(insert_);
    sqlite3_finalize(replace_);
    sqlite3_finalize(find_);
    sqlite3_close(file_);
  }
  void insert(const ObjectProperties& document, const ObjectId& id) { write(insert_, document, id); }
  void replace(const ObjectProperties& document, const ObjectId& id) { write(replace_, document, id); }
  void insertMany(const std::vector<ObjectProperties>& documents, const std::vector<ObjectId>& ids) {
    run("BEGIN");
    for (std::size_t i = 0; i < documents.size(); ++i) insert(documents[i], ids[i]);
    run("COMMIT");
  }
  std::size_t find(const ObjectId& id) {
    sqlite3_bind_blob(find_, 1, id.bytes.data(), static_cast<int>(id.bytes.size()), SQLITE_STATIC);
    if (sqlite3_step(find_) != SQLITE_ROW) throw std::runtime_error("not found");
    const auto* bytes = static_cast<const bson::Byte*>(sqlite3_column_blob(find_, 0));
    std::vector<bson::Byte> copy(bytes, bytes + sqlite3_column_bytes(find_, 0));
    benchmark::DoNotOptimize(copy.data());
    sqlite3_reset(find_);
    return copy.size();
  }

 private:
  void run(const char* sql) {
    if (sqlite3_exec(file_, sql, nullptr, nullptr, nullptr) != SQLITE_OK) throw std::runtime_error(sql);
  }
  static void write(sqlite3_stmt* statement, const ObjectProperties& document, const ObjectId& id) {
    const bson::View view = DocumentAccess::view(document);
    sqlite3_bind_blob(statement, 1, id.bytes.data(), static_cast<int>(id.bytes.size()), SQLITE_STATIC);
    sqlite3_bind_blob(statement, 2, view.data, static_cast<int>(view.size), SQLITE_STATIC);
    if (sqlite3_step(statement) != SQLITE_DONE) throw std::runtime_error("not written");
    sqlite3_reset(statement);
  }

  sqlite3* file_ = nullptr;
  sqlite3_stmt* insert_ = nullptr;
  sqlite3_stmt* replace_ = nullptr;
  sqlite3_stmt* find_ = nullptr;
};

template <class Store>
void insertOne(benchmark::State& state, const char* options) {
  Store store(options);
  std::vector<ObjectProperties> documents(1000);
  std::vector<ObjectId> ids(1000);
  std::size_t at = 1000;
  int number = 0;
  for (auto _ : state) {
    if (at == documents.size()) {
      state.PauseTiming();
      for (at = 0; at < documents.size(); ++at) documents[at] = record(number++, ids[at]);
      at = 0;
      state.ResumeTiming();
    }
    store.insert(documents[at], ids[at]);
    ++at;
  }
}

template <class Store>
void insertThousand(benchmark::State& state, const char* options) {
  Store store(options);
  std::vector<ObjectProperties> documents(1000);
  std::vector<ObjectId> ids(1000);
  int number = 0;
  for (auto _ : state) {
    state.PauseTiming();
    for (std::size_t i = 0; i < documents.size(); ++i) documents[i] = record(number++, ids[i]);
    state.ResumeTiming();
    store.insertMany(documents, ids);
  }
  state.SetItemsProcessed(state.iterations() * 1000);
}

/// Fills the store with thousands of documents; their ids.
template <class Store>
std::vector<ObjectId> fill(Store& store, int batches) {
  std::vector<ObjectId> all;
  for (int batch = 0; batch < batches; ++batch) {
    std::vector<ObjectProperties> documents(1000);
    std::vector<ObjectId> ids(1000);
    for (std::size_t i = 0; i < documents.size(); ++i)
      documents[i] = record(batch * 1000 + static_cast<int>(i), ids[i]);
    store.insertMany(documents, ids);
    all.insert(all.end(), ids.begin(), ids.end());
  }
  return all;
}

/// Puts documents in the place of others anywhere in the store; nearly every value is another one then.
template <class Store>
void replaceOne(benchmark::State& state, const char* options, int batches) {
  Store store(options);
  const std::vector<ObjectId> all = fill(store, batches);
  std::vector<ObjectProperties> documents(1000);
  std::size_t made = documents.size();
  std::size_t at = 0;
  int number = 0;
  for (auto _ : state) {
    if (made == documents.size()) {
      state.PauseTiming();
      std::size_t ahead = at;
      for (ObjectProperties& document : documents) {
        ahead = (ahead + 7919) % all.size();
        document = recordWithId(++number * 31, all[ahead]);
      }
      made = 0;
      state.ResumeTiming();
    }
    at = (at + 7919) % all.size();
    store.replace(documents[made++], all[at]);
  }
}

template <class Store>
void findById(benchmark::State& state, const char* options, int batches) {
  Store store(options);
  const std::vector<ObjectId> all = fill(store, batches);
  std::size_t at = 0;
  for (auto _ : state) {
    at = (at + 7919) % all.size();
    benchmark::DoNotOptimize(store.find(all[at]));
  }
}

bool registerAll() {
  using benchmark::RegisterBenchmark;
  const auto alone = "?exclusive=true&synchronous=normal";
  const auto aloneFull = "?exclusive=true";
  const auto micro = benchmark::kMicrosecond;
  RegisterBenchmark("insert/normal/bare", insertOne<Bare>, alone)->Iterations(20000)->Unit(micro);
  RegisterBenchmark("insert/normal/ours", insertOne<Ours>, alone)->Iterations(20000)->Unit(micro);
  RegisterBenchmark("insert/normal/ours, shared", insertOne<Ours>, "?synchronous=normal")
      ->Iterations(20000)
      ->Unit(micro);
  RegisterBenchmark("insert/full/bare", insertOne<Bare>, aloneFull)->Iterations(2000)->UseRealTime()->Unit(micro);
  RegisterBenchmark("insert/full/ours", insertOne<Ours>, aloneFull)->Iterations(2000)->UseRealTime()->Unit(micro);
  RegisterBenchmark("insert/full/ours, shared", insertOne<Ours>, "")->Iterations(2000)->UseRealTime()->Unit(micro);
  RegisterBenchmark("insert 1000/bare", insertThousand<Bare>, alone)->Iterations(100)->Unit(benchmark::kMillisecond);
  RegisterBenchmark("insert 1000/ours", insertThousand<Ours>, alone)->Iterations(100)->Unit(benchmark::kMillisecond);
  RegisterBenchmark("replace/normal/bare", replaceOne<Bare>, alone, 20)->Iterations(20000)->Unit(micro);
  RegisterBenchmark("replace/normal/ours", replaceOne<Ours>, alone, 20)->Iterations(20000)->Unit(micro);
  RegisterBenchmark("find by id/bare", findById<Bare>, alone, 10)->Unit(micro);
  RegisterBenchmark("find by id/ours", findById<Ours>, alone, 10)->Unit(micro);
  RegisterBenchmark("find by id/ours, shared", findById<Ours>, "?synchronous=normal", 10)->Unit(micro);
  return true;
}

[[maybe_unused]] const bool registered = registerAll();

}  // namespace
}  // namespace database_client
