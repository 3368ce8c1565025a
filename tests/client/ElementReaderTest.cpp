// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "database_client/ElementReader.h"
#include "database_client/ObjectProperties.h"

namespace database_client {
namespace {

/// Everything from the reader on, as "key=value" with levels in braces.
std::string show(Reader entry) {
  std::string text;
  while (entry.next()) {
    text += text.empty() ? "" : " ";
    text += std::string(entry.key()) + "=";
    switch (entry.type()) {
      case PropertyType::group:
      case PropertyType::array:
        text += "{" + show(entry.children()) + "}";
        break;
      case PropertyType::string:
        text += entry.asString();
        break;
      case PropertyType::int32:
        text += std::to_string(entry.asInt32(0));
        break;
      case PropertyType::int64:
        text += std::to_string(entry.asInt64(0)) + "L";
        break;
      case PropertyType::real:
        text += std::to_string(entry.asDouble(0));
        break;
      case PropertyType::boolean:
        text += entry.asBool(false) ? "true" : "false";
        break;
      case PropertyType::time:
        text += std::to_string(entry.asTime(0)) + "ms";
        break;
      default:
        text += "?";
    }
  }
  return text;
}

ObjectProperties sample() {
  return ObjectProperties::fromJson(
      R"({"s": "text", "list": [1, {"deep": true}], "n": {"$numberLong": "-5"}, "d": 1.5, "f": false,)"
      R"( "t": {"$date": {"$numberLong": "-1"}}, "r": {"$regularExpression": {"pattern": "a", "options": "i"}}, "": {}})");
}

TEST(Reader, ReadsEveryEntryInOrder) {
  EXPECT_EQ(show(Reader(sample())), "s=text list={0=1 1={deep=true}} n=-5L d=1.500000 f=false t=-1ms r=? ={}");
}

TEST(Reader, ReadsTheLevelWhereTheDocumentStandsAndStaysThere) {
  const ObjectProperties document = sample();
  ASSERT_TRUE(document.enterArray("list"));
  Reader entry(document);
  document.endArray();
  EXPECT_EQ(show(entry), "0=1 1={deep=true}");
}

TEST(Reader, OfAnEmptyDocumentHasNoEntry) {
  const ObjectProperties empty;
  Reader entry(empty);
  EXPECT_FALSE(entry.next());
  EXPECT_FALSE(entry.next());
  EXPECT_EQ(entry.type(), PropertyType::undefined);
}

TEST(Reader, BeforeTheFirstEntryThereIsNothing) {
  const ObjectProperties document = sample();
  const Reader entry(document);
  EXPECT_EQ(entry.key(), "");
  EXPECT_EQ(entry.type(), PropertyType::undefined);
  EXPECT_EQ(entry.asString(), "");
  EXPECT_EQ(entry.asInt32(7), 7);
  EXPECT_EQ(show(entry.children()), "");
}

TEST(Reader, GivesDefaultsForOtherKinds) {
  const ObjectProperties document = sample();
  Reader entry(document);
  ASSERT_TRUE(entry.next());
  EXPECT_EQ(entry.asInt32(1), 1);
  EXPECT_EQ(entry.asInt64(2), 2);
  EXPECT_EQ(entry.asDouble(3), 3);
  EXPECT_EQ(entry.asTime(4), 4);
  EXPECT_TRUE(entry.asBool(true));
  EXPECT_EQ(show(entry.children()), "");
  ASSERT_TRUE(entry.next());
  EXPECT_EQ(entry.asString(), "");
}

TEST(Reader, OfALevelThatStandsForAnotherKindHasNoEntry) {
  ObjectProperties document = sample();
  document.beginGroup("s");
  EXPECT_EQ(show(Reader(document)), "");
}

}  // namespace
}  // namespace database_client
