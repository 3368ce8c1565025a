// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "database_provider/import.h"
#include "importing/Row.h"
#include "tests/support/TemporaryFile.h"
#include "values/Cell.h"

// What scripts/import-samples had the tools write.

namespace database_provider::importing {
namespace {

std::string data(const std::string& name) {
  return DATABASE_TEST_DATA "/" + name;
}

/// Of each row some of its values, as JSON.
std::string valuesOf(const std::string& path, RowFormat format, const std::vector<std::string>& keys) {
  std::string result;
  const auto reader = openRows(path, format);
  for (Row row; reader->next(row);) {
    if (!row.problem.empty()) return "!" + row.problem;
    ObjectProperties some;
    for (const std::string& key : keys) some.copyValue(key, row.parsed, key);
    result += some.toJson() + "\n";
  }
  return result;
}

std::string errorOf(const std::string& content, RowFormat format) {
  const TemporaryFile file(content);
  try {
    const auto reader = openRows(file.path(), format);
    for (Row row; reader->next(row);) {
    }
    return "none";
  } catch (const ImportError& error) {
    return std::string(error.what()).substr(file.path().size());
  }
}

/// "name:type" of each column that is a description.
std::string inferredTypes(const std::string& path, RowFormat format) {
  const auto reader = openRows(path, format);
  std::string result;
  for (const InferredColumn& column : inferPlan(*reader, planFor(format)).columns) {
    if (column.use == InferredColumn::Use::description)
      result += (result.empty() ? "" : " ") + column.name + ":" + values::columnTypeName(column.type);
  }
  return result;
}

int countRows(const std::string& path, RowFormat format) {
  const auto reader = openRows(path, format);
  int rows = 0;
  for (Row row; reader->next(row);) ++rows;
  return rows;
}

}  // namespace

TEST(ToolFormats, GoogleTestsAreRead) {
  EXPECT_EQ(valuesOf(data("gtest.xml"), RowFormat::junit, {"suite", "class", "name", "status", "line", "parameter"}),
            R"({"suite": "Plot", "class": "Plot", "name": "HasYield", "status": "passed", "line": "2"}
{"suite": "Plot", "class": "Plot", "name": "HasNoYield", "status": "failed", "line": "3"}
{"suite": "Plot", "class": "Plot", "name": "IsSkipped", "status": "skipped", "line": "4"}
{"suite": "Plot", "class": "Plot", "name": "DISABLED_Later", "status": "disabled", "line": "5"}
{"suite": "Some/Sites", "class": "Some/Sites", "name": "AreNumbered/0", "status": "passed", "line": "7", "parameter": "1"}
{"suite": "Some/Sites", "class": "Some/Sites", "name": "AreNumbered/1", "status": "passed", "line": "7", "parameter": "2"}
)");
  EXPECT_EQ(inferredTypes(data("gtest.xml"), RowFormat::junit), "line:int parameter:int");
}

TEST(ToolFormats, ATestThatDidNotRunHasTheTimeOfItsSuite) {
  EXPECT_EQ(valuesOf(data("gtest.xml"), RowFormat::junit, {"timestamp"}).find("1970"), std::string::npos);
}

TEST(ToolFormats, ARowOfTestsKnowsItsLine) {
  const auto reader = openRows(data("gtest.xml"), RowFormat::junit);
  std::string lines;
  for (Row row; reader->next(row);) lines += std::to_string(row.line) + " ";
  EXPECT_EQ(lines.substr(0, 7), "4 9 16 ") << lines;
  EXPECT_TRUE(reader->rewind());
  Row row;
  ASSERT_TRUE(reader->next(row));
  EXPECT_EQ(row.line, 4U);
  EXPECT_EQ(row.number, 1U);
}

TEST(ToolFormats, TestsOfCtestAndPytestAreRead) {
  EXPECT_EQ(valuesOf(data("ctest.xml"), RowFormat::junit, {"name", "status"}),
            "{\"name\": \"good\", \"status\": \"passed\"}\n{\"name\": \"bad\", \"status\": \"failed\"}\n"
            "{\"name\": \"missing\", \"status\": \"disabled\"}\n");
  EXPECT_EQ(
      valuesOf(data("pytest.xml"), RowFormat::junit, {"class", "name", "status", "host", "properties"}),
      R"({"class": "test_sample", "name": "test_good", "status": "passed", "host": "station7", "properties": {"site": "Waseca"}}
{"class": "test_sample", "name": "test_bad", "status": "failed", "host": "station7"}
{"class": "test_sample", "name": "test_skipped", "status": "skipped", "host": "station7"}
{"class": "test_sample", "name": "test_error", "status": "error", "host": "station7"}
{"class": "test_sample", "name": "test_numbers[1]", "status": "passed", "host": "station7"}
{"class": "test_sample", "name": "test_numbers[2]", "status": "passed", "host": "station7"}
)");
}

TEST(ToolFormats, WhatIsNoJunitIsRefusedWithItsLine) {
  EXPECT_EQ(errorOf("<testsuites>\n<testsuite>\n</testsuites>\n", RowFormat::junit).substr(0, 13), ":3: not XML: ");
  EXPECT_EQ(errorOf("<html></html>", RowFormat::junit), ": expected <testsuites> or <testsuite>, found <html>");
}

TEST(ToolFormats, GoogleBenchmarksAreRead) {
  const std::string path = data("google-benchmark.json");
  EXPECT_EQ(valuesOf(path, RowFormat::googleBenchmark, {"run_type", "aggregate_name", "time_unit", "host", "hits"})
                .substr(0, 87),
            R"({"run_type": "iteration", "time_unit": "ns", "host": "station7", "hits": 3.0}
{"run_typ)");
  EXPECT_GE(countRows(path, RowFormat::googleBenchmark), 11);
  const std::string types = inferredTypes(path, RowFormat::googleBenchmark);
  for (const char* column : {"bytes_per_second:double", "hits:double", "error_occurred:bool"})
    EXPECT_NE(types.find(column), std::string::npos) << column << " in " << types;
  EXPECT_EQ(valuesOf(path, RowFormat::googleBenchmark, {"context"}).find("host_name"), std::string::npos);
}

TEST(ToolFormats, PytestBenchmarksAreRead) {
  const std::string path = data("pytest-benchmark.json");
  EXPECT_EQ(
      valuesOf(path, RowFormat::pytestBenchmark, {"group", "name", "rounds", "iterations", "host", "extra_info"}),
      R"({"group": null, "name": "test_sorting[10]", "rounds": 5, "iterations": 10, "host": "station7", "extra_info": {"order": "reversed"}}
{"group": null, "name": "test_sorting[1000]", "rounds": 5, "iterations": 10, "host": "station7", "extra_info": {"order": "reversed"}}
{"group": "text", "name": "test_joining", "rounds": 5, "iterations": 10, "host": "station7", "extra_info": {}}
)");
  const std::string types = inferredTypes(path, RowFormat::pytestBenchmark);
  for (const char* column : {"params.size:int", "iqr:double"})
    EXPECT_NE(types.find(column), std::string::npos) << column << " in " << types;
  EXPECT_EQ(types.find("machine_info"), std::string::npos) << types;
}

TEST(ToolFormats, RunsOfMlflowAreRead) {
  const std::string path = data("mlruns");
  try {
    openRows(path, RowFormat::mlflow);
  } catch (const ImportError& error) {
    GTEST_SKIP() << error.what();
  }
  const std::string rows =
      valuesOf(path, RowFormat::mlflow, {"experiment", "run", "status", "user", "params", "metrics"});
  EXPECT_EQ(countRows(path, RowFormat::mlflow), 3);
  for (
      const char* row :
      {R"({"experiment": "barley: yields", "run": "rate 0.1", "status": "FINISHED", "user": "ada", "params": {"layers": "3", "model/rate": "0.1", "optimizer": "adam"}, "metrics": {"loss": 0.3333333333333333, "val/accuracy": 0.75}})",
       R"("metrics": {"loss": 0.3333333333333333, "val/accuracy": {"$numberDouble": "NaN"}})",
       R"({"experiment": "barley: yields", "run": "failed", "status": "FAILED", "user": "ada"})"})
    EXPECT_NE(rows.find(row), std::string::npos) << row << "\n" << rows;
  EXPECT_EQ(inferredTypes(path, RowFormat::mlflow).substr(0, 42), "params.layers:int params.model/rate:double");
  EXPECT_EQ(valuesOf(path, RowFormat::mlflow, {"start_time"}).find("1970"), std::string::npos);
  EXPECT_THROW(openRows(data("plots.csv"), RowFormat::mlflow), ImportError);
}

TEST(ToolFormats, APipeIsRefused) {
  EXPECT_THROW(readRows("-", RowFormat::junit, [](char*, std::size_t) { return std::size_t{0}; }), ImportError);
}

}  // namespace database_provider::importing
