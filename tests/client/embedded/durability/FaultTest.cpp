// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tests/client/embedded/durability/FaultyFiles.h"
#include "tests/client/embedded/support/EngineFixture.h"

namespace database_client {
namespace {

struct Operation {
  const char* name;
  std::function<void(Client&)> run;
};

std::string record(int id, const std::string& color) {
  return R"({"_id": )" + std::to_string(id) + R"(, "tags": [{"name": "Color", "value": ")" + color +
         R"("}], "text": ")" + std::string(3000, 'x') + "\"}";
}

void insertMany(Client& client, int first, int count) {
  std::vector<ObjectProperties> documents;
  for (int i = first; i < first + count; ++i) documents.push_back(ObjectProperties::fromJson(record(i, "red")));
  client.engine->insertMany(client.where(), documents);
}

void update(Client& client, const char* selector, const char* document, UpdateKind kind) {
  client.engine->update(client.where(), ObjectProperties::fromJson(selector), ObjectProperties::fromJson(document),
                        kind, false);
}

const std::vector<Operation>& operations() {
  static const std::vector<Operation> all = {
      {"insert",
       [](Client& client) { client.engine->insert(client.where(), ObjectProperties::fromJson(record(1000, "blue"))); }},
      {"insertMany", [](Client& client) { insertMany(client, 1000, 40); }},
      {"insertIntoNew",
       [](Client& client) {
         client.collection = "new";
         client.engine->insert(client.where(), ObjectProperties::fromJson(record(1000, "blue")));
       }},
      {"replace", [](Client& client) { update(client, R"({"_id": 7})", R"({"a": 1})", UpdateKind::replaceFirst); }},
      {"setInAll", [](Client& client) { update(client, "{}", R"({"a": 1})", UpdateKind::setInAll); }},
      {"remove",
       [](Client& client) {
         client.engine->remove(client.where(), ObjectProperties::fromJson(R"({"_id": {"$lt": 20}})"), false);
       }},
      {"transaction",
       [](Client& client) {
         client.engine->beginTransaction();
         try {
           insertMany(client, 1000, 10);
           update(client, R"({"_id": 3})", R"({"a": 1})", UpdateKind::setInAll);
           client.engine->remove(client.where(), ObjectProperties::fromJson(R"({"_id": 5})"), false);
           client.engine->insert(client.where(), ObjectProperties::fromJson(record(1500, "blue")));
         } catch (const Error&) {
           client.engine->rollbackTransaction();
           throw;
         }
         client.engine->commitTransaction();
       }},
      {"createUser",
       [](Client& client) {
         client.engine->createUser("databaseManager", "ann", "x", ObjectProperties(), ObjectProperties());
       }},
      {"compact", [](Client& client) { client.engine->compact(); }},
  };
  return all;
}

/// Everything in the store, as short text: the ids and what was changed in them, the users, the names.
std::string stateOf(Client& client) {
  std::string text;
  client.engine->find(client.where(), {{}, {}, 0, 0}, [&text](ObjectProperties&& document) {
    text += std::to_string(document.valueAsInt32("_id", -1)) + (document.contains("a") ? "a " : " ");
    return true;
  });
  for (const std::string& name : client.engine->collectionNames("test")) text += name + " ";
  const std::string database = "admin";
  const std::string users = "system.users";
  return text + std::to_string(client.engine->count({database, users}, {}));
}

struct Situation {
  std::size_t operation;
  bool forGood;
  FaultyFiles::Fault fault;
};

std::string textOf(const Situation& situation) {
  return std::string(operations()[situation.operation].name) + (situation.forGood ? "ForGood" : "Once") +
         (situation.fault == FaultyFiles::Fault::full ? "Full" : "Failing");
}

std::string nameOf(const ::testing::TestParamInfo<Situation>& info) {
  return textOf(info.param);
}

void PrintTo(const Situation& situation, std::ostream* out) {
  *out << textOf(situation);
}

std::vector<Situation> situations() {
  std::vector<Situation> all;
  for (std::size_t i = 0; i < operations().size(); ++i) {
    for (const bool forGood : {false, true}) {
      for (const auto fault : {FaultyFiles::Fault::inputOutput, FaultyFiles::Fault::full})
        all.push_back({i, forGood, fault});
    }
  }
  return all;
}

class EmbeddedFault : public ::testing::TestWithParam<Situation> {
 protected:
  static void SetUpTestSuite() {
    prepared = new TemporaryFolder(memoryFolder());
    Client client(*prepared / "store");
    insertMany(client, 1, 60);
  }
  static void TearDownTestSuite() { delete prepared; }

  static void copy(const std::string& from, const std::string& to) {
    for (const char* side : {"", "-wal"}) {
      removeFile(to + side);
      if (isThere(from + side)) writeFile(to + side, contentOf(from + side));
    }
    removeFile(to + "-shm");
  }
  static std::string reopened(const std::string& path) {
    Client client(path);
    const std::string problems = client.check();
    return problems.find(';') == std::string::npos ? stateOf(client) : problems;
  }
  std::string stateAfter() {
    copy(*prepared / "store", path);
    Client client(path);
    operations()[GetParam().operation].run(client);
    return stateWithoutNewCollection(client);
  }
  static std::string stateWithoutNewCollection(Client& client) {
    client.collection = "things";
    return stateOf(client);
  }

  static TemporaryFolder* prepared;
  TemporaryFolder folder{memoryFolder()};
  std::string path = folder / "store";
  std::string crashed = folder / "crashed";
  FaultyFiles files{};
};

TemporaryFolder* EmbeddedFault::prepared = nullptr;

INSTANTIATE_TEST_SUITE_P(Everywhere, EmbeddedFault, ::testing::ValuesIn(situations()), nameOf);

TEST_P(EmbeddedFault, LeavesTheStoreAsItWasWhereverItHits) {
  const std::string after = stateAfter();
  copy(*prepared / "store", path);
  const std::string before = reopened(path);
  long positions = 0;
  const bool isLong = std::getenv("DATABASE_TEST_LONG") != nullptr;
  for (long nth = 1;; ++nth) {
    SCOPED_TRACE("operation number " + std::to_string(nth));
    copy(*prepared / "store", path);
    std::string outcome = "ok";
    bool unknown = false;
    {
      Client client(path);
      FaultyFiles::failAt(nth, GetParam().forGood, GetParam().fault);
      try {
        operations()[GetParam().operation].run(client);
      } catch (const Error& error) {
        outcome = toString(error.kind());
        unknown = error.outcomeUnknown();
      }
      // What a crash right now would leave to the next process.
      copy(path, crashed);
      FaultyFiles::failNoMore();
      if (outcome == "ok") {
        EXPECT_EQ(stateWithoutNewCollection(client), after);
      } else {
        EXPECT_EQ(outcome, "storage");
        EXPECT_EQ(stateWithoutNewCollection(client), before);
        EXPECT_EQ(client.insert(record(2000, "red")), "ok");
        EXPECT_EQ(client.remove(R"({"_id": 2000})"), "ok");
      }
    }
    EXPECT_EQ(reopened(path), outcome == "ok" ? after : before);
    const std::string recovered = reopened(crashed);
    EXPECT_TRUE(recovered == (outcome == "ok" ? after : before) || (unknown && recovered == after)) << recovered;
    if (!FaultyFiles::hasHit() || HasFailure()) break;
    ++positions;
    // Every position takes minutes; the usual run tries the first ones and then ever fewer.
    if (!isLong) nth += nth / 4;
  }
  EXPECT_GT(positions, 0);
  std::printf("%ld fault positions\n", positions);
}

TEST_P(EmbeddedFault, OfAFullDeviceIsToldAsSuch) {
  if (GetParam().fault != FaultyFiles::Fault::full) return;
  for (long nth = 1; nth < 200; nth += 1 + nth / 4) {
    SCOPED_TRACE("operation number " + std::to_string(nth));
    copy(*prepared / "store", path);
    Client client(path);
    FaultyFiles::failAt(nth, GetParam().forGood, GetParam().fault);
    try {
      operations()[GetParam().operation].run(client);
    } catch (const Error& error) {
      EXPECT_EQ(error.what(), "store " + path + ": cannot write: no space is left on the device");
      EXPECT_FALSE(error.outcomeUnknown());
    }
    FaultyFiles::failNoMore();
    if (!FaultyFiles::hasHit() || HasFailure()) break;
  }
}

/// Faults while a store is being made.
class EmbeddedFaultAtMaking : public ::testing::TestWithParam<bool> {
 protected:
  std::string checkNow() const {
    try {
      return Client(path).check();
    } catch (const Error& error) {
      return error.what();
    }
  }

  TemporaryFolder folder{memoryFolder()};
  std::string path = folder / "store";
  FaultyFiles files{};
};

INSTANTIATE_TEST_SUITE_P(OnceAndForGood, EmbeddedFaultAtMaking, ::testing::Bool());

TEST_P(EmbeddedFaultAtMaking, LeavesNothingWhereNothingWas) {
  long positions = 0;
  for (const auto fault : {FaultyFiles::Fault::inputOutput, FaultyFiles::Fault::full}) {
    for (long nth = 1;; ++nth) {
      SCOPED_TRACE("operation number " + std::to_string(nth));
      for (const char* side : {"", "-wal", "-shm", "-journal"}) removeFile(path + side);
      FaultyFiles::failAt(nth, GetParam(), fault);
      bool maybeMade = true;
      try {
        Client client(path);
      } catch (const Error& error) {
        maybeMade = error.outcomeUnknown();
      }
      FaultyFiles::failNoMore();
      for (const char* side : {"", "-wal", "-shm", "-journal"}) {
        EXPECT_TRUE(maybeMade || !isThere(path + side)) << side;
      }
      if (!FaultyFiles::hasHit() || HasFailure()) break;
      ++positions;
    }
  }
  EXPECT_GT(positions, 0);
}

TEST_P(EmbeddedFaultAtMaking, OfAFullDeviceIsToldAsSuch) {
  for (long nth = 1;; ++nth) {
    for (const char* side : {"", "-wal", "-shm", "-journal"}) removeFile(path + side);
    FaultyFiles::failAt(nth, GetParam(), FaultyFiles::Fault::full);
    std::string refusal;
    try {
      Client client(path);
    } catch (const Error& error) {
      refusal = error.what();
    }
    FaultyFiles::failNoMore();
    if (!refusal.empty()) {
      EXPECT_EQ(refusal, "store " + path + ": cannot write: no space is left on the device");
    }
    if (!FaultyFiles::hasHit() || HasFailure()) break;
  }
}

TEST_P(EmbeddedFaultAtMaking, LeavesAFileThatIsMadeAStoreNextTime) {
  long positions = 0;
  for (long nth = 1;; ++nth) {
    SCOPED_TRACE("operation number " + std::to_string(nth));
    for (const char* side : {"", "-wal", "-shm", "-journal"}) removeFile(path + side);
    FaultyFiles::failAt(nth, GetParam(), FaultyFiles::Fault::inputOutput);
    const std::string outcome = Client::outcome([this] { Client client(path); });
    FaultyFiles::failNoMore();
    EXPECT_TRUE(outcome == "ok" || outcome == "storage 0") << outcome;
    EXPECT_EQ(checkNow(), "1");
    if (!FaultyFiles::hasHit() || HasFailure()) break;
    ++positions;
  }
  EXPECT_GT(positions, 0);
  std::printf("%ld fault positions\n", positions);
}

}  // namespace
}  // namespace database_client
