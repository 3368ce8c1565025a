// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "records/UserData.h"
#include "tests/support/records.h"

namespace database_provider {
namespace {

class UserRecord : public ::testing::Test {
 protected:
  void load(const std::string& json) {
    document = ObjectProperties::fromJson(json);
    view.setRecord(&document);
  }
  void set(const std::string& json) { view.setUserData(ObjectProperties::fromJson(json)); }
  std::string user() const { return view.getUserData().toJson(); }
  std::string written() { return view.getRecord()->toJson(); }

  ObjectProperties document;
  UserData view;
};

TEST_F(UserRecord, IsTheDocumentWithoutItsRecordInfo) {
  load(R"({"count": 5, "recordInfo": {"category": []}})");
  EXPECT_EQ(user(), R"({"count": 5})");
  EXPECT_EQ(written(), R"({"count": 5, "recordInfo": {"category": []}})");
}

TEST_F(UserRecord, KeepsGroupsArraysAndForeignKinds) {
  load(R"({"a": {"b": [1, {"c": null}]}, "d": {"$numberDecimal": "1.5"}, "recordInfo": {}})");
  EXPECT_EQ(user(), R"({"a": {"b": [1, {"c": null}]}, "d": {"$numberDecimal": "1.5"}})");
}

TEST_F(UserRecord, ReplacesEveryOldKeyAtTheTop) {
  load(R"({"old": 1, "_id": "x", "recordInfo": {"category": []}})");
  set(R"({"new": 2})");
  EXPECT_EQ(written(), R"({"new": 2, "recordInfo": {"category": []}})");
}

TEST_F(UserRecord, ItsOwnRecordInfoGivesWayToTheRecords) {
  load(R"({"recordInfo": {"category": []}})");
  set(R"({"a": 1, "recordInfo": {"mine": true}, "b": 2})");
  EXPECT_EQ(written(), R"({"a": 1, "recordInfo": {"category": []}, "b": 2})");
}

TEST_F(UserRecord, RemovedLeavesOnlyTheRecordInfo) {
  load(R"({"old": 1, "recordInfo": {"category": []}, "more": 2})");
  view.removeUserData();
  EXPECT_EQ(user(), "{}");
  EXPECT_EQ(written(), R"({"recordInfo": {"category": []}})");
}

TEST_F(UserRecord, SetOnADocumentWithoutRecordInfoBringsAnEmptyOne) {
  load("{}");
  set(R"({"a": 1})");
  EXPECT_EQ(written(), R"({"a": 1, "recordInfo": {}})");
}

TEST_F(UserRecord, ARecordInfoThatIsNoGroupStaysAsItIs) {
  load(R"({"a": 1, "recordInfo": [1, 2]})");
  set(R"({"b": 1})");
  EXPECT_EQ(written(), R"({"b": 1, "recordInfo": [1, 2]})");
}

TEST_F(UserRecord, IsACopy) {
  load(R"({"a": 1})");
  ObjectProperties copy = view.getUserData();
  copy.setValueInt32("a", 2);
  EXPECT_EQ(user(), R"({"a": 1})");
  set(R"({"a": 3})");
  EXPECT_EQ(document.toJson(), R"({"a": 1})") << "not written before it is asked for";
}

TEST_F(UserRecord, AViewThatStandsAloneWritesADocumentOfItsOwnForTheCaller) {
  EXPECT_EQ(user(), "{}");
  set(R"({"a": 1})");
  const std::unique_ptr<ObjectProperties> made(view.getRecord());
  EXPECT_EQ(made->toJson(), R"({"a": 1, "recordInfo": {}})");
}

}  // namespace
}  // namespace database_provider
