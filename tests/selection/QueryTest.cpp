// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "selection/Parser.h"
#include "selection/Query.h"

namespace database_provider::selection {
namespace {

std::string query(const std::string& text) {
  return queryOf(parseFilter(text)).toJson();
}

std::string category(const std::string& condition) {
  return R"({"recordInfo.category": {"$elemMatch": {"name": "a", "value": )" + condition + "}}}";
}

std::string description(const std::string& condition) {
  return R"({"recordInfo.description": {"$elemMatch": {"name": "a", "value": )" + condition + "}}}";
}

std::string either(const std::string& onCategory, const std::string& onDescription) {
  return R"({"$or": [)" + category(onCategory) + ", " + description(onDescription) + "]}";
}

std::string id(const std::string& second) {
  return R"({"$oid": ")" + second + R"(0000000000000000"})";
}

std::string ids(const std::string& operation, const std::string& second) {
  return R"({"_id": {")" + operation + R"(": )" + id(second) + "}}";
}

std::string ids(const std::string& from, const std::string& first, const std::string& before, const std::string& end) {
  return R"({"_id": {")" + from + R"(": )" + id(first) + R"(, ")" + before + R"(": )" + id(end) + "}}";
}

}  // namespace

TEST(FilterQuery, AnEmptyTextIsTheEmptyQuery) {
  EXPECT_EQ(query(""), "{}");
}

TEST(FilterQuery, ABareNameStandsForCategoryOrDescription) {
  EXPECT_EQ(query("a=x"), either(R"("x")", R"("x")"));
  EXPECT_EQ(query("category:a=x"), category(R"("x")"));
  EXPECT_EQ(query("description:a=x"), description(R"("x")"));
}

TEST(FilterQuery, ACategoryComparesWithTheTextAsTyped) {
  EXPECT_EQ(query("a=30"), either(R"("30")", "30"));
  EXPECT_EQ(query("a=1e3"), either(R"("1e3")", "1000.0"));
  EXPECT_EQ(query("a=true"), either(R"("true")", "true"));
  EXPECT_EQ(query("a=5000000000"), either(R"("5000000000")", "5000000000"));
  EXPECT_EQ(query("a>2020-01-31"), either(R"({"$gt": "2020-01-31"})", R"({"$gt": {"$date": "2020-01-31T00:00:00Z"}})"));
}

TEST(FilterQuery, AQuotedValueIsATextEverywhere) {
  EXPECT_EQ(query("a=\"30\""), either(R"("30")", R"("30")"));
}

TEST(FilterQuery, NotEqualAsksForAnItemOfTheName) {
  EXPECT_EQ(query("category:a!=x"), category(R"({"$ne": "x"})"));
  EXPECT_EQ(query("not category:a=x"), R"({"$nor": [)" + category(R"("x")") + "]}");
}

TEST(FilterQuery, AListIsOneCondition) {
  EXPECT_EQ(query("category:a in (x, 30)"), category(R"({"$in": ["x", "30"]})"));
  EXPECT_EQ(query("description:a in (x, 30, true)"), description(R"({"$in": ["x", 30, true]})"));
}

TEST(FilterQuery, AnIdIsAnObjectIdWhereItHasTheForm) {
  EXPECT_EQ(query("id=6b0193fea39dd677b205ee81"), R"({"_id": {"$oid": "6b0193fea39dd677b205ee81"}})");
  EXPECT_EQ(query("id=42"), R"({"_id": "42"})");
  EXPECT_EQ(query("id in (42, 6b0193fea39dd677b205ee81)"),
            R"({"_id": {"$in": ["42", {"$oid": "6b0193fea39dd677b205ee81"}]}})");
}

TEST(FilterQuery, CreatedIsARangeOfObjectIds) {
  EXPECT_EQ(query("created<2026-03-05T10:00:00Z"), ids("$lt", "69a95420"));
  EXPECT_EQ(query("created<=2026-03-05T10:00:00Z"), ids("$lt", "69a95421"));
  EXPECT_EQ(query("created>2026-03-05T10:00:00Z"), ids("$gte", "69a95421"));
  EXPECT_EQ(query("created>=2026-03-05T10:00:00Z"), ids("$gte", "69a95420"));
  EXPECT_EQ(query("created=2026-03-05T10:00:00Z"), ids("$gte", "69a95420", "$lt", "69a95421"));
  EXPECT_EQ(query("created!=2026-03-05T10:00:00Z"),
            R"({"$or": [)" + ids("$lt", "69a95420") + ", " + ids("$gte", "69a95421") + "]}");
}

TEST(FilterQuery, ADateOfCreatedIsItsDay) {
  EXPECT_EQ(query("created=2026-03-05"), ids("$gte", "69a8c780", "$lt", "69aa1900"));
  EXPECT_EQ(query("created<=2026-03-05"), ids("$lt", "69aa1900"));
  EXPECT_EQ(query("created>2026-03-05"), ids("$gte", "69aa1900"));
}

TEST(FilterQuery, ATimeThatNoObjectIdCanHoldIsBeforeOrBehindAll) {
  const std::string last = R"({"$oid": "ffffffffffffffffffffffff"}}})";
  EXPECT_EQ(query("created<1960-01-01"), ids("$lt", "00000000"));
  EXPECT_EQ(query("created>=1960-01-01"), ids("$gte", "00000000"));
  EXPECT_EQ(query("created<2200-01-01"), R"({"_id": {"$lte": )" + last);
  EXPECT_EQ(query("created>=2200-01-01"), R"({"_id": {"$gt": )" + last);
  EXPECT_EQ(query("created<2106-02-07T06:28:15Z"), ids("$lt", "ffffffff"));
  EXPECT_EQ(query("created<=2106-02-07T06:28:15Z"), R"({"_id": {"$lte": )" + last);
}

TEST(FilterQuery, ATimeAgoIsTheTimeItNamesAndTheTextThatWasTyped) {
  const database_provider::values::Time now{1'772'704'800'000};
  EXPECT_EQ(queryOf(parseFilter("a>now-1h", now)).toJson(),
            either(R"({"$gt": "now-1h"})", R"({"$gt": {"$date": "2026-03-05T09:00:00Z"}})"));
}

TEST(FilterQuery, ChainsAreFlat) {
  EXPECT_EQ(query("id=1 or id=2 or id=3"), R"({"$or": [{"_id": "1"}, {"_id": "2"}, {"_id": "3"}]})");
  EXPECT_EQ(query("id=1 and (id=2 and id=3)"), R"({"$and": [{"_id": "1"}, {"$and": [{"_id": "2"}, {"_id": "3"}]}]})");
}

TEST(FilterQuery, TheDeepestTextFitsADocument) {
  std::string text = "a=1";
  for (int i = 0; i < maximalFilterDepth; ++i) text = "(b=1 or c=2 and " + text + ")";
  EXPECT_NO_THROW(database_client::ObjectProperties::fromJson(query(text)));
  text = "a=1";
  for (int i = 0; i < maximalFilterDepth; ++i) text = "not " + text;
  EXPECT_NO_THROW(database_client::ObjectProperties::fromJson(query(text)));
}

}  // namespace database_provider::selection
