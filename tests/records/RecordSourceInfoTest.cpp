// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "records/RecordSourceInfo.h"
#include "sources/database_source_info.h"
#include "sources/dataserver_source_info.h"
#include "tests/support/records.h"

namespace database_provider {
namespace {

const char* const storedDatabaseSource =
    R"({"recordInfo": {"additionalData": {"dataSource": {"version": 1, "host": "db", "port": 5000, )"
    R"("database name": "n", "source id": "s", "type": 1}}}})";

std::unique_ptr<DataServerSourceInfo> dataServer() {
  auto source = std::make_unique<DataServerSourceInfo>();
  source->setHost("server");
  source->setVolume(5000000000);
  return source;
}

/// A class of an application, which implements the interface on its own. It tells when it is destroyed.
class ForeignSource : public DatabaseSourceInfoInterface {
 public:
  explicit ForeignSource(bool* destroyed = nullptr) : destroyed_(destroyed) {}
  ForeignSource(const ForeignSource&) = delete;
  ForeignSource& operator=(const ForeignSource&) = delete;
  ~ForeignSource() override {
    if (destroyed_ != nullptr) *destroyed_ = true;
  }

  bool serialize(ObjectProperties& target, int version) override {
    target.setValueInt32("version", version);
    target.setValueString("foreign", "yes");
    return true;
  }
  bool deserialize(const ObjectProperties& /*source*/, int /*version*/) override { return false; }
  SourceType type() const override { return SourceType::databaseSource; }
  void reset() override {}
  std::string host() const override { return {}; }
  long long port() const override { return 0; }
  std::string databaseName() const override { return {}; }
  std::string sourceId() const override { return {}; }
  void setHost(const std::string& /*host*/) override {}
  void setPort(const long long& /*port*/) override {}
  void setDatabaseName(const std::string& /*name*/) override {}
  void setSourceId(const std::string& /*id*/) override {}

 private:
  bool* destroyed_;
};

class RecordSource : public ::testing::Test {
 protected:
  void load(const std::string& json) {
    document = ObjectProperties::fromJson(json);
    view.setRecord(&document);
  }
  /// "1 db:5000", "2 server", "0"
  std::string source() const {
    std::string type = std::to_string(static_cast<int>(view.sourceType()));
    if (const auto* database = view.getDatabaseSourceInfo()) {
      return type + " " + database->host() + ":" + std::to_string(database->port());
    }
    if (const auto* server = view.getDataServerSourceInfo()) return type + " " + server->host();
    return type;
  }

  ObjectProperties document;
  RecordSourceInfo view;
};

TEST_F(RecordSource, IsReadFromTheDocument) {
  load(storedDatabaseSource);
  EXPECT_EQ(source(), "1 db:5000");
  EXPECT_EQ(document.toJson(), storedDatabaseSource);
}

TEST_F(RecordSource, IsUndefinedWithoutTheGroup) {
  for (const char* json : {"{}", R"({"recordInfo": {}})", R"({"recordInfo": {"additionalData": {}}})",
                           R"({"recordInfo": {"additionalData": {"dataSource": 1}}})"}) {
    load(json);
    EXPECT_EQ(view.sourceType(), SourceType::undefinedSource) << json;
    EXPECT_EQ(view.getDatabaseSourceInfo(), nullptr) << json;
    EXPECT_EQ(view.getDataServerSourceInfo(), nullptr) << json;
    EXPECT_EQ(document.toJson(), json) << "asking makes nothing";
  }
}

TEST_F(RecordSource, SetOnAnEmptyViewIsWrittenWithItsTypeToADocumentForTheCaller) {
  view.setDataServerSourceInfo(dataServer().release());
  view.updateRecord();
  const std::unique_ptr<ObjectProperties> made(view.getRecord());
  EXPECT_EQ(made->toJson(database_client::JsonMode::canonical),
            R"({"recordInfo": {"additionalData": {"dataSource": {"version": {"$numberInt": "1"}, "host": "server", )"
            R"("section": "", "record": "", "path": "", "volume": {"$numberLong": "5000000000"}, )"
            R"("type": {"$numberInt": "2"}}}}})");
  EXPECT_EQ(source(), "2 server");
}

TEST_F(RecordSource, OfOneKindIsNullForTheOther) {
  load(storedDatabaseSource);
  EXPECT_EQ(view.getDataServerSourceInfo(), nullptr);
  view.setDataServerSourceInfo(dataServer().release());
  EXPECT_EQ(view.getDatabaseSourceInfo(), nullptr);
  EXPECT_EQ(source(), "2 server");
}

TEST_F(RecordSource, ReplacesTheStoredGroupAndLeavesWhatIsBesideIt) {
  load(R"({"a": 1, "recordInfo": {"additionalData": {"dataSource": {"x": 1}, "files": []}, "category": []}})");
  view.setDatabaseSourceInfo(std::make_unique<DatabaseSourceInfo>().release());
  view.updateRecord();
  EXPECT_EQ(document.toJson(),
            R"({"a": 1, "recordInfo": {"additionalData": {"dataSource": {"version": 1, "host": "", "port": 27017, )"
            R"("database name": "", "source id": "", "type": 1}, "files": []}, "category": []}})");
}

TEST_F(RecordSource, IsThatOfTheWholeDocumentWhereverThatStands) {
  load(R"({"a": {"b": 1}, "recordInfo": {"additionalData": {"dataSource": {"version": 1, "host": "db", "type": 1}}}})");
  document.beginGroup("a");
  EXPECT_EQ(source(), "1 db:0");
  view.setDataServerSourceInfo(dataServer().release());
  view.updateRecord();
  EXPECT_EQ(document.toJson(),
            R"({"a": {"b": 1}, "recordInfo": {"additionalData": {"dataSource": {"version": 1, "host": "server", )"
            R"("section": "", "record": "", "path": "", "volume": 5000000000, "type": 2}}}})");
  EXPECT_EQ(document.valueAsInt32("b", 0), 1) << "there it still stands";
}

TEST_F(RecordSource, ClearedAndGivenTheSameDocumentIsReadAfresh) {
  load(storedDatabaseSource);
  view.getDatabaseSourceInfo()->setHost("changed");
  EXPECT_EQ(source(), "1 changed:5000");
  view.clear();
  EXPECT_EQ(source(), "0");
  view.setRecord(&document);
  EXPECT_EQ(source(), "1 db:5000");
}

TEST_F(RecordSource, SetToNullLeavesTheStoredGroup) {
  load(storedDatabaseSource);
  view.setDatabaseSourceInfo(nullptr);
  EXPECT_EQ(source(), "0");
  view.updateRecord();
  EXPECT_EQ(document.toJson(), storedDatabaseSource);
}

TEST_F(RecordSource, OfAnUnknownTypeIsNone) {
  load(R"({"recordInfo": {"additionalData": {"dataSource": {"version": 1, "host": "db", "type": 3}}}})");
  EXPECT_EQ(source(), "0");
}

TEST_F(RecordSource, OfAnotherVersionHasDefaultContents) {
  load(R"({"recordInfo": {"additionalData": {"dataSource": {"version": 2, "host": "db", "port": 5, "type": 1}}}})");
  EXPECT_EQ(source(), "1 :27017");
}

TEST_F(RecordSource, StoredWithoutAPortReadsAsPortZero) {
  load(R"({"recordInfo": {"additionalData": {"dataSource": {"version": 1, "host": "db", "type": 1}}}})");
  EXPECT_EQ(source(), "1 db:0");
}

TEST_F(RecordSource, OfAForeignClassIsWrittenButReadsAsNull) {
  load("{}");
  view.setDatabaseSourceInfo(std::make_unique<ForeignSource>().release());
  EXPECT_EQ(view.sourceType(), SourceType::databaseSource);
  EXPECT_EQ(view.getDatabaseSourceInfo(), nullptr);
  view.updateRecord();
  EXPECT_EQ(document.toJson(),
            R"({"recordInfo": {"additionalData": {"dataSource": {"version": 1, "foreign": "yes", "type": 1}}}})");
}

TEST_F(RecordSource, IsReleasedWhenItIsReplacedOrTheViewIsCleared) {
  bool replaced = false;
  bool cleared = false;
  view.setDatabaseSourceInfo(std::make_unique<ForeignSource>(&replaced).release());
  EXPECT_FALSE(replaced);
  view.setDatabaseSourceInfo(std::make_unique<ForeignSource>(&cleared).release());
  EXPECT_TRUE(replaced);
  EXPECT_FALSE(cleared);
  view.clear();
  EXPECT_TRUE(cleared);
}

TEST_F(RecordSource, StaysUntilAnotherDocumentIsRead) {
  bool destroyed = false;
  view.setDatabaseSourceInfo(std::make_unique<ForeignSource>(&destroyed).release());
  load(storedDatabaseSource);
  EXPECT_FALSE(destroyed);
  EXPECT_EQ(source(), "1 db:5000");
  EXPECT_TRUE(destroyed);
}

TEST_F(RecordSource, SetBeforeAnotherDocumentIsGivenIsNotWritten) {
  view.setDatabaseSourceInfo(std::make_unique<DatabaseSourceInfo>().release());
  load("{}");
  view.updateRecord();
  EXPECT_EQ(document.toJson(), "{}");
}

TEST_F(RecordSource, SetToNullOnAnEmptyViewMakesAnEmptyDocument) {
  view.updateRecord();
  EXPECT_EQ(view.getRecord(), nullptr) << "nothing was set";
  view.setDataServerSourceInfo(nullptr);
  view.updateRecord();
  const std::unique_ptr<ObjectProperties> made(view.getRecord());
  ASSERT_NE(made, nullptr);
  EXPECT_EQ(made->toJson(), "{}");
}

TEST_F(RecordSource, IsWrittenOnce) {
  load("{}");
  view.setDatabaseSourceInfo(std::make_unique<DatabaseSourceInfo>().release());
  view.updateRecord();
  document.remove("recordInfo");
  view.updateRecord();
  EXPECT_EQ(document.toJson(), "{}");
}

TEST_F(RecordSource, CopiedIntoAnotherDocumentIsStillToBeWrittenIntoItsOwn) {
  load("{}");
  view.setDataServerSourceInfo(dataServer().release());
  ObjectProperties other;
  static_cast<const RecordSourceInfo&>(view).updateRecord(&other);
  EXPECT_EQ(document.toJson(), "{}");
  view.updateRecord();
  EXPECT_EQ(document.toJson(), other.toJson());
  EXPECT_NE(other.toJson().find("dataSource"), std::string::npos);
}

TEST_F(RecordSource, LentAndSetAgainIsKept) {
  load(storedDatabaseSource);
  DatabaseSourceInfoInterface* lent = view.getDatabaseSourceInfo();
  lent->setHost("changed");
  view.setDatabaseSourceInfo(lent);
  EXPECT_EQ(source(), "1 changed:5000");
  view.updateRecord();
  EXPECT_NE(document.toJson().find("changed"), std::string::npos);
}

TEST_F(RecordSource, EditedWhileLentIsNotWritten) {
  load(storedDatabaseSource);
  view.getDatabaseSourceInfo()->setHost("changed");
  view.updateRecord();
  EXPECT_EQ(document.toJson(), storedDatabaseSource);
}

TEST_F(RecordSource, GivesItsDocumentWithoutWritingToIt) {
  load("{}");
  view.setDatabaseSourceInfo(std::make_unique<DatabaseSourceInfo>().release());
  EXPECT_EQ(view.getRecord(), &document);
  EXPECT_EQ(document.toJson(), "{}");
}

TEST_F(RecordSource, IsCopiedIntoAnotherDocument) {
  load(storedDatabaseSource);
  ObjectProperties other;
  static_cast<const RecordSourceInfo&>(view).updateRecord(&other);
  EXPECT_EQ(other.toJson(), storedDatabaseSource);
}

TEST_F(RecordSource, IsMadeByTypeOrEmptied) {
  view.createSource(SourceType::databaseSource);
  EXPECT_EQ(source(), "1 :27017");
  view.createSource(SourceType::dataServerSource);
  EXPECT_EQ(source(), "2 ");
  view.createSource(SourceType::undefinedSource);
  EXPECT_EQ(source(), "0");
  view.createSource(static_cast<SourceType>(9));
  EXPECT_EQ(source(), "0");
}

}  // namespace
}  // namespace database_provider
