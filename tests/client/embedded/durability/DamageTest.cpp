// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <list>
#include <map>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/client/embedded/durability/LogOfSteps.h"
#include "tests/client/embedded/support/EngineFixture.h"

namespace database_client {
namespace {

constexpr int documents = 150;

class EmbeddedDamage : public ::testing::Test {
 protected:
  EmbeddedDamage() {
    Client client(path);
    std::vector<ObjectProperties> all;
    all.reserve(documents);
    for (int i = 0; i < documents; ++i) all.push_back(ObjectProperties::fromJson(documentOf(i, i % 7)));
    client.engine->insertMany(client.where(), all);
  }

  /// Reads everything in every way: "whole" when it is as it was written, "refused" for a clear error, "missed" when
  /// only the check notices.
  std::string use() const {
    try {
      Client client(path);
      int found = 0;
      client.engine->find(client.where(), {{}, {}, 0, 0}, [&found](ObjectProperties&& document) {
        const int id = document.valueAsInt32("_id", -1);
        EXPECT_EQ(document.toJson(), ObjectProperties::fromJson(documentOf(id, id % 7)).toJson());
        return ++found > 0;
      });
      if (client.engine->check().problems.empty()) return found == documents ? "whole" : "unnoticed";
      return "missed";
    } catch (const Error& error) {
      return error.kind() == Error::Kind::storage ? "refused" : error.what();
    }
  }

  TemporaryFolder folder{memoryFolder()};
  std::string path = folder / "store";
};

TEST_F(EmbeddedDamage, IsNeverTakenForADocumentAndNeverMendedSilently) {
  const char* given = std::getenv("DATABASE_TEST_SEED");
  const auto seed = given == nullptr ? std::random_device()() : static_cast<unsigned>(std::atol(given));
  const char* many = std::getenv("DATABASE_TEST_DAMAGE_ROUNDS");
  const long rounds = many == nullptr ? 60 : std::atol(many);
  SCOPED_TRACE("DATABASE_TEST_SEED=" + std::to_string(seed));
  std::mt19937 random(seed);
  const std::string whole = contentOf(path);
  std::map<std::string, int> outcomes;
  for (long round = 0; round < rounds && !HasFailure(); ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    std::string damaged = whole;
    const std::size_t at = random() % damaged.size();
    const std::size_t length = 1 + random() % (round % 2 == 0 ? 4 : 3000);
    for (std::size_t i = at; i < std::min(at + length, damaged.size()); ++i) damaged[i] = static_cast<char>(random());
    writeFile(path, damaged);
    const std::string outcome = use();
    ++outcomes[outcome];
    EXPECT_TRUE(outcome == "whole" || outcome == "refused" || outcome == "missed") << outcome;
    EXPECT_EQ(contentOf(path), damaged);
    for (const char* side : {"-wal", "-shm", "-journal"}) removeFile(path + side);
  }
  EXPECT_GT(outcomes["refused"], 0);
  std::printf("seed %u: %ld rounds, %d refused, %d found by the check, %d harmless\n", seed, rounds,
              outcomes["refused"], outcomes["missed"], outcomes["whole"]);
}

constexpr std::size_t pageSize = 8192;
constexpr int records = 500;

/// What may be read under each "_id", as JSON.
using Readable = std::map<int, std::set<std::string>>;

std::string jsonOf(const std::string& document) {
  return ObjectProperties::fromJson(document).toJson();
}

/// Damages a file at random, a little or much, in one of the ways in which disks, cables and people do it.
class Damager {
 public:
  explicit Damager(std::mt19937& random) : random_(random) {}

  std::string damage(std::string content) {
    const int times = below(4) == 0 ? 3 : 1;
    for (int i = 0; i < times; ++i) damageOnce(content);
    return content;
  }

 private:
  std::size_t below(std::size_t bound) { return random_() % bound; }
  std::size_t page(const std::string& content) { return below(content.size() / pageSize) * pageSize; }
  /// Of what says how the rest is to be read, at the beginning of a page, rather often.
  std::size_t place(const std::string& content) {
    switch (below(4)) {
      case 0:
        return below(std::min<std::size_t>(100, content.size()));
      case 1:
        return std::min(page(content) + below(32), content.size() - 1);
      default:
        return below(content.size());
    }
  }

  void damageOnce(std::string& content) {
    if (content.size() < 2 * pageSize) return;
    switch (below(7)) {
      case 0:
      case 1:
        for (std::size_t bits = 1 + below(8); bits > 0; --bits) {
          char& byte = content[place(content)];
          byte = static_cast<char>(byte ^ (1 << below(8)));
        }
        return;
      case 2: {
        const std::size_t at = place(content);
        const std::size_t end = std::min(at + 1 + below(3000), content.size());
        for (std::size_t i = at; i < end; ++i) content[i] = static_cast<char>(random_());
        return;
      }
      case 3:
        content.replace(page(content), pageSize, pageSize, '\0');
        return;
      case 4: {
        const std::size_t one = page(content);
        const std::size_t other = page(content);
        if (one != other) std::swap_ranges(&content[one], &content[one] + pageSize, &content[other]);
        return;
      }
      case 5:
        content.replace(page(content), pageSize, content, page(content), pageSize);
        return;
      default:
        content.resize(below(2) == 0 ? below(content.size()) : page(content));
    }
  }

  std::mt19937& random_;
};

/// Uses a damaged store in every way through the public client, and expects of each an answer that is right or an error
/// that says in our words that the store is damaged.
class DamagedUse {
 public:
  DamagedUse(std::string path, Readable things, std::string other)
      : path_(std::move(path)), things_(std::move(things)), other_(std::move(other)) {}

  /// "refused" when it cannot be opened, "whole" when all is as it was written, "told" when an error or the check tells
  /// that it is not.
  std::string run(const std::string& repaired) {
    DataBaseClient client;
    if (!client.connect("", "file:" + path_ + "?create=false", 0, "", "")) {
      expectOurWords(client.failure());
      return "refused";
    }
    std::size_t found = 0;
    bool isTold = false;
    const auto tell = [&](const auto& part) { isTold = !succeeds(part) || isTold; };
    tell([&] { found = readAll(client, {}); });
    tell([&] { readInOtherWays(client); });
    tell([&] { isTold = !client.check().problems.empty() || isTold; });
    EXPECT_TRUE(isTold || found == static_cast<std::size_t>(records)) << "missing, and nothing tells";
    succeeds([&] { readAll(client, [this](const ObjectProperties&, const Error& error) { return note(error); }); });
    succeeds([&] { repair(client, repaired); });
    write(client);
    succeeds([&] { readAll(client, [this](const ObjectProperties&, const Error& error) { return note(error); }); });
    succeeds([&] { client.compact(); });
    succeeds([&] { readAll(client, {}); });
    return isTold ? "told" : "whole";
  }

 private:
  /// Whether it ends without an error.
  template <class Part>
  static bool succeeds(const Part& part) {
    try {
      part();
      return true;
    } catch (const Error& error) {
      return !note(error);
    }
  }

  static bool note(const Error& error) {
    // A replacement is refused as one that would change the "_id", where the index of ids leads to another document.
    const bool isToldOtherwise =
        error.kind() == Error::Kind::query && std::string(error.what()).find("cannot be changed") != std::string::npos;
    EXPECT_TRUE(error.kind() == Error::Kind::storage || isToldOtherwise)
        << toString(error.kind()) << ": " << error.what();
    expectOurWords(error.what());
    return true;
  }

  static void expectOurWords(const std::string& text) {
    for (const char* word : {"SQL", "sqlite", "malformed", "disk image", "constraint", "mismatch", "no such",
                             "unknown error", "not an error"}) {
      EXPECT_EQ(text.find(word), std::string::npos) << text;
    }
  }

  std::size_t readAll(DataBaseClient& client, const UnreadableHandler& unreadable) const {
    std::set<int> ids;
    client.findEach(
        "test", "things", {}, {}, 0, 0,
        [&](ObjectProperties& document) {
          EXPECT_TRUE(ids.insert(document.valueAsInt32("_id", -1)).second) << "twice: " << document.toJson();
          return isAsWritten(document);
        },
        unreadable);
    return ids.size();
  }

  bool isAsWritten(const ObjectProperties& document) const {
    const auto known = things_.find(document.valueAsInt32("_id", -1));
    EXPECT_TRUE(known != things_.end() && known->second.count(document.toJson()) == 1) << document.toJson();
    return !::testing::Test::HasFailure();
  }

  void readInOtherWays(DataBaseClient& client) const {
    const auto take = [this](ObjectProperties& document) { return isAsWritten(document); };
    client.findEach("test", "things", ObjectProperties::fromJson(R"({"_id": 77})"), {}, 0, 0, take);
    client.findEach("test", "things",
                    ObjectProperties::fromJson(R"({"items": {"$elemMatch": {"name": "version", "value": 3}}})"), {}, 0,
                    0, take);
    client.findEach("test", "others", {}, {}, 0, 0, [this](ObjectProperties& document) {
      EXPECT_EQ(document.toJson(), other_);
      return true;
    });
    EXPECT_LE(client.count("test", "things", ObjectProperties::fromJson(R"({"version": {"$lt": 3}})")), records);
    std::list<ObjectProperties*> groups;
    client.aggregate(
        "test", "things",
        ObjectProperties::fromJson(R"({"pipeline": [{"$group": {"_id": "$version", "count": {"$sum": 1}}}]})"), groups);
    for (const ObjectProperties* group : groups) delete group;
    client.explain("test", "things", ObjectProperties::fromJson(R"({"version": 3})"));
    client.collectionNames("test");
  }

  void write(DataBaseClient& client) {
    const std::string added = documentOf(records, 1);
    const std::string changed = documentOf(3, 99);
    things_[records].insert(jsonOf(added));
    things_[3].insert(jsonOf(changed));
    const auto document = ObjectProperties::fromJson(added);
    std::string id;
    succeeds([&] { client.insert("test", "things", &document, id); });
    succeeds([&] {
      client.update("test", "things", ObjectProperties::fromJson(R"({"_id": 3})"), ObjectProperties::fromJson(changed),
                    UpdateFlags::none, UpdateOperation::replace);
    });
    succeeds([&] { client.remove("test", "things", ObjectProperties::fromJson(R"({"_id": 5})")); });
  }

  void repair(DataBaseClient& client, const std::string& path) const {
    client.repair(path);
    DataBaseClient repaired;
    ASSERT_TRUE(repaired.connect("", "file:" + path + "?create=false", 0, "", "")) << repaired.failure();
    for (const std::string& problem : repaired.check().problems) ADD_FAILURE() << "after the repair: " << problem;
    readAll(repaired, {});
  }

  std::string path_;
  Readable things_;
  std::string other_;
};

TEST_F(EmbeddedDamage, OfAnyKindIsToldInOurWordsAndGivesNoOtherDocuments) {
  const char* given = std::getenv("DATABASE_TEST_SEED");
  const auto seed = given == nullptr ? std::random_device()() : static_cast<unsigned>(std::atol(given));
  const char* many = std::getenv("DATABASE_TEST_DAMAGE_ROUNDS");
  const long rounds = many == nullptr ? 60 : std::atol(many);
  SCOPED_TRACE("DATABASE_TEST_SEED=" + std::to_string(seed));
  const std::string other = R"({"_id": 1, "text": "of the others"})";
  Readable things;
  {
    Client client(path);
    for (int id = 0; id < records; ++id) things[id].insert(jsonOf(documentOf(id, id % 7)));
    std::vector<ObjectProperties> rest;
    for (int id = documents; id < records; ++id) rest.push_back(ObjectProperties::fromJson(documentOf(id, id % 7)));
    client.engine->insertMany(client.where(), rest);
    client.collection = "others";
    client.insert(other);
  }
  const std::string whole = contentOf(path);
  std::mt19937 random(seed);
  std::map<std::string, int> outcomes;
  for (long round = 0; round < rounds && !HasFailure(); ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    writeFile(path, Damager(random).damage(whole));
    ++outcomes[DamagedUse(path, things, jsonOf(other)).run(folder / "repaired")];
    for (const char* name : {"store-wal", "store-shm", "store-journal", "repaired", "repaired-wal", "repaired-shm"}) {
      removeFile(folder / name);
    }
  }
  EXPECT_GT(outcomes["told"], 0);
  std::printf("seed %u: %ld rounds, %d refused, %d told, %d harmless\n", seed, rounds, outcomes["refused"],
              outcomes["told"], outcomes["whole"]);
}

TEST_F(EmbeddedDamage, OfTheLogLosesOnlyWhatStoodInTheLog) {
  std::string main;
  std::string log;
  {
    Client client(path);
    client.insert(R"({"_id": 5000})");
    main = contentOf(path);
    log = contentOf(path + "-wal");
  }
  ASSERT_GT(log.size(), 1000U);
  log[log.size() / 2] = static_cast<char>(log[log.size() / 2] ^ 0x55);
  writeFile(path, main);
  writeFile(path + "-wal", log);
  Client client(path);
  EXPECT_EQ(client.check(), std::to_string(documents + 1));
}

/// Runs as somebody without rights, since the rights of files mean nothing to root.
template <class Work>
std::string asNobody(const Work& work) {
  Pipe pipe;
  const pid_t child = fork();
  if (child == 0) {
    if (geteuid() == 0 && setuid(65534) != 0) _exit(3);
    const std::string outcome = work();
    for (const char c : outcome) pipe.send(c);
    _exit(0);
  }
  pipe.keepReading();
  std::string outcome;
  for (char c = 0; pipe.receive(c);) outcome += c;
  int status = 0;
  waitpid(child, &status, 0);
  return status == 0 ? outcome : "no child";
}

TEST_F(EmbeddedDamage, IsNotDoneToAFileThatCanOnlyBeRead) {
  ASSERT_EQ(chmod((folder / "").c_str(), 0777), 0);
  ASSERT_EQ(chmod(path.c_str(), 0444), 0);
  const std::string before = contentOf(path);
  EXPECT_EQ(asNobody([this] {
              Client client(path);
              return client.count("{}") + " " + client.insert(R"({"_id": 5000})") + " " + client.count("{}");
            }),
            std::to_string(documents) + " storage 0 " + std::to_string(documents));
  EXPECT_EQ(contentOf(path), before);
}

TEST_F(EmbeddedDamage, IsNotDoneToAFileThatCannotBeRead) {
  ASSERT_EQ(chmod((folder / "").c_str(), 0755), 0);
  EXPECT_EQ(asNobody([this] { return Client::outcome([this] { Client client(path); }); }), "storage 0");
}

TEST_F(EmbeddedDamage, IsNotDoneWhereNoFileCanBeMade) {
  ASSERT_EQ(chmod((folder / "").c_str(), 0755), 0);
  EXPECT_EQ(asNobody([this] { return Client::outcome([this] { Client client(folder / "new"); }); }), "storage 0");
  EXPECT_FALSE(isThere(folder / "new"));
}

}  // namespace
}  // namespace database_client
