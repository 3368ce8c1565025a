// SPDX-License-Identifier: Apache-2.0
#include <functional>
#include <memory>

#include "tests/client/server/SecantusTest.h"
#include "tests/support/Relay.h"

// SecantusDB shown as a deployment of several.

namespace database_client {
namespace {

using database_test::Relay;
using database_test::Shape;

class Relayed : public SecantusTest {
 protected:
  void connectThrough(const Shape& shape) {
    start();
    relay = std::make_unique<Relay>(port, shape);
    ASSERT_EQ(connect(relay->uri()), "true") << client.failure();
  }
  std::string connect(const std::string& uri) { return ClientTest::connect(uri); }

  long long count() { return client.count("d", "c", document("{}")); }

  std::unique_ptr<Relay> relay{};
};

class RelayedRouters : public Relayed {
 protected:
  void SetUp() override {
    Relayed::SetUp();
    if (IsSkipped()) return;
    Shape shape;
    shape.role = Shape::Role::routers;
    shape.givesEmptyBatches = true;
    connectThrough(shape);
  }
};

class RelayedSet : public Relayed {
 protected:
  void SetUp() override {
    Relayed::SetUp();
    if (IsSkipped()) return;
    Shape shape;
    shape.victims = Shape::Victims::all;
    connectThrough(shape);
  }
};

TEST_F(RelayedRouters, EmptyBatchesEndNoResult) {
  constexpr int documents = 250;  // more than the first batch of the server
  ASSERT_EQ(insertMany(documents), "ok");
  const int before = relay->emptyBatches();
  EXPECT_EQ(find(), std::to_string(documents));
  EXPECT_GE(relay->emptyBatches() - before, 4);
  EXPECT_EQ(count(), documents);
  std::list<ObjectProperties*> counted;
  client.aggregate("d", "c", document(R"({"pipeline": [{"$group": {"_id": "$_id"}}]})"), counted);
  EXPECT_EQ(counted.size(), documents);
  for (const ObjectProperties* one : counted) delete one;
  EXPECT_EQ(client.collectionNames("d"), std::list<std::string>{"c"});
}

TEST_F(RelayedRouters, ResultLeftEarlyLeavesTheNextWhole) {
  ASSERT_EQ(insertMany(250), "ok");
  int seen = 0;
  client.findEach("d", "c", document("{}"), document("{}"), 0, 0, [&](ObjectProperties&) { return ++seen < 60; });
  EXPECT_EQ(seen, 60);
  EXPECT_EQ(find(), "250");
}

TEST_F(RelayedRouters, ExplanationByShardsNamesTheIndex) {
  ASSERT_EQ(insertMany(3), "ok");
  const ObjectProperties explained = client.explain("d", "c", document(R"({"_id": 1})"));
  EXPECT_EQ(explained.valueAsString("index", "none"), "_id_");
  EXPECT_EQ(explained.valueAsInt64("returned", -1), 1);
}

TEST_F(RelayedSet, EveryMemberLeadsToThePrimary) {
  ASSERT_EQ(connect("mongodb://" + relay->host(2) + "/?replicaSet=relay"), "true") << client.failure();
  EXPECT_EQ(insert(), "ok");
}

TEST_F(RelayedSet, SecondaryTakesNoWrites) {
  ASSERT_EQ(connect("mongodb://" + relay->host(2) + "/"), "true") << client.failure();
  EXPECT_EQ(insert(), "server 10107 retryable");
}

class Election : public RelayedSet, public ::testing::WithParamInterface<Relay::Moment> {
 protected:
  void during(const std::string& command) { relay->elect(GetParam(), command); }
};

TEST_P(Election, IsNotSeenByWritesOfOneDocumentAndReads) {
  during("insert");
  EXPECT_EQ(insert(), "ok");
  during("update");
  EXPECT_EQ(update(UpdateOperation::replace), "ok");
  during("find");
  EXPECT_EQ(find(), "1");
  EXPECT_EQ(relay->elections(), 3);
}

TEST_P(Election, IsNotSeenByABulkInsert) {
  during("insert");
  EXPECT_EQ(insertMany(500), "ok");
  EXPECT_EQ(relay->elections(), 1);
  EXPECT_EQ(count(), 500);
}

TEST_P(Election, IsNotSeenByRemovals) {
  EXPECT_EQ(insertMany(20), "ok");
  during("delete");
  EXPECT_EQ(remove(), "ok");
  EXPECT_EQ(relay->elections(), 1);
  EXPECT_EQ(count(), 0);
}

TEST_P(Election, IsNotSeenByUserCommands) {
  const ObjectProperties roles = document(R"({"0": {"role": "read", "db": "d"}})");
  const auto told = [this](const std::function<void()>& command) {
    return outcome([&] {
      command();
      return "ok";
    });
  };
  during("createUser");
  EXPECT_EQ(told([&] { client.createUser("d", "anna", "secret", roles, ObjectProperties()); }), "ok") << message();
  during("updateUser");
  EXPECT_EQ(told([&] { client.changePassword("d", "anna", "other"); }), "ok") << message();
  during("dropUser");
  EXPECT_EQ(told([&] { client.dropUser("d", "anna"); }), "ok") << message();
  EXPECT_EQ(relay->elections(), 3);
}

TEST_P(Election, LeavesAnUpdateOfManyUnknown) {
  ASSERT_EQ(insertMany(50), "ok");
  during("update");
  const std::string told = update(UpdateOperation::append);
  EXPECT_TRUE(error && error->outcomeUnknown()) << told;
  EXPECT_EQ(relay->elections(), 1);
  const long long changed = client.count("d", "c", document(R"({"x": {"$exists": true}})"));
  EXPECT_EQ(changed, GetParam() == Relay::Moment::unanswered ? 1 : 0);
}

std::string nameOf(const ::testing::TestParamInfo<Relay::Moment>& moment) {
  if (moment.param == Relay::Moment::refused) return "Refused";
  return moment.param == Relay::Moment::unsent ? "Unsent" : "Unanswered";
}

INSTANTIATE_TEST_SUITE_P(Moments, Election,
                         ::testing::Values(Relay::Moment::refused, Relay::Moment::unsent, Relay::Moment::unanswered),
                         nameOf);

}  // namespace
}  // namespace database_client
