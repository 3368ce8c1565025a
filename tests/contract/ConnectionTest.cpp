// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <list>
#include <set>
#include <string>
#include <vector>

#include "tests/contract/Contract.h"
#include "tests/support/Process.h"

namespace database_test {

using database_client::DataBaseClient;
using database_client::ObjectProperties;

namespace {

/// Uses every operation once and tells in how many ways they end.
std::set<std::string> endsOfAllOperations(DataBaseClient& client) {
  const ObjectProperties none;
  std::list<ObjectProperties*> list;
  std::string id;
  std::vector<std::string> ids;
  return {
      outcome([&] { client.insert("d", "c", &none, id); }),
      outcome([&] { client.insertMany("d", "c", {&none}, ids); }),
      outcome([&] { client.update("d", "c", none, none, 0, 1); }),
      outcome([&] { client.find("d", "c", none, none, list, 0, 0); }),
      outcome([&] { client.findEach("d", "c", none, none, 0, 0, [](ObjectProperties&) { return true; }); }),
      outcome([&] { client.aggregate("d", "c", document("{'pipeline':[]}"), list); }),
      outcome([&] { client.remove("d", "c", none); }),
      outcome([&] { client.count("d", "c", none); }),
      outcome([&] { client.explain("d", "c", none); }),
      outcome([&] { client.createUser("d", "u", "p", none, none); }),
      outcome([&] { client.modifyUser("d", "u", none, none); }),
      outcome([&] { client.changePassword("d", "u", "p"); }),
      outcome([&] { client.dropUser("d", "u"); }),
      outcome([&] { client.databaseNames(); }),
      outcome([&] { client.collectionNames("d"); }),
      outcome([&] { client.setUpDeployment({}); }),
      outcome([&] { client.accessControl(); }),
      outcome([&] { client.describe(); }),
      outcome([&] { client.collectionSize("d", "c"); }),
  };
}

}  // namespace

TEST_P(StoreContract, AConnectedClientKnowsIt) {
  EXPECT_TRUE(client.isConnected());
  EXPECT_EQ(client.failure(), "");
}

TEST_P(StoreContract, DisconnectingTwiceIsNoFailure) {
  EXPECT_TRUE(client.disconnect());
  EXPECT_FALSE(client.isConnected());
  EXPECT_TRUE(client.disconnect());
}

TEST_P(StoreContract, EveryOperationOfADisconnectedClientSaysSo) {
  client.disconnect();
  EXPECT_THAT(endsOfAllOperations(client), ::testing::ElementsAre("connection"));
  EXPECT_EQ(client.createId().size(), 24U);
}

TEST_P(StoreContract, AStoreTellsWhetherAccessIsControlled) {
  using database_client::AccessControl;
  if (engine() == "deployment") GTEST_SKIP() << "nobody knows how " << engine() << " was set up";
  EXPECT_EQ(client.accessControl(), address().user.empty() ? AccessControl::off : AccessControl::on);
}

TEST_P(StoreContract, AStoreTellsItsFormat) {
  EXPECT_NE(client.describe().format, "");
}

TEST_P(StoreContract, ACollectionTellsItsSize) {
  given({"{'_id':1,'text':'some text'}", "{'_id':2}"});
  const auto size = client.collectionSize("experiment", "contract");
  EXPECT_EQ(size.documents, 2);
  EXPECT_GT(size.documentBytes.value_or(1), 0);
  EXPECT_EQ(client.collectionSize("experiment", "nothing").documents, 0);
}

TEST_P(StoreContract, ConnectingAgainTakesTheNewStore) {
  given({"{'_id':1}"});
  connect(client);
  EXPECT_EQ(counted("{}"), "1");
}

TEST(ConnectionContract, AFileControlsAccessFromTheMomentItsAdministratorHasAPassword) {
  using database_client::AccessControl;
  DataBaseClient client;
  ASSERT_TRUE(client.connect("", "file::memory:", 0, "", ""));
  EXPECT_EQ(client.accessControl(), AccessControl::off);
  client.createUser("databaseManager", "ann", "canary-1", {}, {});
  EXPECT_EQ(client.accessControl(), AccessControl::off) << "a user alone controls nothing";
  database_client::DeploymentPlan plan;
  plan.administratorPassword = "canary-2";
  client.setUpDeployment(plan);
  EXPECT_EQ(client.accessControl(), AccessControl::on) << "which takes no right to know";
  EXPECT_NE(client.describe().format, "");
  EXPECT_EQ(outcome([&] { client.collectionSize("experiment", "records"); }), "error 13");
}

TEST(ConnectionContract, AClientThatNeverConnectedSaysSo) {
  DataBaseClient client;
  EXPECT_FALSE(client.isConnected());
  EXPECT_THAT(endsOfAllOperations(client), ::testing::ElementsAre("connection"));
}

TEST(ConnectionContract, AServerThatIsNotThereIsNamed) {
  DataBaseClient client;
  const int port = freePort();
  EXPECT_FALSE(client.connect("", "127.0.0.1", port, "", ""));
  EXPECT_THAT(client.failure(), ::testing::HasSubstr("127.0.0.1:" + std::to_string(port)));
  EXPECT_THAT(endsOfAllOperations(client), ::testing::ElementsAre("connection"));
}

TEST(ConnectionContract, ArgumentsWithoutSenseAreRefusedAtOnce) {
  DataBaseClient client;
  const auto connecting = [&](const std::string& host, int port) {
    return outcome([&] { client.connect("", host, port, "", ""); });
  };
  for (const int port : {0, -1, 65536, 70000}) EXPECT_EQ(connecting("127.0.0.1", port), "query") << port;
  for (const char* host : {"", "a b", "a@b", "a,b", "a/b", "a?b", "a#b", "a%2Fb", "a\\b", "mongodb://", "file:"}) {
    EXPECT_EQ(connecting(host, 27017), "query") << host;
  }
  EXPECT_EQ(connecting(std::string(254, 'a'), 27017), "query");
}

TEST(ConnectionContract, AFileStoreIgnoresThePort) {
  DataBaseClient client;
  EXPECT_TRUE(client.connect("", "file::memory:", -5, "", ""));
}

TEST(ConnectionContract, StoresInMemoryBelongToTheirClients) {
  DataBaseClient one;
  DataBaseClient other;
  ASSERT_TRUE(one.connect("", "file::memory:", 0, "", ""));
  ASSERT_TRUE(other.connect("", "file::memory:", 0, "", ""));
  const ObjectProperties none;
  std::string id;
  one.insert("d", "c", &none, id);
  EXPECT_EQ(one.count("d", "c", none), 1);
  EXPECT_EQ(other.count("d", "c", none), 0);
}

}  // namespace database_test
