// SPDX-License-Identifier: Apache-2.0

// The index over the items of arrays: what it costs on insert and in bytes, and what it saves on queries. Documents lie
// in a table beside it, as in the embedded store.

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "client/bson/Writer.h"
#include "client/embedded/index/items/ItemIndex.h"
#include "client/embedded/index/plan/Planner.h"
#include "client/embedded/index/plan/answerFromIndex.h"
#include "client/embedded/index/segments/BlobStore.h"
#include "client/embedded/query/match/Matcher.h"
#include "client/embedded/sqlite/Connection.h"
#include "client/embedded/sqlite/Transaction.h"

namespace {

using namespace database_client;
using namespace database_client::embedded;
using bson::viewOf;
using Bytes = std::vector<bson::Byte>;

/// Records as a laboratory has them: 5 categories, 20 descriptions, 3 files, a block of the user's, about 2.3 KB.
class Records {
 public:
  Bytes next() {
    bson::Writer writer;
    std::uint64_t id[2] = {random_(), random_()};
    writer.appendObjectId("_id", reinterpret_cast<const bson::Byte*>(id));
    writer.beginDocument("recordInfo");
    categories(writer);
    descriptions(writer);
    files(writer);
    writer.end();
    writer.beginDocument("user");
    writer.appendString("comment", std::string(120, 'c'));
    writer.appendString("operator", "operator " + std::to_string(random_() % 50));
    writer.end();
    return writer.take();
  }

 private:
  void categories(bson::Writer& writer) {
    static const char* const names[] = {"Project", "Instrument", "Sample", "Colour", "Status"};
    static const unsigned values[] = {150, 40, 150, 25, 35};
    writer.beginArray("category");
    for (std::size_t i = 0; i < 5; ++i) {
      writer.beginDocument(bson::IndexKey(i));
      writer.appendString("name", names[i]);
      writer.appendString("value", std::string(names[i]) + " value " + std::to_string(random_() % values[i]));
      writer.end();
    }
    writer.end();
  }

  void descriptions(bson::Writer& writer) {
    writer.beginArray("description");
    for (std::size_t i = 0; i < 20; ++i) {
      writer.beginDocument(bson::IndexKey(i));
      writer.appendString("name", "description " + std::to_string(i));
      description(writer, i);
      writer.end();
    }
    writer.end();
  }

  void description(bson::Writer& writer, std::size_t i) {
    static const int types[] = {8, 8, 8, 8, 8, 8, 8, 8, 6, 6, 6, 6, 4, 4, 4, 5, 5, 9, 9, 7};
    switch (types[i]) {
      case 8:
        writer.appendDouble("value", static_cast<double>(random_() % 10'000'000) / 1000);
        break;
      case 6:
        writer.appendInt32("value", static_cast<std::int32_t>(random_() % 1000));
        break;
      case 4:
        writer.appendString("value", "a text of some length " + std::to_string(random_() % 1000));
        break;
      case 5:
        writer.appendBool("value", random_() % 2 == 0);
        break;
      case 9:
        writer.appendDate("value", 1'600'000'000'000 + static_cast<std::int64_t>(random_() % 100'000'000'000));
        break;
      default:
        writer.appendInt64("value", static_cast<std::int64_t>(random_() % 1'000'000'000'000));
    }
    writer.appendInt32("type", types[i]);
  }

  void files(bson::Writer& writer) {
    writer.beginDocument("additionalData");
    writer.beginArray("files");
    for (std::size_t i = 0; i < 3; ++i) {
      writer.beginDocument(bson::IndexKey(i));
      writer.appendString("fileId", std::to_string(random_() % 2'000'000'000));
      writer.appendInt32("type", 1);
      writer.appendString("host", "files.laboratory.example");
      writer.appendString("path", "/data/measurements/2024/run" + std::to_string(random_() % 100000) + ".dat");
      writer.end();
    }
    writer.end();
    writer.end();
  }

  std::mt19937_64 random_{42};
};

class SqliteBlobs : public BlobStore {
 public:
  explicit SqliteBlobs(sqlite::Connection& connection) : connection_(connection) {}
  std::string read(std::int64_t key) override {
    auto found = connection_.statement("SELECT bytes FROM blobs WHERE key = ?1");
    if (!found.bind(1, key).step()) return {};
    const sqlite::Blob bytes = found.blob(0);
    return {reinterpret_cast<const char*>(bytes.data), bytes.size};
  }
  void write(std::int64_t key, std::string_view bytes) override {
    connection_.statement("INSERT OR REPLACE INTO blobs(key, bytes) VALUES(?1, ?2)")
        .bind(1, key)
        .bindBlob(2, bytes.data(), bytes.size())
        .run();
  }
  void erase(std::int64_t first, std::int64_t last) override {
    connection_.statement("DELETE FROM blobs WHERE key BETWEEN ?1 AND ?2").bind(1, first).bind(2, last).run();
  }
  std::optional<std::int64_t> firstKey(std::int64_t first, std::int64_t last) override {
    auto found = connection_.statement("SELECT key FROM blobs WHERE key BETWEEN ?1 AND ?2 ORDER BY key LIMIT 1");
    if (!found.bind(1, first).bind(2, last).step()) return std::nullopt;
    return found.integer(0);
  }
  std::uint64_t version() override { return 0; }

 private:
  sqlite::Connection& connection_;
};

/// A file with documents and, if wanted, their index.
class Store {
 public:
  explicit Store(bool indexed) : connection_(open()), blobs_(connection_) {
    connection_.execute("PRAGMA page_size=8192");
    connection_.execute("PRAGMA journal_mode=WAL");
    connection_.execute("PRAGMA synchronous=NORMAL");
    connection_.execute("PRAGMA cache_size=-65536");
    connection_.execute("CREATE TABLE documents(rid INTEGER PRIMARY KEY, id BLOB NOT NULL UNIQUE, body BLOB NOT NULL)");
    connection_.execute("CREATE TABLE blobs(key INTEGER PRIMARY KEY, bytes BLOB NOT NULL)");
    if (!indexed) return;
    index_ = std::make_unique<ItemIndex>(
        blobs_, 1, ItemIndex::Options(),
        [this](RecordNumber after, const std::function<void(RecordNumber, bson::View)>& receive) {
          auto rows = connection_.statement("SELECT rid, body FROM documents WHERE rid > ?1 ORDER BY rid");
          rows.bind(1, rowId(after));
          while (rows.step()) {
            const sqlite::Blob body = rows.blob(1);
            receive(recordNumber(rows.integer(0)), {static_cast<const bson::Byte*>(body.data), body.size});
          }
        });
  }
  ~Store() { std::filesystem::remove_all(directory_); }
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

  void insert(const std::vector<Bytes>& batch) {
    sqlite::Transaction transaction(connection_, sqlite::Transaction::Kind::write);
    for (const Bytes& body : batch) {
      connection_.statement("INSERT INTO documents(id, body) VALUES(?1, ?2)")
          .bindBlob(1, viewOf(body).find("_id").data, bson::objectIdSize)
          .bindBlob(2, body.data(), body.size())
          .run();
      if (index_) index_->add(recordNumber(connection_.lastRowId()), viewOf(body));
    }
    if (index_) index_->flush();
    transaction.commit();
    documents_ += batch.size();
  }

  bson::View read(RecordNumber record) {
    auto found = connection_.statement("SELECT body FROM documents WHERE rid = ?1");
    if (!found.bind(1, rowId(record)).step()) return {};
    const sqlite::Blob body = found.blob(0);
    const auto* bytes = static_cast<const bson::Byte*>(body.data);
    body_.assign(bytes, bytes + body.size);
    return viewOf(body_);
  }

  /// Passes over all documents.
  std::uint64_t scan(bson::View query) {
    const Matcher matcher(query);
    std::uint64_t matches = 0;
    auto rows = connection_.statement("SELECT body FROM documents ORDER BY rid");
    while (rows.step()) {
      const sqlite::Blob body = rows.blob(0);
      if (matcher.matches({static_cast<const bson::Byte*>(body.data), body.size})) ++matches;
    }
    return matches;
  }

  ItemIndex& index() { return *index_; }
  std::uint64_t documents() const { return documents_; }

 private:
  sqlite::Connection open() {
    std::string name = std::filesystem::temp_directory_path() / "index-XXXXXX";
    directory_ = mkdtemp(name.data());
    const std::string file = std::filesystem::canonical(directory_) / "store";
    std::ofstream(file).close();
    return sqlite::Connection::openFile(file, 1000);
  }

  std::string directory_;
  sqlite::Connection connection_;
  SqliteBlobs blobs_;
  std::unique_ptr<ItemIndex> index_;
  std::uint64_t documents_ = 0;
  Bytes body_;
};

std::vector<Bytes> batchOf(Records& records, std::int64_t size) {
  std::vector<Bytes> batch;
  for (std::int64_t i = 0; i < size; ++i) batch.push_back(records.next());
  return batch;
}

/// Arguments: with index, records in a transaction.
void Insert(benchmark::State& state) {
  Store store(state.range(0) != 0);
  Records records;
  for (auto _ : state) {
    state.PauseTiming();
    const std::vector<Bytes> batch = batchOf(records, state.range(1));
    state.ResumeTiming();
    store.insert(batch);
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(store.documents()));
  if (state.range(0) == 0) return;
  const ItemIndex::Size size = store.index().flushAndSnapshot().size();
  state.counters["bytesPerRecord"] = static_cast<double>(size.bytes) / static_cast<double>(store.documents());
  state.counters["segments"] = static_cast<double>(size.segments);
}
BENCHMARK(Insert)->Args({0, 1000})->Args({1, 1000})->Iterations(100)->Unit(benchmark::kMillisecond);
BENCHMARK(Insert)->Args({0, 1})->Args({1, 1})->Iterations(20000)->Unit(benchmark::kMicrosecond);

/// The store with so many records, made once.
Store& filled(std::int64_t size) {
  static std::map<std::int64_t, std::unique_ptr<Store>> stores;
  std::unique_ptr<Store>& store = stores[size];
  if (!store) {
    store = std::make_unique<Store>(true);
    Records records;
    for (std::int64_t i = 0; i < size; i += 1000) store->insert(batchOf(records, 1000));
  }
  return *store;
}

Bytes itemQuery(const char* path, const char* name, const std::function<void(bson::Writer&)>& value) {
  bson::Writer writer;
  writer.beginDocument(path);
  writer.beginDocument("$elemMatch");
  writer.appendString("name", name);
  value(writer);
  writer.end();
  writer.end();
  return writer.take();
}

Bytes equality() {
  return itemQuery("recordInfo.category", "Sample",
                   [](bson::Writer& writer) { writer.appendString("value", "Sample value 17"); });
}

Bytes range() {
  return itemQuery("recordInfo.description", "description 3", [](bson::Writer& writer) {
    writer.beginDocument("value");
    writer.appendDouble("$gte", 5000);
    writer.appendDouble("$lt", 5050);
    writer.end();
  });
}

std::uint64_t countPlanned(Store& store, const Bytes& query) {
  const Plan found = plan(store.index(), parseQuery(viewOf(query)), {store.documents(), 0, false});
  if (!found.usesIndex || !found.exact()) return 0;
  return found.sure.count();
}

void countBy(benchmark::State& state, const Bytes& query) {
  Store& store = filled(state.range(0));
  std::uint64_t matches = 0;
  for (auto _ : state) matches = countPlanned(store, query);
  if (matches == 0) state.SkipWithError("the index was not used");
  state.counters["matches"] = static_cast<double>(matches);
}

void Equality(benchmark::State& state) {
  countBy(state, equality());
}
void Range(benchmark::State& state) {
  countBy(state, range());
}

void fetch(benchmark::State& state, const Bytes& query, std::uint64_t limit) {
  Store& store = filled(state.range(0));
  std::uint64_t bytes = 0;
  for (auto _ : state) {
    const Plan found = plan(store.index(), parseQuery(viewOf(query)), {store.documents(), limit, true});
    std::uint64_t fetched = 0;
    for (auto next = found.next(0); next && (limit == 0 || fetched < limit); next = found.next(next->rid), ++fetched) {
      bytes += store.read(next->rid).size;
    }
    if (!found.usesIndex) state.SkipWithError("the index was not used");
  }
  benchmark::DoNotOptimize(bytes);
}

void RangeWithDocuments(benchmark::State& state) {
  fetch(state, range(), 0);
}
void EqualityFirstPage(benchmark::State& state) {
  fetch(state, equality(), 20);
}

void EqualityByScan(benchmark::State& state) {
  Store& store = filled(state.range(0));
  const Bytes query = equality();
  for (auto _ : state) benchmark::DoNotOptimize(store.scan(viewOf(query)));
}

Bytes statistics(const char* path, bool values, const char* pattern) {
  const std::string at = std::string("$") + path;
  const char* const field = values ? "value" : "type";
  bson::Writer writer;
  const auto stage = [&writer](const char* key, const char* name, const std::function<void()>& content) {
    writer.beginDocument(key);
    writer.beginDocument(name);
    content();
    writer.end();
    writer.end();
  };
  stage("0", "$project", [&] {
    writer.appendBool(path, true);
    writer.appendBool("_id", false);
  });
  writer.beginDocument("1");
  writer.appendString("$unwind", at);
  writer.end();
  stage("2", "$project", [&] {
    writer.appendString("name", at + ".name");
    writer.appendString(field, at + "." + field);
    writer.appendBool("_id", false);
  });
  if (values) {
    stage("3", "$match", [&] {
      writer.beginDocument("name");
      writer.appendString("$regex", pattern);
      writer.appendString("$options", "i");
      writer.end();
    });
  }
  stage(values ? "4" : "3", "$group", [&] {
    if (values) {
      writer.appendString("_id", "$value");
    } else {
      writer.beginDocument("_id");
      writer.appendString("name", "$name");
      writer.appendString("type", "$type");
      writer.end();
    }
    writer.beginDocument("count");
    writer.appendInt32("$sum", 1);
    writer.end();
  });
  return writer.take();
}

void aggregate(benchmark::State& state, const Bytes& stages) {
  Store& store = filled(state.range(0));
  int groups = 0;
  const Pipeline pipeline(viewOf(stages));
  const DocumentSource documents{store.documents(), [&store](RecordNumber record) { return store.read(record); },
                                 [&store] { return store.documents(); }};
  for (auto _ : state) {
    groups = 0;
    const IndexAnswer answer = answerFromIndex(store.index(), pipeline, documents);
    if (answer.stages != 0) answer.documents([&groups](bson::View) { return ++groups > 0; });
    if (answer.stages == 0) state.SkipWithError("the index was not used");
  }
  state.counters["groups"] = groups;
}

void CategoryStatistics(benchmark::State& state) {
  aggregate(state, statistics("recordInfo.category", true, "^sample$"));
}
void DescriptionNames(benchmark::State& state) {
  aggregate(state, statistics("recordInfo.description", false, ""));
}

void Compact(benchmark::State& state) {
  Store& store = filled(state.range(0));
  for (auto _ : state) store.index().compact();
}

void sizes(benchmark::internal::Benchmark* benchmark) {
  for (const int size : {10'000, 100'000, 1'000'000}) {
    if (size < 1'000'000 || getenv("BENCHMARK_MILLION") != nullptr) benchmark->Arg(size);
  }
  benchmark->Unit(benchmark::kMicrosecond);
}

BENCHMARK(Equality)->Apply(sizes);
BENCHMARK(Range)->Apply(sizes);
BENCHMARK(RangeWithDocuments)->Apply(sizes);
BENCHMARK(EqualityFirstPage)->Apply(sizes);
BENCHMARK(EqualityByScan)->Apply(sizes);
BENCHMARK(CategoryStatistics)->Apply(sizes);
BENCHMARK(DescriptionNames)->Apply(sizes);
BENCHMARK(Compact)->Apply(sizes)->Iterations(1);
BENCHMARK(Equality)->Name("EqualityCompacted")->Apply(sizes);
BENCHMARK(Range)->Name("RangeCompacted")->Apply(sizes);
BENCHMARK(CategoryStatistics)->Name("CategoryStatisticsCompacted")->Apply(sizes);

}  // namespace
