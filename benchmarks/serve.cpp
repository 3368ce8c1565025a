// SPDX-License-Identifier: Apache-2.0

// What a person waits for at the page, on the side of the server: the answers of its first view, of a click on a facet,
// and of a sort by a description, each as the page asks for them, one after the other. On 10,000 records in a file, and
// with BENCHMARK_MILLION=1 on a million. The time of the network and of the browser is not in it.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "database_provider/database_provider.h"
#include "tools/serve/Api.h"

namespace {

using namespace database_provider;  // NOLINT(google-build-using-namespace)
using recordctl::About;
using recordctl::Api;
using recordctl::Clients;

/// A store in a file of runs with four categories, one of them of many values, and three descriptions.
class Store {
 public:
  explicit Store(int count)
      : path_(std::filesystem::temp_directory_path() /
              ("serve-benchmark-" + std::to_string(::getpid()) + "-" + std::to_string(count) + ".db")) {
    fill(count);
    clients_ = std::make_unique<Clients>("file:" + path_.string(), OpenOptions{});
    api_ = std::make_unique<Api>(About{}, *clients_);
  }
  ~Store() {
    api_.reset();
    clients_.reset();
    for (const char* ending : {"", "-wal", "-shm"}) std::filesystem::remove(path_.string() + ending);
  }
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

  void ask(const std::string& path, const std::string& query) const {
    const recordctl::Answer answer = api_->answer(path, query, [] { return true; });
    if (answer.status != 200) throw std::runtime_error(path + "?" + query + ": " + answer.body);
    benchmark::DoNotOptimize(answer.body.data());
  }

 private:
  void fill(int count) const {
    const auto store = open("file:" + path_.string() + "?synchronous=normal");
    const Records records(*store, RecordKind::experiment);
    std::unique_ptr<DatabaseProviderInterface> provider(createExperimentDatabase());
    provider->setDatabaseClient(store.get());
    provider->setCategoriesNames({"machine", "solver", "status", "run"});
    std::mt19937 chance(14);
    constexpr int batch = 20'000;
    for (int first = 0; first < count; first += batch) {
      std::vector<NewRecord> made;
      for (int i = first; i < std::min(first + batch, count); ++i) {
        NewRecord record;
        record.category("machine", "node" + std::to_string(chance() % 20))
            .category("solver", std::string(1, static_cast<char>('A' + chance() % 6)))
            .category("status", chance() % 10 == 0 ? "failed" : "done")
            .category("run", "run " + std::to_string(chance() % 100'000))
            .description("seconds", static_cast<double>(chance() % 1'000'000) / 1000)
            .description("cells", static_cast<std::int32_t>(chance() % 5000))
            .description("started", Time{1'700'000'000'000LL + i * 1000LL});
        made.push_back(std::move(record));
      }
      records.insertMany(made);
    }
  }

  std::filesystem::path path_;
  std::unique_ptr<Clients> clients_{};
  std::unique_ptr<Api> api_{};
};

const Store& storeOf(int count) {
  static std::map<int, std::unique_ptr<Store>> stores;
  auto& store = stores[count];
  if (!store) store = std::make_unique<Store>(count);
  return *store;
}

struct Question {
  std::string path;
  std::string query;
};

const std::string columns = "&columns=machine,solver,status,run,cells,seconds,started&limit=100";
const std::string newest = "&sort=id:desc";

void measure(benchmark::State& state, const std::vector<Question>& questions) {
  const Store& store = storeOf(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    for (const Question& question : questions) store.ask(question.path, question.query);
  }
}

/// The records and how many there are; what beside them is shown is measured for itself below.
void FirstView_Records(benchmark::State& state) {
  measure(state, {{"names", ""}, {"count", ""}, {"list", newest + columns}});
}

void FirstView_Facets(benchmark::State& state) {
  measure(state, {{"facets/machine", "limit=21"},
                  {"facets/solver", "limit=21"},
                  {"facets/status", "limit=21"},
                  {"facets/run", "limit=21"},
                  {"histogram/cells", "bins=32"},
                  {"histogram/seconds", "bins=32"},
                  {"histogram/started", "bins=32"}});
}

void FacetClick_Records(benchmark::State& state) {
  const std::string where = "where=solver%3DB";
  measure(state, {{"count", where}, {"list", where + newest + columns}});
}

void FacetClick_OneFacet(benchmark::State& state) {
  measure(state, {{"facets/machine", "where=solver%3DB&limit=21"}});
}

void FacetClick_OneHistogram(benchmark::State& state) {
  measure(state, {{"histogram/seconds", "where=solver%3DB&bins=32"}});
}

void SortByADescription(benchmark::State& state) {
  measure(state, {{"list", "sort=seconds:desc" + columns}});
}

void SortByADescription_OfAFilter(benchmark::State& state) {
  measure(state, {{"list", "where=solver%3DB&sort=seconds:desc" + columns}});
}

void sizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->Unit(benchmark::kMillisecond)->Arg(10'000);
  if (std::getenv("BENCHMARK_MILLION") != nullptr) benchmark->Arg(1'000'000);
}

BENCHMARK(FirstView_Records)->Apply(sizes);
BENCHMARK(FirstView_Facets)->Apply(sizes);
BENCHMARK(FacetClick_Records)->Apply(sizes);
BENCHMARK(FacetClick_OneFacet)->Apply(sizes);
BENCHMARK(FacetClick_OneHistogram)->Apply(sizes);
BENCHMARK(SortByADescription)->Apply(sizes);
BENCHMARK(SortByADescription_OfAFilter)->Apply(sizes);

}  // namespace
