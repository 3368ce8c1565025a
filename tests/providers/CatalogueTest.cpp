// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "providers/database_provider.h"
#include "tests/support/RecordingClient.h"
#include "tests/support/records.h"

namespace database_provider {
namespace {

using database_client::JsonMode;
using database_client::RecordingClient;

class Catalogue : public ::testing::Test {
 protected:
  Catalogue() {
    provider.databaseName = "db";
    provider.collectionName = "things";
    provider.setDatabaseClient(&client);
  }
  std::string categoriesNames() {
    std::list<std::string> names{"old"};
    provider.enumCategoriesNames(names);
    return joined(names);
  }

  RecordingClient client;
  DatabaseProvider provider;
};

/// "name:type=count"
std::string text(const std::list<DatabaseProviderInterface::Description>& descriptions) {
  std::list<std::string> items;
  for (const auto& [name, type, count] : descriptions) {
    items.push_back(name + ":" + std::to_string(static_cast<int>(type)) + "=" + std::to_string(count));
  }
  return joined(items);
}

std::string text(const std::map<std::string, int>& statistics) {
  std::list<std::string> items;
  for (const auto& [value, count] : statistics) items.push_back(value + "=" + std::to_string(count));
  return joined(items);
}

TEST_F(Catalogue, IsEmptiedAndThenWrittenNameByName) {
  client.setMode(JsonMode::canonical);
  provider.setCategoriesNames({"Color", "Shape"});
  EXPECT_EQ(client.calls(),
            "update db configuration {} {\"categoriesNames\": []} 1 3\n"
            "update db configuration {} {\"categoriesNames\": {\"name\": \"Color\", \"order\": {\"$numberInt\": "
            "\"0\"}}} 1 9\n"
            "update db configuration {} {\"categoriesNames\": {\"name\": \"Shape\", \"order\": {\"$numberInt\": "
            "\"1\"}}} 1 9\n");
}

TEST_F(Catalogue, OfNoNamesIsAnEmptyArray) {
  provider.setCategoriesNames({});
  EXPECT_EQ(client.calls(), "update db configuration {} {\"categoriesNames\": []} 1 3\n");
}

TEST_F(Catalogue, TakesEmptyAndRepeatedNamesAsTheyAre) {
  provider.setCategoriesNames({"a", "", "a"});
  EXPECT_EQ(client.calls(),
            "update db configuration {} {\"categoriesNames\": []} 1 3\n"
            "update db configuration {} {\"categoriesNames\": {\"name\": \"a\", \"order\": 0}} 1 9\n"
            "update db configuration {} {\"categoriesNames\": {\"name\": \"\", \"order\": 1}} 1 9\n"
            "update db configuration {} {\"categoriesNames\": {\"name\": \"a\", \"order\": 2}} 1 9\n");
}

TEST_F(Catalogue, KeepsTheNamesWrittenBeforeAFailure) {
  client.failOn(2);
  EXPECT_THROW(provider.setCategoriesNames({"a", "b", "c"}), database_client::Error);
  EXPECT_EQ(client.calls(),
            "update db configuration {} {\"categoriesNames\": []} 1 3\n"
            "update db configuration {} {\"categoriesNames\": {\"name\": \"a\", \"order\": 0}} 1 9\n");
}

TEST_F(Catalogue, IsReadFromTheConfiguration) {
  client.answer({R"({"categoriesNames": [{"name": "a", "order": 0}, {"name": "b", "order": 1}]})"});
  EXPECT_EQ(categoriesNames(), "a b");
  EXPECT_EQ(client.calls(), "find db configuration {} {\"_id\": false, \"categoriesNames\": true} 1 0\n");
}

TEST_F(Catalogue, IsEmptyWithoutAConfigurationOrItsNames) {
  EXPECT_EQ(categoriesNames(), "");
  client.answer({"{}"});
  EXPECT_EQ(categoriesNames(), "");
  client.answer({R"({"categoriesNames": []})"});
  EXPECT_EQ(categoriesNames(), "");
}

TEST_F(Catalogue, IsSortedByOrder) {
  client.answer(
      {R"({"categoriesNames": [{"name": "a", "order": 5}, {"name": "b", "order": 1}, {"name": "c", "order": 3}]})"});
  EXPECT_EQ(categoriesNames(), "b c a");
}

TEST_F(Catalogue, OfTwoNamesInOnePlaceKeepsTheLater) {
  client.answer({R"({"categoriesNames": [{"name": "a", "order": 1}, {"name": "b", "order": 1}, {"name": "c"}]})"});
  EXPECT_EQ(categoriesNames(), "c b") << "an absent order counts as 0";
}

TEST_F(Catalogue, IsEmptyInTheListWhenReadingFails) {
  client.answer({R"({"categoriesNames": [{"name": "a", "order": 0}]})"});
  client.failOn(1);
  std::list<std::string> names{"old"};
  EXPECT_THROW(provider.enumCategoriesNames(names), database_client::Error);
  EXPECT_TRUE(names.empty());
}

TEST_F(Catalogue, DescriptionsAreGroupedByNameAndType) {
  client.setMode(JsonMode::canonical);
  std::list<DatabaseProviderInterface::Description> names;
  provider.enumDescriptionsNames(names);
  EXPECT_EQ(client.calls(),
            R"(aggregate db things {"pipeline": [{"$project": {"recordInfo.description": true, "_id": false}}, )"
            R"({"$unwind": "$recordInfo.description"}, {"$project": {"name": "$recordInfo.description.name", )"
            R"("type": "$recordInfo.description.type", "_id": false}}, {"$group": {"_id": {"name": "$name", )"
            R"("type": "$type"}, "count": {"$sum": {"$numberInt": "1"}}}}]})"
            "\n");
  EXPECT_TRUE(names.empty());
}

TEST_F(Catalogue, OneNameOfTwoKindsIsTwoDescriptions) {
  client.answer(
      {R"({"_id": {"name": "x", "type": 4}, "count": 2})", R"({"_id": {"name": "x", "type": 6}, "count": 1})"});
  std::list<DatabaseProviderInterface::Description> names;
  provider.enumDescriptionsNames(names);
  EXPECT_EQ(text(names), "x:4=2 x:6=1");
}

TEST_F(Catalogue, DescriptionsAreAppendedInTheStoresOrder) {
  client.answer({R"({"_id": {"name": "z", "type": 4}, "count": 2})", R"({"_id": {"name": "a", "type": 6}, "count": 1})",
                 R"({"_id": {}})", R"({"count": 3})"});
  std::list<DatabaseProviderInterface::Description> names{{"old", PropertyType::time, 9}};
  provider.enumDescriptionsNames(names);
  EXPECT_EQ(text(names), "old:9=9 z:4=2 a:6=1 :0=0 :0=3");
}

TEST_F(Catalogue, DescriptionsStayAsTheyWereWhenTheStoreFailsHalfWay) {
  client.answer({R"({"_id": {"name": "z", "type": 4}, "count": 2})"});
  client.failOn(1);
  std::list<DatabaseProviderInterface::Description> names{{"old", PropertyType::time, 9}};
  EXPECT_THROW(provider.enumDescriptionsNames(names), database_client::Error);
  EXPECT_EQ(text(names), "old:9=9");
}

TEST_F(Catalogue, ValuesOfACategoryAreCountedUnderItsWholeNameWhateverItsCase) {
  client.setMode(JsonMode::canonical);
  std::map<std::string, int> statistics;
  provider.categoriesStatistics("Color", statistics);
  EXPECT_EQ(client.calls(),
            R"(aggregate db things {"pipeline": [{"$project": {"recordInfo.category": true, "_id": false}}, )"
            R"({"$unwind": "$recordInfo.category"}, {"$project": {"name": "$recordInfo.category.name", )"
            R"("value": "$recordInfo.category.value", "_id": false}}, {"$match": {"name": {"$regex": "^Color$", )"
            R"("$options": "i"}}}, {"$group": {"_id": "$value", "count": {"$sum": {"$numberInt": "1"}}}}]})"
            "\n");
}

TEST_F(Catalogue, TheNameOfACategoryIsNotEscaped) {
  std::map<std::string, int> statistics;
  provider.categoriesStatistics("C.l*", statistics);
  EXPECT_NE(client.calls().find(R"("$regex": "^C.l*$")"), std::string::npos);
}

TEST_F(Catalogue, StatisticsOverwriteTheirValuesAndKeepTheOthers) {
  client.answer({R"({"_id": "red", "count": 2})", R"({"_id": "", "count": 4})", R"({"_id": null, "count": 5})"});
  std::map<std::string, int> statistics{{"red", 7}, {"blue", 1}};
  provider.categoriesStatistics("Color", statistics);
  EXPECT_EQ(text(statistics), "=5 blue=1 red=2");
}

TEST_F(Catalogue, StatisticsStayAsTheyWereForAnUnknownCategoryOrAFailure) {
  std::map<std::string, int> statistics{{"red", 7}};
  provider.categoriesStatistics("Color", statistics);
  EXPECT_EQ(text(statistics), "red=7");
  client.answer({R"({"_id": "red", "count": 2})", R"({"_id": "blue", "count": 2})"});
  client.failOn(2);
  EXPECT_THROW(provider.categoriesStatistics("Color", statistics), database_client::Error);
  EXPECT_EQ(text(statistics), "red=7");
}

}  // namespace
}  // namespace database_provider
