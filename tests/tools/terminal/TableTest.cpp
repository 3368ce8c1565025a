// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <clocale>
#include <sstream>
#include <string>
#include <vector>

#include "tools/terminal/Table.h"
#include "values/Text.h"

namespace database_provider::recordctl {

using database_provider::values::displayWidth;

namespace {

std::string drawn(Layout layout, std::vector<Table::Column> columns, const std::vector<Table::Row>& rows) {
  EXPECT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
  std::ostringstream out;
  Table table(out, layout, std::move(columns));
  for (const Table::Row& row : rows) table.add(row);
  table.finish();
  return out.str();
}

std::size_t widestLine(const std::string& text) {
  std::istringstream lines(text);
  std::size_t widest = 0;
  for (std::string line; std::getline(lines, line);) widest = std::max(widest, displayWidth(line));
  return widest;
}

}  // namespace

TEST(Table, WithoutALimitEveryColumnTakesWhatItNeeds) {
  EXPECT_EQ(drawn({}, {{"site"}, {"yield"}}, {{{"Waseca"}, {"48.9", true}}, {{"Grand Rapids"}, {"7", true}}}),
            "site          yield\n"
            "Waseca         48.9\n"
            "Grand Rapids      7\n");
}

TEST(Table, ATableWithoutRowsIsNotWritten) {
  EXPECT_EQ(drawn({}, {{"site"}}, {}), "");
}

TEST(Table, WideColumnsAreShortenedToFit) {
  const std::string text =
      drawn({30, false}, {{"id", true}, {"a"}, {"b"}}, {{{"12345678"}, {"a text that is far too long"}, {"short"}}});
  EXPECT_EQ(text,
            "id        a              b\n"
            "12345678  a text that \u2026  short\n");
  EXPECT_LE(widestLine(text), 30U);
}

TEST(Table, ColumnsThatDoNotFitAreLeftOutWithAMark) {
  std::vector<Table::Column> columns{{"id", true}};
  Table::Row row{{"123456789012"}};
  for (int i = 0; i < 20; ++i) {
    columns.push_back({"column" + std::to_string(i)});
    row.push_back({"a value of some length"});
  }
  const std::string text = drawn({40, false}, columns, {row});
  EXPECT_EQ(text,
            "id            column0   column1   \u2026\n"
            "123456789012  a value\u2026  a value\u2026  \u2026\n");
}

TEST(Table, NoLineIsEverWiderThanTheLayout) {
  for (std::size_t width = 1; width < 60; ++width) {
    const std::string text =
        drawn({width, false}, {{"id", true}, {"\u6771\u4eac"}, {"c"}},
              {{{"6b0193fea39dd677b205ee81"}, {"\u6771\u4eac\u90fd\u6771\u4eac\u90fd"}, {"e\u0301t\u00e9"}}});
    EXPECT_LE(widestLine(text), width) << text;
  }
}

TEST(Table, ARowStaysOneLine) {
  EXPECT_EQ(drawn({}, {{"a"}}, {{{"one\ntwo\x1b[31m"}}}), "a\none two\\x1B[31m\n");
}

TEST(Table, RowsAfterTheFirstOnesKeepTheWidthsWhereThereIsALimit) {
  std::vector<Table::Row> rows(600, {{"x"}, {"y"}});
  rows.push_back({{"a text that is far too long for this"}, {"y"}});
  EXPECT_LE(widestLine(drawn({20, false}, {{"heading"}, {"b"}}, rows)), 20U);
}

TEST(Table, HeadingsAreBoldWithColours) {
  EXPECT_EQ(drawn({0, true}, {{"a"}}, {{{"x"}}}), "\x1b[1ma\n\x1b[0mx\n");
}

}  // namespace database_provider::recordctl
