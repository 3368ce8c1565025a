// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <utility>

#include "database_provider/Record.h"
#include "tests/support/records.h"

namespace database_provider {

using database_client::Error;
using ::testing::ElementsAre;

namespace {

Record recordOf(const NewRecord& record, RecordKind kind = RecordKind::experiment) {
  return {kind, record.toDocument(kind)};
}

/// How an action fails: the kind of the error and what it names.
template <class Action>
std::string failure(const Action& action) {
  try {
    action();
    return "none";
  } catch (const Error& error) {
    return std::string(toString(error.kind())) + " " + error.where();
  }
}

TEST(RecordTest, HoldsWhatANewRecordWasGiven) {
  const Record record = recordOf(NewRecord()
                                     .category("site", "Waseca")
                                     .category("variety", "Svansota")
                                     .description("note", "dry")
                                     .description("done", true)
                                     .description("year", 1932)
                                     .description("big", std::int64_t{9007199254740993})
                                     .description("yield", 48.5)
                                     .description("when", Time{-1})
                                     .file(ObjectType::archiveObject, "nas", "/a.log")
                                     .data(ObjectProperties::fromJson(R"({"mine": {"deep": [1]}})")));
  EXPECT_THAT(record.categoryNames(), ElementsAre("site", "variety"));
  EXPECT_EQ(record.category("site"), "Waseca");
  EXPECT_THAT(record.descriptionNames(), ElementsAre("note", "done", "year", "big", "yield", "when"));
  EXPECT_EQ(record.description("note"), Value(std::string("dry")));
  EXPECT_EQ(record.description("done"), Value(true));
  EXPECT_EQ(record.description("year"), Value(std::int32_t{1932}));
  EXPECT_EQ(record.description("big"), Value(std::int64_t{9007199254740993}));
  EXPECT_EQ(record.description("yield"), Value(48.5));
  EXPECT_EQ(record.description("when"), Value(Time{-1}));
  ASSERT_EQ(record.files().size(), 1u);
  EXPECT_EQ(record.files().front().type, ObjectType::archiveObject);
  EXPECT_EQ(record.files().front().host + record.files().front().path, "nas/a.log");
  EXPECT_EQ(record.data().toJson(), ObjectProperties::fromJson(R"({"mine": {"deep": [1]}})").toJson());
}

TEST(RecordTest, GivesAllValuesInOnePass) {
  const Record record =
      recordOf(NewRecord().category("site", "Waseca").description("year", 1932).description("n", 0.5));
  EXPECT_THAT(record.categories(), ElementsAre(std::pair<std::string, std::string>("site", "Waseca")));
  EXPECT_THAT(record.descriptions(), ElementsAre(std::pair<std::string, Value>("year", std::int32_t{1932}),
                                                 std::pair<std::string, Value>("n", 0.5)));
}

TEST(RecordTest, GivesOfARepeatedNameTheLastValue) {
  const Record record(RecordKind::experiment, ObjectProperties::fromJson(R"({"recordInfo": {
    "category": [{"name": "a", "value": "1"}, {"name": "b", "value": "2"}, {"name": "a", "value": "3"},
                 {"name": "b", "value": 5}, {"value": "nameless"}],
    "description": [{"name": "d", "value": 1}, {"name": "e", "value": null}, {"name": "d", "value": "x"}]}})"));
  EXPECT_THAT(record.categories(), ElementsAre(std::pair<std::string, std::string>("a", "3")));
  EXPECT_EQ(record.category("a"), "3");
  EXPECT_EQ(record.category("b"), std::nullopt);
  EXPECT_THAT(record.descriptions(), ElementsAre(std::pair<std::string, Value>("d", std::string("x"))));
}

TEST(RecordTest, KeepsTheIdsOfFilesThatHaveOne) {
  const ObjectType kind = ObjectType::documentObject;
  const auto files =
      recordOf(NewRecord().file(kind, "nas", "/a").file({"log", kind, "nas", "/b"}).file({"", kind, "c", "d"})).files();
  ASSERT_EQ(files.size(), 3u);
  EXPECT_EQ(files[1].id + files[1].host + files[1].path, "lognas/b");
  EXPECT_EQ(files[0].path + files[2].path, "/ad");
  EXPECT_NE(files[0].id, files[2].id);
  EXPECT_EQ(failure([&] {
              recordOf(NewRecord().file({"log", kind, "a", "b"}).file({"log", kind, "c", "d"}));
            }),
            "document log");
}

TEST(RecordTest, IsTheRecordOfTheInterfaces) {
  const Record record = recordOf(NewRecord().category("site", "Waseca").description("yield", 48.5));
  const auto same = record.toInterface();
  EXPECT_EQ(categories(*same), "site=Waseca");
  EXPECT_EQ(same->descriptionAsDouble("yield", 0), 48.5);
}

TEST(RecordTest, TellsAbsentFromWrongKind) {
  const Record record = recordOf(NewRecord().description("yield", 48.5).description("note", "dry"));
  EXPECT_EQ(record.descriptionAs<double>("yield"), 48.5);
  EXPECT_EQ(record.descriptionAs<double>("weight"), std::nullopt);
  EXPECT_EQ(record.category("site"), std::nullopt);
  EXPECT_EQ(failure([&] { record.descriptionAs<double>("note"); }), "document note");
  EXPECT_EQ(failure([&] { record.descriptionAs<std::string>("yield"); }), "document yield");
  EXPECT_EQ(failure([&] { record.descriptionAs<Time>("yield"); }), "document yield");
  EXPECT_EQ(failure([&] { record.descriptionAs<bool>("yield"); }), "document yield");
}

TEST(RecordTest, ReadsNumbersAcrossKindsWhereNothingIsLost) {
  const auto largest = std::numeric_limits<std::int64_t>::max();
  const Record record = recordOf(NewRecord()
                                     .description("narrow", 5)
                                     .description("wide", std::int64_t{5})
                                     .description("huge", largest)
                                     .description("whole", 5.0)
                                     .description("part", 5.5)
                                     .description("beyond", 9223372036854775808.0));
  EXPECT_EQ(record.descriptionAs<std::int64_t>("narrow"), 5);
  EXPECT_EQ(record.descriptionAs<std::int32_t>("wide"), 5);
  EXPECT_EQ(record.descriptionAs<std::int32_t>("whole"), 5);
  EXPECT_EQ(record.descriptionAs<double>("narrow"), 5.0);
  EXPECT_EQ(record.descriptionAs<std::int64_t>("huge"), largest);
  EXPECT_EQ(failure([&] { record.descriptionAs<std::int32_t>("huge"); }), "document huge");
  EXPECT_EQ(failure([&] { record.descriptionAs<double>("huge"); }), "document huge");
  EXPECT_EQ(failure([&] { record.descriptionAs<std::int32_t>("part"); }), "document part");
  EXPECT_EQ(failure([&] { record.descriptionAs<std::int64_t>("beyond"); }), "document beyond");
}

TEST(RecordTest, ReadsTheItemThatComesLastOfOneName) {
  const Record record(RecordKind::experiment, ObjectProperties::fromJson(R"({"recordInfo": {"category":
      [{"name": "site", "value": "first"}, 5, {"value": "nameless"}, {"name": "site", "value": "last"}]}})"));
  EXPECT_EQ(record.category("site"), "last");
  EXPECT_EQ(categories(*record.toInterface()), "site=last");
}

TEST(RecordTest, TakesNoSectionForAnother) {
  const Record categorized = recordOf(NewRecord().category("site", "Waseca"));
  EXPECT_TRUE(categorized.descriptionNames().empty());
  EXPECT_TRUE(categorized.files().empty());
  const Record described = recordOf(NewRecord().description("site", "Waseca"));
  EXPECT_TRUE(described.categoryNames().empty());
  EXPECT_EQ(described.category("site"), std::nullopt);
}

TEST(RecordTest, OfADocumentWithoutItsSectionsIsEmpty) {
  for (const char* json : {"{}", R"({"recordInfo": 5})", R"({"recordInfo": {"category": "x", "description": null}})"}) {
    const Record record(RecordKind::scenario, ObjectProperties::fromJson(json));
    EXPECT_TRUE(record.categoryNames().empty()) << json;
    EXPECT_TRUE(record.descriptionNames().empty()) << json;
    EXPECT_TRUE(record.files().empty()) << json;
    EXPECT_EQ(record.category("site"), std::nullopt) << json;
  }
}

TEST(RecordTest, TakesItsIdAndTimeFromTheDocument) {
  const Record record(RecordKind::experiment,
                      ObjectProperties::fromJson(R"({"_id": {"$oid": "5e0be10000000000000000aa"}, "a": 1})"));
  EXPECT_EQ(record.id(), "5e0be10000000000000000aa");
  ASSERT_TRUE(record.created());
  EXPECT_EQ(record.created()->milliseconds, 1577836800000);
  EXPECT_FALSE(record.document().contains("_id"));
  EXPECT_EQ(timeOfId("plot 7"), std::nullopt);
}

TEST(NewRecordTest, OfANameGivenTwiceHasTheValueGivenLast) {
  const Record record =
      recordOf(NewRecord().category("a", "1").category("a", "2").description("b", 1).description("b", "x"));
  EXPECT_EQ(record.category("a"), "2");
  EXPECT_THAT(record.descriptionNames(), ElementsAre("b"));
  EXPECT_EQ(record.description("b"), Value(std::string("x")));
}

TEST(NewRecordTest, IsWrittenWithADoubleAsItsOnlyDescription) {
  EXPECT_EQ(recordOf(NewRecord().description("yield", 1.5)).description("yield"), Value(1.5));
  EXPECT_EQ(recordOf(NewRecord().description("big", std::int64_t{1})).description("big"), Value(std::int64_t{1}));
}

TEST(NewRecordTest, TakesAZeroForANumber) {
  EXPECT_EQ(recordOf(NewRecord().description("n", 0)).description("n"), Value(std::int32_t{0}));
  const char* text = "dry";
  EXPECT_EQ(recordOf(NewRecord().description("n", text)).description("n"), Value(std::string("dry")));
}

TEST(NewRecordTest, RefusesWhatARecordCannotHold) {
  const auto refusal = [](const NewRecord& record, RecordKind kind = RecordKind::experiment) {
    return failure([&] { record.toDocument(kind); });
  };
  EXPECT_EQ(refusal(NewRecord().category("", "x")), "document ");
  EXPECT_EQ(refusal(NewRecord().category("site", "")), "document site");
  EXPECT_EQ(refusal(NewRecord().description("", 1)), "document ");
  EXPECT_EQ(refusal(NewRecord().description("note", "")), "document note");
  EXPECT_EQ(refusal(NewRecord().data(ObjectProperties::fromJson(R"({"recordInfo": {}})"))), "document recordInfo");
  EXPECT_EQ(refusal(NewRecord().data(ObjectProperties::fromJson(R"({"_id": 1})"))), "document _id");
  EXPECT_EQ(refusal(NewRecord().dataServer("nas"), RecordKind::scenario), "document dataSource");
  EXPECT_EQ(refusal(NewRecord().dataServer("nas")), "none");
}

TEST(NewRecordTest, BeginsItsDocumentWithTheIdThatItIsToHave) {
  const ObjectProperties document = NewRecord().id("plot 7").category("site", "x").toDocument(RecordKind::scenario);
  EXPECT_EQ(document.nameAt(0), "_id");
  EXPECT_EQ(document.valueAsId("_id", ""), "plot 7");
}

}  // namespace

TEST(RecordTest, TypesHaveTheNamesThatPlansUse) {
  EXPECT_EQ(typeName(PropertyType::string), "string");
  EXPECT_EQ(typeName(PropertyType::int64), "long");
  EXPECT_EQ(typeName(PropertyType::group), "type " + std::to_string(static_cast<int>(PropertyType::group)));
  EXPECT_EQ(typeName(Value(48.5)), "double");
  EXPECT_EQ(typeName(Value(Time{0})), "time");
  EXPECT_EQ(typeName(Value(true)), "bool");
}

}  // namespace database_provider
