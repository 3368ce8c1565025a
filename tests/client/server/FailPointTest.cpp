// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <mongoc/mongoc.h>

#include <stdexcept>

#include "tests/client/server/SecantusTest.h"

// Failures that a server makes on demand: what the caller sees, and that the next call works.

namespace database_client {
namespace {

using ::testing::HasSubstr;

class FailPoint : public SecantusTest {
 protected:
  void startAs(const std::vector<std::string>& options) {
    std::vector<std::string> all = options;
    all.emplace_back("--enable-test-commands");
    start(all);
    ASSERT_EQ(ClientTest::connect("mongodb://127.0.0.1:" + std::to_string(port) + "/?socketTimeoutMS=1000"), "true")
        << client.failure();
    ASSERT_EQ(insert(R"({"_id": "before"})"), "ok");
  }

  /// Makes the server fail the next command of this name.
  void arm(const std::string& command, const std::string& how) const {
    const std::string address = "mongodb://127.0.0.1:" + std::to_string(port) + "/";
    mongoc_client_t* own = mongoc_client_new(address.c_str());
    const std::vector<std::uint8_t> bytes =
        database_test::bsonOf(R"({"configureFailPoint": "failCommand", "mode": {"times": 1}, "data": {"failCommands":
            [")" + command + R"("], )" +
                              how + "}}");
    bson_t armed;
    bson_error_t failed{};
    bson_init_static(&armed, bytes.data(), bytes.size());
    const bool done = mongoc_client_command_simple(own, "admin", &armed, nullptr, nullptr, &failed);
    mongoc_client_destroy(own);
    if (!done) throw std::runtime_error(failed.message);
  }
  std::string aggregate() {
    return outcome([&] {
      std::list<ObjectProperties*> documents;
      client.aggregate("d", "c", document(R"({"pipeline": [{"$match": {}}]})"), documents);
      std::string text = std::to_string(documents.size());
      for (const ObjectProperties* one : documents) delete one;
      return text;
    });
  }
};

/// On a single server, which does not tell a repeated write.
class FailPointOfSingleServer : public FailPoint {
 protected:
  void SetUp() override {
    FailPoint::SetUp();
    if (!IsSkipped()) startAs({"--standalone"});
  }
};

/// On a replica set, which does.
class FailPointOfSet : public FailPoint {
 protected:
  void SetUp() override {
    FailPoint::SetUp();
    if (!IsSkipped()) startAs({});
  }
};

TEST_F(FailPointOfSingleServer, CodeOfARefusedWriteIsTold) {
  arm("insert", R"("errorCode": 8000)");
  EXPECT_EQ(insert(), "server 8000");
  EXPECT_EQ(insert(), "ok");
  arm("update", R"("errorCode": 13)");
  EXPECT_EQ(update(1), "authorization 13");
  EXPECT_EQ(update(1), "ok");
  arm("delete", R"("errorCode": 50)");
  EXPECT_EQ(remove(), "timeout 50 retryable outcomeUnknown");
  EXPECT_EQ(remove(), "ok");
}

TEST_F(FailPointOfSingleServer, CodeOfARefusedReadIsTold) {
  arm("find", R"("errorCode": 8000)");
  EXPECT_EQ(find(), "server 8000");
  EXPECT_EQ(find(), "1");
  arm("aggregate", R"("errorCode": 13)");
  EXPECT_EQ(aggregate(), "authorization 13");
  EXPECT_EQ(aggregate(), "1");
}

TEST_F(FailPointOfSingleServer, WriteInterruptedIsUnknown) {
  arm("insert", R"("errorCode": 11602)");
  EXPECT_EQ(insert(), "server 11602 retryable outcomeUnknown");
  EXPECT_EQ(insert(), "ok");
}

TEST_F(FailPointOfSingleServer, ConnectionClosedDuringAReadIsNotSeen) {
  arm("find", R"("closeConnection": true)");
  EXPECT_EQ(find(), "1");
  arm("aggregate", R"("closeConnection": true)");
  EXPECT_EQ(aggregate(), "1");
}

TEST_F(FailPointOfSingleServer, ConnectionClosedDuringAWriteLeavesItUnknown) {
  arm("insert", R"("closeConnection": true)");
  EXPECT_EQ(insert(), "connection retryable outcomeUnknown");
  EXPECT_EQ(insert(), "ok");
  arm("delete", R"("closeConnection": true)");
  EXPECT_EQ(remove(), "connection retryable outcomeUnknown");
  EXPECT_EQ(remove(), "ok");
}

TEST_F(FailPointOfSingleServer, WriteThatWasNotReplicatedIsThere) {
  arm("insert", R"("writeConcernError": {"code": 64, "errmsg": "waiting for replication timed out"})");
  EXPECT_EQ(insert(), "server 64");
  EXPECT_THAT(message(), HasSubstr("applied, but not replicated as asked"));
  EXPECT_EQ(find(), "2");
  arm("update", R"("writeConcernError": {"code": 64, "errmsg": "waiting for replication timed out"})");
  EXPECT_EQ(update(1), "server 64");
  EXPECT_EQ(update(1), "ok");
}

TEST_F(FailPointOfSingleServer, CommandThatIsHeldUpIsATimeout) {
  arm("find", R"("blockConnection": true, "blockTimeMS": 2500)");
  EXPECT_EQ(find(), "timeout retryable");
  EXPECT_FALSE(client.isConnected());
  EXPECT_EQ(find(), "1");
  arm("insert", R"("blockConnection": true, "blockTimeMS": 2500)");
  EXPECT_EQ(insert(), "timeout retryable outcomeUnknown");
  EXPECT_EQ(find().size(), 1U);
}

TEST_F(FailPointOfSingleServer, CommandThatIsHeldUpForLessIsAnswered) {
  arm("find", R"("blockConnection": true, "blockTimeMS": 300)");
  EXPECT_EQ(find(), "1");
  EXPECT_GE(elapsed, 290);
}

TEST_F(FailPointOfSet, StepDownDuringAReadIsNotSeen) {
  arm("find", R"("errorCode": 189)");
  EXPECT_EQ(find(), "1");
}

TEST_F(FailPointOfSet, StepDownDuringAWriteIsNotSeen) {
  arm("insert", R"("errorCode": 10107, "errorLabels": ["RetryableWriteError"])");
  EXPECT_EQ(insert(), "ok");
  EXPECT_EQ(find(), "2");
}

TEST_F(FailPointOfSet, ConnectionClosedDuringAWriteIsNotSeen) {
  arm("insert", R"("closeConnection": true)");
  EXPECT_EQ(insert(), "ok");
  EXPECT_EQ(find(), "2");
}

TEST_F(FailPointOfSet, ConnectionClosedDuringAnUpdateOfManyLeavesItUnknown) {
  arm("update", R"("closeConnection": true)");
  EXPECT_EQ(update(3), "connection retryable outcomeUnknown");
  EXPECT_EQ(update(3), "ok");
}

TEST_F(FailPointOfSet, ConnectionClosedDuringARemovalIsNotSeen) {
  arm("delete", R"("closeConnection": true)");
  EXPECT_EQ(remove(), "ok");
  EXPECT_EQ(find(), "0");
}

TEST_F(FailPointOfSet, WriteThatWasNotReplicatedIsThere) {
  arm("insert", R"("writeConcernError": {"code": 64, "errmsg": "waiting for replication timed out"})");
  EXPECT_EQ(insert(), "server 64");
  EXPECT_EQ(find(), "2");
}

TEST_F(FailPointOfSet, WriteThatIsHeldUpIsATimeout) {
  arm("update", R"("blockConnection": true, "blockTimeMS": 2500)");
  EXPECT_EQ(update(3), "timeout retryable outcomeUnknown");
  EXPECT_EQ(update(3), "ok");
}

}  // namespace
}  // namespace database_client
