// SPDX-License-Identifier: Apache-2.0
#include <database_provider/database_provider.h>
#include <gtest/gtest.h>

#include <string>

namespace database_provider {

namespace {

std::string described(const database_client::IndexRequest& index) {
  std::string text = index.database + "/" + index.collection + (index.unique ? " unique" : "");
  for (const std::string& key : index.keys) text += " " + key;
  return text;
}

TEST(LibraryPlan, NamesTheIndexesThatTheLibrarysQueriesUse) {
  std::string all;
  for (const auto& index : libraryPlan().indexes) all += described(index) + "\n";
  EXPECT_EQ(all,
            "experiment/records recordInfo.category.name recordInfo.category.value\n"
            "experiment/records recordInfo.description.name recordInfo.description.value\n"
            "base/collection.scenarios recordInfo.category.name recordInfo.category.value\n"
            "base/collection.scenarios recordInfo.description.name recordInfo.description.value\n"
            "experiment/records recordInfo.additionalData.dataSource.host recordInfo.additionalData.dataSource.type\n"
            "databaseManager/customization unique user tag\n");
}

TEST(LibraryPlan, MayBeCarriedOutTwiceAndLeavesTheAdministratorAlone) {
  database_client::DataBaseClient client;
  ASSERT_TRUE(client.connect("", "file::memory:", 0, "", ""));
  EXPECT_TRUE(libraryPlan().administratorPassword.empty());
  client.setUpDeployment(libraryPlan());
  for (const auto& step : client.setUpDeployment(libraryPlan()))
    EXPECT_EQ(step.state, database_client::DeploymentStep::State::alreadyThere) << step.what;
}

}  // namespace

}  // namespace database_provider
