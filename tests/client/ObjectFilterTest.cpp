// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "database_client/Error.h"
#include "database_client/ObjectFilter.h"

namespace database_client {
namespace {

std::string query(const ObjectFilter& filter) {
  return filter.toObjectProeprties().toJson();
}

ObjectFilter number(const std::string& key, int value, OperationType operation = OperationType::equal) {
  ObjectFilter filter;
  filter.setFilterInt(operation, key, value);
  return filter;
}

Error::Kind refusal(const std::string& value, const std::string& options, OperationType operation) {
  ObjectFilter filter;
  try {
    filter.setFilterString(operation, "name", value, options);
  } catch (const Error& error) {
    EXPECT_TRUE(filter.isEmpty());
    EXPECT_EQ(error.where(), "name");
    return error.kind();
  }
  return Error::Kind::server;
}

TEST(ObjectFilter, WithoutConditionsMatchesEverything) {
  ObjectFilter filter;
  EXPECT_EQ(query(filter), "{}");
  EXPECT_TRUE(filter.isEmpty());
}

TEST(ObjectFilter, EmptyGroupsNeverReachTheQuery) {
  ObjectFilter filter;
  filter.start_and();
  filter.start_or();
  filter.start_and();
  filter.finish_and();
  filter.finish_or();
  filter.beginGroup("field");
  filter.beginGroup("$elemMatch");
  filter.endGroup();
  filter.endGroup();
  filter.finish_and();
  EXPECT_TRUE(filter.isEmpty());
  EXPECT_EQ(query(filter), "{}");
  filter.start_or();
  filter.include(ObjectFilter());
  filter.setFilterInt(OperationType::equal, "a", 1);
  filter.finish_or();
  EXPECT_EQ(query(filter), R"({"a": 1})");
}

TEST(ObjectFilter, EveryOperationHasItsOperator) {
  EXPECT_EQ(query(number("a", 1, OperationType::equal)), R"({"a": 1})");
  EXPECT_EQ(query(number("a", 1, OperationType::notEqual)), R"({"a": {"$ne": 1}})");
  EXPECT_EQ(query(number("a", 1, OperationType::less)), R"({"a": {"$lt": 1}})");
  EXPECT_EQ(query(number("a", 1, OperationType::lessOrEqual)), R"({"a": {"$lte": 1}})");
  EXPECT_EQ(query(number("a", 1, OperationType::greater)), R"({"a": {"$gt": 1}})");
  EXPECT_EQ(query(number("a", 1, OperationType::greaterOrEqual)), R"({"a": {"$gte": 1}})");
  EXPECT_EQ(query(number("a", 1, OperationType::exists)), R"({"a": {"$exists": true}})");
  EXPECT_EQ(query(number("a", 1, OperationType::notExists)), R"({"a": {"$exists": false}})");
  EXPECT_THROW(number("a", 1, OperationType::matches), Error);
  EXPECT_THROW(number("a", 1, static_cast<OperationType>(17)), Error);
}

TEST(ObjectFilter, EveryKindOfValueKeepsItsKind) {
  ObjectFilter filter;
  filter.setFilterBool(OperationType::equal, "bool", true);
  filter.setFilterLongLong(OperationType::equal, "long", 5);
  filter.setFilterDouble(OperationType::equal, "double", 0.5);
  filter.setFilterTime(OperationType::equal, "time", 0);
  filter.setFilterId(OperationType::equal, "_id", "0123456789abcdef01234567");
  filter.setFilterId(OperationType::equal, "foreign", "db.user");
  EXPECT_EQ(filter.toObjectProeprties().toJson(JsonMode::canonical),
            R"({"bool": true, "long": {"$numberLong": "5"}, "double": {"$numberDouble": "0.5"}, )"
            R"("time": {"$date": {"$numberLong": "0"}}, "_id": {"$oid": "0123456789abcdef01234567"}, )"
            R"("foreign": "db.user"})");
}

TEST(ObjectFilter, ExactTextIsNeverAPattern) {
  ObjectFilter filter;
  filter.setFilterString(OperationType::equal, "a", ".*", "");
  filter.setFilterString(OperationType::notEqual, "b", "$where", "");
  EXPECT_EQ(query(filter), R"({"a": ".*", "b": {"$ne": "$where"}})");
}

TEST(ObjectFilter, TextUnderOptionsIsEscapedAndAnchored) {
  ObjectFilter filter;
  filter.setFilterString(OperationType::equal, "a", "a.b #\u00e9", "i");
  filter.setFilterString(OperationType::notEqual, "b", "x", "i");
  filter.setFilterString(OperationType::equal, "c", "\u00e9", "x");
  EXPECT_EQ(query(filter),
            "{\"a\": {\"$regex\": \"\\\\Aa\\\\.b\\\\ \\\\#\u00e9\\\\z\", \"$options\": \"i\"}, "
            R"("b": {"$not": {"$regex": "\\Ax\\z", "$options": "i"}}, )"
            "\"c\": {\"$regex\": \"\\\\A\\\\\u00e9\\\\z\", \"$options\": \"x\"}}");
}

TEST(ObjectFilter, PatternsAreSentAsTheyAre) {
  ObjectFilter filter;
  filter.setFilterString(OperationType::matches, "a", "^x", "");
  filter.setFilterString(OperationType::notMatches, "b", "y$", "m");
  EXPECT_EQ(query(filter), R"({"a": {"$regex": "^x"}, "b": {"$not": {"$regex": "y$", "$options": "m"}}})");
}

TEST(ObjectFilter, RefusesWhatCannotBeSent) {
  const std::string withNul("a\0b", 3);
  EXPECT_EQ(refusal(withNul, "i", OperationType::equal), Error::Kind::document);
  EXPECT_EQ(refusal(withNul, "", OperationType::matches), Error::Kind::document);
  EXPECT_EQ(refusal("\xff", "", OperationType::equal), Error::Kind::document);
  EXPECT_EQ(refusal("a", "q", OperationType::equal), Error::Kind::query);
  ObjectFilter filter;
  filter.setFilterString(OperationType::equal, "name", withNul, "");
  EXPECT_EQ(query(filter), R"({"name": "a\u0000b"})");
}

TEST(ObjectFilter, TwoConditionsOnOneKeyBothHold) {
  ObjectFilter filter = number("a", 1, OperationType::greater);
  filter.setFilterInt(OperationType::less, "a", 5);
  filter.setFilterInt(OperationType::equal, "b", 2);
  EXPECT_EQ(query(filter), R"({"a": {"$gt": 1}, "b": 2, "$and": [{"a": {"$lt": 5}}]})");
}

TEST(ObjectFilter, ConditionsOfAnOrGroupAreItsAlternatives) {
  ObjectFilter filter;
  filter.start_or();
  filter.setFilterInt(OperationType::equal, "a", 1);
  filter.start_and();
  filter.setFilterInt(OperationType::equal, "a", 2);
  filter.setFilterInt(OperationType::equal, "b", 3);
  filter.finish_and();
  ObjectFilter included = number("c", 4);
  included.setFilterInt(OperationType::equal, "d", 5);
  filter.include(included);
  filter.finish_or();
  EXPECT_EQ(query(filter), R"({"$or": [{"a": 1}, {"a": 2, "b": 3}, {"c": 4, "d": 5}]})");
}

TEST(ObjectFilter, TwoOrGroupsBothHold) {
  ObjectFilter filter;
  for (const char* key : {"a", "b"}) {
    filter.start_or();
    filter.setFilterInt(OperationType::equal, key, 1);
    filter.setFilterInt(OperationType::equal, key, 2);
    filter.finish_or();
  }
  EXPECT_EQ(query(filter), R"({"$or": [{"a": 1}, {"a": 2}], "$and": [{"$or": [{"b": 1}, {"b": 2}]}]})");
}

TEST(ObjectFilter, FieldGroupsNest) {
  ObjectFilter item;
  item.beginGroup("recordInfo.category");
  item.beginGroup("$elemMatch");
  item.setFilterString(OperationType::equal, "name", "Color", "");
  item.setFilterString(OperationType::notEqual, "value", "red", "");
  item.endGroup();
  item.endGroup();
  ObjectFilter filter;
  filter.include(item);
  EXPECT_EQ(query(filter), R"({"recordInfo.category": {"$elemMatch": {"name": "Color", "value": {"$ne": "red"}}}})");
}

TEST(ObjectFilter, EitherFinishClosesTheInnermostGroupAndASurplusOneNothing) {
  ObjectFilter filter;
  filter.start_or();
  filter.setFilterInt(OperationType::equal, "a", 1);
  filter.setFilterInt(OperationType::equal, "b", 2);
  filter.finish_and();
  filter.finish_and();
  filter.finish_or();
  filter.endGroup();
  filter.setFilterInt(OperationType::equal, "c", 3);
  EXPECT_EQ(query(filter), R"({"$or": [{"a": 1}, {"b": 2}], "c": 3})");
}

TEST(ObjectFilter, AnOpenGroupIsClosedOnConversionAndStaysOpenForMore) {
  ObjectFilter filter;
  filter.start_or();
  filter.setFilterInt(OperationType::equal, "a", 1);
  filter.setFilterInt(OperationType::equal, "b", 2);
  EXPECT_EQ(query(filter), R"({"$or": [{"a": 1}, {"b": 2}]})");
  filter.setFilterInt(OperationType::equal, "c", 3);
  EXPECT_EQ(query(filter), R"({"$or": [{"a": 1}, {"b": 2}, {"c": 3}]})");
}

TEST(ObjectFilter, ExcludeMovesTheConditionsOnOneKeyOfTheOutermostLevel) {
  ObjectFilter filter;
  filter.start_and();
  filter.setFilterInt(OperationType::greater, "a", 1);
  filter.setFilterInt(OperationType::equal, "b", 2);
  filter.setFilterInt(OperationType::less, "a", 9);
  filter.start_or();
  filter.setFilterInt(OperationType::equal, "a", 5);
  filter.setFilterInt(OperationType::equal, "c", 6);
  filter.finish_or();
  filter.finish_and();
  ObjectFilter out = number("old", 1);
  filter.exclude("a", out);
  EXPECT_EQ(query(out), R"({"a": {"$gt": 1}, "$and": [{"a": {"$lt": 9}}]})");
  EXPECT_EQ(query(filter), R"({"b": 2, "$or": [{"a": 5}, {"c": 6}]})");
  filter.exclude("absent", out);
  EXPECT_TRUE(out.isEmpty());
}

TEST(ObjectFilter, QueryDocumentGoesThroughAndCanBeAddedTo) {
  const auto given =
      ObjectProperties::fromJson(R"({"a": {"$in": [1, 2]}, "$and": [{"a": 1}, {"b": {"$exists": true}}]})");
  ObjectFilter filter;
  filter.fromObjectProperties(given);
  EXPECT_EQ(query(filter), R"({"a": {"$in": [1, 2]}, "b": {"$exists": true}, "$and": [{"a": 1}]})");
  filter.setFilterInt(OperationType::equal, "c", 3);
  EXPECT_EQ(query(filter), R"({"a": {"$in": [1, 2]}, "b": {"$exists": true}, "c": 3, "$and": [{"a": 1}]})");
  filter.fromObjectProperties(ObjectProperties());
  EXPECT_TRUE(filter.isEmpty());
}

TEST(ObjectFilter, AndGroupAloneInAnOrGroupHoldsWithWhatIsAround) {
  ObjectFilter filter = number("a", 1);
  filter.start_or();
  filter.start_and();
  filter.setFilterInt(OperationType::equal, "b", 2);
  filter.setFilterInt(OperationType::equal, "c", 3);
  filter.finish_and();
  filter.finish_or();
  EXPECT_EQ(query(filter), R"({"a": 1, "b": 2, "c": 3})");
}

TEST(ObjectFilter, EmptyAndOfAGivenQueryIsLeftForTheStoreToRefuse) {
  ObjectFilter filter;
  filter.fromObjectProperties(ObjectProperties::fromJson(R"({"$and": []})"));
  EXPECT_EQ(query(filter), R"({"$and": [{"$and": []}]})");
}

TEST(ObjectFilter, CopiesAreIndependentAndAFilterCanIncludeItself) {
  ObjectFilter filter = number("a", 1);
  ObjectFilter copy(filter);
  copy.setFilterInt(OperationType::equal, "b", 2);
  filter.include(filter);
  EXPECT_EQ(query(filter), R"({"a": 1, "$and": [{"a": 1}]})");
  EXPECT_EQ(query(copy), R"({"a": 1, "b": 2})");
  copy = filter;
  EXPECT_EQ(query(copy), query(filter));
}

TEST(ObjectFilter, HoldsAnyNumberOfConditionsGroupsAndBytes) {
  ObjectFilter filter;
  std::string expected;
  std::string further;
  for (int i = 0; i < 200; ++i) {
    const std::string key = "key" + std::to_string(i % 100);
    const std::string text(static_cast<std::size_t>(i), 'x');
    filter.start_and();
    filter.beginGroup(key);
    filter.setFilterString(OperationType::equal, "text", text, "");
    filter.setFilterString(OperationType::less, "other", text, "");
    filter.endGroup();
    filter.finish_and();
    const std::string condition = "\"" + key + R"(": {"text": ")" + text + R"(", "other": {"$lt": ")" + text + R"("}})";
    (i < 100 ? expected : further) += (i % 100 == 0 ? "" : ", ") + (i < 100 ? condition : "{" + condition + "}");
  }
  const std::string whole = "{" + expected + R"(, "$and": [)" + further + "]}";
  EXPECT_EQ(query(filter), whole);
  ObjectFilter copy;
  copy.setFilterBool(OperationType::equal, "gone", true);
  copy = filter;
  EXPECT_EQ(query(copy), whole);
  for (int open = 0; open < 50; ++open) copy.start_and();
  copy.include(filter);
  EXPECT_FALSE(copy.isEmpty());
  copy = ObjectFilter();
  EXPECT_EQ(query(copy), "{}");
}

TEST(ObjectFilter, AConditionNestedTooDeepInItsGroupIsAnErrorOnConversion) {
  ObjectProperties nested;
  for (int i = 0; i < 98; ++i) nested.beginGroup("a");
  nested.setValueInt32("b", 1);
  ObjectFilter deep;
  deep.fromObjectProperties(nested);
  EXPECT_EQ(deep.toObjectProeprties().toJson(), nested.toJson());
  deep.setFilterInt(OperationType::equal, "c", 1);
  ObjectFilter filter;
  filter.start_or();
  filter.include(deep);
  filter.setFilterInt(OperationType::equal, "c", 1);
  EXPECT_NO_THROW(filter.toObjectProeprties());
  ObjectFilter grouped;
  grouped.beginGroup("group");
  grouped.include(filter);
  EXPECT_THROW(grouped.toObjectProeprties(), Error);
}

TEST(ObjectFilter, GroupsNestedTooDeepAreAnErrorOnConversion) {
  ObjectFilter filter;
  for (int i = 0; i < 200; ++i) {
    filter.start_or();
    filter.setFilterInt(OperationType::equal, "a", i);
    filter.start_and();
    filter.setFilterInt(OperationType::equal, "b", i);
  }
  EXPECT_THROW(filter.toObjectProeprties(), Error);
}

}  // namespace
}  // namespace database_client
