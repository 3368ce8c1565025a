// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "tests/client/embedded/support/EngineFixture.h"

namespace database_client {
namespace {

class EmbeddedAggregation : public ::testing::Test {
 protected:
  void insertRecords() {
    client.insert(R"({"_id": 1, "tags": [{"name": "Color", "value": "red"}, {"name": "Shape", "value": "round"}]})");
    client.insert(R"({"_id": 2, "tags": [{"name": "Color", "value": "blue"}]})");
    client.insert(R"({"_id": 3, "tags": [{"name": "Color", "value": "red"}]})");
  }

  Client client{":memory:"};
};

TEST_F(EmbeddedAggregation, OfNothingGivesNothing) {
  EXPECT_EQ(client.aggregate(R"([{"$match": {}}])"), "");
  EXPECT_EQ(client.aggregate(R"([{"$group": {"_id": null, "n": {"$sum": 1}}}])"), "");
}

TEST_F(EmbeddedAggregation, WithoutStagesGivesTheDocuments) {
  client.insert(R"({"_id": 1})");
  EXPECT_EQ(client.aggregate("[]"), R"({"_id": 1})");
}

TEST_F(EmbeddedAggregation, BeginsWithAMatchThatUsesAnIndex) {
  for (const char* id : {"1", "2", "3"}) client.insert(std::string("{\"_id\": ") + id + "}");
  EXPECT_EQ(client.aggregate(R"([{"$match": {"_id": 2}}, {"$addFields": {"a": 1}}])"), R"({"_id": 2, "a": 1})");
  EXPECT_EQ(client.aggregate(R"([{"$match": {"_id": {"$gt": 1}}}, {"$count": "n"}])"), R"({"n": 2})");
  EXPECT_EQ(client.aggregate(R"([{"$match": {}}, {"$limit": 1}])"), R"({"_id": 1})");
}

TEST_F(EmbeddedAggregation, CountsValuesAsAScanWould) {
  insertRecords();
  const std::string count =
      R"({"$project": {"tags": true, "_id": false}}, {"$unwind": "$tags"},
         {"$project": {"name": "$tags.name", "value": "$tags.value", "_id": false}},
         {"$match": {"name": {"$regex": "^Color$", "$options": ""}}},
         {"$group": {"_id": "$value", "count": {"$sum": 1}}}, {"$sort": {"count": -1}}])";
  const std::string expected = R"({"_id": "red", "count": 2}{"_id": "blue", "count": 1})";
  EXPECT_EQ(client.aggregate("[" + count), expected);
  // A stage that changes nothing keeps the index out.
  EXPECT_EQ(client.aggregate(R"([{"$skip": 0}, )" + count), expected);
}

TEST_F(EmbeddedAggregation, CountsInsideATransactionWhatWasJustWritten) {
  insertRecords();
  client.engine->beginTransaction();
  client.insert(R"({"_id": 4, "tags": [{"name": "Color", "value": "red"}]})");
  client.remove(R"({"_id": 2})");
  EXPECT_EQ(client.find(R"({"tags": {"$elemMatch": {"name": "Color", "value": "red"}}})", R"({"_id": true})"),
            R"({"_id": 1}{"_id": 3}{"_id": 4})");
  EXPECT_EQ(client.count(R"({"tags": {"$elemMatch": {"name": "Color", "value": "blue"}}})"), "0");
  client.engine->rollbackTransaction();
  EXPECT_EQ(client.find(R"({"tags": {"$elemMatch": {"name": "Color", "value": "red"}}})", R"({"_id": true})"),
            R"({"_id": 1}{"_id": 3})");
  EXPECT_EQ(client.count(R"({"tags": {"$elemMatch": {"name": "Color", "value": "blue"}}})"), "1");
  EXPECT_EQ(client.check(), "4");
}

TEST_F(EmbeddedAggregation, IsRefusedBeforeAnythingIsReadWhenAStageMakesNoSense) {
  insertRecords();
  EXPECT_EQ(client.aggregate(R"([{"$fry": {}}])"), "query 40324");
  EXPECT_EQ(client.aggregate(R"([{"$match": 5}])"), "query 15959");
  EXPECT_EQ(client.aggregate(R"([{"$out": "elsewhere"}])").substr(0, 11), "unsupported");
  EXPECT_EQ(client.aggregate(R"([{"$match": {"a": {"$foo": 1}}}])"), "query 2");
}

TEST_F(EmbeddedAggregation, StopsWhenTheReceiverHasEnough) {
  insertRecords();
  int received = 0;
  client.engine->aggregate(client.where(), ObjectProperties(), [&received](ObjectProperties&&) {
    ++received;
    return false;
  });
  EXPECT_EQ(received, 1);
}

TEST_F(EmbeddedAggregation, HandsOverToAReceiverThatWrites) {
  insertRecords();
  std::string received;
  ObjectProperties stages = ObjectProperties::fromJson(R"({"0": {"$unwind": "$tags"}})");
  client.engine->aggregate(client.where(), stages, [&](ObjectProperties&& document) {
    const int id = document.valueAsInt32("_id", 0);
    received += std::to_string(id) + " ";
    client.remove(R"({"_id": 2})");
    client.insert("{\"_id\": " + std::to_string(id + 10) + R"(, "tags": [1]})");
    return true;
  });
  EXPECT_EQ(received, "1 1 2 3 ");
}

}  // namespace
}  // namespace database_client
