// SPDX-License-Identifier: Apache-2.0

// How each operation grows with the number of records: the embedded store through the public interface, on records of
// 5 categories, 20 descriptions, 3 files and a user block, about 2.3 KB. It prints one table of processor time, and of
// time passed where that is said; of repeated runs (--benchmark_repetitions) the least:
//
//     BENCHMARK_MILLION=1 build/benchmark/benchmarks/growth_benchmark
//
// BENCHMARK_FOLDER tells where the stores go ("/tmp"): 0.6 GB for 100,000 records, 6 GB with BENCHMARK_MILLION. With
// BENCHMARK_PYTHON, a Python interpreter that has the package duckdb, the questions are asked of DuckDB, too.

#include <benchmark/benchmark.h>
#include <database_provider/database_provider.h>
#include <database_provider/records.h>
#include <sqlite3.h>
#include <stdio.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <list>
#include <map>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace database_provider;
using database_client::Array;
using database_client::Group;

constexpr int batchSize = 1000;

/// Seconds of this process on a processor, which others on the machine do not lengthen.
double processorTime() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

/// What an item's fields are called. With other names there is nothing to index in the same bytes.
struct ItemKeys {
  std::string name = "name";
  std::string value = "value";
};

class RecordMaker {
 public:
  explicit RecordMaker(ItemKeys keys) : keys_(std::move(keys)) {}

  std::unique_ptr<ObjectProperties> next() {
    auto record = std::make_unique<ObjectProperties>();
    {
      const Group info(*record, "recordInfo");
      categories(*record);
      descriptions(*record);
      files(*record);
    }
    const Group user(*record, "user");
    record->setValueString("comment", std::string(120, 'c'));
    record->setValueString("operator", "operator " + text(50));
    return record;
  }

 private:
  std::uint64_t below(std::uint64_t limit) { return random_() % limit; }
  std::string text(std::uint64_t limit) { return std::to_string(below(limit)); }

  void categories(ObjectProperties& record) {
    static const std::array<std::pair<std::string, std::uint64_t>, 5> all = {
        {{"Project", 150}, {"Instrument", 40}, {"Sample", 150}, {"Colour", 25}, {"Status", 35}}};
    const Array items(record, "category");
    for (std::size_t i = 0; i < all.size(); ++i) {
      const Group item(record, std::to_string(i));
      record.setValueString(keys_.name, all[i].first);
      record.setValueString(keys_.value, all[i].first + " value " + text(all[i].second));
    }
  }

  void descriptions(ObjectProperties& record) {
    const Array items(record, "description");
    for (int i = 0; i < 20; ++i) {
      const Group item(record, std::to_string(i));
      record.setValueString(keys_.name, "description " + std::to_string(i));
      const PropertyType type = description(record, i);
      record.setValueInt32("type", static_cast<int>(type));
    }
  }

  PropertyType description(ObjectProperties& record, int i) {
    if (i < 8) {
      record.setValueDouble(keys_.value, static_cast<double>(below(10'000'000)) / 1000);
      return PropertyType::real;
    }
    if (i < 12) {
      record.setValueInt32(keys_.value, static_cast<int>(below(1000)));
      return PropertyType::int32;
    }
    if (i < 15) {
      record.setValueString(keys_.value, "a text of some length " + text(1000));
      return PropertyType::string;
    }
    if (i < 17) {
      record.setValueBool(keys_.value, below(2) == 0);
      return PropertyType::boolean;
    }
    if (i < 19) {
      record.setValueTime(keys_.value, 1'600'000'000'000 + static_cast<long long>(below(100'000'000'000)));
      return PropertyType::time;
    }
    record.setValueInt64(keys_.value, static_cast<std::int64_t>(below(1'000'000'000'000)));
    return PropertyType::int64;
  }

  void files(ObjectProperties& record) {
    const Group additional(record, "additionalData");
    const Array items(record, "files");
    for (int i = 0; i < 3; ++i) {
      const Group item(record, std::to_string(i));
      record.setValueString("fileId", text(2'000'000'000));
      record.setValueInt32("type", static_cast<int>(ObjectType::xmlObject));
      record.setValueString("host", "files.laboratory.example");
      record.setValueString("path", "/data/measurements/2024/run" + text(100'000) + ".dat");
    }
  }

  ItemKeys keys_;
  std::mt19937_64 random_{42};
};

std::string freshPath(const std::string& name) {
  const char* folder = std::getenv("BENCHMARK_FOLDER");
  const std::string path = std::string(folder == nullptr ? "/tmp" : folder) + "/growth_benchmark_" + name;
  for (const char* side : {"", "-wal", "-shm", "-journal"}) std::filesystem::remove(path + side);
  return path;
}

/// A store of so many records, filled in batches and then opened anew.
class Store {
 public:
  Store(std::int64_t size, const ItemKeys& keys)
      : records_(keys), path_(freshPath(keys.name + "_" + std::to_string(size))) {
    open("?synchronous=normal");
    for (std::int64_t filled = 0; filled < size; filled += batchSize) filling_ += insertBatch();
    client_.disconnect();
    bytes_ = std::filesystem::file_size(path_);
    open("?synchronous=normal");
  }
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;
  ~Store() {
    client_.disconnect();
    std::filesystem::remove(path_);
  }

  void open(const std::string& options) {
    if (!client_.connect("", "file:" + path_ + options, 0, "", "")) throw std::runtime_error(client_.failure());
  }
  /// The seconds that it took to insert.
  double insertBatch() {
    std::vector<std::unique_ptr<ObjectProperties>> batch;
    std::vector<const ObjectProperties*> documents;
    while (batch.size() < batchSize) documents.push_back(batch.emplace_back(records_.next()).get());
    std::vector<std::string> ids;
    const double begun = processorTime();
    client_.insertMany(database, collection, documents, ids);
    const double taken = processorTime() - begun;
    ids_.push_back(ids.front());
    ids_.push_back(ids[batchSize / 2]);
    return taken;
  }
  std::unique_ptr<ObjectProperties> make() { return records_.next(); }
  DataBaseClient& client() { return client_; }
  Records records() { return {client_, RecordKind::experiment}; }
  double filling() const { return filling_; }
  std::uintmax_t bytes() const { return bytes_; }
  const std::string& someId() { return ids_[at_ = (at_ + 7919) % ids_.size()]; }

  static constexpr const char* database = "experiment";
  static constexpr const char* collection = "records";

 private:
  RecordMaker records_;
  std::string path_;
  DataBaseClient client_;
  std::vector<std::string> ids_;
  std::size_t at_ = 0;
  double filling_ = 0;
  std::uintmax_t bytes_ = 0;
};

Store& storeOf(std::int64_t size, const ItemKeys& keys = {}) {
  static std::map<std::pair<std::int64_t, std::string>, std::unique_ptr<Store>> stores;
  auto& store = stores[{size, keys.name}];
  if (!store) store = std::make_unique<Store>(size, keys);
  return *store;
}

const ItemKeys notIndexed{"nome", "velue"};

// Queries.

void addEquality(DatabaseFilter& filter) {
  filter.setCategory(OperationType::equal, "Sample", "Sample value 17", "");
}
void addRange(DatabaseFilter& filter, double from, double to) {
  filter.setDescriptionAsDouble(OperationType::greaterOrEqual, "description 3", from);
  filter.setDescriptionAsDouble(OperationType::less, "description 3", to);
}

DatabaseFilter filterOf(const std::function<void(DatabaseFilter&)>& add) {
  DatabaseFilter filter;
  filter.filter_init();
  add(filter);
  filter.filter_finish();
  return filter;
}

long long countMatches(Store& store, const DatabaseFilter& filter) {
  return store.client().count(Store::database, Store::collection, filter.toObjectProeprties());
}

class Provider {
 public:
  explicit Provider(Store& store) { provider_->setDatabaseClient(&store.client()); }
  ExperimentDatabaseInterface* operator->() const { return provider_.get(); }

 private:
  std::unique_ptr<ExperimentDatabaseInterface> provider_{createExperimentDatabase()};
};

long long readIds(Store& store, const DatabaseFilter& filter, int limit, int skip) {
  std::list<std::string> ids;
  Provider(store)->read(filter, ids, limit, skip);
  return static_cast<long long>(ids.size());
}

long long readRecords(Store& store, const DatabaseFilter& filter, int limit, int skip) {
  long long records = 0;
  store.client().findEach(Store::database, Store::collection, filter.toObjectProeprties(), {}, limit, skip,
                          [&records](ObjectProperties&) { return ++records > 0; });
  return records;
}

/// The ids alone, without a list and texts made of them as a provider does.
long long passOverIds(Store& store, const DatabaseFilter& filter) {
  database_client::FindOptions options;
  options.projection.setValueBool("_id", true);
  long long ids = 0;
  store.client().findEach(Store::database, Store::collection, filter.toObjectProeprties(), options,
                          [&ids](ObjectProperties&) { return ++ids > 0; });
  return ids;
}

/// A page of 20 anywhere in the store.
long long readPageBehindARecord(Store& store, bool isByIds) {
  database_client::FindOptions options;
  options.after = store.someId();
  options.limit = 20;
  if (isByIds) options.sort.setValueInt32("_id", 1);
  long long records = 0;
  store.client().findEach(Store::database, Store::collection, {}, options,
                          [&records](ObjectProperties&) { return ++records > 0; });
  return records;
}

long long categoryStatistics(Store& store) {
  std::map<std::string, int> values;
  Provider(store)->categoriesStatistics("Sample", values);
  return static_cast<long long>(values.size());
}

long long descriptionNames(Store& store) {
  std::list<DatabaseProviderInterface::Description> names;
  Provider(store)->enumDescriptionsNames(names);
  return static_cast<long long>(names.size());
}

long long findById(Store& store) {
  const std::unique_ptr<ExperimentDatabaseRecordInterface> record(createExperimentDatabaseRecord());
  Provider(store)->readRecord(record.get(), store.someId());
  return record->descriptionAsDouble("description 3", -1) < 0 ? 0 : 1;
}

/// What of the records the questions ask for, as columns of one SQLite table with an index for each question that has
/// all the question needs, the least that SQL can take, and as a file of comma-separated values for other peers.
class Columns {
 public:
  explicit Columns(Store& store, std::int64_t size)
      : path_(freshPath("columns_" + std::to_string(size))), csvPath_(path_ + ".csv") {
    if (sqlite3_open(path_.c_str(), &connection_) != SQLITE_OK) throw std::runtime_error("no database for SQL");
    run("PRAGMA synchronous=OFF");
    run("PRAGMA cache_size=-65536");
    run("CREATE TABLE records(rid INTEGER PRIMARY KEY, sample TEXT, project TEXT, d3 REAL, d5 REAL, body BLOB)");
    run("BEGIN");
    std::ofstream csv(csvPath_);
    csv << "rid,sample,project,d3,d5\n";
    std::int64_t rid = 0;
    FindOptions options;
    options.limit = static_cast<int>(size);
    store.records().forEach({}, options, [&](Record&& record) {
      const std::string body(2300, 'b');  // about what a record has
      const std::string sample = record.category("Sample").value();
      const std::string project = record.category("Project").value();
      const std::string row = std::to_string(record.descriptionAs<double>("description 3").value()) + "," +
                              std::to_string(record.descriptionAs<double>("description 5").value());
      csv << ++rid << "," << sample << "," << project << "," << row << "\n";
      run("INSERT INTO records VALUES(" + std::to_string(rid) + ",'" + sample + "','" + project + "'," + row + ",'" +
          body + "')");
      return true;
    });
    for (const char* columns : {"d3", "d5", "sample, d3", "sample, project", "d3, sample"}) {
      run("CREATE INDEX records_" + std::to_string(++indexes_) + " ON records(" + columns + ")");
    }
    run("COMMIT");
  }
  Columns(const Columns&) = delete;
  Columns& operator=(const Columns&) = delete;
  ~Columns() {
    sqlite3_close(connection_);
    std::filesystem::remove(path_);
    std::filesystem::remove(csvPath_);
  }

  /// The number of rows.
  long long run(const std::string& statement) {
    long long rows = 0;
    const auto count = [](void* number, int, char**, char**) {
      ++*static_cast<long long*>(number);
      return 0;
    };
    if (sqlite3_exec(connection_, statement.c_str(), count, &rows, nullptr) != SQLITE_OK) {
      throw std::runtime_error(statement + ": " + sqlite3_errmsg(connection_));
    }
    return rows;
  }
  const std::string& csvPath() const { return csvPath_; }

 private:
  std::string path_;
  std::string csvPath_;
  sqlite3* connection_ = nullptr;
  int indexes_ = 0;
};

struct PeerAnswer {
  double seconds = 0;
  double rows = 0;
};

/// In a process of its own, whose processor time it tells.
PeerAnswer askDuckDb(const std::string& python, const std::string& csvPath, const std::string& statement) {
  const std::string command = python + " " DUCKDB_PEER " '" + csvPath + "' \"" + statement + "\"";
  const std::unique_ptr<FILE, int (*)(FILE*)> output(popen(command.c_str(), "r"), pclose);
  PeerAnswer answer;
  if (!output || std::fscanf(output.get(), "%lf %lf", &answer.seconds, &answer.rows) != 2) {
    throw std::runtime_error("DuckDB: no answer to " + statement);
  }
  return answer;
}

Columns& columnsOf(std::int64_t size) {
  static std::map<std::int64_t, std::unique_ptr<Columns>> all;
  auto& columns = all[size];
  if (!columns) columns = std::make_unique<Columns>(storeOf(size), size);
  return *columns;
}

// Benchmarks. "per" is the records that one iteration deals with, "found" what it returns.

void add(benchmark::State& state, Store& store) {
  for (auto _ : state) {
    state.PauseTiming();
    const auto record = store.make();
    std::string id;
    state.ResumeTiming();
    store.client().insert(Store::database, Store::collection, record.get(), id);
  }
}

void insertOne(benchmark::State& state) {
  add(state, storeOf(state.range(0)));
}
void insertOneNotIndexed(benchmark::State& state) {
  add(state, storeOf(state.range(0), notIndexed));
}
void insertOneDurable(benchmark::State& state) {
  Store& store = storeOf(state.range(0));
  store.open("");
  add(state, store);
  store.open("?synchronous=normal");
}

void insertMany(benchmark::State& state) {
  Store& store = storeOf(state.range(0));
  for (auto _ : state) state.SetIterationTime(store.insertBatch());
  state.counters["per"] = batchSize;
}

void replaceOne(benchmark::State& state) {
  Store& store = storeOf(state.range(0));
  const Provider provider(store);
  const std::unique_ptr<ExperimentDatabaseRecordInterface> record(createExperimentDatabaseRecord());
  for (auto _ : state) {
    state.PauseTiming();
    record->setD(store.make().release());
    const std::string& id = store.someId();
    state.ResumeTiming();
    provider->updateRecord(record.get(), id);
  }
}

void fill(benchmark::State& state, const ItemKeys& keys) {
  const Store& store = storeOf(state.range(0), keys);
  for (auto _ : state) state.SetIterationTime(store.filling());
  state.counters["per"] = static_cast<double>(state.range(0));
  state.counters["bytes"] = static_cast<double>(store.bytes());
}

using Read = std::function<long long(Store&)>;

void read(benchmark::State& state, const Read& operation) {
  Store& store = storeOf(state.range(0));
  long long found = operation(store);
  for (auto _ : state) found = operation(store);
  if (found == 0) state.SkipWithError("nothing was found");
  state.counters["found"] = static_cast<double>(found);
}

void sizes(benchmark::internal::Benchmark* benchmark) {
  for (const int size : {10'000, 100'000, 1'000'000}) {
    if (size < 1'000'000 || std::getenv("BENCHMARK_MILLION") != nullptr) benchmark->Arg(size);
  }
}

void registerRead(const std::string& name, const Read& operation) {
  benchmark::RegisterBenchmark(name.c_str(), [operation](benchmark::State& state) {
    read(state, operation);
  })->Apply(sizes);
}

void registerQuery(const std::string& name, const DatabaseFilter& filter) {
  registerRead(name + ": number", [filter](Store& store) { return countMatches(store, filter); });
  registerRead(name + ": ids", [filter](Store& store) { return readIds(store, filter, 0, 0); });
  registerRead(name + ": ids through the client", [filter](Store& store) { return passOverIds(store, filter); });
  registerRead(name + ": records", [filter](Store& store) { return readRecords(store, filter, 0, 0); });
  registerRead(name + ": first page of 20", [filter](Store& store) { return readRecords(store, filter, 20, 0); });
}

/// A question, and the same of SQLite and of DuckDB.
void registerQuestion(const std::string& name, const std::function<std::size_t(const Records&)>& ask,
                      const std::string& sql) {
  registerRead(name, [ask](Store& store) { return static_cast<long long>(ask(store.records())); });
  benchmark::RegisterBenchmark((name + ", SQLite").c_str(), [sql](benchmark::State& state) {
    Columns& columns = columnsOf(state.range(0));
    long long found = 0;
    for (auto _ : state) found = columns.run(sql);
    state.counters["found"] = static_cast<double>(found);
  })->Apply(sizes);
  const char* python = std::getenv("BENCHMARK_PYTHON");
  if (python == nullptr) return;
  benchmark::RegisterBenchmark((name + ", DuckDB").c_str(),
                               [sql, python](benchmark::State& state) {
                                 const PeerAnswer answer = askDuckDb(python, columnsOf(state.range(0)).csvPath(), sql);
                                 for (auto _ : state) state.SetIterationTime(answer.seconds);
                                 state.counters["found"] = answer.rows;
                               })
      ->Apply(sizes)
      ->Iterations(1)
      ->UseManualTime();
}

FindOptions firstTen(bool isDescending) {
  FindOptions options;
  options.sort = {{SortKey::Field::description, "description 5", isDescending}};
  options.limit = 10;
  return options;
}

std::size_t found(FoundRecords records) {
  std::size_t number = 0;
  for (const FoundRecord& record : records) number += record.id.empty() ? 0 : 1;
  return number;
}

void registerQuestions() {
  const std::string figures = "count(*), count(d3), min(d3), avg(d3), avg(d3 * d3), max(d3) FROM records ";
  const auto below = [](int bound) { return where("'description 3'<" + std::to_string(bound)); };
  registerQuestion(
      "first 10 by a description", [](const Records& records) { return found(records.find({}, firstTen(false))); },
      "SELECT rid, d5 FROM records ORDER BY d5 LIMIT 10");
  registerQuestion(
      "last 10 by a description", [](const Records& records) { return found(records.find({}, firstTen(true))); },
      "SELECT rid, d5 FROM records ORDER BY d5 DESC LIMIT 10");
  registerQuestion(
      "first 10 by a description, of a twentieth",
      [=](const Records& records) { return found(records.find(below(500), firstTen(false))); },
      "SELECT rid, d5 FROM records WHERE d3 < 500 ORDER BY d5 LIMIT 10");
  registerQuestion(
      "figures of a description by a category",
      [](const Records& records) { return records.stats({"description 3"}, {"Sample"}).size(); },
      "SELECT sample, " + figures + "GROUP BY sample");
  registerQuestion(
      "histogram of a description, 40 bins",
      [](const Records& records) { return records.histogram("description 3", 40).counts.size(); },
      "SELECT CAST(floor(d3 / 250) AS INTEGER) AS bin, count(*) FROM records "
      "GROUP BY bin");
  registerQuestion(
      "cross table of two categories",
      [](const Records& records) { return records.coverage("Sample", "Project").size(); },
      "SELECT sample, project, count(*) FROM records GROUP BY sample, project");
  registerQuestion(
      "facets of a category, of a hundredth",
      [=](const Records& records) { return records.facets("Sample", below(100)).size(); },
      "SELECT sample, count(*) FROM records WHERE d3 < 100 GROUP BY sample");
  registerQuestion(
      "facets of a category, of four fifths",
      [=](const Records& records) { return records.facets("Sample", below(8000)).size(); },
      "SELECT sample, count(*) FROM records WHERE d3 < 8000 GROUP BY sample");
}

void registerFilling(const std::string& name, const ItemKeys& keys) {
  benchmark::RegisterBenchmark(name.c_str(), [keys](benchmark::State& state) { fill(state, keys); })
      ->Apply(sizes)
      ->Iterations(1)
      ->UseManualTime();
}

void registerAll() {
  using benchmark::RegisterBenchmark;
  registerFilling("fill the store, a record", ItemKeys());
  registerFilling("fill the store, a record, nothing to index", notIndexed);
  registerQuery("category equality", filterOf(addEquality));
  registerQuery("description range", filterOf([](DatabaseFilter& filter) { addRange(filter, 5000, 5050); }));
  registerQuery("category equality and wide range", filterOf([](DatabaseFilter& filter) {
                  addEquality(filter);
                  addRange(filter, 2500, 5000);
                }));
  registerRead("category statistics", categoryStatistics);
  registerRead("description names", descriptionNames);
  registerQuestions();
  registerRead("first page of 20", [](Store& store) { return readRecords(store, {}, 20, 0); });
  registerRead("page of 20 behind 5,000", [](Store& store) { return readRecords(store, {}, 20, 5000); });
  registerRead("page of 20 behind a record", [](Store& store) { return readPageBehindARecord(store, false); });
  registerRead("page of 20 behind a record, by id", [](Store& store) { return readPageBehindARecord(store, true); });
  registerRead("find by id", findById);
  RegisterBenchmark("insert one, synchronous=normal", insertOne)->Apply(sizes)->Iterations(5000);
  RegisterBenchmark("insert one, synchronous=normal, nothing to index", insertOneNotIndexed)
      ->Apply(sizes)
      ->Iterations(5000);
  RegisterBenchmark("insert one, durable, time passed", insertOneDurable)
      ->Apply(sizes)
      ->Iterations(2000)
      ->UseRealTime();
  RegisterBenchmark("insert 1000 at once, a record", insertMany)->Apply(sizes)->Iterations(20)->UseManualTime();
  RegisterBenchmark("replace one by id, synchronous=normal", replaceOne)->Apply(sizes)->Iterations(5000);
}

// The table.

std::string shown(double nanoseconds) {
  static const std::array<const char*, 4> units = {"ns", "µs", "ms", "s"};
  std::size_t unit = 0;
  for (; nanoseconds >= 1000 && unit + 1 < units.size(); ++unit) nanoseconds /= 1000;
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), nanoseconds < 10 ? "%.2f %s" : "%.3g %s", nanoseconds, units[unit]);
  return text.data();
}

std::string ratio(double value, double before) {
  if (before == 0) return "";
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "× %.2g", value / before);
  return text.data();
}

class Table : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context& /*context*/) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.error_occurred) throw std::runtime_error(run.benchmark_name() + ": " + run.error_message);
      if (run.run_type == Run::RT_Aggregate) continue;
      std::cerr << run.benchmark_name() << std::endl;
      take(run);
    }
  }
  void Finalize() override {
    std::cout << "| operation | 10,000 | 100,000 | growth | 1,000,000 | growth |\n|---|---|---|---|---|---|\n";
    for (const std::string& name : order_) {
      const Row& row = rows_[name];
      std::cout << "| " << name << " | " << cell(row, 0) << " | " << cell(row, 1) << " | " << growth(row, 1) << " | "
                << cell(row, 2) << " | " << growth(row, 2) << " |\n";
    }
  }

 private:
  struct Cell {
    double value = 0;
    double found = 0;
  };
  struct Row {
    std::array<Cell, 3> cells{};
    bool isBytes = false;
  };

  Row& row(const std::string& name) {
    const auto [at, isNew] = rows_.try_emplace(name);
    if (isNew) order_.push_back(name);
    return at->second;
  }
  static double counter(const Run& run, const char* name, double otherwise) {
    const auto found = run.counters.find(name);
    return found == run.counters.end() ? otherwise : static_cast<double>(found->second);
  }
  static double timeOf(const Run& run) {
    const std::string& kind = run.run_name.time_type;
    return kind.empty() ? run.GetAdjustedCPUTime() : run.GetAdjustedRealTime();
  }
  void take(const Run& run) {
    const std::string& name = run.run_name.function_name;
    const std::string& size = run.run_name.args;
    const std::size_t column = size.size() - std::string("10000").size();
    const double per = counter(run, "per", 1);
    Cell& cell = row(name).cells.at(column);
    const double time = timeOf(run) / per;
    cell = {cell.value == 0 ? time : std::min(cell.value, time), counter(run, "found", 0)};
    const double bytes = counter(run, "bytes", 0);
    if (bytes == 0) return;
    Row& size_ = row(name + ", bytes");
    size_.isBytes = true;
    size_.cells.at(column) = {bytes / per, 0};
  }
  static std::string cell(const Row& row, std::size_t column) {
    const Cell& cell = row.cells.at(column);
    if (cell.value == 0) return "";
    if (row.isBytes) return std::to_string(static_cast<long>(cell.value));
    const auto found = static_cast<long>(cell.found);
    return shown(cell.value) + (found > 1 ? " (" + std::to_string(found) + ")" : "");
  }
  static std::string growth(const Row& row, std::size_t column) {
    return row.cells.at(column).value == 0 ? "" : ratio(row.cells.at(column).value, row.cells.at(column - 1).value);
  }

  std::map<std::string, Row> rows_;
  std::vector<std::string> order_;
};

}  // namespace

int main(int argc, char** argv) {
  try {
    benchmark::Initialize(&argc, argv);
    registerAll();
    Table table;
    benchmark::RunSpecifiedBenchmarks(&table);
  } catch (const std::exception& error) {
    std::cerr << error.what() << std::endl;
    return 1;
  }
  return 0;
}
