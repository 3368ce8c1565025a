// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "importing/RecordMaker.h"
#include "tests/support/TemporaryFile.h"
#include "values/Text.h"

using namespace database_provider::importing;
using namespace database_provider;

namespace {

/// "a,b" as categories, "c:int,d:time" as descriptions.
ImportPlan planOf(const std::string& categories, const std::string& descriptions) {
  ImportPlan plan;
  if (!categories.empty()) plan.categories = values::splitEscaped(categories, ',');
  if (descriptions.empty()) return plan;
  for (const std::string& description : values::splitEscaped(descriptions, ',')) {
    const auto parts = values::splitEscaped(description, ':');
    plan.descriptions.push_back({parts[0], *values::columnType(parts[1])});
  }
  return plan;
}

RecordMaker makerOf(const std::string& categories, const std::string& descriptions) {
  return {RecordKind::experiment, planOf(categories, descriptions)};
}

/// The document of the one row of a file, or its column and what is wrong with it.
std::string made(const RecordMaker& maker, const std::string& content, RowFormat format = RowFormat::jsonl) {
  const TemporaryFile file(content);
  const auto reader = openRows(file.path(), format);
  Row row;
  if (!reader->next(row)) return "no row";
  try {
    return maker.make(row)->getD()->toJson();
  } catch (const RowError& bad) {
    return bad.column() + "! " + bad.what();
  }
}

}  // namespace

TEST(RecordMaker, ColumnsBecomeCategoriesAndDescriptions) {
  EXPECT_EQ(made(makerOf("site", "year:int"), R"({"site": "Waseca", "year": 1931})"),
            R"({"recordInfo": {"category": [{"name": "site", "value": "Waseca"}], )"
            R"("description": [{"name": "year", "value": 1931, "type": 6}]}})");
}

TEST(RecordMaker, ADoubleThatIsTheOnlyEditIsKept) {
  EXPECT_EQ(made(makerOf("", "yield:double"), R"({"yield": 27})"),
            R"({"recordInfo": {"description": [{"name": "yield", "value": 27.0, "type": 8}]}})");
}

TEST(RecordMaker, A64BitNumberThatIsTheOnlyEditIsKept) {
  EXPECT_EQ(made(makerOf("", "count:long"), R"({"count": 9223372036854775807})"),
            R"({"recordInfo": {"description": [{"name": "count", "value": 9223372036854775807, "type": 7}]}})");
}

TEST(RecordMaker, WhatIsNotNamedGoesToTheUserBlockAsItStands) {
  EXPECT_EQ(made(makerOf("site", ""),
                 R"({"a": [1, {"b": null}], "site": "x", "c": 1.0, "d": {"e": true}, "f": null, "g": 5000000000})"),
            R"({"a": [1, {"b": null}], "c": 1.0, "d": {"e": true}, "f": null, "g": 5000000000, )"
            R"("recordInfo": {"category": [{"name": "site", "value": "x"}]}})");
}

TEST(RecordMaker, CsvCellsGoToTheUserBlockAsText) {
  EXPECT_EQ(made(makerOf("site", ""), "site,n,empty\nx,1,\n", RowFormat::csv),
            R"({"n": "1", "empty": "", "recordInfo": {"category": [{"name": "site", "value": "x"}]}})");
}

TEST(RecordMaker, EmptyNullAndMissingAreAbsent) {
  const RecordMaker maker = makerOf("a,b,c", "d:int,e:double,f:string");
  EXPECT_EQ(made(maker, R"({"a": "", "b": null, "d": null, "f": ""})"), "{}");
  EXPECT_EQ(made(makerOf("a", "b:int"), "a,b\n,\n", RowFormat::csv), "{}");
}

TEST(RecordMaker, ACategoryTakesNumbersAndBooleansAsTheirText) {
  EXPECT_EQ(made(makerOf("a,b,c", ""), R"({"a": 1.50, "b": true, "c": 1931})"),
            R"({"recordInfo": {"category": [{"name": "a", "value": "1.50"}, {"name": "b", "value": "true"}, )"
            R"({"name": "c", "value": "1931"}]}})");
}

TEST(RecordMaker, AGroupOrAnArrayIsNoCategory) {
  EXPECT_EQ(made(makerOf("a", ""), R"({"a": [1]})"), "a! expected a text, a number or a boolean, found an array");
  EXPECT_EQ(made(makerOf("a", ""), R"({"a": {"b": 1}})"), "a! expected a text, a number or a boolean, found an object");
}

TEST(RecordMaker, ABadValueNamesItsColumn) {
  EXPECT_EQ(made(makerOf("", "year:int"), R"({"year": 1931.5})"),
            "year! expected int (a whole number of 32 bits), found 1931.5");
}

TEST(RecordMaker, KeysOfTheLibraryAreNoPlainRow) {
  const std::string reason = "! a plain row cannot have this key; records that were exported are --format records";
  EXPECT_EQ(made(makerOf("", ""), R"({"_id": 1})"), "_id" + reason);
  EXPECT_EQ(made(makerOf("", ""), R"({"recordInfo": {}})"), "recordInfo" + reason);
}

TEST(RecordMaker, ANameThatStandsTwiceInARowIsRefused) {
  EXPECT_EQ(made(makerOf("a", ""), R"({"a": "x", "a": "y"})"), "a! stands twice in the row");
}

TEST(RecordMaker, NamesMayHoldAnything) {
  ImportPlan plan;
  plan.categories = {"/", "a,b"};
  plan.descriptions = {{"$c.d:e", PropertyType::int32}};
  EXPECT_EQ(made({RecordKind::experiment, plan}, R"({"/": "x", "a,b": "y", "$c.d:e": 1})"),
            R"({"recordInfo": {"category": [{"name": "/", "value": "x"}, {"name": "a,b", "value": "y"}], )"
            R"("description": [{"name": "$c.d:e", "value": 1, "type": 6}]}})");
}

TEST(RecordMaker, ACellThatIsNoUtf8IsABadRow) {
  EXPECT_EQ(made(makerOf("a", ""), "a\n\xff\n", RowFormat::csv).substr(0, 2), "a!");
}

TEST(RecordMaker, ASourceIsSetWhereAHostIsGiven) {
  ImportPlan plan;
  plan.sourceHost = "station7";
  const RecordMaker maker(RecordKind::experiment, plan);
  EXPECT_EQ(made(maker, R"({})"),
            R"({"recordInfo": {"additionalData": {"dataSource": {"version": 1, "host": "station7", "section": "", )"
            R"("record": "", "path": "", "volume": 0, "type": 2}}}})");
}

TEST(RecordMaker, AFileColumnBecomesAReference) {
  ImportPlan plan;
  plan.files = {{ObjectType::archiveObject, "h1", "raw"}};
  const RecordMaker maker(RecordKind::experiment, plan);
  const TemporaryFile file(R"({"raw": "/data/7.zip"})");
  const auto reader = openRows(file.path(), RowFormat::jsonl);
  Row row;
  ASSERT_TRUE(reader->next(row));
  const auto record = maker.make(row);
  std::list<std::string> ids;
  record->enumFilesIds(ids);
  ASSERT_EQ(ids.size(), 1U);
  auto type = ObjectType();
  std::string host;
  std::string path;
  record->getFileInfo(ids.front(), type, host, path);
  EXPECT_EQ(type, ObjectType::archiveObject);
  EXPECT_EQ(host + " " + path, "h1 /data/7.zip");
  EXPECT_TRUE(record->getUserRecord().isEmpty());
}
