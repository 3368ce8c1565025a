// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "importing/ColumnInference.h"
#include "tests/support/TemporaryFile.h"
#include "values/Cell.h"

namespace database_provider::importing {
namespace {

/// "name=category name=double name=-", the last for the user block; behind that what the plan says of the cells.
std::string shown(const InferredPlan& inferred) {
  std::string result;
  for (const InferredColumn& column : inferred.columns) {
    const std::string kind = column.use == InferredColumn::Use::category    ? "category"
                             : column.use == InferredColumn::Use::userBlock ? "-"
                                                                            : values::columnTypeName(column.type);
    result += (result.empty() ? "" : " ") + column.name + "=" + kind;
    if (column.surprises > 0) result += "!" + std::to_string(column.surprises);
  }
  if (inferred.plan.decimal != '\0') result += std::string(" decimal") + inferred.plan.decimal;
  if (inferred.plan.thousands != '\0') result += std::string(" thousands") + inferred.plan.thousands;
  for (const std::string& text : inferred.plan.absent) result += " na[" + text + "]";
  for (const std::string& format : inferred.plan.timeFormats) result += " time[" + format + "]";
  return result;
}

std::string inferred(const std::string& content, RowFormat format, const ImportPlan& given = {}) {
  const TemporaryFile file(content);
  const auto rows = openRows(file.path(), format);
  return shown(inferPlan(*rows, given));
}

/// One column of CSV with these cells.
std::string ofCells(const std::vector<std::string>& cells, const ImportPlan& given = {}) {
  std::string content = "a\n";
  for (const std::string& cell : cells) content += '"' + cell + "\"\n";
  return inferred(content, RowFormat::csv, given);
}

std::string reasonOf(const std::string& content) {
  const TemporaryFile file(content);
  const auto rows = openRows(file.path(), RowFormat::csv);
  return inferPlan(*rows).columns.at(0).reason;
}

/// A column of whole numbers, with another cell at its end.
std::vector<std::string> numbersAnd(int count, const std::vector<std::string>& others) {
  std::vector<std::string> result;
  for (int i = 0; i < count; ++i) result.push_back(std::to_string(i));
  result.insert(result.end(), others.begin(), others.end());
  return result;
}

}  // namespace

TEST(ColumnInference, ATableOfCases) {
  struct Case {
    std::vector<std::string> cells;
    const char* becomes;
  };
  const std::vector<Case> cases = {
      // Numbers: the narrowest type that takes all of them.
      {{"1", "-2", "0"}, "a=int"},
      {{"2147483647", "-2147483648"}, "a=int"},
      {{"1", "2147483648"}, "a=long"},
      {{"9223372036854775807"}, "a=long"},
      {{"1", "2.5"}, "a=double"},
      {{"1e3", "2"}, "a=double"},
      {{".5", "-.5"}, "a=double"},
      {{"27.0"}, "a=double"},
      {{" 5", "6 "}, "a=int"},
      // What would lose something is a text.
      {{"007", "012"}, "a=category"},
      {{"1", "2", "03"}, "a=category"},
      {{"00"}, "a=category"},
      {{"0", "10"}, "a=int"},
      {{"0.5"}, "a=double"},
      {{"9223372036854775808"}, "a=category"},
      {{"12345678901234567890", "1"}, "a=category"},
      {{"+5"}, "a=category"},
      {{"12%"}, "a=category"},
      {{"0x1F"}, "a=category"},
      // NaN and the infinities are numbers, and make a column one of doubles.
      {{"NaN", "1"}, "a=double"},
      {{"-inf", "Infinity", "2.5"}, "a=double"},
      {{"nan"}, "a=double"},
      // Booleans.
      {{"true", "False", "TRUE"}, "a=bool"},
      {{"true", "1"}, "a=category"},
      {{"0", "1"}, "a=int"},
      {{"yes", "no"}, "a=category"},
      // Thousands and fractions: one cell that can mean one thing only decides.
      {{"1,234", "12"}, "a=category"},
      {{"1,234", "1,234,567"}, "a=double thousands,"},
      {{"1,234", "1,234.5"}, "a=double thousands,"},
      {{"3,5", "1,234"}, "a=double decimal,"},
      {{"3,5", "1.234,5", "1.234"}, "a=double decimal, thousands."},
      {{"1.234", "2.5"}, "a=double"},
      {{"1.234"}, "a=double"},
      {{"1.234.567", "1"}, "a=double decimal, thousands."},
      {{"1,23,4"}, "a=category"},
      {{"3,5", "3.5"}, "a=category"},
      {{",5", "-1,25"}, "a=double decimal,"},
      // Times.
      {{"2020-01-31", "2020-01-31T10:00:00Z"}, "a=time"},
      {{"2020-01-31 10:00"}, "a=time"},
      {{"2012/01/01", "2012/12/31"}, "a=time time[%Y/%m/%d]"},
      {{"2012/01/01 10:00:00"}, "a=time time[%Y/%m/%d %H:%M:%S]"},
      {{"31.01.2012", "01.02.2012"}, "a=time time[%d.%m.%Y]"},
      {{"01.02.2012 08:30"}, "a=time time[%d.%m.%Y %H:%M]"},
      {{"31/01/2012", "01/02/2012"}, "a=time time[%d/%m/%Y]"},
      {{"01/31/2012", "01/02/2012"}, "a=time time[%m/%d/%Y]"},
      {{"01/02/2012", "03/04/2012"}, "a=category"},
      {{"2 Jan 2012", "13 Feb 2012"}, "a=time time[%d %b %Y]"},
      {{"Mon, 02 Jan 2012 10:00:00 +0100"}, "a=time time[%a, %d %b %Y %H:%M:%S %z]"},
      {{"2012-02-30"}, "a=category"},
      {{"2020"}, "a=int"},
      {{"1580464800"}, "a=int"},
      {{"1580464800000"}, "a=long"},
      {{"12:30:00"}, "a=category"},
      // What means that there is nothing, where the rest are numbers or times.
      {{"1", "NA", "2"}, "a=int na[NA]"},
      {{"1.5", "-", "n/a"}, "a=double na[-] na[n/a]"},
      {{"2020-01-31", "NULL"}, "a=time na[NULL]"},
      {{"NA", "DE", "FR"}, "a=category"},
      {{"NA", "NA"}, "a=category"},
      {{"", ""}, "a=-"},
      {{"1", ""}, "a=int"},
      // Texts.
      {{"Waseca", "Morris", "Waseca"}, "a=category"},
      {{"5f0c9b3e8a1d2c3b4e5f6a7b", "5f0c9b3e8a1d2c3b4e5f6a7c"}, "a=-"},
      {{"123e4567-e89b-12d3-a456-426614174000", "123e4567-e89b-12d3-a456-426614174001"}, "a=-"},
      {{std::string(65, 'x')}, "a=-"},
      {{"two\nlines"}, "a=-"},
      {{"1", "2", "soon"}, "a=category"},
  };
  for (const Case& one : cases) EXPECT_EQ(ofCells(one.cells), one.becomes) << one.cells.front();
}

TEST(ColumnInference, TextsOfManyValuesStayInTheUserBlock) {
  std::vector<std::string> names;
  for (int i = 0; i < 20; ++i) names.push_back("n" + std::to_string(i));
  EXPECT_EQ(ofCells(names), "a=category");
  names.emplace_back("one more");
  EXPECT_EQ(ofCells(names), "a=-");
  std::vector<std::string> often;
  for (int i = 0; i < 300; ++i) often.push_back("n" + std::to_string(i % 30));
  EXPECT_EQ(ofCells(often), "a=category");
}

TEST(ColumnInference, TheWholeFileIsLookedAt) {
  EXPECT_EQ(ofCells(numbersAnd(5000, {"2147483648"})), "a=long");
  EXPECT_EQ(ofCells(numbersAnd(5000, {"0.5"})), "a=double");
  EXPECT_EQ(ofCells(numbersAnd(5000, {"007"})), "a=-") << "a slip loses no zeros";
}

TEST(ColumnInference, AFewValuesAmongManyAreSlips) {
  EXPECT_EQ(ofCells(numbersAnd(99, {"soon"})), "a=int!1");
  EXPECT_EQ(ofCells(numbersAnd(98, {"soon"})), "a=-") << "too few to tell";
  EXPECT_EQ(ofCells(numbersAnd(198, {"soon", "later", "never"})), "a=-");
  EXPECT_EQ(ofCells(numbersAnd(99, {"NA", "?", "soon"})), "a=int!1 na[?] na[NA]");
}

TEST(ColumnInference, ReasonsShowAValueAndItsLine) {
  EXPECT_EQ(reasonOf("a\n1\n007\n"), "leading zeros (\"007\", line 3); 2 different texts");
  EXPECT_EQ(reasonOf("a\n1\nsoon\n"), "mixed: numbers, and \"soon\", line 3; 2 different texts");
  EXPECT_EQ(reasonOf("a;b\n1,234;x\n"),
            "thousands or a fraction: \"1,234\", line 2; --decimal says which; 1 different text");
  EXPECT_EQ(reasonOf("a\n01/02/2012\n"),
            "day or month first: \"01/02/2012\", line 2; --time-format says which; 1 different text");
  EXPECT_EQ(reasonOf("a,b\n,1\n"), "empty");
}

TEST(ColumnInference, TheFileDecidesTogether) {
  EXPECT_EQ(inferred("a;b\n3,5;1,234\n", RowFormat::csv), "a=double b=double decimal,");
  EXPECT_EQ(inferred("a;b\n3,5;3.5\n", RowFormat::csv), "a=category b=double");
  EXPECT_EQ(inferred("a,b\n31/01/2012,01/02/2012\n", RowFormat::csv), "a=time b=time time[%d/%m/%Y]");
  EXPECT_EQ(inferred("a,b\n31/01/2012,01/31/2012\n", RowFormat::csv), "a=time b=category time[%d/%m/%Y]");
}

TEST(ColumnInference, WhatIsGivenStays) {
  ImportPlan given;
  given.decimal = '.';
  EXPECT_EQ(ofCells({"1,234", "12"}, given), "a=double decimal. thousands,");
  given = {};
  given.absent = {"none"};
  EXPECT_EQ(ofCells({"1", "none"}, given), "a=int na[none]");
  given = {};
  given.timeFormats = {"%d/%m/%Y"};
  EXPECT_EQ(ofCells({"01/02/2012"}, given), "a=time time[%d/%m/%Y]");
  given = {};
  given.categories = {"a"};
  EXPECT_EQ(inferred("a,b\n1,2\n", RowFormat::csv, given), "b=int");
}

TEST(ColumnInference, JsonSaysItsKinds) {
  EXPECT_EQ(
      inferred(
          "{\"a\": 1, \"b\": 2.0, \"c\": true, \"d\": \"5\", \"e\": \"2020-01-31\", \"f\": 5000000000, \"g\": null}",
          RowFormat::jsonl),
      "a=int b=double c=bool d=category e=time f=long g=-");
  EXPECT_EQ(inferred("{\"a\": 1}\n{\"a\": 2.5}\n{\"a\": \"NaN\"}\n", RowFormat::jsonl), "a=double");
  EXPECT_EQ(inferred("{\"a\": NaN, \"b\": -Infinity, \"c\": \"NaN\"}\n", RowFormat::jsonl),
            "a=double b=double c=category");
  EXPECT_EQ(inferred("{\"a\": 1}\n{\"a\": \"x\"}\n", RowFormat::jsonl), "a=category");
}

TEST(ColumnInference, NestedValuesArePaths) {
  EXPECT_EQ(inferred("{\"p\": {\"mag\": 4.5, \"q\": {\"r\": \"x\"}}, \"xs\": [1, 2]}\n", RowFormat::jsonl),
            "p.mag=double p.q.r=category xs=-");
  EXPECT_EQ(inferred("{\"p\": {\"mag\": 4.5}}\n{\"p\": 5}\n", RowFormat::jsonl), "p.mag=double p=int");
  EXPECT_EQ(inferred("{\"p\": 5}\n{\"p\": {\"mag\": 4.5}}\n", RowFormat::jsonl), "p=- p.mag=double");
}

TEST(ColumnInference, KindsOfTheStoreStay) {
  const StoreColumns inStore({{"a", NameInUse::Kind::description, PropertyType::real, 1},
                              {"b", NameInUse::Kind::category, PropertyType::string, 1},
                              {"c", NameInUse::Kind::description, PropertyType::int32, 1},
                              {"d", NameInUse::Kind::description, PropertyType::string, 1}});
  const TemporaryFile file("a,b,c,d\n1,2,2.5,x\n");
  const auto rows = openRows(file.path(), RowFormat::csv);
  ColumnInference inference({});
  for (Row row; rows->next(row);) inference.add(row);
  EXPECT_EQ(shown(inference.result(inStore)), "a=double b=category c=double d=string");
}

TEST(ColumnInference, KeysOfTheLibraryAreNoColumns) {
  EXPECT_EQ(inferred("{\"_id\": 1, \"a\": 1}\n", RowFormat::jsonl), "a=int");
}

}  // namespace database_provider::importing
