// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "database_provider/Selection.h"
#include "database_provider/database_provider.h"

namespace database_provider {
namespace {

std::string query(const Selection& selection) {
  return selection.query().toJson();
}

DatabaseFilter siteIs(const std::string& site) {
  DatabaseFilter filter;
  filter.filter_init();
  filter.setCategory(OperationType::equal, "site", site, "");
  filter.filter_finish();
  return filter;
}

int countOf(const Selection& selection) {
  return selection.selectsAll() ? 0 : 1;
}

}  // namespace

TEST(Selection, ByItselfSelectsAllRecords) {
  EXPECT_TRUE(Selection().selectsAll());
  EXPECT_EQ(query({}), "{}");
}

TEST(Selection, AFilterIsTakenAsItIs) {
  DatabaseFilter filter = siteIs("Waseca");
  const Selection selection = filter;
  EXPECT_EQ(query(selection), filter.toObjectProeprties().toJson());
  EXPECT_FALSE(selection.selectsAll());
  filter.clear();
  EXPECT_FALSE(selection.selectsAll());
  EXPECT_EQ(countOf(filter), 0);
}

TEST(Selection, AFilterWithoutConditionsAsksForNothing) {
  DatabaseFilter filter;
  EXPECT_TRUE(Selection(filter).selectsAll());
  filter.filter_init();
  filter.filter_finish();
  EXPECT_TRUE(Selection(filter).selectsAll());
}

TEST(Selection, GivesAFilterForTheProviders) {
  const Selection selection = where("site=Waseca and not has variety");
  EXPECT_EQ(selection.filter().toObjectProeprties().toJson(), query(selection));
  EXPECT_TRUE(Selection().filter().toObjectProeprties().isEmpty());
}

TEST(Selection, IdsAreObjectIdsWhereTheyHaveTheForm) {
  EXPECT_EQ(query(Selection::ofIds({"6b0193fea39dd677b205ee81", "42"})),
            R"({"_id": {"$in": [{"$oid": "6b0193fea39dd677b205ee81"}, "42"]}})");
}

TEST(Selection, NoIdsSelectNoRecord) {
  EXPECT_EQ(query(Selection::ofIds({})), R"({"_id": {"$in": []}})");
  EXPECT_FALSE(Selection::ofIds({}).selectsAll());
}

TEST(Selection, AQueryDocumentIsTakenAsItIs) {
  const std::string text = R"({"a": {"$gt": 3}})";
  EXPECT_EQ(query(Selection::ofQuery(ObjectProperties::fromJson(text))), text);
  EXPECT_TRUE(Selection::ofQuery({}).selectsAll());
}

TEST(Selection, AllRecordsTakeNothingFromAnother) {
  const Selection some = where("id=1");
  EXPECT_EQ(query(some && Selection()), query(some));
  EXPECT_EQ(query(Selection() && some), query(some));
  EXPECT_TRUE((Selection() && Selection()).selectsAll());
}

TEST(Selection, TwoSelectionsAreJoined) {
  EXPECT_EQ(query(where("id=1") && where("id=2")), R"({"$and": [{"_id": "1"}, {"_id": "2"}]})");
  EXPECT_EQ(query(where("id=1") && where("id=2") && where("id=3 or id=4")),
            R"({"$and": [{"_id": "1"}, {"_id": "2"}, {"$or": [{"_id": "3"}, {"_id": "4"}]}]})");
}

TEST(Selection, JoiningManyStaysFlat) {
  Selection all = where("id=0");
  for (int i = 1; i < 500; ++i) all = all && where("id=" + std::to_string(i));
  EXPECT_EQ(all.query().childKeys(), std::list<std::string>{"$and"});
  const auto operands = database_client::EnteredScope::array(all.query(), "$and");
  EXPECT_EQ(all.query().size(), 500);
}

TEST(Selection, JoiningTakesTheWholeOfADocumentThatStandsElsewhere) {
  const Selection some = where("id=1") && where("id=2");
  const database_client::ArrayScope entered(some.query(), "$and");
  EXPECT_EQ(query(some && where("id=3")), R"({"$and": [{"_id": "1"}, {"_id": "2"}, {"_id": "3"}]})");
  EXPECT_EQ(some.query().size(), 2);
}

TEST(Selection, JoiningLeavesTheOperandsAsTheyWere) {
  const Selection left = where("id=1 and id=2");
  const Selection right = where("id=3");
  const std::string before = query(left) + query(right);
  query(left && right);
  EXPECT_EQ(query(left) + query(right), before);
}

TEST(Where, AnEmptyTextSelectsAll) {
  EXPECT_TRUE(where("").selectsAll());
  EXPECT_TRUE(where(" \t").selectsAll());
}

TEST(Where, WhatCannotBeReadIsToldWithItsPlace) {
  const std::string text = "site=Waseca and yield>";
  try {
    where(text);
    FAIL() << "no error";
  } catch (const SelectionError& error) {
    EXPECT_EQ(error.reason(), "expected a value, found the end");
    EXPECT_EQ(error.position(), text.size());
    EXPECT_EQ(error.text(), text);
    EXPECT_STREQ(error.what(),
                 "in the filter: expected a value, found the end\n"
                 "  site=Waseca and yield>\n"
                 "                        ^");
  }
}

TEST(Where, AnErrorIsAnInvalidArgument) {
  EXPECT_THROW(where("site"), std::invalid_argument);
}

TEST(SelectionError, APlaceBehindTheTextIsItsEnd) {
  EXPECT_STREQ(SelectionError("reason", "a=1", 7).what(), "in the filter: reason\n  a=1\n     ^");
}

}  // namespace database_provider
