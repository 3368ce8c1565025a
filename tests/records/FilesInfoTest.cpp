// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <set>

#include "records/FilesInfo.h"
#include "tests/support/records.h"

namespace database_provider {
namespace {

const char* const threeFiles =
    R"({"recordInfo": {"additionalData": {"files": [)"
    R"({"fileId": "7", "type": 1, "host": "h", "path": "/a"}, {"fileId": "8", "type": 4, "host": "h", "path": "/b"}, )"
    R"({"fileId": "9", "type": 1, "host": "g", "path": "/c"}], "dataSource": {"host": "x"}}}})";

class Files : public ::testing::Test {
 protected:
  Files() { view.setRecord(&document); }

  void load(const std::string& json) {
    document = ObjectProperties::fromJson(json);
    view.setRecord(&document);
  }
  std::string add(ObjectType type, const std::string& path) {
    std::string id;
    EXPECT_TRUE(view.addFileInfo(type, "host", path, id));
    return id;
  }

  ObjectProperties document;
  FilesInfo view;
};

TEST_F(Files, AreReadInTheOrderOfTheDocument) {
  load(threeFiles);
  EXPECT_EQ(joined(filesIds(view)), "7 8 9");
  EXPECT_EQ(file(view, "8"), "4 h /b");
  EXPECT_EQ(document.toJson(), threeFiles);
}

TEST_F(Files, AddedOnesAreWrittenWithTheirIds) {
  const std::string id = add(ObjectType::archiveObject, "/data.zip");
  EXPECT_EQ(file(view, id), "3 host /data.zip");
  EXPECT_EQ(view.getRecord()->toJson(), R"({"recordInfo": {"additionalData": {"files": [{"fileId": ")" + id +
                                            R"(", "type": 3, "host": "host", "path": "/data.zip"}]}}})");
}

TEST_F(Files, AddedInTheSameSecondHaveDifferentDecimalIds) {
  std::set<std::string> ids;
  for (int i = 0; i < 50; ++i) ids.insert(add(ObjectType::xmlObject, "/x"));
  EXPECT_EQ(ids.size(), 50U);
  for (const std::string& id : ids) {
    EXPECT_EQ(id.find_first_not_of("0123456789"), std::string::npos) << id;
    EXPECT_TRUE(id == "0" || id.front() != '0') << id;
  }
}

TEST_F(Files, HaveIdsFromThePlatformsGeneratorSeededWithTheSecond) {
  std::time_t second = 0;
  std::string first;
  std::string next;
  do {  // again when a second has passed in between
    FilesInfo files;
    second = std::time(nullptr);
    files.addFileInfo(ObjectType::xmlObject, "h", "p", first);
    files.addFileInfo(ObjectType::xmlObject, "h", "p", next);
  } while (second != std::time(nullptr));
  std::srand(static_cast<unsigned>(second));
  // NOLINTBEGIN(cert-msc50-cpp): what is tested
  EXPECT_EQ(first, std::to_string(std::rand()));
  EXPECT_EQ(next, std::to_string(std::rand())) << "the seed is the same, so the first number is taken";
  // NOLINTEND(cert-msc50-cpp)
}

/// A search from the first number on for each would take longer than a test may.
TEST_F(Files, ManyTakeTimeInProportion) {
  constexpr int many = 150'000;
  FilesInfo files;
  std::set<std::string> ids;
  std::string id;
  for (int i = 0; i < many; ++i) {
    files.addFileInfo(ObjectType::xmlObject, "h", "p", id);
    ids.insert(id);
  }
  EXPECT_EQ(ids.size(), many);
}

TEST_F(Files, AnIdThatWasRemovedIsMadeAgainInTheSameSecond) {
  std::time_t second = 0;
  std::string first;
  std::string again;
  do {  // again when a second has passed in between
    FilesInfo files;
    std::string ignored;
    second = std::time(nullptr);
    files.addFileInfo(ObjectType::xmlObject, "h", "p", first);
    files.addFileInfo(ObjectType::xmlObject, "h", "p", ignored);
    files.removeFileInfo(first);
    files.addFileInfo(ObjectType::xmlObject, "h", "p", again);
  } while (second != std::time(nullptr));
  EXPECT_EQ(again, first);
}

TEST_F(Files, AddedToTwoRecordsInTheSameSecondHaveTheSameId) {
  std::time_t second = 0;
  std::string first;
  std::string other;
  do {  // again when a second has passed in between
    FilesInfo files;
    FilesInfo others;
    second = std::time(nullptr);
    files.addFileInfo(ObjectType::xmlObject, "h", "p", first);
    others.addFileInfo(ObjectType::xmlObject, "h", "p", other);
  } while (second != std::time(nullptr));
  EXPECT_EQ(first, other);
}

TEST_F(Files, EmptyHostAndPathAreTaken) {
  std::string id;
  EXPECT_TRUE(view.addFileInfo(ObjectType::xmlObject, "", "", id));
  EXPECT_EQ(file(view, id), "1  ");
}

TEST_F(Files, OfAnyKindAreTaken) {
  EXPECT_EQ(file(view, add(static_cast<ObjectType>(42), "/x")), "42 host /x");
}

TEST_F(Files, OfOneKindAreAppendedToTheList) {
  load(threeFiles);
  std::list<std::string> ids{"old"};
  view.enumFilesIds(ObjectType::xmlObject, ids);
  EXPECT_EQ(joined(ids), "old 7 9");
}

TEST_F(Files, OfAllKindsReplaceTheList) {
  load(threeFiles);
  std::list<std::string> ids{"old"};
  view.enumFilesIds(ids);
  EXPECT_EQ(joined(ids), "7 8 9");
}

TEST_F(Files, WithoutATypeAreLoadedAsKindZeroAndListedForNoKind) {
  load(R"({"recordInfo": {"additionalData": {"files": [{"fileId": "7", "host": "h", "path": "/a"}]}}})");
  EXPECT_EQ(file(view, "7"), "0 h /a");
  for (int kind = 1; kind <= 5; ++kind) {
    std::list<std::string> ids;
    view.enumFilesIds(static_cast<ObjectType>(kind), ids);
    EXPECT_EQ(joined(ids), "") << kind;
  }
}

TEST_F(Files, AnItemWithoutAnIdIsLoadedUnderTheEmptyOne) {
  load(R"({"recordInfo": {"additionalData": {"files": [{"type": 1}]}}})");
  EXPECT_EQ(filesIds(view), std::list<std::string>{""});
  EXPECT_EQ(file(view, ""), "1  ");
}

TEST_F(Files, AnItemWithoutAnIdIsReadUnderTheEmptyOneBeforeAnyListing) {
  load(R"({"recordInfo": {"additionalData": {"files": [{"type": 1, "host": "h", "path": "/a"}]}}})");
  EXPECT_EQ(file(view, ""), "1 h /a");
  load(R"({"recordInfo": {"additionalData": {"files": [{"fileId": 8, "type": 1, "host": "h", "path": "/b"}]}}})");
  EXPECT_EQ(file(view, ""), "1 h /b");
}

TEST_F(Files, AnItemThatIsNoGroupIsLoadedAsOneThatHoldsNothing) {
  for (const char* const item : {"5", R"("7")", "null", "[]", R"(["7", {"fileId": "7", "path": "/a"}])"}) {
    load(R"({"recordInfo": {"additionalData": {"files": [)" + std::string(item) + "]}}}");
    EXPECT_EQ(filesIds(view), std::list<std::string>{""}) << item;
    EXPECT_EQ(file(view, ""), "0  ") << item;
  }
}

TEST_F(Files, AnArrayWithTheKeysOfAFileIsNoFile) {
  ObjectProperties stored;
  {
    const database_client::Group info(stored, "recordInfo");
    const database_client::Group additional(stored, "additionalData");
    const database_client::Array files(stored, "files");
    const database_client::Array item(stored, "0");
    stored.setValueString("fileId", "7");
    stored.setValueInt32("type", 1);
    stored.setValueString("host", "h");
    stored.setValueString("path", "/a");
  }
  view.setRecord(&stored);
  EXPECT_EQ(file(view, "7"), "0  ") << "before any listing";
  EXPECT_EQ(filesIds(view), std::list<std::string>{""});
}

TEST_F(Files, HaveA32BitKindWhateverWasStored) {
  load(R"({"recordInfo": {"additionalData": {"files": [{"fileId": "7", "type": {"$numberLong": "4"}}]}}})");
  EXPECT_EQ(file(view, "7"), "4  ");
  view.removeFileInfo("unknown");
  EXPECT_EQ(view.getRecord()->toJson(database_client::JsonMode::canonical),
            R"({"recordInfo": {"additionalData": {"files": [{"fileId": "7", "type": {"$numberInt": "4"}, )"
            R"("host": "", "path": ""}]}}})");
}

TEST_F(Files, AnUnknownIdGivesKindZeroAndEmptyTexts) {
  load(threeFiles);
  ObjectType type = ObjectType::mediaObject;
  std::string host = "old";
  std::string path = "old";
  view.getFileInfo("unknown", type, host, path);
  EXPECT_EQ(static_cast<int>(type), 0);
  EXPECT_EQ(host + path, "");
}

TEST_F(Files, AskedForAndUnknownAreNotMade) {
  load(threeFiles);
  EXPECT_EQ(file(view, "unknown"), "0  ");
  EXPECT_EQ(joined(filesIds(view)), "7 8 9");
  view.removeFileInfo("8");
  EXPECT_EQ(joined(filesIds(view)), "7 9");
}

TEST_F(Files, RemovingOneLeavesTheOthersAndTheRestOfTheGroup) {
  load(threeFiles);
  view.removeFileInfo("8");
  EXPECT_EQ(
      view.getRecord()->toJson(),
      R"({"recordInfo": {"additionalData": {"dataSource": {"host": "x"}, "files": [)"
      R"({"fileId": "7", "type": 1, "host": "h", "path": "/a"}, {"fileId": "9", "type": 1, "host": "g", "path": "/c"}]}}})");
}

TEST_F(Files, RemovingAnUnknownOneMarksTheSection) {
  view.removeFileInfo("7");
  EXPECT_EQ(view.getRecord()->toJson(), R"({"recordInfo": {"additionalData": {"files": []}}})");
}

TEST_F(Files, RemovingAllLeavesAnEmptyArray) {
  load(threeFiles);
  view.removeAllFilesInfo();
  EXPECT_EQ(view.getRecord()->toJson(),
            R"({"recordInfo": {"additionalData": {"dataSource": {"host": "x"}, "files": []}}})");
}

TEST_F(Files, ASlashIsAnOrdinaryId) {
  load(R"({"recordInfo": {"additionalData": {"files": [{"fileId": "/", "type": 1, "host": "h", "path": "/a"}, )"
       R"({"fileId": "7", "type": 1, "host": "h", "path": "/b"}]}}})");
  EXPECT_EQ(joined(filesIds(view)), "/ 7");
  EXPECT_EQ(file(view, "/"), "1 h /a");
  view.removeFileInfo("/");
  EXPECT_EQ(joined(filesIds(view)), "7");
}

TEST_F(Files, ARefusedTextLeavesNoHalfOfAReference) {
  std::string id = "unchanged";
  EXPECT_THROW(view.addFileInfo(ObjectType::xmlObject, "host", "\xff", id), database_client::Error);
  EXPECT_EQ(id, "unchanged");
  EXPECT_EQ(joined(filesIds(view)), "");
  EXPECT_EQ(view.getRecord()->toJson(), "{}");
}

TEST_F(Files, AViewThatStandsAloneWritesADocumentOfItsOwnForTheCaller) {
  FilesInfo alone;
  std::string id;
  alone.addFileInfo(ObjectType::xmlObject, "h", "p", id);
  const std::unique_ptr<ObjectProperties> made(alone.getRecord());
  EXPECT_EQ(made->toJson(), R"({"recordInfo": {"additionalData": {"files": [{"fileId": ")" + id +
                                R"(", "type": 1, "host": "h", "path": "p"}]}}})");
}

}  // namespace
}  // namespace database_provider
