// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <string>

#include "database_provider/import.h"
#include "importing/CsvReader.h"
#include "importing/RecordMaker.h"
#include "tests/support/TemporaryFile.h"

namespace database_provider::importing {
namespace {

/// The rows of a file with their lines; what is wrong with the file stands at the end, without its name.
std::string rowsOfFile(const std::string& path, RowFormat format, const RowOptions& options = {}) {
  std::string result;
  try {
    const auto reader = openRows(path, format, options);
    for (Row row; reader->next(row);)
      result += std::to_string(row.line) + (row.problem.empty() ? row.document().toJson() : "!" + row.problem) + " ";
  } catch (const ImportError& error) {
    result += "error" + std::string(error.what()).substr(path.size());
  }
  return result;
}

std::string rowsIn(const std::string& content, RowFormat format, const RowOptions& options = {}) {
  const TemporaryFile file(content);
  return rowsOfFile(file.path(), format, options);
}

std::string data(const std::string& name) {
  return DATABASE_TEST_DATA "/" + name;
}

std::string contentOf(const std::string& path) {
  std::ifstream stream(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(stream), {}};
}

RowOptions withRows(const std::string& path) {
  RowOptions options;
  options.rows = path;
  return options;
}

RowOptions withEncoding(const std::string& encoding) {
  RowOptions options;
  options.encoding = encoding;
  return options;
}

/// The record of the one row.
std::string made(const std::string& content, RowFormat format, const ImportPlan& plan) {
  const TemporaryFile file(content);
  const auto reader = openRows(file.path(), format);
  Row row;
  if (!reader->next(row)) return "no row";
  try {
    return RecordMaker(RecordKind::experiment, plan).make(row)->getD()->toJson();
  } catch (const RowError& bad) {
    return bad.column() + "! " + bad.what();
  }
}

std::string descriptionMade(const std::string& cell, PropertyType type, ImportPlan plan) {
  plan.descriptions = {{"a", type}};
  const std::string record = made("a\n\"" + cell + "\"\n", RowFormat::csv, plan);
  const std::size_t begin = record.find("\"value\": ");
  return begin == std::string::npos ? record : record.substr(begin + 9, record.rfind(", \"type\"") - begin - 9);
}

}  // namespace

TEST(RowOptions, TheDelimiterIsLookedFor) {
  EXPECT_EQ(delimiterOf("a,b\n1,2\n"), ',');
  EXPECT_EQ(delimiterOf("a;b\n1,5;2,5\n"), ';');
  EXPECT_EQ(delimiterOf("a\tb\n1\t2\n"), '\t');
  EXPECT_EQ(delimiterOf("a|b|c\n1|2|3\n"), '|');
  EXPECT_EQ(delimiterOf("a\n1\n"), ',');
  EXPECT_EQ(delimiterOf(""), ',');
  EXPECT_EQ(delimiterOf("\"a;b\",c\n1,2\n"), ',');
  EXPECT_EQ(delimiterOf("\"temp, in C\";x\n1;2\n"), ';');
  EXPECT_EQ(delimiterOf("a b, c;d;e\n1;2;3\n4;5;6\n"), ';') << "the comma stands in the first line alone";
  EXPECT_EQ(delimiterOf("a,b;c\n1,2;3\n"), ',') << "of two that are alike the usual one";
  EXPECT_EQ(rowsIn("a;b\n1,5;x\n", RowFormat::csv), R"(2{"a": "1,5", "b": "x"} )");
}

TEST(RowOptions, ADelimiterThatIsToldIsTaken) {
  RowOptions options;
  options.delimiter = '|';
  EXPECT_EQ(rowsIn("a,b|c\n1|2\n", RowFormat::csv, options), R"(2{"a,b": "1", "c": "2"} )");
}

TEST(RowOptions, CompressedFilesAreUnpacked) {
  const std::string plain = rowsOfFile(data("plots.csv"), RowFormat::csv);
  EXPECT_EQ(plain.substr(0, 2), "2{");
  EXPECT_EQ(rowsOfFile(data("plots.csv.gz"), RowFormat::csv), plain);
  EXPECT_EQ(rowsOfFile(data("plots.csv.zst"), RowFormat::csv), plain);
  EXPECT_EQ(rowFormatOf("a.csv.gz"), RowFormat::csv);
  EXPECT_EQ(rowFormatOf("A.JSONL.ZST"), RowFormat::jsonl);
  EXPECT_EQ(rowFormatOf("a.tsv"), RowFormat::csv);
  EXPECT_EQ(rowFormatOf("a.geojson"), RowFormat::json);
  EXPECT_FALSE(rowFormatOf("a.gz"));
}

TEST(RowOptions, SeveralMembersOfGzipAreOneContent) {
  const std::string packed = contentOf(data("plots.csv.gz"));
  const std::string twice = rowsIn(packed + packed, RowFormat::csv);
  EXPECT_EQ(std::count(twice.begin(), twice.end(), '{'), 81) << "40 rows, the header, and 40 rows";
}

TEST(RowOptions, ReadersOfCompressedFilesBeginAgain) {
  for (const char* name : {"plots.csv.gz", "plots.csv.zst", "plots16.csv"}) {
    const auto reader = openRows(data(name), RowFormat::csv);
    const auto count = [&] {
      int rows = 0;
      for (Row row; reader->next(row);) ++rows;
      return rows;
    };
    EXPECT_EQ(count(), 40) << name;
    EXPECT_EQ(reader->position(), reader->size()) << name;
    EXPECT_TRUE(reader->rewind());
    EXPECT_EQ(count(), 40) << name;
  }
}

TEST(RowOptions, WhatBreaksOffOrIsDamagedIsTold) {
  const std::string gzip = contentOf(data("plots.csv.gz"));
  const std::string zstd = contentOf(data("plots.csv.zst"));
  const auto errorOf = [](const std::string& content) {
    const std::string rows = rowsIn(content, RowFormat::csv);
    const std::size_t error = rows.find("error");
    return error == std::string::npos ? rows : rows.substr(error);
  };
  EXPECT_EQ(errorOf(gzip.substr(0, gzip.size() / 2)), "error: the gzip data ends early");
  EXPECT_EQ(errorOf(zstd.substr(0, zstd.size() / 2)), "error: the Zstandard data ends early");
  std::string damaged = gzip;
  damaged[damaged.size() - 6] = static_cast<char>(damaged[damaged.size() - 6] ^ 1);
  EXPECT_EQ(errorOf(damaged), "error: the gzip data is damaged: incorrect data check");
}

TEST(RowOptions, EncodingsAreObeyed) {
  const std::string rows = rowsOfFile(data("plots16.csv"), RowFormat::csv);
  EXPECT_NE(rows.find("\"operator\": \"Bø\""), std::string::npos);
  EXPECT_EQ(rowsOfFile(data("plots1.csv"), RowFormat::csv, withEncoding("latin-1")),
            R"(2{"ort": "Köln", "menge": "3,5"} 3{"ort": "München", "menge": "1.204,25"} )");
  EXPECT_EQ(rowsIn("a\nx\n", RowFormat::csv, withEncoding("nothing")), "error: there is no encoding \"nothing\"");
  EXPECT_EQ(rowsIn(std::string("\xFF\xFE"
                               "a\0\n\0x\0\n\0\x00\xDC",
                               12),
                   RowFormat::csv),
            "2{\"a\": \"x\"} error:3: the text in UTF-16 has bytes here that are no character");
  EXPECT_EQ(rowsIn(std::string("\xFF\xFE"
                               "a\0\n\0x",
                               7),
                   RowFormat::csv),
            "error:2: the text in UTF-16 ends within a character");
}

TEST(RowOptions, RowsStandBelowAPath) {
  EXPECT_EQ(rowsIn("{\n\"x\": {\"rows\": [1]},\n\"data\": {\"n\": \"]}\", \"rows\": [{\"a\": 1},\n{\"a\": 2}], \"y\": "
                   "[{}]}, \"z\": 1}\n",
                   RowFormat::json, withRows("data.rows")),
            R"(3{"a": 1} 4{"a": 2} )");
  EXPECT_EQ(rowsIn(R"({"a.b": [{"c": 1}]})", RowFormat::json, withRows("a.b")), R"(1{"c": 1} )");
  EXPECT_EQ(rowsIn(R"({"a": 1})", RowFormat::json, withRows("b")), "error: there is nothing at \"b\"");
  EXPECT_EQ(rowsIn(R"({"a": 1})", RowFormat::json, withRows("a")), "error: at \"a\" is no array");
  EXPECT_EQ(rowsIn("{\"a\": [{\"b\": 1}],\n\"c\": [", RowFormat::json, withRows("a")),
            "1{\"b\": 1} error:2: not JSON: the document has no end");
  EXPECT_EQ(
      rowsIn(R"({"type": "x", "features": [{}], "other": []})", RowFormat::json),
      "error: expected an array of objects; objects on lines are --format jsonl, and the array in this one is --rows "
      "features or --rows other");
}

TEST(RowOptions, WhatPythonWritesOfNumbersThatAreNoneIsRead) {
  EXPECT_EQ(rowsIn("{\"a\": NaN, \"b\": [Infinity, -Infinity], \"c\": \"NaN \\\" NaN\"}\n", RowFormat::jsonl),
            R"(1{"a": {"$numberDouble": "NaN"}, "b": [{"$numberDouble": "Infinity"}, {"$numberDouble": "-Infinity"}], )"
            R"("c": "NaN \" NaN"} )");
  EXPECT_NE(rowsIn("{\"a\": NaNa}\n", RowFormat::jsonl).find("not JSON"), std::string::npos);
}

TEST(RowOptions, ArraysBecomeATextOrRows) {
  const std::string rows = "{\"a\": [\"x\", 2], \"b\": 1}\n{\"a\": []}\n{\"b\": 3}\n{\"a\": [{}]}\n";
  RowOptions options;
  options.arraysAsText = {"a"};
  EXPECT_EQ(
      rowsIn(rows, RowFormat::jsonl, options),
      R"(1{"b": 1, "a": "x; 2"} 2{} 3{"b": 3} 4!the array "a" holds objects or arrays; only single values make a text or )"
      "rows ");
  options = {};
  options.arrayAsRows = "a";
  EXPECT_EQ(
      rowsIn(rows, RowFormat::jsonl, options),
      R"(1{"b": 1, "a": "x"} 1{"b": 1, "a": 2} 2{} 3{"b": 3} 4!the array "a" holds objects or arrays; only single values )"
      "make a text or rows ");
}

TEST(ImportPlan, NamesArePathsIntoARow) {
  ImportPlan plan;
  plan.categories = {"net"};
  plan.descriptions = {{"p.mag", PropertyType::real}, {"p.q.r", PropertyType::int32}, {"no.such", PropertyType::int32}};
  EXPECT_EQ(made(R"({"p": {"mag": 4.5, "q": {"r": 1}, "rest": 2}, "net": "us"})", RowFormat::jsonl, plan),
            R"({"p": {"rest": 2}, "recordInfo": {"category": [{"name": "net", "value": "us"}], "description": )"
            R"([{"name": "p.mag", "value": 4.5, "type": 8}, {"name": "p.q.r", "value": 1, "type": 6}]}})");
  EXPECT_EQ(made(R"({"p.mag": 2, "p": {"mag": 4.5}})", RowFormat::jsonl, plan),
            R"({"p": {"mag": 4.5}, "recordInfo": {"description": [{"name": "p.mag", "value": 2.0, "type": 8}]}})");
}

TEST(ImportPlan, NumbersAreReadAsTheFileWritesThem) {
  ImportPlan comma;
  comma.decimal = ',';
  EXPECT_EQ(descriptionMade("3,5", PropertyType::real, comma), "3.5");
  EXPECT_EQ(descriptionMade("-3", PropertyType::int32, comma), "-3");
  EXPECT_EQ(descriptionMade("nan", PropertyType::real, comma), "{\"$numberDouble\": \"NaN\"}");
  EXPECT_EQ(descriptionMade("3.5", PropertyType::real, comma),
            "a! expected a number with \",\" before its fraction, found \"3.5\"");
  comma.thousands = '.';
  EXPECT_EQ(descriptionMade("1.234,5", PropertyType::real, comma), "1234.5");
  EXPECT_EQ(descriptionMade("1.234", PropertyType::int32, comma), "1234");
  ImportPlan groups;
  groups.thousands = ',';
  EXPECT_EQ(descriptionMade("1,234,567", PropertyType::int64, groups), "1234567");
  EXPECT_EQ(descriptionMade("12,34", PropertyType::int64, groups),
            "a! expected long (a whole number of 64 bits), found \"12,34\"");
  EXPECT_EQ(descriptionMade("1,234", PropertyType::real, {}), "a! expected double (a number), found \"1,234\"");
}

TEST(ImportPlan, TimesAreReadInTheirForm) {
  ImportPlan plan;
  plan.timeFormats = {"%d/%m/%Y", "%d/%m/%Y %H:%M"};
  EXPECT_EQ(descriptionMade("01/02/2012", PropertyType::time, plan), "{\"$date\": \"2012-02-01T00:00:00Z\"}");
  EXPECT_EQ(descriptionMade("01/02/2012 08:30", PropertyType::time, plan), "{\"$date\": \"2012-02-01T08:30:00Z\"}");
  EXPECT_EQ(descriptionMade("2012-02-01", PropertyType::time, plan), "{\"$date\": \"2012-02-01T00:00:00Z\"}");
  EXPECT_NE(descriptionMade("2020", PropertyType::time, plan).find("--time-unit s or ms"), std::string::npos);
}

TEST(ImportPlan, TextsThatMeanNothingAreAbsent) {
  ImportPlan plan;
  plan.absent = {"NA", "-"};
  EXPECT_EQ(descriptionMade("NA", PropertyType::real, plan), "{}");
  plan.categories = {"b"};
  EXPECT_EQ(made("b,c\n-,-\n", RowFormat::csv, plan), R"({"c": "-", "recordInfo": {}})")
      << "the user block keeps what stands there";
}

TEST(ImportPlan, SurprisesMayStayTexts) {
  ImportPlan plan;
  EXPECT_EQ(descriptionMade("soon", PropertyType::real, plan), "a! expected double (a number), found \"soon\"");
  plan.surpriseAsText = true;
  EXPECT_EQ(descriptionMade("soon", PropertyType::real, plan), "\"soon\"");
}

}  // namespace database_provider::importing
