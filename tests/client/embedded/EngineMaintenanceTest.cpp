// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <set>
#include <string>

#include "tests/client/embedded/support/EngineFixture.h"

namespace database_client {
namespace {

class EmbeddedCare : public ::testing::Test {
 protected:
  static void fill(Client& client, int count) {
    std::vector<ObjectProperties> documents;
    documents.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
      documents.push_back(ObjectProperties::fromJson("{\"_id\": " + std::to_string(i) + R"(, "text": ")" +
                                                     std::string(500, 'x') + "\"}"));
    }
    client.engine->insertMany(client.where(), documents);
  }
  /// Changes the file past the library.
  void tamper(const std::string& sql) const {
    sqlite3* file = nullptr;
    ASSERT_EQ(sqlite3_open(path.c_str(), &file), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(file, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(file);
  }

  TemporaryFolder folder{};
  std::string path = folder / "store";
};

TEST_F(EmbeddedCare, FindsNothingWrongWithAHealthyStore) {
  Client client(path);
  fill(client, 100);
  EXPECT_EQ(client.check(), "101");
}

TEST_F(EmbeddedCare, FindsADocumentWhoseBytesWereChanged) {
  {
    Client client(path);
    fill(client, 3);
  }
  tamper("UPDATE documents_2 SET body = replace(body, 'x', 'y') WHERE rid = 2");
  Client client(path);
  EXPECT_EQ(client.check(), "4; test.things {\"_id\": 1} (record 2): it is damaged");
  EXPECT_EQ(client.find(R"({"_id": 1})"), "storage 0");
  EXPECT_EQ(client.all(), "storage 0");
  EXPECT_NE(client.find(R"({"_id": 2})"), "storage 0");
}

TEST_F(EmbeddedCare, TellsInWhichCollectionADocumentIsDamaged) {
  {
    Client client(path);
    fill(client, 1);
  }
  tamper("UPDATE documents_2 SET sum = sum + 1");
  Client client(path);
  try {
    client.engine->find(client.where(), {{}, {}, 0, 0}, [](ObjectProperties&&) { return true; });
    FAIL() << "the document is damaged";
  } catch (const Error& error) {
    EXPECT_EQ(std::string(error.what()), "store " + path + ": a document of test.things is damaged (record 1)");
  }
}

TEST_F(EmbeddedCare, FindsADocumentUnderAnotherId) {
  {
    Client client(path);
    fill(client, 2);
  }
  tamper("UPDATE documents_2 SET id = x'00' WHERE rid = 1");
  Client client(path);
  EXPECT_EQ(client.check(), "3; test.things (record 1): its \"_id\" is not the one it is found by");
}

/// The place of the page, of 8192 bytes, that holds the text.
std::size_t pageWith(const std::string& content, const std::string& text) {
  const std::size_t at = content.find(text);
  EXPECT_NE(at, std::string::npos);
  return at - at % 8192;
}

TEST_F(EmbeddedCare, NeverGivesADocumentOfAnotherCollection) {
  {
    Client client(path);
    client.insert(R"({"_id": 1, "text": "of the things"})");
    client.collection = "others";
    client.insert(R"({"_id": 1, "text": "of the others"})");
    client.engine->compact();
  }
  std::string content = contentOf(path);
  const std::size_t things = pageWith(content, "of the things");
  const std::size_t others = pageWith(content, "of the others");
  ASSERT_NE(things, others);
  std::swap_ranges(&content[things], &content[things] + 8192, &content[others]);
  writeFile(path, content);
  Client client(path);
  EXPECT_EQ(client.all(), "storage 0");
  EXPECT_EQ(client.find(R"({"_id": 1})"), "storage 0");
}

TEST_F(EmbeddedCare, NeverGivesADocumentInThePlaceOfAnother) {
  {
    Client client(path);
    fill(client, 3);
  }
  tamper("UPDATE documents_2 SET (sum, body) = (SELECT sum, body FROM documents_2 WHERE rid = 3) WHERE rid = 2");
  Client client(path);
  EXPECT_EQ(client.find(R"({"_id": 1})"), "storage 0");
}

TEST_F(EmbeddedCare, GivesFreeSpaceBack) {
  Client client(path);
  fill(client, 2000);
  client.engine->compact();
  const std::size_t full = contentOf(path).size();
  client.remove(R"({"_id": {"$gte": 10}})");
  client.engine->compact();
  EXPECT_LT(contentOf(path).size(), full / 4);
  EXPECT_EQ(client.check(), "11");
}

TEST_F(EmbeddedCare, DoesNotCompactInsideATransaction) {
  Client client(path);
  client.engine->beginTransaction();
  EXPECT_THROW(client.engine->compact(), Error);
  client.engine->rollbackTransaction();
}

TEST_F(EmbeddedCare, CopiesAnOpenStoreForItsOwnerAlone) {
  Client client(path);
  fill(client, 50);
  const mode_t before = umask(0);
  client.engine->backup(folder / "copy");
  umask(before);
  EXPECT_EQ(modeOf(folder / "copy"), "600");
  fill(client, 51);
  Client copy((folder / "copy") + "?create=false");
  EXPECT_EQ(copy.check() + " " + client.check(), "51 52");
}

TEST_F(EmbeddedCare, CopiesAStoreInMemory) {
  Client client(":memory:");
  fill(client, 5);
  client.engine->backup(folder / "copy");
  EXPECT_EQ(Client(folder / "copy").check(), "6");
}

TEST_F(EmbeddedCare, OverwritesNothingWithACopy) {
  Client client(path);
  writeFile(folder / "copy", "precious");
  EXPECT_EQ(Client::outcome([&] { client.engine->backup(folder / "copy"); }), "storage 0");
  EXPECT_EQ(Client::outcome([&] { client.engine->backup(path); }), "storage 0");
  EXPECT_EQ(Client::outcome([&] { client.engine->backup(folder / "no/copy"); }), "storage 0");
  EXPECT_EQ(contentOf(folder / "copy"), "precious");
  EXPECT_EQ(client.check(), "1");
}

TEST_F(EmbeddedCare, CopiesOneStateWhileAnotherWrites) {
  Client client(path);
  fill(client, 50);
  client.engine->beginTransaction();
  fill(client, 60);
  Client other(path);
  other.engine->backup(folder / "copy");
  client.engine->commitTransaction();
  EXPECT_EQ(Client(folder / "copy").check(), "51");
}

/// What every kind of operation comes to, each different outcome once.
std::string outcomes(Client& client) {
  usleep(20'000);  // Reads that follow each other closely take the file to be where it was.
  std::set<std::string> found = {client.insert(R"({"_id": 2})"),
                                 client.all(),
                                 client.find(R"({"_id": 1})"),
                                 client.count("{}"),
                                 client.aggregate(R"([{"$match": {}}])"),
                                 client.update("{}", R"({"a": 1})", UpdateKind::setInAll),
                                 client.remove("{}")};
  Engine& engine = *client.engine;
  found.insert(Client::outcome([&] { engine.explain(client.where(), ObjectProperties()); }));
  found.insert(Client::outcome([&] { engine.collectionNames("test"); }));
  found.insert(Client::outcome([&] { engine.createUser("admin", "u", "p", ObjectProperties(), ObjectProperties()); }));
  found.insert(Client::outcome([&] { engine.beginTransaction(); }));
  found.insert(Client::outcome([&] { engine.check(); }));
  found.insert(Client::outcome([&] { engine.compact(); }));
  found.insert(Client::outcome([&] { engine.backup(client.collection); }));
  std::string text;
  for (const std::string& outcome : found) text += (text.empty() ? "" : ", ") + outcome;
  return text;
}

TEST_F(EmbeddedCare, EveryOperationNoticesThatTheFileWasRemoved) {
  for (const char* options : {"", "?exclusive=true"}) {
    Client client(path + options);
    client.insert(R"({"_id": 1})");
    ASSERT_EQ(std::remove(path.c_str()), 0);
    EXPECT_EQ(outcomes(client), "storage 0") << options;
    client.engine.reset();
    for (const char* side : {"-wal", "-shm"}) static_cast<void>(std::remove((path + side).c_str()));
    EXPECT_EQ(Client(path).all(), "");
  }
}

TEST_F(EmbeddedCare, EveryOperationNoticesThatTheFileWasReplacedAndLeavesItAlone) {
  {
    Client other(folder / "other");
    other.insert(R"({"_id": "of the other"})");
  }
  const std::string content = contentOf(folder / "other");
  Client client(path);
  client.insert(R"({"_id": 1})");
  ASSERT_EQ(std::rename((folder / "other").c_str(), path.c_str()), 0);
  EXPECT_EQ(outcomes(client), "storage 0");
  client.engine.reset();
  EXPECT_EQ(contentOf(path), content);
}

TEST_F(EmbeddedCare, ATransactionIsNotCommittedToAFileThatWasRemoved) {
  Client client(path);
  client.engine->beginTransaction();
  client.insert(R"({"_id": 1})");
  ASSERT_EQ(std::remove(path.c_str()), 0);
  EXPECT_EQ(Client::outcome([&] { client.engine->commitTransaction(); }), "storage 0");
}

}  // namespace
}  // namespace database_client
