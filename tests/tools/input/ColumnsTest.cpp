// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "importing/RecordMaker.h"
#include "tools/input/Columns.h"
#include "tools/values/Errors.h"

namespace database_provider::recordctl {
namespace {

/// The columns of one option each, or what is wrong.
std::string columns(const std::vector<std::string>& categories, const std::vector<std::string>& descriptions,
                    const std::vector<std::string>& files) {
  try {
    const ImportPlan parsed = parseColumns(categories, descriptions, files);
    std::string result;
    for (const std::string& name : parsed.categories) result += "[" + name + "]";
    for (const auto& column : parsed.descriptions)
      result += "[" + column.name + ":" + values::columnTypeName(column.type) + "]";
    for (const auto& column : parsed.files)
      result += "[" + objectTypeName(column.kind) + ":" + column.host + ":" + column.name + "]";
    return result;
  } catch (const UsageError& error) {
    return error.what();
  }
}

}  // namespace

TEST(Columns, ListsAndRepeatedOptionsAddUp) {
  EXPECT_EQ(columns({"site,variety", "farm"}, {"yield:double,year:int"}, {"xml:h1:plan", "Archive::raw"}),
            "[site][variety][farm][yield:double][year:int][xml:h1:plan][archive::raw]");
}

TEST(Columns, ABackslashMakesAnOrdinaryCharacter) {
  EXPECT_EQ(columns({"a\\,b,c\\\\d"}, {"e\\:f:long"}, {"xml:h\\:1:g\\,h"}), "[a,b][c\\d][e:f:long][xml:h:1:g,h]");
}

TEST(Columns, NoMoreThan10000MayBeNamed) {
  std::string names = "0";
  for (int i = 1; i < 10'000; ++i) names += ',' + std::to_string(i);
  EXPECT_EQ(importing::columnNames(parseColumns({names}, {}, {})).size(), 10'000);
  EXPECT_EQ(columns({names}, {"yield:double"}, {}),
            "--category, --description and --file name more than 10000 columns");
}

TEST(Columns, NamesAreNeitherEmptyNorTwice) {
  EXPECT_EQ(columns({"a,,b"}, {}, {}), "--category: a name is empty");
  EXPECT_EQ(columns({"a, "}, {}, {}), "--category: the name \" \" is blank");
  EXPECT_EQ(columns({"a", "a"}, {}, {}), "--category: \"a\" stands twice");
  EXPECT_EQ(columns({}, {"a:int,a:long"}, {}), "--description: \"a\" stands twice");
  EXPECT_EQ(columns({"year"}, {"year:int"}, {}), "[year][year:int]");
}

TEST(Columns, ADescriptionNeedsAKnownType) {
  EXPECT_EQ(columns({}, {"a"}, {}),
            "--description: expected NAME:TYPE, found \"a\"; types are string, bool, int, long, double, time");
  EXPECT_EQ(columns({}, {"a:float"}, {}),
            "--description: unknown type \"float\" of \"a\"; types are string, bool, int, long, double, time");
}

TEST(Columns, AFileNeedsAKindAHostAndAColumn) {
  EXPECT_EQ(columns({}, {}, {"xml:a"}), "--file: expected KIND:HOST:COLUMN, found \"xml:a\"");
  EXPECT_EQ(columns({}, {}, {"pdf:h:a"}),
            "--file: unknown kind \"pdf\"; xml, media, archive, document and extraXml are known");
}

TEST(Columns, EveryColumnIsNamedOnce) {
  EXPECT_EQ(importing::columnNames(parseColumns({"a,b"}, {"b:int,c:int"}, {"xml::a", "xml::d"})),
            (std::vector<std::string>{"a", "b", "c", "d"}));
}

}  // namespace database_provider::recordctl
