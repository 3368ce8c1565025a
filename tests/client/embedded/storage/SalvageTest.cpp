// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "client/embedded/sqlite/Connection.h"
#include "tests/client/embedded/support/EngineFixture.h"

namespace database_client {
namespace {

constexpr int documents = 500;
constexpr std::size_t pageSize = 8192;

std::string idOf(int id) {
  return "{\"_id\": " + std::to_string(id) + "}";
}

/// In the middle of a document, and nowhere else.
std::string markOf(int id) {
  return "<mark " + std::to_string(id) + ">";
}

class EmbeddedSalvage : public ::testing::Test {
 protected:
  EmbeddedSalvage() {
    Client client(path);
    std::vector<ObjectProperties> all;
    all.reserve(documents);
    for (int id = 0; id < documents; ++id) all.push_back(documentOf(id, 300));
    client.engine->insertMany(client.where(), all);
  }

  static ObjectProperties documentOf(int id, int size) {
    return ObjectProperties::fromJson(
        "{\"_id\": " + std::to_string(id) + R"(, "items": [{"name": "parity", "value": )" + std::to_string(id % 2) +
        R"(}], "text": ")" + markOf(id) + std::string(static_cast<std::size_t>(size), 'x') + "\"}");
  }

  void execute(const std::string& sql) const { embedded::sqlite::Connection::openFile(path, 0).execute(sql); }
  /// Damages one document's bytes.
  void damage(int id) const {
    execute("UPDATE documents_2 SET body = replace(body, CAST('mark' AS BLOB), CAST('MARK' AS BLOB)) WHERE rid = " +
            std::to_string(id + 1));
  }
  /// Makes the page that holds a document one that nobody can read.
  void breakPageOf(int id) const {
    std::string content = contentOf(path);
    const std::size_t at = content.find(markOf(id));
    ASSERT_NE(at, std::string::npos);
    content.replace(at - at % pageSize, 16, 16, '\xff');
    writeFile(path, content);
  }

  /// Lets reads go on, and gathers what they pass over.
  void passOver(Client& client) {
    client.engine->setUnreadableHandler([this](const ObjectProperties& id, const Error& error) {
      EXPECT_EQ(error.kind(), Error::Kind::storage);
      unreadable.push_back(id.toJson());
      return true;
    });
  }
  static std::set<std::string> idsOf(const Client& client, const std::string& query = "{}") {
    std::set<std::string> ids;
    const auto condition = ObjectProperties::fromJson(query);
    const auto projection = ObjectProperties::fromJson(R"({"_id": true})");
    client.engine->find(client.where(), {condition, projection, 0, 0}, [&ids](ObjectProperties&& document) {
      EXPECT_TRUE(ids.insert(document.toJson()).second) << document.toJson();
      return true;
    });
    return ids;
  }
  /// Expects each document to be given or told of, once.
  void expectAllButUnreadable(const Client& client) {
    std::set<std::string> ids = idsOf(client);
    EXPECT_EQ(ids.size() + unreadable.size(), static_cast<std::size_t>(documents));
    ids.insert(unreadable.begin(), unreadable.end());
    EXPECT_EQ(ids.size(), static_cast<std::size_t>(documents));
  }

  TemporaryFolder folder{};
  std::string path = folder / "store";
  std::vector<std::string> unreadable{};
};

const std::string odd = R"({"items": {"$elemMatch": {"name": "parity", "value": 1}}})";

TEST_F(EmbeddedSalvage, GivesTheOtherDocumentsAndNamesTheDamagedOne) {
  damage(7);
  Client client(path);
  EXPECT_EQ(client.all(), "storage 0");
  passOver(client);
  const auto ids = idsOf(client);
  EXPECT_EQ(ids.size(), static_cast<std::size_t>(documents) - 1);
  EXPECT_EQ(ids.count(idOf(7)), 0U);
  EXPECT_EQ(unreadable, std::vector<std::string>{idOf(7)});
}

TEST_F(EmbeddedSalvage, EndsWhereTheHandlerGivesUp) {
  damage(7);
  Client client(path);
  client.engine->setUnreadableHandler([](const ObjectProperties&, const Error&) { return false; });
  EXPECT_EQ(client.all(), "storage 0");
}

TEST_F(EmbeddedSalvage, IsAskedForInOneCallOrForAllThatFollow) {
  damage(7);
  DataBaseClient client;
  ASSERT_TRUE(client.connect("", "file:" + path, 0, "", ""));
  int found = 0;
  const auto count = [&found](ObjectProperties&) { return ++found > 0; };
  const UnreadableHandler handler = [this](const ObjectProperties& id, const Error&) {
    unreadable.push_back(id.toJson());
    return true;
  };
  client.findEach("test", "things", {}, {}, 0, 0, count, handler);
  EXPECT_EQ(found, documents - 1);
  EXPECT_THROW(client.findEach("test", "things", {}, {}, 0, 0, count), Error);
  client.setUnreadableHandler(handler);
  found = 0;
  client.findEach("test", "things", {}, {}, 0, 0, count);
  EXPECT_EQ(found, documents - 1);
  client.setUnreadableHandler({});
  EXPECT_THROW(client.findEach("test", "things", {}, {}, 0, 0, count), Error);
  EXPECT_EQ(unreadable, (std::vector<std::string>{idOf(7), idOf(7)}));
}

TEST_F(EmbeddedSalvage, GoesOnBehindAPageThatCannotBeRead) {
  breakPageOf(200);
  Client client(path);
  EXPECT_EQ(client.all(), "storage 0");
  passOver(client);
  expectAllButUnreadable(client);
  EXPECT_NE(std::find(unreadable.begin(), unreadable.end(), idOf(200)), unreadable.end());
  EXPECT_LT(unreadable.size(), 30U);
}

TEST_F(EmbeddedSalvage, GoesOnBehindSeveralPagesThatCannotBeRead) {
  for (const int id : {0, 150, 151, 300, 499}) breakPageOf(id);
  Client client(path);
  passOver(client);
  expectAllButUnreadable(client);
  EXPECT_LT(unreadable.size(), 100U);
}

TEST_F(EmbeddedSalvage, PagesBehindADocumentAddUpToAllThatCanBeRead) {
  for (const int id : {0, 150, 300}) breakPageOf(id);
  Client client(path);
  passOver(client);
  const std::string all = client.ids("{}", "");
  const std::vector<std::string> toldOf = unreadable;
  ASSERT_GT(toldOf.size(), 3U);
  unreadable.clear();
  std::string pages;
  std::string last;
  for (std::string page = client.ids("{}", "", last, 90); !page.empty(); page = client.ids("{}", "", last, 90)) {
    pages += page;
    const std::size_t at = page.rfind(' ', page.size() - 2);
    last = "{\"_id\": " + page.substr(at == std::string::npos ? 0 : at + 1) + "}";
  }
  EXPECT_EQ(pages, all);
  EXPECT_EQ(unreadable, toldOf);
}

TEST_F(EmbeddedSalvage, NamesTheDocumentsOfPagesThatStandInEachOthersPlace) {
  std::string content = contentOf(path);
  const std::size_t one = content.find(markOf(100)) / pageSize * pageSize;
  const std::size_t other = content.find(markOf(300)) / pageSize * pageSize;
  ASSERT_NE(one, other);
  std::swap_ranges(&content[one], &content[one] + pageSize, &content[other]);
  writeFile(path, content);
  Client client(path);
  EXPECT_EQ(client.all(), "storage 0");
  passOver(client);
  expectAllButUnreadable(client);
  EXPECT_LT(unreadable.size(), 60U);
}

TEST_F(EmbeddedSalvage, EndsWhereAPageStandsInThePlaceOfAnother) {
  const std::string whole = contentOf(path);
  for (const auto& [from, to] : {std::pair(100, 300), std::pair(300, 100), std::pair(499, 0)}) {
    std::string content = whole;
    const std::size_t one = content.find(markOf(from)) / pageSize * pageSize;
    content.replace(content.find(markOf(to)) / pageSize * pageSize, pageSize, content, one, pageSize);
    writeFile(path, content);
    Client client(path);
    unreadable.clear();
    passOver(client);
    expectAllButUnreadable(client);
    EXPECT_LT(unreadable.size(), 60U);
  }
}

TEST_F(EmbeddedSalvage, GoesOnBehindADocumentWhosePagesAreNotLinked) {
  {
    Client client(path);
    client.engine->remove(client.where(), ObjectProperties::fromJson(idOf(100)), false);
    client.engine->insert(client.where(), documentOf(100, 100'000));
    client.engine->compact();
  }
  std::string content = contentOf(path);
  // The first page of the rest of a long document begins with the number of the next one.
  const std::size_t page = (content.find(markOf(100)) / pageSize + 1) * pageSize;
  ASSERT_EQ(content.substr(page + 100, 3), "xxx");
  content.replace(page, 4, "\x7f\xff\xff\xff");
  writeFile(path, content);
  Client client(path);
  passOver(client);
  expectAllButUnreadable(client);
  EXPECT_EQ(unreadable, std::vector<std::string>{idOf(100)});
}

TEST_F(EmbeddedSalvage, CountsAndAggregatesTheOtherDocuments) {
  damage(7);
  Client client(path);
  EXPECT_EQ(client.count(R"({"text": {"$exists": true}})"), "storage 0");
  passOver(client);
  EXPECT_EQ(client.count(R"({"text": {"$exists": true}})"), std::to_string(documents - 1));
  EXPECT_EQ(client.aggregate(R"([{"$match": {"text": {"$exists": true}}}, {"$count": "n"}])"),
            "{\"n\": " + std::to_string(documents - 1) + "}");
  EXPECT_EQ(unreadable, (std::vector<std::string>{idOf(7), idOf(7)}));
}

TEST_F(EmbeddedSalvage, NamesWhatTheIndexLeadsTo) {
  damage(7);
  Client client(path);
  passOver(client);
  EXPECT_EQ(idsOf(client, odd).size(), documents / 2 - 1U);
  EXPECT_EQ(unreadable, std::vector<std::string>{idOf(7)});
}

TEST_F(EmbeddedSalvage, ReadsTheDocumentsWhereTheIndexIsDamaged) {
  execute("UPDATE blobs SET bytes = zeroblob(length(bytes))");
  Client client(path);
  EXPECT_EQ(client.find(odd), "storage 0");
  passOver(client);
  EXPECT_EQ(idsOf(client, odd).size(), documents / 2U);
  EXPECT_EQ(client.aggregate(R"([{"$project": {"items": true, "_id": false}}, {"$unwind": "$items"},
                               {"$project": {"name": "$items.name", "type": "$items.type", "_id": false}},
                               {"$group": {"_id": {"name": "$name", "type": "$type"}, "count": {"$sum": 1}}}])"),
            R"({"_id": {"name": "parity"}, "count": 500})");
  EXPECT_TRUE(unreadable.empty());
}

TEST_F(EmbeddedSalvage, RemovesADamagedDocumentAndKeepsTheIndexRight) {
  for (const std::string query : {R"({"_id": 7})", R"({"_id": {"$in": [9, 11]}})", R"({"_id": {"$eq": 13}})"}) {
    for (const int id : {7, 9, 11, 13}) damage(id);
    Client client(path);
    EXPECT_EQ(client.remove(query), "ok") << query;
    EXPECT_EQ(client.count(query), "0") << query;
  }
  Client client(path);
  EXPECT_EQ(client.check(), std::to_string(documents + 1 - 4));
  EXPECT_EQ(client.count(odd), std::to_string(documents / 2 - 4));
  EXPECT_EQ(client.insert(R"({"_id": 7, "items": [{"name": "parity", "value": 1}]})"), "ok");
  EXPECT_EQ(client.count(odd), std::to_string(documents / 2 - 3));
}

TEST_F(EmbeddedSalvage, RemovesADamagedDocumentWithinATransaction) {
  damage(7);
  Client client(path);
  client.engine->beginTransaction();
  EXPECT_EQ(client.insert(R"({"_id": "new", "items": [{"name": "parity", "value": 1}]})"), "ok");
  EXPECT_EQ(client.remove(idOf(7)), "ok");
  EXPECT_EQ(client.count(odd), std::to_string(documents / 2));
  EXPECT_EQ(client.remove(idOf(9)), "ok");
  client.engine->rollbackTransaction();
  EXPECT_EQ(client.count(odd), std::to_string(documents / 2));
  EXPECT_EQ(client.remove(idOf(7)), "ok");
  EXPECT_EQ(client.check(), std::to_string(documents));
}

TEST_F(EmbeddedSalvage, RemovesEverythingDamagedOrNot) {
  for (const int id : {0, 7, 499}) damage(id);
  Client client(path);
  EXPECT_EQ(client.remove("{}"), "ok");
  EXPECT_EQ(client.check(), "1");
}

// Whoever changed it past the library left nothing by which to tell whether the query matches.
TEST_F(EmbeddedSalvage, RemovesByAConditionOnlyWhatIsKnownToMeetIt) {
  damage(7);
  Client client(path);
  EXPECT_EQ(client.remove(R"({"text": {"$exists": true}})"), "storage 0");
  EXPECT_EQ(client.count("{}"), std::to_string(documents));
  passOver(client);
  EXPECT_EQ(client.remove(R"({"text": {"$exists": true}})"), "ok");
  EXPECT_EQ(client.count("{}"), "1");
}

TEST_F(EmbeddedSalvage, StaysACandidateOnceTheIndexWasMadeAnew) {
  damage(7);
  execute("UPDATE blobs SET bytes = zeroblob(length(bytes)) WHERE key & 131071 > 1 OR key & 8796093022207 > 131071");
  Client client(path);
  EXPECT_EQ(client.find(odd), "storage 0");
  client.engine->compact();
  EXPECT_EQ(client.find(odd), "storage 0");
  passOver(client);
  EXPECT_EQ(idsOf(client, odd).size(), documents / 2 - 1U);
  EXPECT_EQ(unreadable, std::vector<std::string>{idOf(7)});
  EXPECT_EQ(client.remove(idOf(7)), "ok");
  EXPECT_EQ(client.check(), std::to_string(documents));
}

TEST_F(EmbeddedSalvage, IsToldWithEveryIdByTheCheck) {
  for (const int id : {3, 7}) damage(id);
  Client client(path);
  EXPECT_EQ(client.check(),
            "501; test.things {\"_id\": 3} (record 4): it is damaged; "
            "test.things {\"_id\": 7} (record 8): it is damaged");
}

TEST_F(EmbeddedSalvage, WritesAllThatIsHealthyToANewStore) {
  {
    Client client(path);
    client.engine->setUpDeployment({false, "secret", {}});
    Client administrator(path, "admin", "admin", "secret");
    administrator.engine->createUser("databaseManager", "ann", "of ann",
                                     ObjectProperties::fromJson(R"({"0": {"role": "read", "db": "test"}})"), {});
    administrator.collection = "others";
    administrator.insert(R"({"_id": 1})");
  }
  damage(7);
  breakPageOf(200);
  const std::string before = contentOf(path);
  Client client(path, "admin", "admin", "secret");
  passOver(client);
  const std::size_t healthy = idsOf(client).size();
  const CheckReport report = client.engine->repair(folder / "new");
  EXPECT_EQ(report.problems.size(), static_cast<std::size_t>(documents) - healthy);
  EXPECT_EQ(report.problems.front(), "test.things {\"_id\": 7} (record 8): lost");
  EXPECT_EQ(contentOf(path), before);
  EXPECT_EQ(modeOf(folder / "new"), "600");
  Client repaired((folder / "new") + "?create=false", "admin", "admin", "secret");
  EXPECT_EQ(repaired.check(), std::to_string(report.documents));
  EXPECT_EQ(idsOf(repaired), idsOf(client));
  EXPECT_EQ(repaired.find(idOf(8)), documentOf(8, 300).toJson());
  EXPECT_EQ(Client(folder / "new", "databaseManager", "ann", "of ann").count(idOf(8)), "1");
  EXPECT_EQ(Client::outcome([this] { Client(folder / "new", "databaseManager", "ann", "wrong"); }),
            "authentication 18");
  repaired.collection = "others";
  EXPECT_EQ(repaired.all(), idOf(1));
  EXPECT_EQ(Client::outcome([&] { client.engine->repair(folder / "new"); }), "storage 0");
  EXPECT_EQ(Client::outcome([&] { Client(folder / "new").engine->repair(folder / "other"); }), "authorization 13");
}

}  // namespace
}  // namespace database_client
