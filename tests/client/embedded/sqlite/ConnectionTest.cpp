// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "client/embedded/sqlite/Connection.h"
#include "client/embedded/sqlite/Transaction.h"
#include "database_client/Error.h"

namespace database_client::embedded::sqlite {
namespace {

class SqliteConnection : public ::testing::Test {
 protected:
  SqliteConnection() { connection.execute("CREATE TABLE t(a INTEGER PRIMARY KEY, b BLOB)"); }

  std::string insert(std::int64_t key) { return insert(connection, key); }
  static std::string insert(Connection& into, std::int64_t key) {
    try {
      into.statement("INSERT INTO t(a, b) VALUES(?1, ?2)").bind(1, key).bindBlob(2, "xy", 2).run();
      return "in";
    } catch (const Error& error) {
      return toString(error.kind());
    }
  }
  std::string keys() {
    std::string result;
    auto select = connection.statement("SELECT a FROM t ORDER BY a");
    while (select.step()) result += std::to_string(select.integer(0)) + " ";
    return result;
  }

  Connection connection = Connection::openMemory();
};

TEST_F(SqliteConnection, LendsOneTextSeveralTimesWithACursorEach) {
  insert(1);
  insert(2);
  auto outer = connection.statement("SELECT a FROM t ORDER BY a");
  ASSERT_TRUE(outer.step());
  EXPECT_EQ(keys(), "1 2 ");
  ASSERT_TRUE(outer.step());
  EXPECT_EQ(outer.integer(0), 2);
  EXPECT_FALSE(outer.step());
}

TEST_F(SqliteConnection, ForgetsBindingsWhenAStatementComesBack) {
  insert(1);
  auto statement = connection.statement("INSERT INTO t(b) VALUES(?1)");
  statement.run();
  auto select = connection.statement("SELECT b FROM t WHERE a = 2");
  ASSERT_TRUE(select.step());
  EXPECT_TRUE(select.isNull(0));
}

TEST_F(SqliteConnection, ReadsBackBytesAndEmptyBytes) {
  connection.statement("INSERT INTO t VALUES(1, ?1)").bindBlob(1, "a\0b", 3).run();
  connection.statement("INSERT INTO t VALUES(2, ?1)").bindBlob(1, nullptr, 0).run();
  auto select = connection.statement("SELECT b FROM t ORDER BY a");
  ASSERT_TRUE(select.step());
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(select.blob(0).data), select.blob(0).size),
            std::string("a\0b", 3));
  ASSERT_TRUE(select.step());
  EXPECT_FALSE(select.isNull(0));
  EXPECT_EQ(select.blob(0).size, 0U);
}

TEST_F(SqliteConnection, MapsAViolatedConstraintToAStorageError) {
  insert(1);
  EXPECT_EQ(insert(1), "storage");
  EXPECT_EQ(insert(2), "in");
}

TEST_F(SqliteConnection, QuotesNoValueInAMessage) {
  insert(1);
  try {
    connection.statement("INSERT INTO t VALUES(1, ?1)").bindText(1, "secret").run();
    FAIL() << "the key is taken";
  } catch (const Error& error) {
    EXPECT_EQ(std::string(error.what()), "store :memory:: cannot write: the file is damaged");
    EXPECT_EQ(error.where(), ":memory:");
  }
}

TEST_F(SqliteConnection, AttachesNoOtherFile) {
  EXPECT_THROW(connection.execute("ATTACH ':memory:' AS other"), Error);
}

TEST_F(SqliteConnection, UndoesATransactionThatIsNotCommitted) {
  {
    const Transaction transaction(connection, Transaction::Kind::write);
    insert(1);
  }
  EXPECT_EQ(keys(), "");
}

TEST_F(SqliteConnection, KeepsACommittedTransactionAndASecondCommitDoesNothing) {
  Transaction transaction(connection, Transaction::Kind::write);
  insert(1);
  transaction.commit();
  EXPECT_FALSE(connection.inTransaction());
  transaction.commit();
  EXPECT_EQ(keys(), "1 ");
}

TEST_F(SqliteConnection, UndoesAnInnerTransactionAlone) {
  Transaction outer(connection, Transaction::Kind::write);
  insert(1);
  {
    const Transaction inner(connection, Transaction::Kind::write);
    EXPECT_TRUE(inner.isNested());
    insert(2);
    {
      const Transaction innermost(connection, Transaction::Kind::write);
      insert(3);
    }
    EXPECT_EQ(keys(), "1 2 ");
  }
  outer.commit();
  EXPECT_EQ(keys(), "1 ");
}

TEST(SqliteConnectionToAFile, TellsALockHeldByAnotherAsARetryableTimeout) {
  char path[] = "/tmp/sqlite_connection_XXXXXX";
  const int descriptor = mkstemp(path);
  ASSERT_GE(descriptor, 0);
  auto first = Connection::openFile(path, 0);
  auto second = Connection::openFile(path, 20);
  const Transaction holder(first, Transaction::Kind::write);
  try {
    const Transaction waiter(second, Transaction::Kind::write);
    FAIL() << "the lock is taken";
  } catch (const Error& error) {
    EXPECT_EQ(error.kind(), Error::Kind::timeout);
    EXPECT_TRUE(error.retryable());
    EXPECT_EQ(error.where(), path);
  }
  EXPECT_EQ(std::remove(path), 0);
  EXPECT_TRUE(first.fileMoved());
}

TEST(SqliteConnectionToAFile, MakesNoneAndFollowsNoLink) {
  EXPECT_THROW(Connection::openFile("/tmp/there/is/no/such/file", 0), Error);
  char path[] = "/tmp/sqlite_connection_XXXXXX";
  ASSERT_GE(mkstemp(path), 0);
  const std::string link = std::string(path) + ".link";
  ASSERT_EQ(symlink(path, link.c_str()), 0);
  EXPECT_THROW(Connection::openFile(link, 0), Error);
  EXPECT_EQ(std::remove(link.c_str()), 0);
  EXPECT_EQ(std::remove(path), 0);
}

}  // namespace
}  // namespace database_client::embedded::sqlite
