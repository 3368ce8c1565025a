// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "sources/database_source_info.h"
#include "sources/dataserver_source_info.h"

namespace database_provider {
namespace {

using database_client::JsonMode;

/// "host:port databaseName sourceId"
std::string fields(const DatabaseSourceInfo& source) {
  return source.host() + ":" + std::to_string(source.port()) + " " + source.databaseName() + " " + source.sourceId();
}

/// "host section record path volume"
std::string fields(const DataServerSourceInfo& source) {
  return source.host() + " " + source.section() + " " + source.record() + " " + source.path() + " " +
         std::to_string(source.volume());
}

DatabaseSourceInfo databaseSource() {
  DatabaseSourceInfo source;
  source.setHost("h");
  source.setPort(5000000000);
  source.setDatabaseName("n");
  source.setSourceId("s");
  return source;
}

DataServerSourceInfo dataServerSource() {
  DataServerSourceInfo source;
  source.setHost("h");
  source.setSection("s");
  source.setRecord("r");
  source.setPath("/p");
  source.setVolume(5000000000);
  return source;
}

std::string serialized(Serializable& source, int version) {
  ObjectProperties document;
  EXPECT_TRUE(source.serialize(document, version));
  return document.toJson(JsonMode::canonical);
}

TEST(DatabaseSource, SerializesItsDefaults) {
  DatabaseSourceInfo source;
  EXPECT_EQ(serialized(source, 1), R"({"version": {"$numberInt": "1"}, "host": "", "port": {"$numberLong": "27017"}, )"
                                   R"("database name": "", "source id": ""})");
}

TEST(DatabaseSource, ReadsAMissingPortAsZeroAndMissingTextsAsEmpty) {
  DatabaseSourceInfo source = databaseSource();
  EXPECT_TRUE(source.deserialize(ObjectProperties::fromJson(R"({"version": 1})"), 1));
  EXPECT_EQ(fields(source), ":0  ");
}

TEST(DatabaseSource, LeavesItsFieldsForAnotherVersion) {
  DatabaseSourceInfo source = databaseSource();
  EXPECT_FALSE(source.deserialize(ObjectProperties::fromJson(R"({"version": 2, "host": "x", "port": 1})"), 1));
  EXPECT_FALSE(source.deserialize(ObjectProperties::fromJson(R"({"host": "x"})"), 1)) << "no version reads as 0";
  EXPECT_EQ(fields(source), "h:5000000000 n s");
}

TEST(DatabaseSource, ComesBackAsItWasUnderTheSameVersion) {
  for (const int version : {0, 1, 7}) {
    ObjectProperties document;
    DatabaseSourceInfo source = databaseSource();
    source.serialize(document, version);
    DatabaseSourceInfo again;
    EXPECT_TRUE(again.deserialize(document, version));
    EXPECT_EQ(fields(again), "h:5000000000 n s");
  }
}

TEST(DatabaseSource, ResetsToItsDefaults) {
  DatabaseSourceInfo source = databaseSource();
  source.reset();
  EXPECT_EQ(fields(source), ":27017  ");
}

TEST(DataServerSource, SerializesItsDefaults) {
  DataServerSourceInfo source;
  EXPECT_EQ(serialized(source, 1), R"({"version": {"$numberInt": "1"}, "host": "", "section": "", "record": "", )"
                                   R"("path": "", "volume": {"$numberLong": "0"}})");
}

TEST(DataServerSource, ReadsMissingKeysAsEmptyAndZero) {
  DataServerSourceInfo source = dataServerSource();
  EXPECT_TRUE(source.deserialize(ObjectProperties::fromJson(R"({"version": 1})"), 1));
  EXPECT_EQ(fields(source), "    0");
}

TEST(DataServerSource, LeavesItsFieldsForAnotherVersion) {
  DataServerSourceInfo source = dataServerSource();
  EXPECT_FALSE(source.deserialize(ObjectProperties::fromJson(R"({"version": 2, "host": "x"})"), 1));
  EXPECT_EQ(fields(source), "h s r /p 5000000000");
}

TEST(DataServerSource, ComesBackAsItWasUnderTheSameVersion) {
  ObjectProperties document;
  DataServerSourceInfo source = dataServerSource();
  source.serialize(document, 1);
  DataServerSourceInfo again;
  EXPECT_TRUE(again.deserialize(document, 1));
  EXPECT_EQ(fields(again), "h s r /p 5000000000");
}

TEST(DataServerSource, ResetsToItsDefaults) {
  DataServerSourceInfo source = dataServerSource();
  source.reset();
  EXPECT_EQ(fields(source), "    0");
}

TEST(Sources, TellTheirTypeWhateverTheyHold) {
  EXPECT_EQ(static_cast<int>(DatabaseSourceInfo().type()), 1);
  EXPECT_EQ(static_cast<int>(databaseSource().type()), 1);
  EXPECT_EQ(static_cast<int>(DataServerSourceInfo().type()), 2);
  EXPECT_EQ(static_cast<int>(dataServerSource().type()), 2);
}

TEST(Sources, ReadValuesOfAnotherKindAsAbsent) {
  DatabaseSourceInfo database = databaseSource();
  EXPECT_TRUE(database.deserialize(
      ObjectProperties::fromJson(R"({"version": 1, "host": 5, "port": "x", "database name": {}, "source id": null})"),
      1));
  EXPECT_EQ(fields(database), ":0  ");
  DataServerSourceInfo server = dataServerSource();
  EXPECT_TRUE(server.deserialize(ObjectProperties::fromJson(R"({"version": 1, "host": [], "volume": "7"})"), 1));
  EXPECT_EQ(fields(server), "    0");
}

TEST(Sources, ReadAnAbsentVersionAsZero) {
  DatabaseSourceInfo database = databaseSource();
  EXPECT_TRUE(database.deserialize(ObjectProperties(), 0));
  EXPECT_EQ(fields(database), ":0  ");
  DataServerSourceInfo server = dataServerSource();
  EXPECT_FALSE(server.deserialize(ObjectProperties(), 1));
  EXPECT_EQ(fields(server), "h s r /p 5000000000");
}

TEST(Sources, AreWrittenAtTheLevelThatIsOpen) {
  ObjectProperties document;
  DataServerSourceInfo source = dataServerSource();
  document.beginGroup("inner");
  source.serialize(document, 1);
  DataServerSourceInfo again;
  EXPECT_TRUE(again.deserialize(document, 1));
  document.endGroup();
  EXPECT_EQ(fields(again), "h s r /p 5000000000");
  EXPECT_EQ(document.childKeys(), std::list<std::string>{"inner"});
}

}  // namespace
}  // namespace database_provider
