// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "client/embedded/sqlite/Connection.h"
#include "client/embedded/sqlite/Transaction.h"
#include "client/embedded/storage/Checksum.h"
#include "client/embedded/storage/Schema.h"
#include "tests/client/embedded/support/EngineFixture.h"

namespace database_client {
namespace {

using embedded::Checksum;
using embedded::sqlite::Connection;

constexpr int documents = 400;

std::string textOf(int id) {
  return std::string(static_cast<std::size_t>(200 + id), static_cast<char>('a' + id % 26));
}

class EmbeddedMigration : public ::testing::Test {
 protected:
  EmbeddedMigration() {
    {
      Client client(path);
      std::vector<ObjectProperties> all;
      all.reserve(documents);
      for (int id = 0; id < documents; ++id) {
        all.push_back(ObjectProperties::fromJson("{\"_id\": " + std::to_string(id) + ", \"text\": \"" + textOf(id) +
                                                 R"(", "items": [{"name": "n", "value": )" + std::to_string(id % 5) +
                                                 "}]}"));
      }
      client.engine->insertMany(client.where(), all);
    }
    makeOlder();
  }

  /// Makes the store what the first version of the format was.
  void makeOlder() const {
    Connection file = Connection::openFile(path, 0);
    for (const char* table : {"documents_1", "documents_2"}) {
      const Checksum checksum(1, "", "");
      auto rows = file.statement(std::string("SELECT rid, body FROM ") + table);
      auto update = file.statement(std::string("UPDATE ") + table + " SET sum = ?2 WHERE rid = ?1");
      while (rows.step()) {
        const auto body = rows.blob(1);
        update.bind(1, rows.integer(0)).bind(2, checksum.of(0, body.data, body.size)).run();
      }
    }
    file.execute("PRAGMA user_version=1");
  }

  std::int64_t version() const { return Connection::openFile(path, 0).integer("PRAGMA user_version"); }
  void execute(const std::string& sql) const { Connection::openFile(path, 0).execute(sql); }

  Client open(const std::string& options = "") const { return Client(path + options); }

  TemporaryFolder folder{};
  std::string path = folder / "store";
};

TEST_F(EmbeddedMigration, KeepsEveryDocumentOfTheFirstVersion) {
  Client client = open();
  EXPECT_EQ(version(), embedded::schema::version);
  EXPECT_EQ(client.check(), std::to_string(documents + 1));
  EXPECT_EQ(client.find(R"({"_id": 123})", R"({"text": true, "_id": false})"), "{\"text\": \"" + textOf(123) + "\"}");
  EXPECT_EQ(client.count(R"({"items": {"$elemMatch": {"name": "n", "value": 3}}})"), std::to_string(documents / 5));
}

TEST_F(EmbeddedMigration, LeavesWhatWasDamagedDamaged) {
  execute("UPDATE documents_2 SET body = replace(body, 'text', 'tent') WHERE rid = 7");
  Client client = open();
  EXPECT_EQ(client.find(R"({"_id": 6})"), "storage 0");
  EXPECT_EQ(client.find(R"({"_id": 5})", R"({"_id": true})"), R"({"_id": 5})");
}

// A page that cannot be read keeps the whole from being written anew, but not the rest of it from being used.
TEST_F(EmbeddedMigration, LeavesAStoreAsItIsOfWhichPagesCannotBeRead) {
  std::string content = contentOf(path);
  const std::size_t at = content.find(textOf(200));
  ASSERT_NE(at, std::string::npos);
  content.replace(at - at % 8192, 16, 16, '\xff');
  writeFile(path, content);
  {
    Client client = open();
    EXPECT_EQ(client.find(R"({"_id": 200})"), "storage 0");
    for (const char* id : {"0", "100", "300", "399"}) {
      const std::string document = std::string("{\"_id\": ") + id + "}";
      EXPECT_EQ(client.find(document, R"({"_id": true})"), document);
    }
    EXPECT_EQ(client.insert(R"({"_id": "new"})"), "ok");
  }
  EXPECT_EQ(version(), 1);
  EXPECT_EQ(open().find(R"({"_id": "new"})"), R"({"_id": "new"})");
}

TEST_F(EmbeddedMigration, IsNotNeededToReadAFileThatCanOnlyBeRead) {
  ASSERT_EQ(chmod((folder / "").c_str(), 0777), 0);
  ASSERT_EQ(chmod(path.c_str(), 0444), 0);
  const std::string before = contentOf(path);
  const pid_t child = fork();
  if (child == 0) {
    // The rights of files mean nothing to root.
    if (geteuid() == 0 && setuid(65534) != 0) _exit(2);
    _exit(open().find(R"({"_id": 123})", R"({"_id": true})") == R"({"_id": 123})" ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(contentOf(path), before);
}

TEST_F(EmbeddedMigration, ThatIsKilledLeavesTheFileAsItWas) {
  const std::string before = contentOf(path);
  const pid_t child = fork();
  if (child == 0) {
    Connection file = Connection::openFile(path, 0);
    file.execute("PRAGMA cache_size=10");  // so that changed pages are in the log before the commit
    const embedded::sqlite::Transaction transaction(file, embedded::sqlite::Transaction::Kind::write);
    embedded::schema::migrate(file, embedded::schema::migrations(), embedded::schema::version);
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_EQ(status, 0);
  EXPECT_EQ(contentOf(path), before);
  EXPECT_GT(contentOf(path + "-wal").size(), 8192U);
  EXPECT_EQ(version(), 1);
  EXPECT_EQ(open().check(), std::to_string(documents + 1));
  EXPECT_EQ(version(), embedded::schema::version);
}

// A client of the older version would go on writing what that version wants.
TEST_F(EmbeddedMigration, WaitsUntilNobodyElseHasTheFileOpen) {
  {
    Connection other = Connection::openFile(path, 0);
    EXPECT_EQ(other.integer("SELECT count(*) FROM documents_2"), documents);
    EXPECT_EQ(Client::outcome([this] { open("?timeout=50"); }), "timeout 0");
    EXPECT_EQ(other.integer("PRAGMA user_version"), 1);
  }
  EXPECT_EQ(open().check(), std::to_string(documents + 1));
}

TEST_F(EmbeddedMigration, IsDoneOnceByClientsThatOpenTheStoreTogether) {
  std::vector<pid_t> children;
  for (int i = 0; i < 4; ++i) {
    const pid_t child = fork();
    if (child == 0) {
      const bool isSound =
          Client::outcome([this] { open(); }) == "ok" && open().check() == std::to_string(documents + 1);
      _exit(isSound ? 0 : 1);
    }
    children.push_back(child);
  }
  for (const pid_t child : children) {
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
  }
  EXPECT_EQ(version(), embedded::schema::version);
}

}  // namespace
}  // namespace database_client
