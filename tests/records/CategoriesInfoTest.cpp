// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "records/CategoriesInfo.h"
#include "tests/support/records.h"

namespace database_provider {
namespace {

const char* const redAndRound =
    R"({"recordInfo": {"category": [{"name": "Color", "value": "red"}, {"name": "Shape", "value": "round"}]}})";

class Categories : public ::testing::Test {
 protected:
  void load(const std::string& json) {
    document = ObjectProperties::fromJson(json);
    view.setRecord(&document);
  }
  std::string written() { return view.getRecord()->toJson(); }

  ObjectProperties document;
  CategoriesInfo view;
};

TEST_F(Categories, AreReadInTheOrderOfTheDocument) {
  load(redAndRound);
  EXPECT_EQ(categories(view), "Color=red Shape=round");
  EXPECT_EQ(document.toJson(), redAndRound);
}

TEST_F(Categories, ReadAsEmptyWithoutTheSection) {
  for (const char* json :
       {"{}", R"({"recordInfo": {}})", R"({"recordInfo": 5})", R"({"recordInfo": {"category": "x"}})",
        R"({"recordInfo": {"category": []}})", R"({"recordInfo": {"category": [1, "a", null]}})"}) {
    load(json);
    EXPECT_EQ(categories(view), "") << json;
    EXPECT_EQ(view.categoryValue("Color", "none"), "none") << json;
    EXPECT_EQ(document.toJson(), json);
  }
}

TEST_F(Categories, ReplaceTheirValueAndKeepTheirPlace) {
  load(redAndRound);
  EXPECT_TRUE(view.setCategory("Color", "blue"));
  EXPECT_TRUE(view.setCategory("Size", "big"));
  EXPECT_EQ(categories(view), "Color=blue Shape=round Size=big");
  EXPECT_EQ(written(), R"({"recordInfo": {"category": [{"name": "Color", "value": "blue"}, )"
                       R"({"name": "Shape", "value": "round"}, {"name": "Size", "value": "big"}]}})");
}

TEST_F(Categories, AnEmptyNameIsRefusedAndMarksNothing) {
  load(R"({"recordInfo": {"category": [{"name": "Color", "value": ""}]}})");
  EXPECT_FALSE(view.setCategory("", "red"));
  EXPECT_FALSE(view.setCategory("", ""));
  EXPECT_EQ(written(), R"({"recordInfo": {"category": [{"name": "Color", "value": ""}]}})");
}

TEST_F(Categories, AnEmptyValueRemovesTheCategory) {
  load(redAndRound);
  EXPECT_TRUE(view.setCategory("Color", ""));
  EXPECT_EQ(categories(view), "Shape=round");
  EXPECT_EQ(written(), R"({"recordInfo": {"category": [{"name": "Shape", "value": "round"}]}})");
}

TEST_F(Categories, RemovingAnEmptyNameNeitherLoadsNorMarks) {
  load(redAndRound);
  view.removeCategory("");
  // Not loaded yet: what is put into the document now is still seen.
  document = ObjectProperties::fromJson(R"({"recordInfo": {"category": [{"name": "Late", "value": "yes"}, {}]}})");
  EXPECT_EQ(written(), R"({"recordInfo": {"category": [{"name": "Late", "value": "yes"}, {}]}})");
  EXPECT_EQ(categories(view), "Late=yes");
}

TEST_F(Categories, RemovingAnAbsentOneMarksTheSection) {
  load("{}");
  view.removeCategory("Color");
  EXPECT_EQ(written(), R"({"recordInfo": {"category": []}})");
}

TEST_F(Categories, AnAbsentNameGivesTheDefault) {
  load(redAndRound);
  EXPECT_EQ(view.categoryValue("Weight", "heavy"), "heavy");
  EXPECT_EQ(view.categoryValue("", "heavy"), "heavy");
}

TEST_F(Categories, StoredItemsWithoutNameOrValueAreNotLoadedAndGoWithTheNextWrite) {
  load(R"({"recordInfo": {"category": [{"name": "Color", "value": ""}, {"name": "", "value": "x"}, {"name": "Color"},)"
       R"( {"value": "x"}, {}, {"name": "Shape", "value": "round"}, {"name": "Size", "value": 5}]}})");
  EXPECT_EQ(categories(view), "Shape=round");
  view.setCategory("Shape", "square");
  EXPECT_EQ(written(), R"({"recordInfo": {"category": [{"name": "Shape", "value": "square"}]}})");
}

TEST_F(Categories, ARepeatedNameReadsAsItsLastValue) {
  load(
      R"({"recordInfo": {"category": [{"name": "a", "value": "1"}, {"name": "b", "value": "2"}, {"name": "a", "value": "3"}]}})");
  EXPECT_EQ(categories(view), "a=3 b=2");
}

TEST_F(Categories, RemovingAllLeavesAnEmptyArray) {
  load(redAndRound);
  view.removeAllCategories();
  EXPECT_EQ(categories(view), "");
  EXPECT_EQ(written(), R"({"recordInfo": {"category": []}})");
}

TEST_F(Categories, TheNamesReplaceWhatTheListHeld) {
  load(redAndRound);
  std::list<std::string> names{"old"};
  view.enumCategoriesNames(names);
  EXPECT_EQ(joined(names), "Color Shape");
}

TEST_F(Categories, ASlashIsAnOrdinaryName) {
  load(redAndRound);
  view.setCategory("/", "root");
  EXPECT_EQ(categories(view), "Color=red Shape=round /=root");
  view.removeCategory("/");
  EXPECT_EQ(categories(view), "Color=red Shape=round");
}

TEST_F(Categories, NamesOfDotsAndDollarsAreOrdinary) {
  load("{}");
  view.setCategory("a.b", "1");
  view.setCategory("$set", "2");
  view.setCategory("0", "3");
  EXPECT_EQ(categories(view), "a.b=1 $set=2 0=3");
  EXPECT_EQ(written(), R"({"recordInfo": {"category": [{"name": "a.b", "value": "1"}, )"
                       R"({"name": "$set", "value": "2"}, {"name": "0", "value": "3"}]}})");
}

TEST_F(Categories, ItemsAreKeyedInPlainDecimal) {
  load("{}");
  for (int i = 0; i < 11; ++i) view.setCategory("n" + std::to_string(i), "v");
  const ObjectProperties& record = *view.getRecord();
  const database_client::Entered info = database_client::Entered::group(record, "recordInfo");
  const database_client::Entered array = database_client::Entered::array(record, "category");
  EXPECT_EQ(joined(record.childKeys()), "0 1 2 3 4 5 6 7 8 9 10");
}

TEST_F(Categories, ATextThatNoDocumentHoldsIsRefusedAndChangesNothing) {
  load(redAndRound);
  EXPECT_THROW(view.setCategory("Color", "\xff"), database_client::Error);
  EXPECT_THROW(view.setCategory("Size", "\xff"), database_client::Error);
  EXPECT_THROW(view.setCategory("\xff", "big"), database_client::Error);
  EXPECT_EQ(categories(view), "Color=red Shape=round");
  EXPECT_EQ(written(), redAndRound);
}

TEST_F(Categories, ARefusedFirstOneLeavesTheSectionUsable) {
  load("{}");
  EXPECT_THROW(view.setCategory("Color", "\xff"), database_client::Error);
  EXPECT_TRUE(view.setCategory("Color", "red"));
  EXPECT_EQ(written(), R"({"recordInfo": {"category": [{"name": "Color", "value": "red"}]}})");
}

TEST_F(Categories, ANulInANameOrValueIsKept) {
  const std::string text("a\0b", 3);
  load("{}");
  view.setCategory(text, text);
  CategoriesInfo again;
  again.setRecord(view.getRecord());
  EXPECT_EQ(again.categoryValue(text, "?"), text);
}

TEST_F(Categories, ReadOneByOneAreThoseThatAreListed) {
  const char* const json = R"({"recordInfo": {"category": [{"name": "a", "value": "1"}, {"name": "b", "value": "2"}, )"
                           R"({"name": "a", "value": ""}, {"name": "b", "value": "3"}, {"name": "c", "value": 4}, )"
                           R"({"name": "", "value": "5"}, {"value": "6"}]}})";
  load(json);
  EXPECT_EQ(view.categoryValue("a", "?"), "1") << "the later one has no value";
  EXPECT_EQ(view.categoryValue("b", "?") + view.categoryValue("c", "?") + view.categoryValue("", "?"), "3??");
  EXPECT_EQ(categories(view), "a=1 b=3");
  load(json);
  for (int i = 0; i < 40; ++i) {
    EXPECT_EQ(view.categoryValue("b", "?") + view.categoryValue("absent", "?"), "3?") << i;
  }
}

TEST_F(Categories, AreThoseOfTheFirstReadWhateverTheDocumentBecomes) {
  load(redAndRound);
  EXPECT_EQ(view.categoryValue("Color", "?"), "red");
  document = ObjectProperties();
  EXPECT_EQ(view.categoryValue("Shape", "?"), "round");
  EXPECT_EQ(categories(view), "Color=red Shape=round");
}

TEST_F(Categories, RemovedAndAddedAgainAreNumberedAnew) {
  load("{}");
  for (const char* name : {"a", "b", "c", "d"}) view.setCategory(name, "1");
  view.removeCategory("a");
  view.removeCategory("c");
  view.setCategory("a", "2");
  EXPECT_EQ(categories(view), "b=1 d=1 a=2");
  EXPECT_EQ(written(), R"({"recordInfo": {"category": [{"name": "b", "value": "1"}, {"name": "d", "value": "1"}, )"
                       R"({"name": "a", "value": "2"}]}})");
  const ObjectProperties& record = *view.getRecord();
  const database_client::Entered info = database_client::Entered::group(record, "recordInfo");
  const database_client::Entered array = database_client::Entered::array(record, "category");
  EXPECT_EQ(joined(record.childKeys()), "0 1 2");
}

TEST_F(Categories, AllRemovedOneByOneAndOneAddedAreOne) {
  load(redAndRound);
  view.removeCategory("Color");
  view.removeCategory("Shape");
  EXPECT_EQ(written(), R"({"recordInfo": {"category": []}})");
  view.setCategory("a", "1");
  EXPECT_EQ(written(), R"({"recordInfo": {"category": [{"name": "a", "value": "1"}]}})");
}

TEST_F(Categories, AllRemovedOneByOneAndWrittenAreNone) {
  load(redAndRound);
  view.removeCategory("Color");
  view.removeCategory("Shape");
  EXPECT_EQ(written(), R"({"recordInfo": {"category": []}})");
  std::list<std::string> names{"old"};
  view.enumCategoriesNames(names);
  EXPECT_EQ(names.size(), 0U);
  EXPECT_EQ(view.categoryValue("", "none"), "none");
}

TEST_F(Categories, AreCopiedIntoAnotherDocumentEditedOrNot) {
  load(redAndRound);
  ObjectProperties other =
      ObjectProperties::fromJson(R"({"a": 1, "recordInfo": {"category": [{}], "description": []}})");
  static_cast<const CategoriesInfo&>(view).updateRecord(&other);
  EXPECT_EQ(other.toJson(), R"({"a": 1, "recordInfo": {"description": [], "category": [{"name": "Color", )"
                            R"("value": "red"}, {"name": "Shape", "value": "round"}]}})");
  view.setCategory("Color", "");
  static_cast<const CategoriesInfo&>(view).updateRecord(&other);
  EXPECT_EQ(other.toJson(),
            R"({"a": 1, "recordInfo": {"description": [], "category": [{"name": "Shape", "value": "round"}]}})");
  EXPECT_EQ(document.toJson(), redAndRound) << "the view's own document is not written";
}

TEST_F(Categories, AnotherDocumentDropsWhatWasNotWritten) {
  load(redAndRound);
  view.setCategory("Color", "blue");
  ObjectProperties other = ObjectProperties::fromJson(R"({"recordInfo": {"category": [{"name": "a", "value": "b"}]}})");
  view.setRecord(&other);
  EXPECT_EQ(categories(view), "a=b");
  view.updateRecord();
  EXPECT_EQ(document.toJson(), redAndRound);
}

TEST_F(Categories, CutOffFromTheirDocumentStayAsTheyWereRead) {
  load(redAndRound);
  EXPECT_EQ(view.categoryValue("Color", "?"), "red");
  view.setRecord(nullptr);
  EXPECT_EQ(categories(view), "Color=red Shape=round");
  view.clear();
  EXPECT_EQ(categories(view), "");
}

TEST_F(Categories, WithoutADocumentReadAsEmptyAndKeepWhatIsSet) {
  view.clear();
  EXPECT_EQ(categories(view), "");
  EXPECT_EQ(view.getRecord(), nullptr);
  EXPECT_TRUE(view.setCategory("a", "b"));
  EXPECT_EQ(categories(view), "a=b");
}

TEST_F(Categories, AViewThatStandsAloneWritesADocumentOfItsOwnForTheCaller) {
  view.setCategory("a", "b");
  const std::unique_ptr<ObjectProperties> made(view.getRecord());
  EXPECT_EQ(made->toJson(), R"({"recordInfo": {"category": [{"name": "a", "value": "b"}]}})");
  EXPECT_EQ(categories(view), "a=b");
  view.setCategory("c", "d");
  EXPECT_EQ(view.getRecord(), made.get());
  EXPECT_EQ(made->toJson(),
            R"({"recordInfo": {"category": [{"name": "a", "value": "b"}, {"name": "c", "value": "d"}]}})");
}

}  // namespace
}  // namespace database_provider
