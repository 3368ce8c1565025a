// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "tests/client/embedded/support/EngineFixture.h"

namespace database_client {
namespace {

/// The file of a version of the format.
std::string goldenFile(int version) {
  return std::string(GOLDEN_FOLDER) + "/version" + std::to_string(version) + ".store";
}

const std::string values =
    R"({"_id": 2, "double": 1.5, "string": "ü", "document": {"a": [1, {}]}, "binary": {"$binary": {"base64": "AAE=", )"
    R"("subType": "00"}}, "id": {"$oid": "0123456789abcdef01234567"}, "bool": true, "date": {"$date": )"
    R"("1969-12-31T23:59:59.999Z"}, "null": null, "pattern": {"$regularExpression": {"pattern": "a", "options": "i"}}, )"
    R"("timestamp": {"$timestamp": {"t": 1, "i": 2}}, "int64": {"$numberLong": "9007199254740993"}, "decimal": )"
    R"({"$numberDecimal": "0.10"}, "least": {"$minKey": 1}, "most": {"$maxKey": 1}})";

/// How the file was made that is checked in: run with DATABASE_TEST_MAKE_GOLDEN=PATH.
void makeGolden(const std::string& path) {
  Client client(path);
  client.insert(
      R"({"_id": {"$oid": "aaaaaaaaaaaaaaaaaaaaaaaa"}, "tags": [{"name": "Color", "value": "red", "type": 4}]})");
  client.insert(values);
  client.insert(R"({"_id": {"$numberDecimal": "0.1"}, "tags": [{"name": "Color", "value": "blue", "type": 4}]})");
  client.insert(R"({"_id": "gone"})");
  client.remove(R"({"_id": "gone"})");
  client.engine->setUpDeployment({false, "golden", {}});
  Client administrator(path, "admin", "admin", "golden");
  administrator.engine->createUser("databaseManager", "ann", "p\xc3\xa4ss",
                                   ObjectProperties::fromJson(R"({"0": {"role": "read", "db": "test"}})"),
                                   ObjectProperties::fromJson(R"({"team": 5})"));
  administrator.engine->compact();
}

class EmbeddedGoldenFile : public ::testing::TestWithParam<int> {
 protected:
  EmbeddedGoldenFile() {
    if (const char* made = std::getenv("DATABASE_TEST_MAKE_GOLDEN")) makeGolden(made);
    writeFile(path, contentOf(goldenFile(GetParam())));
  }

  TemporaryFolder folder{};
  std::string path = folder / "store";
};

TEST_P(EmbeddedGoldenFile, IsReadWhole) {
  Client ann(path, "databaseManager", "ann", "p\xc3\xa4ss");
  EXPECT_EQ(ann.find(R"({"_id": 2})"), ObjectProperties::fromJson(values).toJson());
  EXPECT_EQ(ann.find("{}", R"({"_id": true})"),
            R"({"_id": {"$oid": "aaaaaaaaaaaaaaaaaaaaaaaa"}}{"_id": 2}{"_id": {"$numberDecimal": "0.1"}})");
  EXPECT_EQ(ann.count(R"({"_id": {"$numberDecimal": "0.10"}})"), "1");
  EXPECT_EQ(ann.insert(R"({"_id": 7})"), "authorization 13");
}

TEST_P(EmbeddedGoldenFile, AnswersFromItsIndex) {
  Client ann(path, "databaseManager", "ann", "p\xc3\xa4ss");
  EXPECT_EQ(ann.find(R"({"tags": {"$elemMatch": {"name": "Color", "value": "blue"}}})", R"({"_id": true})"),
            R"({"_id": {"$numberDecimal": "0.1"}})");
}

TEST_P(EmbeddedGoldenFile, IsSoundAndTakesMore) {
  Client administrator(path, "admin", "admin", "golden");
  EXPECT_EQ(administrator.insert(R"({"_id": 2.0})"), "duplicateKey 11000");
  EXPECT_EQ(administrator.insert(R"({"_id": 3, "tags": [{"name": "Color", "value": "blue"}]})"), "ok");
  EXPECT_EQ(administrator.check(), "7");
  EXPECT_EQ(administrator.count(R"({"tags": {"$elemMatch": {"name": "Color", "value": "blue"}}})"), "2");
}

// Users of the first version have no id.
TEST_P(EmbeddedGoldenFile, TellsUsersOfOneNameApart) {
  Client ann(path, "databaseManager", "ann", "p\xc3\xa4ss");
  Client administrator(path, "admin", "admin", "golden");
  administrator.engine->changePassword("databaseManager", "ann", "other");
  EXPECT_EQ(ann.count(R"({"_id": 2})"), "1");
  administrator.engine->dropUser("databaseManager", "ann");
  administrator.engine->createUser("databaseManager", "ann", "new",
                                   ObjectProperties::fromJson(R"({"0": {"role": "readWrite", "db": "test"}})"), {});
  EXPECT_EQ(ann.count(R"({"_id": 2})"), "authorization 13");
}

INSTANTIATE_TEST_SUITE_P(Versions, EmbeddedGoldenFile, ::testing::Values(1, 2));

}  // namespace
}  // namespace database_client
