// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "database_provider/import.h"
#include "importing/Row.h"
#include "tests/support/TemporaryFile.h"

using namespace database_provider;
using database_provider::importing::Row;

namespace {

std::string shown(const Row& row) {
  if (!row.problem.empty()) return std::to_string(row.number) + "!" + row.problem;
  return std::to_string(row.number) + row.document().toJson();
}

/// The rows of a file, one after the other; what is wrong with the file stands at the end, without its name.
std::string rowsOf(const std::string& content, RowFormat format) {
  const TemporaryFile file(content);
  std::string result;
  try {
    const auto reader = openRows(file.path(), format);
    Row row;
    while (reader->next(row)) result += shown(row) + "\n";
    EXPECT_FALSE(reader->next(row)) << "the end stays the end";
  } catch (const ImportError& error) {
    result += "error" + std::string(error.what()).substr(file.path().size());
  }
  return result;
}

/// The line that each row begins in.
std::string linesOf(const std::string& content, RowFormat format) {
  const TemporaryFile file(content);
  const auto reader = openRows(file.path(), format);
  std::string result;
  for (Row row; reader->next(row);) result += (result.empty() ? "" : " ") + std::to_string(row.line);
  return result;
}

std::string json(const std::string& content) {
  return rowsOf(content, RowFormat::json);
}
std::string jsonl(const std::string& content) {
  return rowsOf(content, RowFormat::jsonl);
}
std::string csv(const std::string& content) {
  return rowsOf(content, RowFormat::csv);
}

/// So many names as keys of an object: {"0":0,"1":0}.
std::string objectOf(std::size_t names) {
  std::string result = "{";
  for (std::size_t i = 0; i < names; ++i) result.append(i == 0 ? "\"" : ",\"").append(std::to_string(i)).append("\":0");
  return result + "}";
}

}  // namespace

TEST(JsonArrayReader, RowsAreTheObjectsOfTheArray) {
  EXPECT_EQ(json("[ {\"a\": 1},\n{\"b\": [1, {\"c\": null}]} ]\n"), "1{\"a\": 1}\n2{\"b\": [1, {\"c\": null}]}\n");
}

TEST(JsonArrayReader, AnEmptyArrayHasNoRows) {
  EXPECT_EQ(json(" [ ] "), "");
}

TEST(JsonArrayReader, ElementsThatAreNoObjectsAreBadRows) {
  EXPECT_EQ(json("[1,[2],\"x\",null,{}]"),
            "1!expected an object\n2!expected an object\n3!expected an object\n4!expected an object\n5{}\n");
}

TEST(JsonArrayReader, WhatIsNoJsonEndsTheReading) {
  EXPECT_EQ(json("[{\"a\":1},{\"a\":}]"),
            "1{\"a\": 1}\nerror:1: not JSON: Invalid value. (at byte 5 of the row) (row 2)");
  EXPECT_EQ(json("[{\"a\":1}"), "1{\"a\": 1}\nerror:1: not JSON: the array has no end (row 2)");
  EXPECT_EQ(json("["), "error:1: not JSON: the array has no end (row 1)");
  EXPECT_EQ(json("[{\"a\":1} {\"a\":2}]"),
            "1{\"a\": 1}\nerror:1: not JSON: expected a comma or the end of the array (row 2)");
  EXPECT_EQ(json("[{\"a\":1},]").substr(0, 27), "1{\"a\": 1}\nerror:1: not JSON");
  EXPECT_EQ(json("[{\"a\":1},\n{\n\"a\":}]").substr(0, 27), "1{\"a\": 1}\nerror:3: not JSON");
  EXPECT_EQ(json("[] x"), "error: something follows the end of the array");
}

TEST(JsonArrayReader, AFileThatIsNoArrayIsRefused) {
  EXPECT_EQ(json(""), "error: expected a JSON array of objects");
  EXPECT_EQ(json("{\"a\":1}"), "error: expected an array of objects; objects on lines are --format jsonl");
}

TEST(JsonArrayReader, TextThatIsNoUtf8IsRefused) {
  EXPECT_NE(json("[{\"a\":\"\xff\"}]").find("not JSON: Invalid encoding"), std::string::npos);
}

TEST(JsonArrayReader, AByteOrderMarkIsPassedOver) {
  EXPECT_EQ(json("\xEF\xBB\xBF[{\"a\":1}]"), "1{\"a\": 1}\n");
}

TEST(JsonArrayReader, NumbersOfTheRowsOwnLevelAreKeptAsTyped) {
  const TemporaryFile file(R"([{"a":1.50,"b":{"c":7.0},"d":[1e0],"e":-1E+2}])");
  const auto reader = openRows(file.path(), RowFormat::json);
  Row row;
  ASSERT_TRUE(reader->next(row));
  EXPECT_EQ(row.typedNumbers(), (std::vector<std::string_view>{"1.50", "", "", "-1E+2"}));
  EXPECT_EQ(row.keys, (std::vector<std::string>{"a", "b", "d", "e"}));
}

TEST(JsonArrayReader, ADeepRowIsNoDangerToTheStack) {
  const std::string deep = std::string(100'000, '[') + std::string(100'000, ']');
  const TemporaryFile file("[{\"a\":" + deep + "}]");
  const auto reader = openRows(file.path(), RowFormat::json);
  Row row;
  ASSERT_TRUE(reader->next(row));
  EXPECT_THROW(row.document(), database_client::Error);
}

TEST(JsonArrayReader, RowsReachOverTheBuffersEdge) {
  std::string content = "[";
  for (int i = 0; i < 20'000; ++i) content += (i == 0 ? "" : ",") + std::string("{\"n\":") + std::to_string(i) + "}";
  const TemporaryFile file(content + "]");
  const auto reader = openRows(file.path(), RowFormat::json);
  Row row;
  int count = 0;
  while (reader->next(row)) ASSERT_EQ(row.document().valueAsInt32("n", -1), count++);
  EXPECT_EQ(count, 20'000);
}

TEST(JsonLinesReader, EmptyLinesArePassedOver) {
  EXPECT_EQ(jsonl("{\"a\":1}\r\n\n  \n{\"a\":2}"), "1{\"a\": 1}\n2{\"a\": 2}\n");
  EXPECT_EQ(jsonl(""), "");
}

TEST(JsonLinesReader, ALineThatIsNoJsonIsABadRow) {
  EXPECT_EQ(jsonl("{\"a\":\n{\"a\":2}\n7\n{} {}\n"),
            "1!not JSON: Invalid value. (at byte 5 of the row)\n2{\"a\": 2}\n3!expected an object\n"
            "4!not JSON: something follows the object\n");
}

TEST(CsvReader, TheHeaderNamesTheColumns) {
  EXPECT_EQ(csv("a,b\n1,x\n2,y\n"), "1{\"a\": \"1\", \"b\": \"x\"}\n2{\"a\": \"2\", \"b\": \"y\"}\n");
}

TEST(CsvReader, QuotesHoldCommasQuotesAndLineEnds) {
  EXPECT_EQ(csv("a,b\r\n\"x,y\",\"say \"\"so\"\"\r\ntwice\"\r\n"),
            "1{\"a\": \"x,y\", \"b\": \"say \\\"so\\\"\\r\\ntwice\"}\n");
}

TEST(CsvReader, BlanksBelongToTheCell) {
  EXPECT_EQ(csv("a,b\n x , \n"), "1{\"a\": \" x \", \"b\": \" \"}\n");
}

TEST(CsvReader, TheLastLineNeedsNoEnd) {
  EXPECT_EQ(csv("a\n1"), "1{\"a\": \"1\"}\n");
}

TEST(CsvReader, AHeaderAloneHasNoRows) {
  EXPECT_EQ(csv("a,b\n"), "");
  EXPECT_EQ(csv("a,b"), "");
}

TEST(CsvReader, AByteOrderMarkIsPassedOver) {
  EXPECT_EQ(csv("\xEF\xBB\xBF\"a\"\n1\n"), "1{\"a\": \"1\"}\n");
}

TEST(CsvReader, ARowOfAnotherLengthIsBad) {
  EXPECT_EQ(csv("a,b\n1\n1,2\n1,2,3\n"),
            "1!expected 2 cells, found 1\n2{\"a\": \"1\", \"b\": \"2\"}\n3!expected 2 cells, found 3\n");
}

TEST(CsvReader, AStrayQuoteEndsTheReading) {
  EXPECT_EQ(csv("a,b\nx\"y,2\n"), "error:2: not CSV: a quote stands inside a cell that is not quoted");
  EXPECT_EQ(csv("a,b\n1,\"2\n"), "error:2: not CSV: a quote is not closed");
}

TEST(CsvReader, AColumnNameThatStandsTwiceIsRefused) {
  EXPECT_EQ(csv("a,b,a\n"), "error: the header has \"a\" twice");
  EXPECT_EQ(csv(""), "error: the file is empty; expected a header");
  EXPECT_EQ(csv("a,\xff\n1,2\n"), "error: the header is not UTF-8");
}

/// Beginning anew at each end of a line would take longer than a test may.
TEST(CsvReader, AQuoteThatIsNeverClosedIsToldInTime) {
  EXPECT_EQ(csv("a,b\n1,\"" + std::string(16U << 20U, 'x')), "error:2: not CSV: a quote is not closed");
}

TEST(CsvReader, ACellOfMoreThan64MiBEndsTheReading) {
  EXPECT_EQ(csv("a\n\"" + std::string(65U << 20U, 'x')),
            "error:2: a cell is longer than 64 MiB; is a quote not closed?");
}

TEST(CsvReader, CellsBeyondTheHeaderAreCountedAndNotKept) {
  const TemporaryFile file("a,b\n" + std::string(3'000'000, ',') + "\n1,2\n");
  const auto reader = openRows(file.path(), RowFormat::csv);
  Row row;
  ASSERT_TRUE(reader->next(row));
  EXPECT_EQ(row.problem, "expected 2 cells, found 3000001");
  EXPECT_EQ(row.cells.size() + row.keys.size(), 0);
  ASSERT_TRUE(reader->next(row));
  EXPECT_EQ(shown(row), R"(2{"a": "1", "b": "2"})");
}

TEST(CsvReader, ALineOfMoreThan64MiBEndsTheReading) {
  EXPECT_EQ(csv("a,b\n1,2\n" + std::string(65U << 20U, ',')),
            "1{\"a\": \"1\", \"b\": \"2\"}\nerror:3: longer than 64 MiB");
}

TEST(CsvReader, AHeaderOfMoreThan100000NamesIsRefused) {
  EXPECT_EQ(csv(std::string(100'000, ',')), "error: the header has more than 100000 names");
  EXPECT_EQ(csv(std::string(99'999, ',')), "error: the header has \"\" twice");
}

TEST(JsonLinesReader, ARowOfMoreThan100000NamesIsABadRow) {
  EXPECT_EQ(jsonl(objectOf(100'001) + "\n{\"a\":1}\n"), "1!more than 100000 names\n2{\"a\": 1}\n");
  EXPECT_EQ(json("[" + objectOf(100'001) + ",{\"a\":1}]"), "1!more than 100000 names\n2{\"a\": 1}\n");
  EXPECT_EQ(jsonl(objectOf(100'000)).substr(0, 10), "1{\"0\": 0, ");
}

TEST(JsonLinesReader, ALineOfMoreThan64MiBEndsTheReading) {
  EXPECT_EQ(jsonl("{}\n{\"a\":\"" + std::string(65U << 20U, 'x') + "\"}"), "1{}\nerror: a line is longer than 64 MiB");
}

TEST(RowFormat, IsToldByTheEndingInEitherCase) {
  EXPECT_EQ(rowFormatOf("plots.json"), RowFormat::json);
  EXPECT_EQ(rowFormatOf("plots.jsonl"), RowFormat::jsonl);
  EXPECT_EQ(rowFormatOf("plots.ndjson"), RowFormat::jsonl);
  EXPECT_EQ(rowFormatOf("PLOTS.CSV"), RowFormat::csv);
  EXPECT_EQ(rowFormatOf("plots.records"), RowFormat::records);
  EXPECT_EQ(rowFormatOf("plots.txt"), std::nullopt);
  EXPECT_EQ(rowFormatOf("-"), std::nullopt);
}

TEST(RowReader, BeginsAnewWithTheSameRows) {
  for (const auto& [content, format] :
       {std::pair("\xEF\xBB\xBF"
                  "a\n1\n\"x\ny\"\n",
                  RowFormat::csv),
        std::pair("[{\"a\": 1}, {}]", RowFormat::json), std::pair("{\"a\": 1}\n\n{}\n", RowFormat::jsonl)}) {
    const TemporaryFile file(content);
    const auto reader = openRows(file.path(), format);
    std::string first;
    for (Row row; reader->next(row);) first += std::to_string(row.line) + shown(row);
    ASSERT_TRUE(reader->rewind());
    std::string second;
    for (Row row; reader->next(row);) second += std::to_string(row.line) + shown(row);
    EXPECT_EQ(second, first);
    EXPECT_FALSE(first.empty());
  }
}

TEST(RowReader, WhatSomebodyElseReadsComesOnceAndInAnyPieces) {
  const std::string content =
      "\xEF\xBB\xBF"
      "a,b\n1,\"x\ny\"\n";
  std::size_t at = 0;
  const auto reader = readRows("upload", RowFormat::csv, [&](char* bytes, std::size_t size) -> std::size_t {
    if (at == content.size() || size == 0) return 0;
    bytes[0] = content[at++];
    return 1;
  });
  std::string rows;
  for (Row row; reader->next(row);) rows += shown(row);
  EXPECT_EQ(rows, "1{\"a\": \"1\", \"b\": \"x\\ny\"}");
  EXPECT_FALSE(reader->rewind());
  EXPECT_EQ(reader->name(), "upload");
}

TEST(RowReader, AProgramsRowsAreItsDocuments) {
  int count = 0;
  const auto next = [&](ObjectProperties& row) {
    if (count == 2) return false;
    row.setValueInt32("n", ++count);
    return true;
  };
  const auto reader = rowsOf(next, [&] { count = 0; });
  std::string rows;
  for (Row row; reader->next(row);) rows += shown(row);
  EXPECT_EQ(rows, "1{\"n\": 1}2{\"n\": 2}");
  EXPECT_TRUE(reader->rewind());
  Row row;
  EXPECT_TRUE(reader->next(row));
  EXPECT_FALSE(rowsOf(next)->rewind());
}

TEST(RowReader, ARowKnowsTheLineOfTheFileThatItBeginsIn) {
  EXPECT_EQ(linesOf("[\n{\"a\":\n1},\n\n{\"a\":2}, {\"a\":3},\n7]", RowFormat::json), "2 5 5 6");
  EXPECT_EQ(linesOf("{}\n\n{}\r\nx\n", RowFormat::jsonl), "1 3 4");
  EXPECT_EQ(linesOf("a,b\n1,2\n\n\"x\ny\r\nz\",\"\n\"\n3,4", RowFormat::csv), "2 4 8");
  EXPECT_EQ(linesOf("a\r\n1\r\n\r\n2\r\n", RowFormat::csv), "2 4");
  EXPECT_EQ(linesOf("\n\na,b\n\n1,2\n", RowFormat::csv), "5");
  const std::string wide(70'000, 'x');
  EXPECT_EQ(linesOf("a\n\"" + wide + "\n" + wide + "\"\n" + wide + "\ny\n", RowFormat::csv), "2 4 5");
}

TEST(RowReader, AFileThatIsNotThereIsNamed) {
  try {
    openRows("/nowhere/plots.json", RowFormat::json);
    FAIL() << "no error";
  } catch (const ImportError& error) {
    EXPECT_STREQ(error.what(), "/nowhere/plots.json: No such file or directory");
  }
}
