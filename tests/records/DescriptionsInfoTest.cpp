// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <limits>

#include "records/DescriptionsInfo.h"
#include "tests/support/records.h"

namespace database_provider {
namespace {

using database_client::JsonMode;

class Descriptions : public ::testing::Test {
 protected:
  Descriptions() { view.setRecord(&document); }

  void load(const std::string& items) {
    document = ObjectProperties::fromJson(R"({"recordInfo": {"description": [)" + items + "]}}");
    view.setRecord(&document);
  }
  std::string written() { return view.getRecord()->toJson(); }

  ObjectProperties document;
  DescriptionsInfo view;
};

void addOneOfEachKind(DescriptionsInfo& view) {
  view.addDescriptionLongLong("id", 5000000000);
  view.addDescriptionDouble("yield", 1.5);
  view.addDescriptionString("title", "Barley");
  view.addDescriptionBool("done", true);
  view.addDescriptionInt("count", 7);
  view.addDescriptionTime("begin", 1000);
}

TEST_F(Descriptions, OfAllKindsAreWrittenWithNameValueAndType) {
  addOneOfEachKind(view);
  EXPECT_EQ(view.getRecord()->toJson(JsonMode::canonical),
            R"({"recordInfo": {"description": [)"
            R"({"name": "id", "value": {"$numberLong": "5000000000"}, "type": {"$numberInt": "7"}}, )"
            R"({"name": "yield", "value": {"$numberDouble": "1.5"}, "type": {"$numberInt": "8"}}, )"
            R"({"name": "title", "value": "Barley", "type": {"$numberInt": "4"}}, )"
            R"({"name": "done", "value": true, "type": {"$numberInt": "5"}}, )"
            R"({"name": "count", "value": {"$numberInt": "7"}, "type": {"$numberInt": "6"}}, )"
            R"({"name": "begin", "value": {"$date": {"$numberLong": "1000"}}, "type": {"$numberInt": "9"}}]}})");
}

TEST_F(Descriptions, OfAllKindsComeBackAsTheyWere) {
  addOneOfEachKind(view);
  ObjectProperties stored = ObjectProperties::fromJson(view.getRecord()->toJson(JsonMode::canonical));
  DescriptionsInfo again;
  again.setRecord(&stored);
  EXPECT_EQ(
      descriptions(again),
      "id=int64:5000000000 yield=double:1.500000 title=string:Barley done=bool:true count=int32:7 begin=time:1000");
}

TEST_F(Descriptions, ExtremeValuesComeBackAsTheyWere) {
  view.addDescriptionLongLong("least", std::numeric_limits<long long>::min());
  view.addDescriptionTime("last", std::numeric_limits<long long>::max());
  view.addDescriptionInt("low", std::numeric_limits<int>::min());
  DescriptionsInfo again;
  again.setRecord(view.getRecord());
  EXPECT_EQ(descriptions(again),
            "least=int64:-9223372036854775808 last=time:9223372036854775807 low=int32:-2147483648");
}

TEST_F(Descriptions, AnEmptyTextRemovesTheDescription) {
  load(R"({"name": "title", "value": "Barley", "type": 4})");
  EXPECT_TRUE(view.addDescriptionString("title", ""));
  EXPECT_EQ(descriptions(view), "");
  EXPECT_EQ(written(), R"({"recordInfo": {"description": []}})");
}

TEST_F(Descriptions, AnEmptyNameWithATextIsRefused) {
  EXPECT_FALSE(view.addDescriptionString("", "text"));
  EXPECT_FALSE(view.addDescriptionBool("", true));
  EXPECT_FALSE(view.addDescriptionInt("", 1));
  EXPECT_FALSE(view.addDescriptionTime("", 1));
  EXPECT_EQ(descriptions(view), "");
  EXPECT_EQ(written(), "{}") << "nothing was marked";
}

TEST_F(Descriptions, AnEmptyNameWithAnEmptyTextMarksTheSection) {
  EXPECT_TRUE(view.addDescriptionString("", ""));
  EXPECT_EQ(written(), R"({"recordInfo": {"description": []}})");
}

TEST_F(Descriptions, ANewDoubleReturnsFalseAndIsReadableAtOnceButNotWritten) {
  EXPECT_FALSE(view.addDescriptionDouble("yield", 1.5));
  EXPECT_EQ(view.descriptionAsDouble("yield", 0), 1.5);
  EXPECT_EQ(written(), "{}");
}

TEST_F(Descriptions, ADoubleIsWrittenWithTheNextOtherEdit) {
  view.addDescriptionDouble("yield", 1.5);
  view.addDescriptionInt("count", 7);
  EXPECT_EQ(written(), R"({"recordInfo": {"description": [{"name": "yield", "value": 1.5, "type": 8}, )"
                       R"({"name": "count", "value": 7, "type": 6}]}})");
}

TEST_F(Descriptions, ADoubleWithoutANameReturnsTrueAndMarksTheSection) {
  EXPECT_TRUE(view.addDescriptionDouble("", 1.5));
  EXPECT_EQ(descriptions(view), "");
  EXPECT_EQ(written(), R"({"recordInfo": {"description": []}})");
}

TEST_F(Descriptions, ANew64BitIntegerReturnsFalseAndIsReadableAtOnceButNotWritten) {
  EXPECT_FALSE(view.addDescriptionLongLong("id", 5000000000));
  EXPECT_EQ(view.descriptionAsLongLong("id", 0), 5000000000);
  EXPECT_EQ(written(), "{}");
  view.removeDescription("other");
  EXPECT_EQ(written(), R"({"recordInfo": {"description": [{"name": "id", "value": 5000000000, "type": 7}]}})");
}

TEST_F(Descriptions, A64BitIntegerWithoutANameReturnsTrueAndMarksTheSection) {
  EXPECT_TRUE(view.addDescriptionLongLong("", 1));
  EXPECT_EQ(written(), R"({"recordInfo": {"description": []}})");
}

TEST_F(Descriptions, TheOtherKindsReturnTrueAndMarkTheSection) {
  EXPECT_TRUE(view.addDescriptionString("a", "x"));
  EXPECT_TRUE(view.addDescriptionBool("b", false));
  EXPECT_TRUE(view.addDescriptionInt("c", 0));
  EXPECT_TRUE(view.addDescriptionTime("d", 0));
  EXPECT_EQ(descriptions(view), "a=string:x b=bool:false c=int32:0 d=time:0");
}

TEST_F(Descriptions, AnAbsentOrEmptyNameGivesTheDefault) {
  EXPECT_EQ(view.descriptionAsInt("count", 7), 7);
  EXPECT_EQ(view.descriptionAsInt("", 7), 7);
  EXPECT_EQ(view.descriptionAsString("title", "none"), "none");
  EXPECT_EQ(view.descriptionAsDouble("yield", 2.5), 2.5);
  EXPECT_TRUE(view.descriptionAsBool("done", true));
  EXPECT_EQ(view.descriptionAsLongLong("id", 8), 8);
  EXPECT_EQ(view.descriptionAsTime("begin", 9), 9);
  EXPECT_EQ(description(view, "count"), "none");
}

TEST_F(Descriptions, AnotherKindGivesTheDefaultAndNumbersReadAcrossKinds) {
  addOneOfEachKind(view);
  EXPECT_EQ(view.descriptionAsInt("title", 3), 3);
  EXPECT_EQ(view.descriptionAsString("count", "none"), "none");
  EXPECT_EQ(view.descriptionAsLongLong("count", 0), 7);
  EXPECT_EQ(view.descriptionAsInt("id", 3), 3) << "5000000000 does not fit";
  EXPECT_EQ(view.descriptionAsInt("yield", 3), 3) << "1.5 is not whole";
}

TEST_F(Descriptions, StoredItemsOfAnUnknownTypeDoNotAppear) {
  load(
      R"({"name": "id", "value": "x", "type": 3}, {"name": "untyped", "value": "x"}, {"name": "group", "value": {}, "type": 1},)"
      R"( {"name": "text", "value": "x", "type": "4"}, {"name": "good", "value": "x", "type": 4}, 17)");
  EXPECT_EQ(descriptions(view), "good=string:x");
}

TEST_F(Descriptions, ReadOneByOneAreThoseThatAreListed) {
  const char* const items = R"({"name": "x", "value": 1, "type": 6}, {"name": "x", "value": "", "type": 4}, )"
                            R"({"name": "y", "value": 5.0, "type": 6}, {"name": "z", "value": 7, "type": 8}, )"
                            R"({"name": "w", "value": "text", "type": 6}, {"name": "v", "value": true, "type": 3}, )"
                            R"({"name": "u", "value": 3, "type": 6}, {"name": "u", "value": 4, "type": 6})";
  for (const auto& [name, expected] :
       {std::pair("x", "int32:1"), std::pair("y", "int32:5"), std::pair("z", "double:7.000000"),
        std::pair("w", "int32:0"), std::pair("v", "none"), std::pair("u", "int32:4")}) {
    load(items);
    EXPECT_EQ(description(view, name), expected) << name;
  }
  load(items);
  EXPECT_EQ(descriptions(view), "x=int32:1 y=int32:5 z=double:7.000000 w=int32:0 u=int32:4");
}

TEST_F(Descriptions, StoredItemsWithoutANameOrTextAreDropped) {
  load(R"({"value": 1, "type": 6}, {"name": "", "value": 1, "type": 6}, {"name": "empty", "value": "", "type": 4})");
  EXPECT_EQ(descriptions(view), "");
}

TEST_F(Descriptions, StoredItemsWithoutAValueReadAsZeroOfTheirKind) {
  load(R"({"name": "i", "type": 6}, {"name": "l", "type": 7}, {"name": "d", "type": 8}, {"name": "b", "type": 5},)"
       R"( {"name": "t", "type": 9}, {"name": "s", "type": 4})");
  EXPECT_EQ(descriptions(view), "i=int32:0 l=int64:0 d=double:0.000000 b=bool:false t=time:0");
}

TEST_F(Descriptions, AddedTwiceKeepTheLastKind) {
  view.addDescriptionString("x", "text");
  view.addDescriptionInt("x", 5);
  EXPECT_EQ(descriptions(view), "x=int32:5");
  EXPECT_EQ(written(), R"({"recordInfo": {"description": [{"name": "x", "value": 5, "type": 6}]}})");
}

TEST_F(Descriptions, RemovingAnAbsentOneMarksTheSection) {
  view.removeDescription("x");
  EXPECT_EQ(written(), R"({"recordInfo": {"description": []}})");
}

TEST_F(Descriptions, RemovingAnEmptyNameMarksTheSection) {
  view.removeDescription("");
  EXPECT_EQ(written(), R"({"recordInfo": {"description": []}})");
}

TEST_F(Descriptions, RemovingAllLeavesAnEmptyArray) {
  load(R"({"name": "title", "value": "Barley", "type": 4})");
  view.removeAllDescriptions();
  EXPECT_EQ(descriptions(view), "");
  EXPECT_EQ(written(), R"({"recordInfo": {"description": []}})");
}

TEST_F(Descriptions, TheNamesReplaceWhatTheListHeld) {
  view.addDescriptionInt("a", 1);
  std::list<std::string> names{"old"};
  view.enumDescriptionsNames(names);
  EXPECT_EQ(joined(names), "a");
}

TEST_F(Descriptions, ASlashIsAnOrdinaryName) {
  view.addDescriptionInt("a", 1);
  view.addDescriptionInt("/", 2);
  EXPECT_EQ(descriptions(view), "a=int32:1 /=int32:2");
  view.removeDescription("/");
  EXPECT_EQ(descriptions(view), "a=int32:1");
}

TEST_F(Descriptions, AViewThatStandsAloneWritesADocumentOfItsOwnForTheCaller) {
  DescriptionsInfo alone;
  alone.addDescriptionInt("count", 7);
  const std::unique_ptr<ObjectProperties> made(alone.getRecord());
  EXPECT_EQ(made->toJson(), R"({"recordInfo": {"description": [{"name": "count", "value": 7, "type": 6}]}})");
}

}  // namespace
}  // namespace database_provider
