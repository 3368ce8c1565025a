#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>

#include "tests/client/embedded/durability/LogOfSteps.h"
#include "tests/client/embedded/support/EngineFixture.h"

namespace database_client {
namespace {

using testing::Client;
using testing::contentOf;
using testing::documentOf;
using testing::isThere;
using testing::TemporaryFolder;
using testing::writeFile;

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

  TemporaryFolder folder{testing::memoryFolder()};
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
    for (const char* side : {"-wal", "-shm", "-journal"}) testing::removeFile(path + side);
  }
  EXPECT_GT(outcomes["refused"], 0);
  std::printf("seed %u: %ld rounds, %d refused, %d found by the check, %d harmless\n", seed, rounds,
              outcomes["refused"], outcomes["missed"], outcomes["whole"]);
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
  testing::Pipe pipe;
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
