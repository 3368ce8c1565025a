// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/client/embedded/query/pipeline/runPipeline.h"

// The pipelines that sort records by an item of an array of {name, value} documents, and that count and describe them
// in groups, over documents whose arrays are not what they should be.

namespace database_client::embedded {
namespace {

const char* const path = "info.items";

std::string quote(const std::string& text) {
  return '"' + text + '"';
}

/// The value of the first item of a name; missing where there is none.
std::string item(const std::string& name) {
  const std::string array = quote(std::string("$") + path);
  return R"({"$let": {"vars": {"item": {"$arrayElemAt": [{"$filter": {"input": {"$cond": [{"$isArray": [)" + array +
         "]}, " + array + R"(, []]}, "as": "item", "cond": {"$eq": ["$$item.name", {"$literal": )" + quote(name) +
         R"(}]}}}, 0]}}, "in": "$$item.value"}})";
}

std::string number(const std::string& name) {
  return R"({"$let": {"vars": {"value": )" + item(name) +
         R"(}, "in": {"$cond": [{"$and": [{"$isNumber": "$$value"}, )"
         R"({"$gte": ["$$value", {"$numberDouble": "-Infinity"}]}]},)"
         R"( "$$value", null]}}})";
}

std::string time(const std::string& name) {
  return R"({"$let": {"vars": {"value": )" + item(name) +
         R"(}, "in": {"$cond": [{"$eq": [{"$type": "$$value"}, "date"]}, {"$toLong": "$$value"}, null]}}})";
}

std::string key(const std::string& name) {
  return R"({"$ifNull": [)" + item(name) + ", null]}";
}

std::string bin(const std::string& value, const std::string& low, const std::string& width, int last) {
  return R"({"$let": {"vars": {"x": )" + value +
         R"(}, "in": {"$cond": [{"$eq": ["$$x", null]}, null, )"
         R"({"$min": [{"$floor": {"$divide": [{"$subtract": ["$$x", )" +
         low + "]}, " + width + "]}}, " + std::to_string(last) + "]}]}}}";
}

const char* const timeOfId = R"({"$cond": [{"$eq": [{"$type": "$_id"}, "objectId"]}, {"$toDate": "$_id"}, null]})";

/// Sorts by expressions, each with its direction.
std::string sorted(const std::vector<std::pair<std::string, int>>& keys, const std::string& window = "",
                   const std::string& rest = "") {
  std::string fields = R"("_id": 0, "record": "$$ROOT")";
  std::string missing;
  std::string order;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const std::string at = std::to_string(i);
    fields += ", \"value" + at + "\": " + keys[i].first;
    missing += std::string(i > 0 ? ", " : "") + "\"missing" + at + R"(": {"$lte": ["$value)" + at + R"(", null]})";
    order += std::string(i > 0 ? ", " : "") + "\"missing" + at + "\": 1, \"value" + at +
             "\": " + std::to_string(keys[i].second);
  }
  return "[{\"$project\": {" + fields + "}}, {\"$addFields\": {" + missing + "}}, {\"$sort\": {" + order + "}}, " +
         window + R"({"$replaceRoot": {"newRoot": "$record"}})" + rest + "]";
}

/// The ids in the order in which they come out.
std::string idsSorted(const std::vector<std::pair<std::string, int>>& keys, const Documents& documents,
                      const std::string& window = "") {
  const std::string result =
      run(sorted(keys, window, R"(, {"$group": {"_id": null, "ids": {"$push": "$_id"}}})"), documents);
  const std::string head = R"({"_id": null, "ids": )";
  return result.compare(0, head.size(), head) == 0 ? result.substr(head.size(), result.size() - head.size() - 1)
                                                   : result;
}

/// Groups by keys, and describes values.
std::string grouped(const std::vector<std::string>& keys, const std::vector<std::string>& values) {
  std::string fields = R"("_id": 0)";
  std::string id;
  std::string figures = R"("count": {"$sum": 1})";
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const std::string by = "by" + std::to_string(i);
    fields += ", " + quote(by) + ": " + keys[i];
    id += std::string(i > 0 ? ", " : "") + quote(by) + ": " + quote("$" + by);
  }
  for (std::size_t i = 0; i < values.size(); ++i) {
    const std::string at = std::to_string(i);
    const std::string value = quote("$value" + at);
    fields += ", \"value" + at + "\": " + values[i];
    figures += ", \"count" + at + R"(": {"$sum": {"$cond": [{"$eq": [)" + value + ", null]}, 0, 1]}}, \"min" + at +
               R"(": {"$min": )" + value + "}, \"mean" + at + R"(": {"$avg": )" + value + "}, \"std" + at +
               R"(": {"$stdDevSamp": )" + value + "}, \"max" + at + R"(": {"$max": )" + value + "}";
  }
  return "[{\"$project\": {" + fields + "}}, {\"$group\": {\"_id\": " + (id.empty() ? "null" : "{" + id + "}") + ", " +
         figures + R"(}}, {"$sort": {"_id": 1}}])";
}

std::string record(const std::string& id, const std::string& items) {
  return "{\"_id\": " + id + ", \"info\": {\"items\": " + items + "}}";
}
std::string withValue(int id, const std::string& value, const std::string& name = "N") {
  return record(std::to_string(id), "[{\"name\": " + quote(name) + ", \"value\": " + value + "}]");
}

/// The last nine have no value under "N".
const Documents& oddDocuments() {
  static const Documents documents = {
      withValue(1, "5"),
      withValue(2, R"({"$numberDouble": "NaN"})"),
      withValue(3, R"({"$numberDouble": "Infinity"})"),
      withValue(4, R"({"$numberDouble": "-Infinity"})"),
      withValue(5, R"({"$numberLong": "9007199254740993"})"),
      withValue(6, "9007199254740992.0"),
      withValue(7, "[3, 1]"),
      withValue(8, R"({"x": 1})"),
      withValue(9, R"({"$date": {"$numberLong": "1000"}})"),
      withValue(10, R"("")"),
      record("11", R"([1, "N", null, [{"name": "N", "value": 9}], {"value": 8}, {"name": "n", "value": 7}, )"
                   R"({"name": "N", "value": 2.5}])"),
      record("12", R"([{"name": "N", "value": "first"}, {"name": "N", "value": 1}])"),
      R"({"_id": 13})",
      R"({"_id": 14, "info": {"items": null}})",
      R"({"_id": 15, "info": {"items": 7}})",
      R"({"_id": 16, "info": {"items": {"name": "N", "value": 1}}})",
      R"({"_id": 17, "info": [{"items": [{"name": "N", "value": 1}]}]})",
      record("18", "[]"),
      record("19", R"([{"name": "N"}, {"name": "N", "value": 1}])"),
      withValue(20, "null"),
      record("21", R"([{"name": ["N"], "value": 1}])")};
  return documents;
}

TEST(RecordPipelines, SortByTheFirstItemOfANameWithTheRecordsWithoutItLast) {
  EXPECT_EQ(idsSorted({{item("N"), 1}}, oddDocuments()),
            "[2, 4, 7, 11, 1, 6, 5, 3, 10, 12, 8, 9, 13, 14, 15, 16, 17, 18, 19, 20, 21]");
  EXPECT_EQ(idsSorted({{item("N"), -1}}, oddDocuments()),
            "[9, 8, 12, 10, 3, 5, 6, 1, 7, 11, 4, 2, 13, 14, 15, 16, 17, 18, 19, 20, 21]");
}

TEST(RecordPipelines, SortTakesAWindow) {
  EXPECT_EQ(idsSorted({{item("N"), 1}}, oddDocuments(), R"({"$skip": 3}, {"$limit": 4}, )"), "[11, 1, 6, 5]");
  EXPECT_EQ(idsSorted({{item("N"), -1}}, oddDocuments(), R"({"$limit": 2}, )"), "[9, 8]");
}

TEST(RecordPipelines, SortKeepsTheRecordsAsTheyAre) {
  const Documents documents = {withValue(1, "2"), R"({"value0": 1, "_id": 2, "record": {"a": []}})", withValue(3, "1")};
  EXPECT_EQ(run(sorted({{item("N"), 1}}), documents), documents[2] + " " + documents[0] + " " + documents[1]);
}

TEST(RecordPipelines, SortBySeveralKeysAndByTheId) {
  const auto two = [](int id, const std::string& first, const std::string& second) {
    return record(std::to_string(id),
                  R"([{"name": "A", "value": )" + first + R"(}, {"name": "B", "value": )" + second + "}]");
  };
  const Documents documents = {two(1, "1", "5"), two(2, "1", "7"), two(3, "0", "1"), withValue(4, "9", "B"),
                               two(5, "1.0", "6")};
  EXPECT_EQ(idsSorted({{item("A"), 1}, {item("B"), -1}}, documents), "[3, 2, 5, 1, 4]");
  EXPECT_EQ(idsSorted({{item("A"), -1}, {"\"$_id\"", -1}}, documents), "[5, 2, 1, 3, 4]");
}

TEST(RecordPipelines, SortByTheTimeInTheId) {
  const Documents documents = {R"({"_id": {"$oid": "200000000000000000000000"}})", R"({"_id": 5})",
                               R"({"_id": {"$oid": "100000000000000000000000"}})"};
  EXPECT_EQ(idsSorted({{timeOfId, 1}}, documents),
            R"([{"$oid": "100000000000000000000000"}, {"$oid": "200000000000000000000000"}, 5])");
}

TEST(RecordPipelines, TakeAnyNameAsItStands) {
  for (const char* name : {"", "$N", "$$ROOT", "a.b", "$info.items", "Größe"}) {
    const Documents documents = {withValue(1, "2", name), withValue(2, "9", "other"), withValue(3, "1", name)};
    EXPECT_EQ(idsSorted({{item(name), 1}}, documents), "[3, 1, 2]") << name;
    EXPECT_EQ(run(grouped({key(name)}, {}), documents),
              R"({"_id": {"by0": null}, "count": 1} {"_id": {"by0": 1}, "count": 1} {"_id": {"by0": 2}, "count": 1})")
        << name;
  }
}

TEST(RecordPipelines, FiguresCountNumbersAloneAndNaNIsNone) {
  EXPECT_EQ(
      run(grouped({}, {number("N")}),
          {withValue(1, "1"), withValue(2, R"({"$numberLong": "3"})"), withValue(3, R"({"$numberDouble": "NaN"})"),
           withValue(4, R"("x")"), withValue(5, "[1]"), "{}"}),
      R"({"_id": null, "count": 6, "count0": 2, "min0": 1, "mean0": 2.0, "std0": 1.4142135623730951, "max0": 3})");
  EXPECT_EQ(run(grouped({}, {number("N")}), {"{}"}),
            R"({"_id": null, "count": 1, "count0": 0, "min0": null, "mean0": null, "std0": null, "max0": null})");
}

TEST(RecordPipelines, LeastAndGreatestAreExact) {
  EXPECT_EQ(run(grouped({}, {number("N")}),
                {withValue(1, R"({"$numberLong": "9007199254740993"})"), withValue(2, "9007199254740992.0")}),
            R"({"_id": null, "count": 2, "count0": 2, "min0": 9007199254740992.0, "mean0": 9007199254740992.0, )"
            R"("std0": 0.0, "max0": 9007199254740993})");
  EXPECT_EQ(run(grouped({}, {number("N")}), {withValue(1, R"({"$numberDouble": "Infinity"})"), withValue(2, "1")}),
            R"({"_id": null, "count": 2, "count0": 2, "min0": 1, "mean0": {"$numberDouble": "Infinity"}, )"
            R"("std0": {"$numberDouble": "NaN"}, "max0": {"$numberDouble": "Infinity"}})");
}

TEST(RecordPipelines, FiguresOfTimesAreMilliseconds) {
  EXPECT_EQ(run(grouped({}, {time("N")}), oddDocuments()),
            R"({"_id": null, "count": 21, "count0": 1, "min0": 1000, "mean0": 1000.0, "std0": null, "max0": 1000})");
}

TEST(RecordPipelines, FacetsPutNullAndMissingTogether) {
  EXPECT_EQ(run(grouped({key("N")}, {}), {withValue(1, R"("a")"), withValue(2, "1"), withValue(3, "1.0"),
                                          withValue(4, "null"), "{}", withValue(5, R"("a")"), withValue(6, "[1]")}),
            R"({"_id": {"by0": null}, "count": 2} {"_id": {"by0": 1}, "count": 2} {"_id": {"by0": "a"}, "count": 2} )"
            R"({"_id": {"by0": [1]}, "count": 1})");
}

TEST(RecordPipelines, CrossTablesHaveACellForEachPairThatIsThere) {
  const auto pair = [](const std::string& first, const std::string& second) {
    return R"({"info": {"items": [{"name": "B", "value": )" + second + R"(}, {"name": "A", "value": )" + first + "}]}}";
  };
  EXPECT_EQ(
      run(grouped({key("A"), key("B")}, {}), {pair("1", "2"), pair("1", "3"), pair("1", "2"), withValue(1, "1", "A")}),
      R"({"_id": {"by0": 1, "by1": null}, "count": 1} {"_id": {"by0": 1, "by1": 2}, "count": 2} )"
      R"({"_id": {"by0": 1, "by1": 3}, "count": 1})");
}

TEST(RecordPipelines, HistogramsPutTheGreatestIntoTheLastBin) {
  const Documents documents = {withValue(1, "0"),
                               withValue(2, "1.9"),
                               withValue(3, "2"),
                               withValue(4, R"({"$numberLong": "9"})"),
                               withValue(5, "10"),
                               withValue(6, R"({"$numberDouble": "Infinity"})"),
                               withValue(7, R"({"$numberDouble": "NaN"})"),
                               "{}"};
  EXPECT_EQ(run(grouped({bin(number("N"), "0.0", "2.0", 4)}, {}), documents),
            R"({"_id": {"by0": null}, "count": 2} {"_id": {"by0": 0.0}, "count": 2} {"_id": {"by0": 1.0}, "count": 1} )"
            R"({"_id": {"by0": 4.0}, "count": 3})");
  const Documents times = {withValue(1, R"({"$date": {"$numberLong": "1000"}})"),
                           withValue(2, R"({"$date": {"$numberLong": "4000"}})"), withValue(3, "7")};
  EXPECT_EQ(
      run(grouped({bin(time("N"), "1000.0", "1000.0", 2)}, {number("N")}), times),
      R"({"_id": {"by0": null}, "count": 1, "count0": 1, "min0": 7, "mean0": 7.0, "std0": null, "max0": 7} )"
      R"({"_id": {"by0": 0.0}, "count": 1, "count0": 0, "min0": null, "mean0": null, "std0": null, "max0": null} )"
      R"({"_id": {"by0": 2}, "count": 1, "count0": 0, "min0": null, "mean0": null, "std0": null, "max0": null})");
}

}  // namespace
}  // namespace database_client::embedded
