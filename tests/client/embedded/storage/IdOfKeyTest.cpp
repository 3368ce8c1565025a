// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "client/DocumentAccess.h"
#include "client/embedded/query/values/compare.h"
#include "client/embedded/storage/idOfKey.h"

namespace database_client {
namespace {

std::string textOf(const std::vector<bson::Byte>& document) {
  return DocumentAccess::adopt(bson::viewOf(document)).toJson(JsonMode::canonical);
}

std::string keyOf(const std::string& document) {
  const ObjectProperties whole = ObjectProperties::fromJson(document);
  return embedded::canonicalKey(DocumentAccess::view(whole).find("_id"));
}

TEST(IdOfKey, GivesTheIdBack) {
  for (const std::string document :
       {R"({"_id": {"$oid": "0123456789abcdef01234567"}})", R"({"_id": "ü"})", R"({"_id": ""})",
        R"({"_id": {"$numberInt": "-7"}})", R"({"_id": {"$numberLong": "9007199254740993"}})",
        R"({"_id": {"$numberDouble": "1.5"}})", R"({"_id": {"$numberDouble": "NaN"}})", R"({"_id": true})",
        R"({"_id": {"$date": {"$numberLong": "-5"}}})", R"({"_id": null})", R"({"_id": {"$minKey": 1}})",
        R"({"_id": {"$maxKey": 1}})", R"({"_id": {"$timestamp": {"t": 1, "i": 2}}})",
        R"({"_id": {"$binary": {"base64": "AAE=", "subType": "04"}}})",
        R"({"_id": {"a": {"$numberInt": "1"}, "b": [{"$numberInt": "2"}, {"c": "x"}]}})"}) {
    EXPECT_EQ(textOf(embedded::idOfKey(keyOf(document))), document);
  }
}

TEST(IdOfKey, GivesOneOfTheValuesThatCompareEqual) {
  EXPECT_EQ(textOf(embedded::idOfKey(keyOf(R"({"_id": 1.0})"))), R"({"_id": {"$numberInt": "1"}})");
}

TEST(IdOfKey, GivesNothingForWhatIsNoKey) {
  const std::string text = keyOf(R"({"_id": "text"})");
  std::string deep;
  for (int level = 0; level < 200'000; ++level) deep += "\x19\x01";
  for (const std::string& key : {std::string(), std::string("\xff"), text.substr(0, text.size() - 1), text + "x",
                                 std::string("\x0f\xff\xff\xff\xff"), std::string("\x14\x01key"), deep,
                                 std::string("\x0f\x01\x00\x00\x00\xff", 6)}) {
    EXPECT_EQ(textOf(embedded::idOfKey(key)), "{}");
  }
}

TEST(IdOfKey, KnowsTheKeyOfAnObjectId) {
  const std::string key = keyOf(R"({"_id": {"$oid": "0123456789abcdef01234567"}})");
  EXPECT_TRUE(embedded::isKeyOfObjectId(key));
  EXPECT_FALSE(embedded::isKeyOfObjectId(key + "x"));
  EXPECT_FALSE(embedded::isKeyOfObjectId(""));
  const std::string asLong = keyOf(R"({"_id": "12345678"})");
  EXPECT_EQ(asLong.size(), key.size());
  EXPECT_FALSE(embedded::isKeyOfObjectId(asLong));
}

}  // namespace
}  // namespace database_client
