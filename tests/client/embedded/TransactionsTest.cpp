// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "tests/client/embedded/support/EngineFixture.h"

namespace database_client {
namespace {

class EmbeddedTransaction : public ::testing::Test {
 protected:
  TemporaryFolder folder{};
  std::string path = folder / "store";
  std::unique_ptr<Client> client = std::make_unique<Client>(path);
  Engine& engine = *client->engine;
};

TEST_F(EmbeddedTransaction, MakesNothingVisibleToOthersBeforeItIsCommitted) {
  Client other(path);
  engine.beginTransaction();
  client->insert(R"({"_id": 1})");
  client->insert(R"({"_id": 2})");
  EXPECT_EQ(client->count("{}") + other.count("{}"), "20");
  engine.commitTransaction();
  EXPECT_EQ(other.count("{}"), "2");
}

TEST_F(EmbeddedTransaction, LeavesNothingWhenItIsRolledBack) {
  client->insert(R"({"_id": 1})");
  engine.beginTransaction();
  client->insert(R"({"_id": 2})");
  client->update("{}", R"({"a": 1})", UpdateKind::setInAll);
  client->collection = "more";
  client->insert(R"({"_id": 3})");
  engine.rollbackTransaction();
  EXPECT_EQ(client->all(), "");
  client->collection = "things";
  EXPECT_EQ(client->all(), R"({"_id": 1})");
  EXPECT_EQ(engine.collectionNames("test"), std::list<std::string>{"things"});
}

TEST_F(EmbeddedTransaction, UsesACollectionThatWasRolledBackAgain) {
  engine.beginTransaction();
  client->insert(R"({"_id": 3})");
  engine.rollbackTransaction();
  client->collection = "takes the number";
  client->insert(R"({"_id": 1})");
  client->collection = "things";
  EXPECT_EQ(client->insert(R"({"_id": 2})"), "ok");
  EXPECT_EQ(client->all(), R"({"_id": 2})");
  EXPECT_EQ(client->check(), "3");
}

TEST_F(EmbeddedTransaction, IsRolledBackWithItsClient) {
  engine.beginTransaction();
  client->insert(R"({"_id": 1})");
  client.reset();
  EXPECT_EQ(Client(path).count("{}"), "0");
}

TEST_F(EmbeddedTransaction, GoesOnAfterACallThatWasRefused) {
  engine.beginTransaction();
  client->insert(R"({"_id": 1, "a": []})");
  EXPECT_EQ(client->insert(R"({"_id": 1})"), "duplicateKey 11000");
  client->insert(R"({"_id": 2, "a": 5})");
  EXPECT_EQ(client->update("{}", R"({"a": 1})", UpdateKind::appendToArrayInAll), "query 2");
  engine.commitTransaction();
  EXPECT_EQ(client->all(), R"({"_id": 1, "a": []}{"_id": 2, "a": 5})");
  EXPECT_EQ(client->check(), "3");
}

TEST_F(EmbeddedTransaction, IsNotOpenedTwiceNorClosedWithoutOne) {
  EXPECT_THROW(engine.commitTransaction(), Error);
  EXPECT_THROW(engine.rollbackTransaction(), Error);
  engine.beginTransaction();
  EXPECT_THROW(engine.beginTransaction(), Error);
  client->insert(R"({"_id": 1})");
  engine.commitTransaction();
  EXPECT_EQ(client->count("{}"), "1");
}

TEST_F(EmbeddedTransaction, MakesOtherWritersWaitAndThenGiveUp) {
  Client other(path + "?timeout=50");
  engine.beginTransaction();
  EXPECT_EQ(other.insert(R"({"_id": 1})"), "timeout 0");
  EXPECT_EQ(other.count("{}"), "0");
  engine.rollbackTransaction();
  EXPECT_EQ(other.insert(R"({"_id": 1})"), "ok");
}

TEST_F(EmbeddedTransaction, ReadsOneStateWhileOthersWrite) {
  Client other(path);
  client->insert(R"({"_id": 1})");
  client->insert(R"({"_id": 2})");
  std::string received;
  engine.find(client->where(), {{}, {}, 0, 0}, [&](ObjectProperties&& document) {
    received += document.toJson();
    other.insert("{\"_id\": " + std::to_string(document.valueAsInt32("_id", 0) + 10) + "}");
    return true;
  });
  EXPECT_EQ(received, R"({"_id": 1}{"_id": 2})");
  EXPECT_EQ(client->count("{}"), "4");
}

TEST_F(EmbeddedTransaction, SeesTheCollectionsThatOthersMade) {
  EXPECT_EQ(client->count("{}"), "0");
  Client other(path);
  other.insert(R"({"_id": 1})");
  EXPECT_EQ(client->all(), R"({"_id": 1})");
}

}  // namespace
}  // namespace database_client
