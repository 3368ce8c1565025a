// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "records/ExperimentDatabaseRecord.h"
#include "records/ScenarioDatabaseRecord.h"
#include "sources/database_source_info.h"
#include "tests/support/records.h"

namespace database_provider {
namespace {

std::string extensions(const DatabaseRecordInterface& record, int type) {
  std::list<std::string> list{".old"};
  record.fileExtensions(static_cast<ObjectType>(type), list);
  return joined(list);
}

std::string supported(const DatabaseRecordInterface& record) {
  std::string text;
  for (const ObjectType type : record.supportedObjectTypes()) text += std::to_string(static_cast<int>(type)) + " ";
  return text;
}

TEST(ExperimentRecord, ListsTheExtensionOfXmlFilesTwice) {
  EXPECT_EQ(extensions(ExperimentDatabaseRecord(), 1), ".xml .xml");
}

TEST(ExperimentRecord, KnowsTheExtensionsOfItsOtherKinds) {
  const ExperimentDatabaseRecord record;
  EXPECT_EQ(extensions(record, 3), ".zip");
  EXPECT_EQ(extensions(record, 4), ".csw .txt .jpg");
  EXPECT_EQ(extensions(record, 5), ".xml");
}

TEST(ExperimentRecord, EmptiesTheListForAKindItDoesNotSupport) {
  const ExperimentDatabaseRecord record;
  EXPECT_EQ(extensions(record, 2), "");
  EXPECT_EQ(extensions(record, 0), "");
  EXPECT_EQ(extensions(record, 6), "");
}

TEST(ExperimentRecord, NamesItsKindsInOrder) {
  EXPECT_EQ(supported(ExperimentDatabaseRecord()), "3 5 4 1 ");
}

TEST(ScenarioRecord, KnowsTheExtensionsOfItsKinds) {
  const ScenarioDatabaseRecord record;
  EXPECT_EQ(extensions(record, 1), ".xml");
  EXPECT_EQ(extensions(record, 2), ".dat .avi");
  EXPECT_EQ(extensions(record, 4), ".html .txt");
}

TEST(ScenarioRecord, EmptiesTheListForAKindItDoesNotSupport) {
  const ScenarioDatabaseRecord record;
  EXPECT_EQ(extensions(record, 3), "");
  EXPECT_EQ(extensions(record, 5), "");
  EXPECT_EQ(extensions(record, 0), "");
}

TEST(ScenarioRecord, NamesItsKindsInOrder) {
  EXPECT_EQ(supported(ScenarioDatabaseRecord()), "1 2 4 ");
}

/// Fills every section through the interface.
std::string fill(DatabaseRecordInterface& record) {
  std::string id;
  record.setUserRecrod(ObjectProperties::fromJson(R"({"plot": 3})"));
  record.addFileInfo(ObjectType::documentObject, "h", "/a", id);
  record.addDescriptionString("s", "text");
  record.addDescriptionBool("b", true);
  record.addDescriptionDouble("d", 2.5);
  record.addDescriptionLongLong("l", 5000000000);
  record.addDescriptionTime("t", 1000);
  record.addDescriptionInt("i", 5);
  record.setCategory("a", "b");
  return "categories a=b; descriptions s=string:text b=bool:true d=double:2.500000 l=int64:5000000000 t=time:1000 "
         "i=int32:5; files " +
         id + R"((4 h /a); user {"plot": 3})";
}

void empty(DatabaseRecordInterface& record, const std::string& fileId) {
  record.removeDescription("s");
  record.removeCategory("a");
  record.removeFileInfo(fileId);
  EXPECT_EQ(categories(record), "");
  record.removeAllDescriptions();
  record.removeAllCategories();
  record.removeAllFilesInfo();
  record.removeUserRecord();
}

template <class Kind>
class EveryKindOfRecord : public ::testing::Test {};
using Kinds = ::testing::Types<ExperimentDatabaseRecord, ScenarioDatabaseRecord>;
struct KindNames {
  template <class Kind>
  static std::string GetName(int /*index*/) {
    return std::is_same_v<Kind, ExperimentDatabaseRecord> ? "Experiment" : "Scenario";
  }
};
TYPED_TEST_SUITE(EveryKindOfRecord, Kinds, KindNames);

TYPED_TEST(EveryKindOfRecord, ForwardsToTheRecordInside) {
  TypeParam record;
  EXPECT_EQ(record.getD()->toJson(), "{}");
  const std::string filled = fill(record);
  EXPECT_EQ(content(record), filled);

  TypeParam again;
  again.setD(record.take());
  EXPECT_EQ(content(again), filled);
  std::list<std::string> ids;
  again.enumFilesIds(ObjectType::documentObject, ids);
  ASSERT_EQ(ids.size(), 1U);
  empty(again, ids.front());
  EXPECT_EQ(content(again), "categories ; descriptions ; files; user {}");
}

TYPED_TEST(EveryKindOfRecord, EmptiesTheListOfExtensionsForAKindThatThereIsNot) {
  const TypeParam record;
  for (const int kind : {0, 6, -1}) EXPECT_EQ(extensions(record, kind), "") << kind;
}

TYPED_TEST(EveryKindOfRecord, ClearedKeepsEditsOutOfItsDocument) {
  TypeParam record;
  record.setD(newDocument(R"({"a": 1})").release());
  record.clear();
  EXPECT_TRUE(record.setCategory("a", "b"));
  EXPECT_EQ(record.getD()->toJson(), "{}");
  EXPECT_EQ(categories(record), "a=b");
}

class ExperimentSource : public ::testing::Test {
 protected:
  static DatabaseSourceInfo* sourceOn(const std::string& host) {
    auto source = std::make_unique<DatabaseSourceInfo>();
    source->setHost(host);
    return source.release();
  }
  std::string host() const {
    const auto* source = record.getDatabaseSourceInfo();
    return source == nullptr ? "none" : source->host();
  }
  std::string written() const { return record.getD()->toJson(); }

  ExperimentDatabaseRecord record;
};

const char* const sourceOnX =
    R"("dataSource": {"version": 1, "host": "x", "port": 27017, "database name": "", "source id": "", "type": 1})";

TEST_F(ExperimentSource, IsWrittenBeforeTheUserRecordIsPutAroundIt) {
  record.setUserRecrod(ObjectProperties::fromJson(R"({"plot": 3})"));
  record.setDatabaseSourceInfo(sourceOn("x"));
  EXPECT_EQ(written(), std::string(R"({"plot": 3, "recordInfo": {"additionalData": {)") + sourceOnX + "}}}");
}

TEST_F(ExperimentSource, StandsBesideTheFiles) {
  std::string id;
  record.addFileInfo(ObjectType::xmlObject, "h", "p", id);
  record.setDatabaseSourceInfo(sourceOn("x"));
  EXPECT_EQ(written(), std::string(R"({"recordInfo": {"additionalData": {)") + sourceOnX +
                           R"(, "files": [{"fileId": ")" + id + R"(", "type": 1, "host": "h", "path": "p"}]}}})");
}

TEST_F(ExperimentSource, IsReadFromTheDocument) {
  record.setD(newDocument(std::string(R"({"recordInfo": {"additionalData": {)") + sourceOnX + "}}}").release());
  EXPECT_EQ(record.sourceType(), SourceType::databaseSource);
  EXPECT_EQ(host(), "x");
  EXPECT_EQ(record.getDataServerSourceInfo(), nullptr);
}

TEST_F(ExperimentSource, AfterTakeBelongsToTheNewDocument) {
  record.setDatabaseSourceInfo(sourceOn("x"));
  const std::unique_ptr<ObjectProperties> taken(record.take());
  EXPECT_NE(taken->toJson().find(sourceOnX), std::string::npos);
  EXPECT_EQ(record.sourceType(), SourceType::undefinedSource);
  EXPECT_EQ(written(), "{}");
  record.setDatabaseSourceInfo(sourceOn("x"));
  record.setCategory("a", "b");
  EXPECT_EQ(written(), std::string(R"({"recordInfo": {"additionalData": {)") + sourceOnX + "}}}")
      << "the source follows the record, the sections follow the document that was taken";
  EXPECT_NE(taken->toJson().find(R"("category")"), std::string::npos);
}

TEST_F(ExperimentSource, ClearedKeepsASourceOutOfItsDocument) {
  record.clear();
  record.setDatabaseSourceInfo(sourceOn("x"));
  EXPECT_EQ(written(), "{}");
  EXPECT_EQ(host(), "x");
  record.setDatabaseSourceInfo(sourceOn("y"));
  EXPECT_EQ(written(), "{}");
  EXPECT_EQ(host(), "y");
}

TEST_F(ExperimentSource, PendingIsDroppedWithTheDocument) {
  record.setDatabaseSourceInfo(sourceOn("x"));
  record.setD(newDocument("{}").release());
  EXPECT_EQ(host(), "none");
  EXPECT_EQ(written(), "{}");
}

TEST_F(ExperimentSource, PendingIsDroppedEvenWithTheDocumentThatTheRecordHolds) {
  ObjectProperties* const document = newDocument("{}").release();
  record.setD(document);
  record.setCategory("a", "b");
  record.setDatabaseSourceInfo(sourceOn("x"));
  record.setD(document);
  EXPECT_EQ(host(), "none");
  EXPECT_EQ(written(), R"({"recordInfo": {"category": [{"name": "a", "value": "b"}]}})")
      << "the sections keep what is pending, the source does not";
}

TEST_F(ExperimentSource, GivenNoDocumentGoesIntoTheEmptyOne) {
  record.setD(nullptr);
  record.setDatabaseSourceInfo(sourceOn("x"));
  EXPECT_EQ(written(), std::string(R"({"recordInfo": {"additionalData": {)") + sourceOnX + "}}}");
}

TEST_F(ExperimentSource, OfADataServerIsHandedThrough) {
  record.setDataServerSourceInfo(nullptr);
  EXPECT_EQ(record.sourceType(), SourceType::undefinedSource);
  EXPECT_EQ(written(), "{}");
}

}  // namespace
}  // namespace database_provider
