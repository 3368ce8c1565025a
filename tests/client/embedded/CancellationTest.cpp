// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "database_client/DataBaseClient.h"
#include "tests/client/embedded/support/TemporaryFolder.h"

namespace database_client {
namespace {

constexpr int documents = 20'000;

/// A store of many documents, and a client that may give up.
class EmbeddedCancellation : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(client_.connect("", "file:" + folder_ / "store" + "?synchronous=normal", 0, "", ""))
        << client_.failure();
    std::vector<ObjectProperties> made(documents);
    std::vector<const ObjectProperties*> pointers;
    for (int i = 0; i < documents; ++i) {
      made[i].setValueInt32("_id", i);
      made[i].setValueString("note", "number " + std::to_string(i));
      pointers.push_back(&made[i]);
    }
    std::vector<std::string> ids;
    client_.insertMany("test", "things", pointers, ids);
  }

  /// How an operation ends that is cancelled once it has asked so many times.
  template <class Operation>
  std::string cancelledAfter(int asked, const Operation& operation) {
    int left = asked;
    client_.setCancellation([&left] { return left-- > 0; });
    std::string result = "done";
    try {
      operation();
    } catch (const Error& error) {
      result = toString(error.kind());
    }
    client_.setCancellation({});
    return result;
  }

  long long count() { return client_.count("test", "things", {}); }
  static ObjectProperties parsed(const std::string& json) { return ObjectProperties::fromJson(json); }

  TemporaryFolder folder_{};
  DataBaseClient client_{};
  const ObjectProperties scanned_ = parsed(R"({"note": {"$regex": "^number"}})");
};

TEST_F(EmbeddedCancellation, EndsWhatPassesOverManyDocuments) {
  std::list<ObjectProperties*> found;
  const auto group = parsed(R"({"pipeline": [{"$group": {"_id": "$note", "n": {"$sum": 1}}}]})");
  EXPECT_EQ(cancelledAfter(1, [&] { client_.find("test", "things", scanned_, {}, found, 0, 0); }), "cancelled");
  EXPECT_TRUE(found.empty());
  EXPECT_EQ(cancelledAfter(0, [&] { client_.count("test", "things", scanned_); }), "cancelled");
  EXPECT_EQ(cancelledAfter(0, [&] { client_.explain("test", "things", scanned_); }), "cancelled");
  EXPECT_EQ(cancelledAfter(0, [&] { client_.aggregate("test", "things", group, found); }), "cancelled");
  EXPECT_EQ(cancelledAfter(0, [&] { client_.check(); }), "cancelled");
  EXPECT_EQ(cancelledAfter(1, [&] { client_.check(); }), "cancelled");
  EXPECT_EQ(cancelledAfter(0, [&] { client_.compact(); }), "cancelled");
  EXPECT_EQ(cancelledAfter(0, [&] { client_.backup(folder_ / "copy"); }), "cancelled");
  EXPECT_EQ(count(), documents);
  EXPECT_EQ(client_.check().problems.size(), 0);
}

TEST_F(EmbeddedCancellation, OfAWriteNothingIsDone) {
  const auto change = parsed(R"({"note": "changed"})");
  EXPECT_EQ(cancelledAfter(1, [&] { client_.remove("test", "things", {}); }), "cancelled");
  EXPECT_EQ(cancelledAfter(1, [&] { client_.update("test", "things", {}, change, 0, UpdateOperation::set); }),
            "cancelled");
  EXPECT_EQ(count(), documents);
  EXPECT_EQ(client_.count("test", "things", change), 0);
}

TEST_F(EmbeddedCancellation, ATransactionKeepsWhatWasDoneBefore) {
  Transaction transaction(client_);
  client_.remove("test", "things", parsed(R"({"_id": 1})"));
  EXPECT_EQ(cancelledAfter(1, [&] { client_.remove("test", "things", {}); }), "cancelled");
  transaction.commit();
  EXPECT_EQ(count(), documents - 1);
}

TEST_F(EmbeddedCancellation, AReceiverSeesNoMoreResults) {
  int received = 0;
  bool isWanted = true;
  client_.setCancellation([&isWanted] { return isWanted; });
  const auto receive = [&](ObjectProperties&) {
    isWanted = ++received < 100;
    return true;
  };
  EXPECT_THROW(client_.findEach("test", "things", {}, {}, 0, 0, receive), Error);
  EXPECT_LT(received, documents);
}

TEST_F(EmbeddedCancellation, WhatIsWantedGoesOn) {
  EXPECT_EQ(cancelledAfter(1'000'000, [&] { client_.count("test", "things", scanned_); }), "done");
}

TEST_F(EmbeddedCancellation, AnExceptionOfTheCallerCountsAsARefusal) {
  client_.setCancellation([]() -> bool { throw std::runtime_error("from the caller"); });
  EXPECT_THROW(client_.count("test", "things", scanned_), Error);
}

TEST_F(EmbeddedCancellation, EndsTheWaitForALock) {
  DataBaseClient other;
  ASSERT_TRUE(other.connect("", "file:" + folder_ / "store", 0, "", ""));
  const Transaction holding(other);
  DataBaseClient waiting;
  ASSERT_TRUE(waiting.connect("", "file:" + folder_ / "store" + "?timeout=120000", 0, "", ""));
  int left = 10;
  waiting.setCancellation([&left] { return left-- > 0; });
  try {
    waiting.remove("test", "things", {});
    FAIL() << "the store was not locked";
  } catch (const Error& error) {
    EXPECT_EQ(error.kind(), Error::Kind::cancelled) << error.what();
  }
}

TEST_F(EmbeddedCancellation, StaysSetOverConnectAndDisconnect) {
  client_.setCancellation([] { return false; });
  client_.disconnect();
  client_.connect("", "file:" + folder_ / "store", 0, "", "");
  EXPECT_THROW(client_.count("test", "things", scanned_), Error);
}

}  // namespace
}  // namespace database_client
