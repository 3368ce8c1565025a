// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/wait.h>

#include <string>

#include "client/embedded/sqlite/Transaction.h"
#include "client/embedded/storage/Schema.h"
#include "client/embedded/storage/StoreFile.h"
#include "database_client/Error.h"
#include "tests/client/embedded/support/TemporaryFolder.h"

namespace database_client::embedded {
namespace {

class StoreFile : public ::testing::Test {
 protected:
  /// "open", or the kind of the error and its text behind the path.
  static std::string open(const std::string& address) {
    try {
      openStore(StoreAddress::parse(address));
      return "open";
    } catch (const Error& error) {
      const std::string text = error.what();
      return std::string(toString(error.kind())) + text.substr(text.find(": "));
    }
  }

  /// Opens what must be refused, and tells whether that left file and folder as they were.
  std::string refusal(const std::string& address) const {
    const std::string before = contentOf(path);
    std::string result = open(address);
    if (contentOf(path) != before) result += " (changed)";
    for (const char* side : {"-wal", "-shm", "-journal"}) {
      if (isThere(path + side)) result += std::string(" (") + side + ")";
    }
    return result;
  }

  void makeStore(std::int64_t version = schema::version) const {
    auto connection = openStore(StoreAddress::parse(path));
    connection.execute("PRAGMA user_version=" + std::to_string(version));
  }

  /// Replaces bytes of the file in place.
  void patch(std::size_t at, const std::string& bytes) const {
    std::string content = contentOf(path);
    content.replace(at, bytes.size(), bytes);
    writeFile(path, content);
  }

  TemporaryFolder folder{};
  std::string path = folder / "store";
};

TEST_F(StoreFile, IsMadeWhereItIsMissingAndOpenedAgain) {
  EXPECT_EQ(open(path), "open");
  EXPECT_EQ(open(path), "open");
  EXPECT_EQ(contentOf(path).substr(0, 15), "SQLite format 3");
}

TEST_F(StoreFile, IsNotMadeWhereThatIsNotAllowed) {
  EXPECT_EQ(open(path + "?create=false"), "storage: there is no such file");
  EXPECT_FALSE(isThere(path));
}

TEST_F(StoreFile, OpensAnExistingStoreThatMayNotBeMade) {
  makeStore();
  EXPECT_EQ(open(path + "?create=false"), "open");
}

TEST_F(StoreFile, IsMadeInAnEmptyFile) {
  writeFile(path, "");
  EXPECT_EQ(open(path), "open");
}

TEST_F(StoreFile, RefusesAnEmptyFileThatMayNotBeMadeAStore) {
  writeFile(path, "");
  EXPECT_EQ(refusal(path + "?create=false"), "storage: it is empty");
}

TEST_F(StoreFile, IsForItsOwnerAloneWhateverTheUmask) {
  for (const mode_t mask : {0000U, 0022U, 0777U}) {
    const mode_t before = umask(mask);
    auto connection = openStore(StoreAddress::parse(path));
    connection.execute("INSERT INTO collections(database, name) VALUES('a', 'b')");
    umask(before);
    EXPECT_EQ(modeOf(path) + modeOf(path + "-wal") + modeOf(path + "-shm"), "600600600") << mask;
    connection.execute("DELETE FROM collections");
    removeFile(path);
    removeFile(path + "-wal");
    removeFile(path + "-shm");
  }
}

TEST_F(StoreFile, HoldsItsKindItsVersionAndLargePages) {
  auto connection = openStore(StoreAddress::parse(path));
  EXPECT_EQ(connection.integer("PRAGMA application_id"), schema::applicationId);
  EXPECT_EQ(connection.integer("PRAGMA user_version"), 2);
  EXPECT_EQ(connection.integer("PRAGMA page_size"), 8192);
  EXPECT_EQ(connection.text("PRAGMA journal_mode"), "wal");
}

TEST_F(StoreFile, WritesToTheDeviceAtEachCommitUnlessToldOtherwise) {
  EXPECT_EQ(openStore(StoreAddress::parse(path)).integer("PRAGMA synchronous"), 2);
  EXPECT_EQ(openStore(StoreAddress::parse(path + "?synchronous=full")).integer("PRAGMA synchronous"), 2);
  EXPECT_EQ(openStore(StoreAddress::parse(path + "?synchronous=normal")).integer("PRAGMA synchronous"), 1);
}

TEST_F(StoreFile, KeepsOthersOutOnlyWhenToldTo) {
  {
    const auto shared = openStore(StoreAddress::parse(path));
    EXPECT_EQ(open(path), "open");
  }
  const auto exclusive = openStore(StoreAddress::parse(path + "?exclusive=true"));
  EXPECT_EQ(open(path + "?timeout=10").substr(0, 7), "timeout");
}

TEST_F(StoreFile, InMemoryBelongsToItsClientAlone) {
  auto first = openStore(StoreAddress::parse(":memory:"));
  first.execute("INSERT INTO collections(database, name) VALUES('a', 'b')");
  auto second = openStore(StoreAddress::parse(":memory:"));
  EXPECT_EQ(first.integer("SELECT count(*) FROM collections"), 1);
  EXPECT_EQ(second.integer("SELECT count(*) FROM collections"), 0);
}

TEST_F(StoreFile, RefusesAnEmptyPath) {
  EXPECT_EQ(open("").substr(0, 5), "query");
  EXPECT_EQ(open("?create=false").substr(0, 5), "query");
}

TEST_F(StoreFile, RefusesANulInThePath) {
  EXPECT_EQ(open(std::string("a\0b", 3)).substr(0, 5), "query");
}

TEST_F(StoreFile, RefusesOptionsAndValuesThatItDoesNotKnow) {
  for (const char* options : {"?mode=ro", "?synchronous=off", "?exclusive=1", "?timeout=-1", "?timeout=5s", "?timeout",
                              "?timeout=99999999999", "?create=false&x", "?="}) {
    EXPECT_EQ(open(path + options).substr(0, 5), "query") << options;
  }
  EXPECT_FALSE(isThere(path));
}

TEST_F(StoreFile, TakesSeveralOptions) {
  EXPECT_EQ(open(path + "?synchronous=normal&timeout=0&exclusive=false&create=true"), "open");
}

TEST_F(StoreFile, RefusesAFolder) {
  EXPECT_EQ(open(folder / ""), "storage: a folder is no store");
  EXPECT_EQ(open(folder / "."), "storage: a folder is no store");
  ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
  EXPECT_EQ(open(path), "storage: a folder is no store");
}

TEST_F(StoreFile, RefusesADevice) {
  EXPECT_EQ(open("/dev/null"), "storage: only a regular file can be a store");
}

TEST_F(StoreFile, RefusesAPipeWithoutWaitingForItsOtherEnd) {
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(open(path), "storage: only a regular file can be a store");
}

TEST_F(StoreFile, FollowsNoSymbolicLink) {
  const std::string target = folder / "target";
  EXPECT_EQ(open(target), "open");
  ASSERT_EQ(symlink(target.c_str(), path.c_str()), 0);
  EXPECT_EQ(open(path), "storage: a symbolic link is not followed");
  const std::string dangling = folder / "dangling";
  ASSERT_EQ(symlink((folder / "nowhere").c_str(), dangling.c_str()), 0);
  EXPECT_EQ(open(dangling), "storage: a symbolic link is not followed");
  EXPECT_FALSE(isThere(folder / "nowhere"));
}

TEST_F(StoreFile, IsReachedThroughALinkedFolder) {
  ASSERT_EQ(mkdir((folder / "real").c_str(), 0700), 0);
  ASSERT_EQ(symlink((folder / "real").c_str(), (folder / "linked").c_str()), 0);
  EXPECT_EQ(open(folder / "linked/store"), "open");
  EXPECT_TRUE(isThere(folder / "real/store"));
}

TEST_F(StoreFile, TellsOfAMissingFolder) {
  EXPECT_EQ(open(folder / "no/store"), "storage: its folder cannot be entered: No such file or directory");
}

TEST_F(StoreFile, TakesAPathThatLooksLikeAnAddressAsAPath) {
  EXPECT_EQ(open(folder / "file:x%20#y"), "open");
  EXPECT_TRUE(isThere(folder / "file:x%20#y"));
}

TEST_F(StoreFile, LeavesAFileOfAnotherKindAsItIs) {
  writeFile(path,
            "A letter to somebody, longer than the header of a database would have to be to be one: "
            "a hundred bytes and some more.");
  EXPECT_EQ(refusal(path), "storage: the file is not a store");
  writeFile(path, "short");
  EXPECT_EQ(refusal(path), "storage: the file is not a store");
}

TEST_F(StoreFile, LeavesBytesThatLookEncryptedAsTheyAre) {
  std::string bytes;
  for (unsigned i = 0; i < 16384; ++i) bytes += static_cast<char>((i * 2654435761U) >> 24U);
  writeFile(path, bytes);
  EXPECT_EQ(refusal(path), "storage: the file is not a store");
}

TEST_F(StoreFile, LeavesTheDatabaseOfAnotherProgramAsItIs) {
  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open(path.c_str(), &other), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(other, "CREATE TABLE t(a); INSERT INTO t VALUES(1)", nullptr, nullptr, nullptr), SQLITE_OK);
  sqlite3_close(other);
  EXPECT_EQ(refusal(path), "storage: the file is another program's database");
}

TEST_F(StoreFile, RefusesANewerVersionWithBothNamed) {
  makeStore(7);
  EXPECT_EQ(refusal(path), "storage: it has format version 7, and this library knows versions up to 2");
}

TEST_F(StoreFile, RefusesAMissingVersion) {
  makeStore(0);
  EXPECT_EQ(refusal(path), "storage: the file is damaged: it has no format version");
}

TEST_F(StoreFile, RefusesATruncatedFile) {
  makeStore();
  const std::string whole = contentOf(path);
  for (const std::size_t size : {whole.size() - 1, whole.size() - 8192, std::size_t{8192}, std::size_t{100}}) {
    writeFile(path, whole.substr(0, size));
    EXPECT_EQ(refusal(path), "storage: the file is damaged: its end is missing") << size;
  }
  writeFile(path, whole.substr(0, 99));
  EXPECT_EQ(refusal(path), "storage: the file is not a store");
}

TEST_F(StoreFile, RefusesTablesThatAreNotItsOwn) {
  makeStore();
  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open(path.c_str(), &other), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(other,
                         "CREATE TRIGGER t AFTER INSERT ON collections BEGIN DELETE FROM collections; END;"
                         "PRAGMA wal_checkpoint(TRUNCATE)",
                         nullptr, nullptr, nullptr),
            SQLITE_OK);
  sqlite3_close(other);
  EXPECT_EQ(refusal(path), "storage: its tables are not those of a store");
}

TEST_F(StoreFile, RefusesADamagedSchema) {
  makeStore();
  patch(100, std::string(64, '\x5a'));
  EXPECT_EQ(refusal(path).substr(0, 7), "storage");
}

TEST_F(StoreFile, OpensAgainWhereItsMakingWasInterrupted) {
  // A child dies between the writing of the first pages and the commit.
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    writeFile(path, "");
    auto connection = sqlite::Connection::openFile(path, 0);
    connection.execute("PRAGMA page_size=8192");
    connection.execute("PRAGMA cache_size=1");
    connection.execute("PRAGMA cache_spill=1");
    connection.execute("BEGIN IMMEDIATE");
    schema::create(connection);
    for (int i = 0; i < 100; ++i) schema::createCollection(connection, i + 1);
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_EQ(status, 0);
  ASSERT_TRUE(isThere(path + "-journal"));
  EXPECT_EQ(open(path), "open");
  auto connection = openStore(StoreAddress::parse(path));
  EXPECT_EQ(connection.integer("SELECT count(*) FROM sqlite_schema WHERE type = 'table'"), 2);
}

TEST_F(StoreFile, MigratesAnOlderVersionInOneTransaction) {
  makeStore();
  auto connection = openStore(StoreAddress::parse(path));
  const std::vector<schema::Migration> steps = {{2, {"CREATE TABLE second(a)"}}, {3, {"CREATE TABLE third(a)"}}};
  schema::migrate(connection, steps, 4);
  EXPECT_EQ(connection.integer("PRAGMA user_version"), 4);
  EXPECT_EQ(connection.integer("SELECT count(*) FROM sqlite_schema WHERE name IN ('second', 'third')"), 2);
}

TEST_F(StoreFile, StaysAsItWasWhenAMigrationFails) {
  makeStore();
  auto connection = openStore(StoreAddress::parse(path));
  const std::vector<schema::Migration> steps = {{2, {"CREATE TABLE second(a)"}}, {3, {"CREATE NONSENSE"}}};
  EXPECT_THROW(schema::migrate(connection, steps, 4), Error);
  EXPECT_EQ(connection.integer("PRAGMA user_version"), 2);
  EXPECT_EQ(connection.integer("SELECT count(*) FROM sqlite_schema WHERE name = 'second'"), 0);
}

TEST_F(StoreFile, IsNotMigratedFromAVersionThatNobodyKnows) {
  makeStore();
  auto connection = openStore(StoreAddress::parse(path));
  EXPECT_THROW(schema::migrate(connection, {}, 3), Error);
  EXPECT_EQ(connection.integer("PRAGMA user_version"), 2);
}

}  // namespace
}  // namespace database_client::embedded
