// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "records/DatabaseRecord.h"
#include "tests/support/records.h"

namespace database_provider {
namespace {

const char* const full =
    R"({"plot": 12, "recordInfo": {"category": [{"name": "Color", "value": "red"}], )"
    R"("description": [{"name": "yield", "value": 1.5, "type": 8}], "additionalData": {"files": [{"fileId": "7", )"
    R"("type": 1, "host": "h", "path": "/a"}], "dataSource": {"host": "x"}}}, "site": "Waseca"})";

class Record : public ::testing::Test {
 protected:
  void load(const std::string& json) { record.setD(newDocument(json).release()); }
  std::string written() const { return record.getD()->toJson(); }

  DatabaseRecord record;
};

TEST_F(Record, IsNewWithAnEmptyDocument) {
  EXPECT_EQ(written(), "{}");
  EXPECT_EQ(content(record), "categories ; descriptions ; files; user {}");
  EXPECT_EQ(written(), "{}") << "reading makes no sections";
}

TEST_F(Record, ReadsAllSectionsAndLeavesTheDocumentAsItIs) {
  load(full);
  EXPECT_EQ(content(record),
            "categories Color=red; descriptions yield=double:1.500000; files 7(1 h /a); "
            R"(user {"plot": 12, "site": "Waseca"})");
  EXPECT_EQ(written(), full);
}

TEST_F(Record, WritesTheEditedSectionOnly) {
  load(full);
  record.setCategory("Color", "blue");
  EXPECT_EQ(written(),
            R"({"plot": 12, "recordInfo": {"description": [{"name": "yield", "value": 1.5, "type": 8}], )"
            R"("additionalData": {"files": [{"fileId": "7", "type": 1, "host": "h", "path": "/a"}], )"
            R"("dataSource": {"host": "x"}}, "category": [{"name": "Color", "value": "blue"}]}, "site": "Waseca"})");
}

/// A record whose document was left inside a group of the user record when it was handed over.
class RecordInsideAGroup : public Record {
 protected:
  RecordInsideAGroup() {
    auto document = newDocument(R"({"plot": {"row": {"number": 3}}, "recordInfo": {"category": [{"name": "Color", )"
                                R"("value": "red"}]}})");
    document->beginGroup("plot");
    document->beginGroup("row");
    record.setD(document.release());
  }
};

TEST_F(RecordInsideAGroup, ReadsTheSectionsOfTheWholeDocument) {
  EXPECT_EQ(content(record), R"(categories Color=red; descriptions ; files; user {"plot": {"row": {"number": 3}}})");
}

TEST_F(RecordInsideAGroup, WritesTheSectionsWhereTheyAreRead) {
  std::string id;
  record.setCategory("Color", "blue");
  record.addDescriptionInt("count", 2);
  record.addFileInfo(ObjectType::xmlObject, "h", "/a", id);
  EXPECT_EQ(written(), R"({"plot": {"row": {"number": 3}}, "recordInfo": {"category": [{"name": "Color", )"
                       R"("value": "blue"}], "description": [{"name": "count", "value": 2, "type": 6}], )"
                       R"("additionalData": {"files": [{"fileId": ")" +
                           id + R"(", "type": 1, "host": "h", "path": "/a"}]}}})");
}

TEST_F(RecordInsideAGroup, LeavesTheDocumentWhereItStood) {
  EXPECT_EQ(content(record).substr(0, 20), "categories Color=red");
  record.setCategory("Color", "blue");
  EXPECT_EQ(record.getD()->valueAsInt32("number", 0), 3);
  record.setUserRecrod(ObjectProperties::fromJson(R"({"plot": {"row": {"number": 4}}})"));
  EXPECT_EQ(record.getD()->valueAsInt32("number", 0), 4);
  record.getD()->endGroup();
  record.getD()->setValueInt32("column", 5);
  EXPECT_EQ(written(), R"({"plot": {"row": {"number": 4}, "column": 5}, "recordInfo": {"category": [{"name": "Color", )"
                       R"("value": "blue"}]}})");
}

TEST_F(RecordInsideAGroup, StandsInALevelThatReadsAsEmptyWhenTheGroupIsGone) {
  record.removeUserRecord();
  EXPECT_EQ(record.getD()->size(), 0);
  EXPECT_EQ(written(), R"({"recordInfo": {"category": [{"name": "Color", "value": "red"}]}})");
  record.getD()->setValueInt32("number", 6);
  EXPECT_EQ(record.getD()->toJson(),
            R"({"recordInfo": {"category": [{"name": "Color", "value": "red"}]}, "plot": {"row": {"number": 6}}})");
}

TEST_F(Record, WritesAllSectionsAndTheUserRecordAroundThem) {
  std::string id;
  record.setUserRecrod(ObjectProperties::fromJson(R"({"plot": 3})"));
  record.addFileInfo(ObjectType::xmlObject, "h", "/a", id);
  record.addDescriptionInt("count", 2);
  record.setCategory("a", "b");
  EXPECT_EQ(written(), R"({"plot": 3, "recordInfo": {"category": [{"name": "a", "value": "b"}], )"
                       R"("description": [{"name": "count", "value": 2, "type": 6}], "additionalData": {"files": )"
                       R"([{"fileId": ")" +
                           id + R"(", "type": 1, "host": "h", "path": "/a"}]}}})");
}

TEST_F(Record, IsWrittenOnceAndThenLeftAlone) {
  record.setCategory("a", "b");
  ObjectProperties* document = record.getD();
  document->setValueInt32("late", 1);
  EXPECT_EQ(record.getD(), document);
  EXPECT_EQ(written(), R"({"recordInfo": {"category": [{"name": "a", "value": "b"}]}, "late": 1})");
}

TEST_F(Record, RemovingAllCategoriesLeavesAnEmptyArray) {
  load(full);
  record.removeAllCategories();
  EXPECT_NE(written().find(R"("category": [])"), std::string::npos);
  EXPECT_EQ(written().find("Color"), std::string::npos);
}

TEST_F(Record, RemovingTheUserRecordLeavesTheRecordInfo) {
  load(R"({"plot": 12, "recordInfo": {"category": []}, "site": "Waseca"})");
  record.removeUserRecord();
  EXPECT_EQ(written(), R"({"recordInfo": {"category": []}})");
}

TEST_F(Record, KeepsPendingEditsWhenGivenTheDocumentItHolds) {
  load("{}");
  record.setCategory("a", "b");
  // The document itself, before anything is written to it.
  ObjectProperties* document = newDocument(full).release();
  record.setD(document);
  record.setCategory("Color", "blue");
  record.setD(document);
  EXPECT_EQ(categories(record), "Color=blue");
  EXPECT_NE(written().find("blue"), std::string::npos);
}

TEST_F(Record, AnotherDocumentDropsPendingEdits) {
  record.setCategory("a", "b");
  load(full);
  EXPECT_EQ(categories(record), "Color=red");
  EXPECT_EQ(written(), full);
}

TEST_F(Record, GivesItsDocumentAwayWithPendingEditsWritten) {
  load("{}");
  record.setCategory("a", "b");
  const std::unique_ptr<ObjectProperties> taken(record.take());
  EXPECT_EQ(taken->toJson(), R"({"recordInfo": {"category": [{"name": "a", "value": "b"}]}})");
  EXPECT_NE(record.getD(), taken.get());
  EXPECT_EQ(written(), "{}");
}

TEST_F(Record, AfterTakeEditsStillGoIntoTheDocumentThatWasTaken) {
  load(full);
  const std::unique_ptr<ObjectProperties> taken(record.take());
  record.setCategory("Color", "blue");
  EXPECT_EQ(written(), "{}");
  EXPECT_NE(taken->toJson().find("blue"), std::string::npos);
  EXPECT_EQ(categories(record), "Color=blue");
}

TEST_F(Record, ATakenDocumentCanBeGivenBack) {
  load(full);
  record.setD(record.take());
  EXPECT_EQ(written(), full);
  EXPECT_EQ(categories(record), "Color=red");
}

TEST_F(Record, ClearedIsEmpty) {
  load(full);
  record.clear();
  EXPECT_EQ(content(record), "categories ; descriptions ; files; user {}");
  EXPECT_EQ(written(), "{}");
}

TEST_F(Record, ClearedKeepsEditsReadableButOutOfItsDocument) {
  load(full);
  record.clear();
  std::string id;
  EXPECT_TRUE(record.setCategory("a", "b"));
  EXPECT_TRUE(record.addDescriptionInt("count", 2));
  EXPECT_TRUE(record.addFileInfo(ObjectType::xmlObject, "h", "/a", id));
  record.setUserRecrod(ObjectProperties::fromJson(R"({"plot": 3})"));
  const std::string edited =
      "categories a=b; descriptions count=int32:2; files " + id + R"((1 h /a); user {"plot": 3})";
  EXPECT_EQ(content(record), edited);
  EXPECT_EQ(written(), "{}");
  EXPECT_EQ(content(record), edited);
  record.setCategory("c", "d");
  EXPECT_EQ(written(), "{}");
  EXPECT_EQ(categories(record), "a=b c=d");
}

TEST_F(Record, ClearedAndGivenADocumentWorksOnIt) {
  record.clear();
  record.setCategory("a", "b");
  record.getD();
  load(full);
  EXPECT_EQ(categories(record), "Color=red");
  record.setCategory("a", "b");
  EXPECT_EQ(categories(record), "Color=red a=b");
  EXPECT_NE(written().find(R"({"name": "a", "value": "b"})"), std::string::npos);
}

TEST_F(Record, ClearedAndGivenItsOwnDocumentStaysCutOff) {
  record.clear();
  record.setD(record.getD());
  EXPECT_TRUE(record.setCategory("a", "b"));
  EXPECT_EQ(written(), "{}");
  EXPECT_EQ(categories(record), "a=b");
}

TEST_F(Record, ClearedTwiceIsEmptyAgain) {
  record.clear();
  record.setCategory("a", "b");
  record.getD();
  record.clear();
  EXPECT_EQ(categories(record), "");
}

TEST_F(Record, GivenNoDocumentHasAnEmptyOne) {
  load(full);
  record.setD(nullptr);
  ASSERT_NE(record.getD(), nullptr);
  record.setCategory("a", "b");
  EXPECT_EQ(written(), R"({"recordInfo": {"category": [{"name": "a", "value": "b"}]}})");
}

TEST_F(Record, SupportsNoKindOfFileAndLeavesTheListOfExtensions) {
  EXPECT_TRUE(record.supportedObjectTypes().empty());
  std::list<std::string> extensions{".old"};
  record.fileExtensions(ObjectType::xmlObject, extensions);
  EXPECT_EQ(joined(extensions), ".old");
}

TEST_F(Record, ForwardsEveryDescriptionAndFileOperation) {
  record.addDescriptionString("s", "text");
  record.addDescriptionBool("b", true);
  record.addDescriptionDouble("d", 2.5);
  record.addDescriptionLongLong("l", 5000000000);
  record.addDescriptionTime("t", 1000);
  EXPECT_EQ(descriptions(record), "s=string:text b=bool:true d=double:2.500000 l=int64:5000000000 t=time:1000");
  record.removeDescription("s");
  EXPECT_EQ(record.descriptionAsString("s", "gone"), "gone");
  record.removeAllDescriptions();
  EXPECT_EQ(descriptions(record), "");

  record.setCategory("a", "b");
  record.removeCategory("a");
  EXPECT_EQ(record.categoryValue("a", "gone"), "gone");

  std::string id;
  record.addFileInfo(ObjectType::mediaObject, "h", "/a", id);
  std::list<std::string> ids;
  record.enumFilesIds(ObjectType::mediaObject, ids);
  EXPECT_EQ(joined(ids), id);
  record.removeFileInfo(id);
  EXPECT_TRUE(filesIds(record).empty());
  record.addFileInfo(ObjectType::mediaObject, "h", "/a", id);
  record.removeAllFilesInfo();
  EXPECT_TRUE(filesIds(record).empty());
}

}  // namespace
}  // namespace database_provider
