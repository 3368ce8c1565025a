// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdlib>
#include <functional>
#include <iostream>
#include <list>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tests/contract/Contract.h"
#include "tests/contract/differential/Generator.h"

namespace database_test {

using database_client::DataBaseClient;
using database_client::JsonMode;
using database_client::ObjectProperties;

namespace {

constexpr int documentCount = 12;
constexpr int roundsPerSet = 25;

unsigned long long setting(const char* variable, unsigned long long otherwise) {
  const char* value = std::getenv(variable);
  return value == nullptr ? otherwise : std::strtoull(value, nullptr, 10);
}

Grammar grammarFor(const std::string& engine) {
  Grammar grammar;
  if (engine.rfind("secantus", 0) == 0) {
    grammar = {false, false, false, false, false};
    grammar.hasOddOperands = false;
  }
  if (engine == "java") grammar = {false, false, false, false, false, false, false, false, false, false, false};
  return grammar;
}

/// The same random calls go to the embedded store and to a server, and both must answer alike. DATABASE_TEST_SEED and
/// DATABASE_TEST_ROUNDS choose another and a longer run.
class Differential : public EngineTest {
 protected:
  using Call = std::function<std::string(DataBaseClient&)>;

  void SetUp() override {
    EngineTest::SetUp();
    if (IsSkipped()) return;
    connectTo(embedded, {"file::memory:", 0});
    seed = setting("DATABASE_TEST_SEED", 1);
    rounds = static_cast<int>(setting("DATABASE_TEST_ROUNDS", 300));
    std::cout << "DATABASE_TEST_SEED=" << seed << " DATABASE_TEST_ROUNDS=" << rounds << '\n';
    generator = std::make_unique<Generator>(seed, grammarFor(engine()));
  }

  /// Gives both stores the same new documents.
  void renewDocuments() {
    for (DataBaseClient* each : {&client, &embedded}) each->remove("experiment", "random", ObjectProperties{});
    for (int id = 0; id < documentCount; ++id) {
      const ObjectProperties stored = document(generator->document(id));
      compare("insert", stored.toJson(), [&](DataBaseClient& each) {
        return outcome([&] {
          std::string ignored;
          each.insert("experiment", "random", &stored, ignored);
        });
      });
    }
  }

  static std::string lines(std::list<ObjectProperties*>& list) {
    std::multiset<std::string> sorted;
    for (ObjectProperties* one : list) {
      sorted.insert(one->toJson(JsonMode::canonical));
      delete one;
    }
    std::string joined;
    for (const std::string& line : sorted) joined += line + "\n";
    return joined;
  }

  static std::string found(DataBaseClient& each, const std::string& filter, const std::string& projection) {
    std::string result;
    const std::string failure = outcome([&] {
      std::list<ObjectProperties*> list;
      each.find("experiment", "random", document(filter), document(projection), list, 0, 0);
      result = lines(list);
    });
    return failure == "ok" ? result : failure;
  }

  static std::string aggregated(DataBaseClient& each, const std::string& stages) {
    std::string result;
    const std::string failure = outcome([&] {
      std::list<ObjectProperties*> list;
      each.aggregate("experiment", "random", document("{'pipeline':" + stages + "}"), list);
      result = lines(list);
    });
    return failure == "ok" ? result : failure;
  }

  void compare(const std::string& what, const std::string& arguments, const Call& call) {
    const std::string ours = call(embedded);
    const std::string theirs = call(client);
    if (ours == theirs) return;
    differs = true;
    ADD_FAILURE() << what << ' ' << arguments << "\nembedded:\n"
                  << onlyIn(ours, theirs) << engine() << ":\n"
                  << onlyIn(theirs, ours);
  }

  /// The lines of one answer that the other lacks.
  static std::string onlyIn(const std::string& answer, const std::string& other) {
    std::string rest;
    std::size_t start = 0;
    while (start < answer.size()) {
      const std::size_t end = std::min(answer.find('\n', start), answer.size());
      const std::string line = answer.substr(start, end - start);
      if (other.find(line) == std::string::npos) rest += "  " + line + "\n";
      start = end + 1;
    }
    return rest;
  }

  /// Runs rounds until the two have differed some times, with new documents now and then and after a difference.
  void run(const std::function<void()>& round) {
    int differences = 0;
    for (int i = 0; i < rounds && differences < 10; ++i) {
      if (i % roundsPerSet == 0 || differs) renewDocuments();
      differs = false;
      round();
      if (differs) ++differences;
    }
  }

  DataBaseClient embedded;
  std::unique_ptr<Generator> generator;
  unsigned long long seed = 0;
  int rounds = 0;
  bool differs = false;
};

}  // namespace

TEST_P(Differential, FiltersSelectTheSame) {
  run([this] {
    const std::string filter = generator->filter();
    compare("find", filter, [&](DataBaseClient& each) { return found(each, filter, "{}"); });
  });
}

TEST_P(Differential, ProjectionsGiveTheSame) {
  run([this] {
    const std::string projection = generator->projection();
    compare("project", projection, [&](DataBaseClient& each) { return found(each, "{}", projection); });
  });
}

TEST_P(Differential, UpdatesLeaveTheSame) {
  run([this] {
    const std::string selector = "{'_id':" + std::to_string(generator->below(documentCount + 2)) + "}";
    const int kind = generator->below(3);
    const int operation = kind == 0 ? 1 : kind == 1 ? 3 : 9;
    const std::string change = kind == 0   ? generator->addition()
                               : kind == 1 ? generator->change()
                                           : generator->addition();
    const int flags = generator->below(2);
    compare("update " + std::to_string(operation) + " " + selector, change, [&](DataBaseClient& each) {
      const std::string failure =
          outcome([&] { each.update("experiment", "random", document(selector), document(change), flags, operation); });
      return failure + "\n" + found(each, "{}", "{}");
    });
  });
}

TEST_P(Differential, UpsertsSeedTheSame) {
  run([this] {
    for (DataBaseClient* each : {&client, &embedded}) each->remove("experiment", "random", ObjectProperties{});
    const std::string selector = generator->selector();
    const std::string change = generator->change();
    compare("upsert " + selector, change, [&](DataBaseClient& each) {
      const std::string failure =
          outcome([&] { each.update("experiment", "random", document(selector), document(change), 1, 3); });
      return failure + "\n" + found(each, "{}", "{'_id':0}");
    });
  });
}

TEST_P(Differential, PipelinesGiveTheSame) {
  run([this] {
    const std::string stages = "[{'$sort':{'_id':1}}," + generator->pipeline().substr(1);
    compare("aggregate", stages, [&](DataBaseClient& each) { return aggregated(each, stages); });
  });
}

TEST_P(Differential, ComputationsGiveTheSame) {
  Grammar grammar = grammarFor(engine());
  if (!grammar.hasOperators) GTEST_SKIP() << engine() << " knows few of the operators";
  grammar.hasOddValues = grammar.hasOddOperands;
  generator = std::make_unique<Generator>(seed, grammar);
  run([this] {
    const std::string stages = generator->computation();
    compare("aggregate", stages, [&](DataBaseClient& each) { return aggregated(each, stages); });
  });
}

namespace {

std::vector<std::string> servers() {
  return {"deployment", "mongod", "secantus", "secantusStandalone", "secantusControlled", "secantusTls", "java"};
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(Engines, Differential, ::testing::ValuesIn(servers()), engineName);

}  // namespace database_test
