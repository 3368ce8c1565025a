// SPDX-License-Identifier: Apache-2.0

// The index as the embedded engine uses it.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "client/DocumentAccess.h"
#include "client/embedded/query/match/Matcher.h"
#include "client/embedded/sqlite/Connection.h"
#include "tests/client/embedded/index/RandomDocuments.h"
#include "tests/client/embedded/support/EngineFixture.h"

namespace database_client::embedded {
namespace {

using database_client::Client;
using database_client::TemporaryFolder;

class IndexedStoreTest : public ::testing::Test {
 protected:
  Client open() { return Client(folder_ / "store"); }

  static std::string record(int id, const std::string& colour, int size) {
    return R"({"_id": )" + std::to_string(id) + R"(, "info": {"tags": [{"name": "colour", "value": ")" + colour +
           R"("}, {"name": "size", "value": )" + std::to_string(size) + "}]}}";
  }

  static void fill(Client& client) {
    for (int i = 1; i <= 200; ++i) client.insert(record(i, i % 50 == 0 ? "red" : "blue", i));
  }

  static std::string colour(const std::string& value) {
    return R"({"info.tags": {"$elemMatch": {"name": "colour", "value": ")" + value + R"("}}})";
  }
  static std::string idsOf(Client& client, const std::string& query, int limit = 0, int skip = 0) {
    std::string ids = client.find(query, R"({"_id": 1})", limit, skip);
    const std::string before = R"({"_id": )";
    for (std::size_t at = ids.find(before); at != std::string::npos; at = ids.find(before))
      ids.erase(at, before.size());
    std::replace(ids.begin(), ids.end(), '}', ' ');
    return ids;
  }

  /// The number of documents besides the administrator, and what is wrong with the store.
  static std::string sound(Client& client) {
    const CheckReport report = client.engine->check();
    std::string text = std::to_string(report.documents - 1);
    for (const std::string& problem : report.problems) text += "; " + problem;
    return text;
  }

  TemporaryFolder folder_;
};

TEST_F(IndexedStoreTest, AnswersAConditionOnItemsWithoutReadingOthers) {
  Client client = open();
  fill(client);
  EXPECT_EQ(client.explain(colour("red")), R"json({"index": "items(info.tags)", "examined": 4, "returned": 4})json");
  EXPECT_EQ(idsOf(client, colour("red")), "50 100 150 200 ");
  EXPECT_EQ(client.count(colour("red")), "4");
}

TEST_F(IndexedStoreTest, PagesComeInInsertionOrder) {
  Client client = open();
  fill(client);
  client.update(R"({"_id": 50})", record(50, "red", 1), UpdateKind::replaceFirst);
  EXPECT_EQ(idsOf(client, colour("red"), 2, 0), "50 100 ");
  EXPECT_EQ(idsOf(client, colour("red"), 2, 2), "150 200 ");
}

TEST_F(IndexedStoreTest, FollowsUpdatesAndRemovals) {
  Client client = open();
  fill(client);
  client.update(R"({"_id": 50})", record(50, "green", 1), UpdateKind::replaceFirst);
  client.update(R"({"_id": 7})", R"({"info.tags": {"name": "colour", "value": "red"}})",
                UpdateKind::appendToArrayInAll);
  client.remove(R"({"_id": 100})");
  EXPECT_EQ(idsOf(client, colour("red")), "7 150 200 ");
  EXPECT_EQ(idsOf(client, colour("green")), "50 ");
  client.remove(colour("red"));
  EXPECT_EQ(idsOf(client, colour("red")), "");
  EXPECT_EQ(sound(client), "196");
}

TEST_F(IndexedStoreTest, AnUndoneTransactionLeavesTheIndexAsItWas) {
  Client client = open();
  fill(client);
  client.engine->beginTransaction();
  client.insert(record(300, "red", 1));
  EXPECT_EQ(idsOf(client, colour("red")), "50 100 150 200 300 ");
  client.remove(R"({"_id": 50})");
  client.engine->rollbackTransaction();
  EXPECT_EQ(idsOf(client, colour("red")), "50 100 150 200 ");
  client.insert(record(301, "red", 1));
  EXPECT_EQ(idsOf(client, colour("red")), "50 100 150 200 301 ");
  EXPECT_EQ(sound(client), "201");
}

TEST_F(IndexedStoreTest, WritesByIdOfOneTransactionMakeOneSegment) {
  Client client = open();
  fill(client);
  const auto segmentsMade = [this] {
    auto file = sqlite::Connection::openFile(folder_ / "store", 1000);
    return file.integer("SELECT (max(key) >> 17) & 0x3FFFFFF FROM blobs");
  };
  const std::int64_t before = segmentsMade();
  client.engine->beginTransaction();
  for (int i = 1; i <= 60; ++i) {
    const std::string id = "{\"_id\": " + std::to_string(i) + "}";
    client.update(id, record(i, "green", i), UpdateKind::replaceFirst, true);
    client.update(id, R"({"seen": true})", UpdateKind::setInAll);
    if (i > 50) client.remove(id);
  }
  EXPECT_EQ(client.update(R"({"_id": 4})", R"({"seen": 1})", UpdateKind::appendToArrayInAll), "query 2");
  client.engine->commitTransaction();
  EXPECT_EQ(segmentsMade() - before, 1);
  EXPECT_EQ(client.count(colour("green")), "50");
  EXPECT_EQ(sound(client), "190");
}

TEST_F(IndexedStoreTest, AFailedInsertIsNotIndexed) {
  Client client = open();
  fill(client);
  EXPECT_EQ(client.insert(record(1, "red", 1)), "duplicateKey 11000");
  EXPECT_EQ(idsOf(client, colour("red")), "50 100 150 200 ");
  EXPECT_EQ(sound(client), "200");
}

TEST_F(IndexedStoreTest, TwoClientsSeeEachOthersItems) {
  Client first = open();
  fill(first);
  Client second = open();
  EXPECT_EQ(idsOf(second, colour("red")), "50 100 150 200 ");
  second.insert(record(201, "red", 1));
  first.insert(record(202, "red", 1));
  for (int i = 0; i < 100; ++i) (i % 2 == 0 ? first : second).insert(record(1000 + i, "red", i));
  EXPECT_EQ(first.count(colour("red")), "106");
  EXPECT_EQ(second.count(colour("red")), "106");
  EXPECT_EQ(sound(first), "302");
}

TEST_F(IndexedStoreTest, CompactingKeepsTheAnswers) {
  Client client = open();
  fill(client);
  client.remove(R"({"_id": {"$lte": 100}})");
  client.engine->compact();
  EXPECT_EQ(idsOf(client, colour("red")), "150 200 ");
  EXPECT_EQ(sound(client), "100");
}

TEST_F(IndexedStoreTest, CheckFindsADamagedIndexAndCompactMendsIt) {
  {
    Client client = open();
    fill(client);
  }
  {
    auto connection = sqlite::Connection::openFile(folder_ / "store", 1000);
    connection.execute("UPDATE blobs SET bytes = zeroblob(length(bytes)) WHERE key = (SELECT max(key) FROM blobs)");
  }
  Client client = open();
  EXPECT_NE(client.check().find("The item index is damaged"), std::string::npos);
  client.engine->compact();
  EXPECT_EQ(sound(client), "200");
  EXPECT_EQ(idsOf(client, colour("red")), "50 100 150 200 ");
}

TEST_F(IndexedStoreTest, StatisticsFollowEveryChange) {
  const std::string statistics =
      R"([{"$project": {"info.tags": true, "_id": false}}, {"$unwind": "$info.tags"},
          {"$project": {"name": "$info.tags.name", "value": "$info.tags.value", "_id": false}},
          {"$match": {"name": {"$regex": "^Colour$", "$options": "i"}}},
          {"$group": {"_id": "$value", "count": {"$sum": 1}}}, {"$sort": {"_id": 1}}])";
  Client client = open();
  fill(client);
  EXPECT_EQ(client.aggregate(statistics), R"({"_id": "blue", "count": 196}{"_id": "red", "count": 4})");
  client.remove(R"({"_id": 50})");
  client.update(R"({"_id": 1})", record(1, "green", 1), UpdateKind::replaceFirst);
  EXPECT_EQ(client.aggregate(statistics),
            R"({"_id": "blue", "count": 195}{"_id": "green", "count": 1}{"_id": "red", "count": 3})");
}

/// Random changes and queries against what a matcher says of all documents.
class RandomStoreTest : public IndexedStoreTest, public ::testing::WithParamInterface<std::uint32_t> {
 protected:
  static std::string matching(Client& client, const std::string& query) {
    const Bytes bytes = fromJson(query);
    const Matcher matcher(viewOf(bytes));
    std::string found;
    const ObjectProperties nothing;
    client.engine->find(client.where(), {nothing, nothing, 0, 0}, [&](ObjectProperties&& document) {
      if (matcher.matches(DocumentAccess::view(document))) found += document.toJson();
      return true;
    });
    return found;
  }
};

TEST_P(RandomStoreTest, FindsWhatAScanFinds) {
  const char* given = std::getenv("DATABASE_TEST_SEED");
  const std::uint32_t seed = given != nullptr ? static_cast<std::uint32_t>(std::atoi(given)) : GetParam();
  SCOPED_TRACE("DATABASE_TEST_SEED=" + std::to_string(seed));
  RandomDocuments random(seed);
  Client client = open();
  for (int i = 0; i < 300; ++i) {
    const std::string id = R"({"_id": )" + std::to_string(random.below(60)) + "}";
    const std::string name = random.name();
    switch (random.below(8)) {
      case 0:
        client.remove(id);
        break;
      case 1:
        client.remove(R"({"info.tags": {"$elemMatch": {"name": ")" + name + R"(", "value": 1}}})");
        break;
      case 2:
        client.update(id, R"({"info.tags": {"name": ")" + name + R"(", "value": 1}})", UpdateKind::appendToArrayInAll);
        break;
      case 3:
        client.update(R"({"info.marks.name": ")" + name + R"("})", R"({"info.tags": []})", UpdateKind::setInAll);
        break;
      default:
        client.insert(toJson(viewOf(random.document(12))));
    }
    const std::string query = R"({"info.tags": {"$elemMatch": {"name": ")" + name + R"(", "value": {"$gte": 0}}}})";
    if (i % 50 == 0 && random.oneIn(2)) client.engine->compact();
    if (i % 10 != 0) continue;
    ASSERT_EQ(client.find(query), matching(client, query)) << query;
  }
  const std::string report = client.check();
  EXPECT_EQ(report.find(';'), std::string::npos) << report;
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomStoreTest, ::testing::Range(1U, 9U));

}  // namespace
}  // namespace database_client::embedded
