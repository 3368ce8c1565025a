// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "client/bson/Writer.h"
#include "client/embedded/index/plan/answerFromIndex.h"
#include "client/embedded/query/match/Matcher.h"
#include "client/embedded/query/pipeline/Pipeline.h"
#include "client/embedded/query/values/OwnedValue.h"
#include "client/embedded/query/values/compare.h"
#include "tests/client/embedded/index/IndexedDocuments.h"

namespace database_client::embedded {
namespace {

using bson::Value;

/// A column of a pipeline: how it is written, and what it is of a document.
struct Column {
  enum class Kind { item, key, number, time, id, timeOfId };
  Kind kind = Kind::item;
  std::string path{};
  std::string name{};
  bool isBinned = false;
  double low = 0;
  double width = 1;
  int last = 0;

  std::string item() const {
    return R"({"$let": {"vars": {"item": {"$arrayElemAt": [{"$filter": {"input": {"$cond": [{"$isArray": ["$)" + path +
           R"("]}, "$)" + path + R"(", []]}, "as": "item", "cond": {"$eq": ["$$item.name", {"$literal": ")" + name +
           R"("}]}}}, 0]}}, "in": "$$item.value"}})";
  }
  std::string json() const {
    std::string text = item();
    if (kind == Kind::id) return R"("$_id")";
    if (kind == Kind::timeOfId) {
      return R"({"$cond": [{"$eq": [{"$type": "$_id"}, "objectId"]}, {"$toDate": "$_id"}, null]})";
    }
    if (kind == Kind::key) text = R"({"$ifNull": [)" + text + ", null]}";
    if (kind == Kind::number) {
      text = R"({"$let": {"vars": {"value": )" + text + R"(}, "in": {"$cond": [{"$and": [{"$isNumber": "$$value"}, )" +
             R"({"$gte": ["$$value", {"$numberDouble": "-Infinity"}]}]}, "$$value", null]}}})";
    }
    if (kind == Kind::time) {
      text = R"({"$let": {"vars": {"value": )" + text + R"(}, "in": {"$cond": [{"$eq": [{"$type": "$$value"}, )" +
             R"("date"]}, {"$toLong": "$$value"}, null]}}})";
    }
    if (!isBinned) return text;
    return R"({"$let": {"vars": {"x": )" + text + R"(}, "in": {"$cond": [{"$eq": ["$$x", null]}, null, {"$min": [)" +
           R"({"$floor": {"$divide": [{"$subtract": ["$$x", {"$numberDouble": ")" + std::to_string(low) +
           R"("}]}, {"$numberDouble": ")" + std::to_string(width) + R"("}]}}, )" + std::to_string(last) + "]}]}}}";
  }

  OwnedValue of(bson::View document) const;
};

OwnedValue made(bson::Writer& writer) {
  const Bytes bytes = writer.take();
  return OwnedValue(viewOf(bytes).begin()->value);
}

OwnedValue null() {
  bson::Writer writer;
  writer.appendNull("");
  return made(writer);
}

/// "$path" as an aggregation evaluates it; missing when there is nothing.
OwnedValue evaluate(const Value& value, const std::string& path) {
  if (path.empty()) return OwnedValue(value);
  const std::size_t dot = path.find('.');
  const std::string rest = dot == std::string::npos ? std::string() : path.substr(dot + 1);
  if (value.isDocument()) {
    const Value inside = value.asDocument().find(path.substr(0, dot));
    return isMissing(inside) ? OwnedValue() : evaluate(inside, rest);
  }
  if (!value.isArray()) return OwnedValue();
  bson::Writer writer;
  writer.beginArray("");
  std::size_t count = 0;
  for (const bson::Element& element : value.asDocument()) {
    if (!element.value.isDocument()) continue;
    const OwnedValue inside = evaluate(element.value, path);
    if (!isMissing(inside.value())) writer.append(bson::IndexKey(count++), inside.value());
  }
  writer.end();
  return made(writer);
}

OwnedValue itemValue(bson::View document, const std::string& path, const std::string& name) {
  const OwnedValue array = evaluate({bson::Type::document, document.data, document.size}, path);
  if (isMissing(array.value()) || !array.value().isArray()) return OwnedValue();
  for (const bson::Element& item : array.value().asDocument()) {
    const OwnedValue found = evaluate(item.value, "name");
    if (isMissing(found.value()) || found.value().type != bson::Type::string) continue;
    if (found.value().asString() == name) return evaluate(item.value, "value");
  }
  return OwnedValue();
}

double doubleOf(const Value& number) {
  if (number.type == bson::Type::int32) return number.asInt32();
  return number.type == bson::Type::int64 ? static_cast<double>(number.asInt64()) : number.asDouble();
}

OwnedValue Column::of(bson::View document) const {
  bson::Writer writer;
  if (kind == Kind::id) return OwnedValue(document.find("_id"));
  if (kind == Kind::timeOfId) {
    const Value id = document.find("_id");
    if (id.type != bson::Type::objectId) return null();
    std::int64_t seconds = 0;
    for (int i = 0; i < 4; ++i) seconds = seconds * 256 + id.data[i];
    writer.appendDate("", seconds * 1000);
    return made(writer);
  }
  OwnedValue value = itemValue(document, path, name);
  if (kind == Kind::item) return value;
  if (isNullish(value.value())) return null();
  if (kind == Kind::key) return value;
  if (kind == Kind::number) {
    if (!value.value().isNumber()) return null();
    if (value.value().type == bson::Type::real && std::isnan(value.value().asDouble())) return null();
  } else {
    if (value.value().type != bson::Type::date) return null();
    writer.appendInt64("", value.value().asInt64());
    value = made(writer);
  }
  if (!isBinned) return value;
  const double bin = std::floor((doubleOf(value.value()) - low) / width);
  bson::Writer out;
  bin <= last ? out.appendDouble("", bin) : out.appendInt32("", last);
  return made(out);
}

struct Sorting {
  Column column{};
  bool isDescending = false;
};

std::string numbered(const char* name, std::size_t number) {
  return name + std::to_string(number);
}
std::string quotedNumbered(const char* name, std::size_t number) {
  return "\"" + numbered(name, number) + "\"";
}
std::string matchStage(const std::string& filter) {
  return filter.empty() ? "" : R"({"$match": )" + filter + "}, ";
}

class ItemPipelinesTest : public IndexedDocuments {
 protected:
  enum class Asked { allFigures, extremes };

  static Bytes pipeline(const std::string& stages) {
    const Bytes document = fromJson(R"({"pipeline": [)" + stages + "]}");
    const bson::View array = viewOf(document).find("pipeline").asDocument();
    return {array.data, array.data + array.size};
  }

  /// What the index answers; nullopt when it does not.
  std::optional<std::vector<Bytes>> answered(const std::string& stages) {
    read_ = 0;
    const Bytes bytes = pipeline(stages);
    const IndexAnswer answer = answerFromIndex(*index_, Pipeline(viewOf(bytes)), source());
    if (answer.stages == 0) return std::nullopt;
    std::vector<Bytes> documents;
    answer.documents([&](bson::View document) {
      documents.emplace_back(document.data, document.data + document.size);
      return true;
    });
    return documents;
  }

  static std::string sorted(const std::string& filter, const std::vector<Sorting>& keys, int skip, int limit) {
    std::string project = R"("_id": 0, "record": "$$ROOT")";
    std::string missing;
    std::string sort;
    for (std::size_t i = 0; i < keys.size(); ++i) {
      project += ", " + quotedNumbered("value", i) + ": " + keys[i].column.json();
      missing += (i == 0 ? "" : ", ") + quotedNumbered("missing", i) + R"(: {"$lte": [)" + quotedNumbered("$value", i) +
                 ", null]}";
      sort += (i == 0 ? "" : ", ") + quotedNumbered("missing", i) + ": 1, " + quotedNumbered("value", i) +
              (keys[i].isDescending ? ": -1" : ": 1");
    }
    return matchStage(filter) + R"({"$project": {)" + project + R"(}}, {"$addFields": {)" + missing +
           R"(}}, {"$sort": {)" + sort + "}}, " + (skip > 0 ? R"({"$skip": )" + std::to_string(skip) + "}, " : "") +
           R"({"$limit": )" + std::to_string(limit) + R"(}, {"$replaceRoot": {"newRoot": "$record"}})";
  }

  static std::string grouped(const std::string& filter, const std::vector<Column>& by,
                             const std::vector<Column>& values, Asked asked = Asked::allFigures) {
    std::string project = R"("_id": 0)";
    std::string id;
    std::string figures = asked == Asked::allFigures ? R"(, "count": {"$sum": 1})" : "";
    for (std::size_t i = 0; i < by.size(); ++i) {
      project += ", " + quotedNumbered("by", i) + ": " + by[i].json();
      id += (i == 0 ? "" : ", ") + quotedNumbered("by", i) + ": " + quotedNumbered("$by", i);
    }
    for (std::size_t i = 0; i < values.size(); ++i) {
      const std::string field = quotedNumbered("$value", i);
      project += ", " + quotedNumbered("value", i) + ": " + values[i].json();
      if (asked == Asked::extremes) {
        figures += extremesOf(field, i);
        continue;
      }
      figures += ", " + quotedNumbered("count", i) + R"(: {"$sum": {"$cond": [{"$eq": [)" + field + ", null]}, 0, 1]}}";
      figures += ", " + quotedNumbered("min", i) + R"(: {"$min": )" + field + "}";
      figures += ", " + quotedNumbered("mean", i) + R"(: {"$avg": )" + field + "}";
      figures += ", " + quotedNumbered("std", i) + R"(: {"$stdDevSamp": )" + field + "}";
      figures += ", " + quotedNumbered("max", i) + R"(: {"$max": )" + field + "}";
    }
    return matchStage(filter) + R"({"$project": {)" + project + R"(}}, {"$group": {"_id": )" +
           (by.empty() ? "null" : "{" + id + "}") + figures + "}}";
  }
  static std::string extremesOf(const std::string& field, std::size_t number) {
    return ", " + quotedNumbered("min", number) + R"(: {"$min": )" + field + "}, " + quotedNumbered("max", number) +
           R"(: {"$max": )" + field + "}";
  }

  /// The documents that match, in order, each made into another by `make(document, writer)`, through further stages.
  template <class Make>
  std::vector<Bytes> throughStages(const std::string& filter, const std::string& stages, Make make) const {
    const Bytes query = json::read(filter.empty() ? "{}" : filter);
    const Matcher matcher(viewOf(query));
    const Bytes bytes = pipeline(stages);
    std::vector<Bytes> documents;
    Pipeline(viewOf(bytes))
        .run(
            [&](const Pipeline::Receiver& give) {
              for (const auto& [record, body] : documents_) {
                if (!matcher.matches(viewOf(body))) continue;
                bson::Writer writer;
                make(viewOf(body), writer);
                const Bytes document = writer.take();
                if (!give(viewOf(document))) return;
              }
            },
            [&](bson::View document) {
              documents.emplace_back(document.data, document.data + document.size);
              return true;
            });
    return documents;
  }

  std::vector<Bytes> expectedSorted(const std::string& filter, const std::vector<Sorting>& keys, int skip,
                                    int limit) const {
    const std::string stages = sorted("", keys, skip, limit);
    return throughStages(
        filter, stages.substr(stages.find(R"({"$sort")")), [&](bson::View document, bson::Writer& out) {
          out.appendDocument("record", document);
          const Bytes null = json::read(R"({"": null})");
          for (std::size_t i = 0; i < keys.size(); ++i) {
            const OwnedValue value = keys[i].column.of(document);
            out.appendBool(numbered("missing", i), compare(value.value(), viewOf(null).begin()->value) <= 0);
            if (!isMissing(value.value())) out.append(numbered("value", i), value.value());
          }
        });
  }

  /// With the values themselves in place of their deviation.
  std::vector<Bytes> expectedGroups(const std::string& filter, const std::vector<Column>& by,
                                    const std::vector<Column>& values, Asked asked = Asked::allFigures) const {
    std::string id;
    std::string figures = asked == Asked::allFigures ? R"(, "count": {"$sum": 1})" : "";
    for (std::size_t i = 0; i < by.size(); ++i) {
      id += (i == 0 ? "" : ", ") + quotedNumbered("by", i) + ": " + quotedNumbered("$by", i);
    }
    for (std::size_t i = 0; i < values.size(); ++i) {
      const std::string field = quotedNumbered("$value", i);
      if (asked == Asked::extremes) {
        figures += extremesOf(field, i);
        continue;
      }
      figures += ", " + quotedNumbered("count", i) + R"(: {"$sum": )" + quotedNumbered("$one", i) + "}";
      figures += ", " + quotedNumbered("min", i) + R"(: {"$min": )" + field + "}";
      figures += ", " + quotedNumbered("mean", i) + R"(: {"$avg": )" + field + "}";
      figures += ", " + quotedNumbered("std", i) + R"(: {"$push": )" + field + "}";
      figures += ", " + quotedNumbered("max", i) + R"(: {"$max": )" + field + "}";
    }
    const std::string stages = R"({"$group": {"_id": )" + (by.empty() ? "null" : "{" + id + "}") + figures + "}}";
    return throughStages(filter, stages, [&](bson::View document, bson::Writer& out) {
      for (std::size_t i = 0; i < by.size(); ++i) out.append(numbered("by", i), by[i].of(document).value());
      for (std::size_t i = 0; i < values.size(); ++i) {
        const OwnedValue value = values[i].of(document);
        out.append(numbered("value", i), value.value());
        out.appendInt32(numbered("one", i), isNullish(value.value()) ? 0 : 1);
      }
    });
  }

  static void expectSame(const std::vector<Bytes>& found, const std::vector<Bytes>& expected,
                         const std::string& stages) {
    ASSERT_EQ(found.size(), expected.size()) << stages;
    for (std::size_t i = 0; i < found.size(); ++i) {
      ASSERT_EQ(toJson(viewOf(found[i])), toJson(viewOf(expected[i]))) << "document " << i << " of " << stages;
    }
  }

  static void expectNear(const Value& found, double expected, double scale, const std::string& what) {
    ASSERT_EQ(found.type, bson::Type::real) << what;
    if (std::isfinite(expected)) {
      ASSERT_NEAR(found.asDouble(), expected, 1e-12 * std::max(scale, std::abs(expected))) << what;
    } else {
      ASSERT_EQ(std::isnan(found.asDouble()), std::isnan(expected)) << what;
      if (std::isinf(expected)) {
        ASSERT_EQ(found.asDouble(), expected) << what;
      }
    }
  }

  static void expectDeviation(const Value& found, bson::View values, const std::string& what) {
    std::vector<long double> numbers;
    for (const bson::Element& value : values) {
      if (!isNullish(value.value)) numbers.push_back(doubleOf(value.value));
    }
    if (numbers.size() < 2) {
      ASSERT_EQ(found.type, bson::Type::null) << what;
      return;
    }
    long double sum = 0;
    for (const long double number : numbers) sum += number;
    const long double mean = sum / static_cast<long double>(numbers.size());
    long double squares = 0;
    for (const long double number : numbers) squares += (number - mean) * (number - mean);
    const auto expected = static_cast<double>(std::sqrt(squares / static_cast<long double>(numbers.size() - 1)));
    expectNear(found, expected, 0, what);
  }

  static double greatestOf(const Value& minimum, const Value& maximum) {
    return isNullish(minimum) ? 0 : std::max(std::abs(doubleOf(minimum)), std::abs(doubleOf(maximum)));
  }

  static void expectSameGroups(const std::vector<Bytes>& found, const std::vector<Bytes>& expected,
                               const std::string& stages) {
    std::map<std::string, bson::View> byId;
    for (const Bytes& group : found) byId[canonicalKey(viewOf(group).find("_id"))] = viewOf(group);
    ASSERT_EQ(found.size(), byId.size()) << stages;
    ASSERT_EQ(found.size(), expected.size()) << stages;
    for (const Bytes& group : expected) {
      const auto same = byId.find(canonicalKey(viewOf(group).find("_id")));
      ASSERT_NE(same, byId.end()) << toJson(viewOf(group)) << stages;
      const bson::View answer = same->second;
      const std::string what = toJson(viewOf(group)) + " and " + toJson(answer) + " of " + stages;
      auto at = answer.begin();
      for (const bson::Element& figure : viewOf(group)) {
        ASSERT_NE(at, answer.end()) << what;
        ASSERT_EQ(at->key, figure.key) << what;
        const std::string name(figure.key);
        if (name.rfind("std", 0) == 0) {
          expectDeviation(at->value, figure.value.asDocument(), what);
        } else if (name.rfind("mean", 0) == 0 && !isNullish(figure.value)) {
          const std::string number = name.substr(4);
          expectNear(at->value, figure.value.asDouble(),
                     greatestOf(viewOf(group).find("min" + number), viewOf(group).find("max" + number)), what);
        } else {
          const bool isSame = at->value.type == figure.value.type &&
                              std::equal(figure.value.data, figure.value.data + figure.value.size, at->value.data,
                                         at->value.data + at->value.size);
          ASSERT_TRUE(isSame) << name << ": " << what;
        }
        ++at;
      }
      ASSERT_EQ(at, answer.end()) << what;
    }
  }

  static Column item(const std::string& path, const std::string& name) { return {Column::Kind::item, path, name}; }
  static Column column(Column::Kind kind, const std::string& path, const std::string& name) {
    return {kind, path, name};
  }
  static Column binned(Column::Kind kind, const std::string& path, const std::string& name, double low, double width,
                       int last) {
    return {kind, path, name, true, low, width, last};
  }

  /// The "_id" of each, in order.
  static std::string idsOf(const std::optional<std::vector<Bytes>>& documents) {
    if (!documents) return "scan";
    std::string ids;
    for (const Bytes& document : *documents) {
      ids += (ids.empty() ? "" : " ") + std::to_string(viewOf(document).find("_id").asInt32());
    }
    return ids;
  }

  void putItem(RecordNumber record, const std::string& value, const std::string& category = "x") {
    put(record, R"({"_id": )" + std::to_string(record) + R"(, "d": [{"name": "n", "value": )" + value +
                    R"(}], "c": [{"name": "k", "value": ")" + category + R"("}]})");
  }
};

TEST_F(ItemPipelinesTest, TheFirstRecordsInTheOrderOfAnItemAreReadAndNoOthers) {
  for (int i = 1; i <= 200; ++i) putItem(i, std::to_string(i * 37 % 199));
  index_->flush();
  const Column n = item("d", "n");
  EXPECT_EQ(idsOf(answered(sorted("", {{n, false}}, 0, 3))), "199 156 113");
  EXPECT_EQ(read_, 3);
  EXPECT_EQ(idsOf(answered(sorted("", {{n, true}}, 0, 3))), "43 86 129");
  EXPECT_EQ(read_, 3);
  EXPECT_EQ(idsOf(answered(sorted("", {{n, true}}, 100, 2))), "164 8");
  EXPECT_EQ(read_, 2);
}

TEST_F(ItemPipelinesTest, EqualValuesComeInTheOrderOfTheRecordsOrOfTheNextKey) {
  for (int i = 1; i <= 60; ++i) putItem(i, std::to_string(i % 7), i % 2 == 0 ? "even" : "odd");
  index_->flush();
  EXPECT_EQ(idsOf(answered(sorted("", {{item("c", "k"), true}}, 0, 3))), "1 3 5");
  EXPECT_EQ(idsOf(answered(sorted("", {{item("c", "k"), false}}, 0, 3))), "2 4 6");
  EXPECT_EQ(idsOf(answered(sorted("", {{item("c", "k"), false}, {item("d", "n"), true}}, 0, 6))), "6 20 34 48 12 26");
}

TEST_F(ItemPipelinesTest, RecordsWithoutTheItemComeLastInEitherDirection) {
  put(1, R"({"_id": 1})");
  putItem(2, "null");
  putItem(3, "5");
  put(5, R"({"_id": 5, "d": []})");
  putItem(6, "4");
  EXPECT_EQ(idsOf(answered(sorted("", {{item("d", "n"), false}}, 0, 10))), "6 3 1 2 5");
  EXPECT_EQ(idsOf(answered(sorted("", {{item("d", "n"), true}}, 0, 10))), "3 6 1 2 5");
  EXPECT_EQ(idsOf(answered(sorted("", {{item("d", "other"), true}}, 1, 2))), "2 3");
  EXPECT_EQ(idsOf(answered(sorted("", {{item("nowhere", "n"), true}}, 1, 2))), "2 3");
}

TEST_F(ItemPipelinesTest, AFilterRestrictsTheRecords) {
  for (int i = 1; i <= 300; ++i) putItem(i, std::to_string(i), i % 3 == 0 ? "third" : "other");
  index_->flush();
  const std::string third = R"({"c": {"$elemMatch": {"name": "k", "value": "third"}}})";
  EXPECT_EQ(idsOf(answered(sorted(third, {{item("d", "n"), true}}, 0, 3))), "300 297 294");
  EXPECT_EQ(read_, 3);
  EXPECT_EQ(idsOf(answered(sorted(third, {{item("d", "n"), false}}, 1, 2))), "6 9");
  EXPECT_EQ(idsOf(answered(sorted(R"({"x": 1})", {{item("d", "n"), false}}, 1, 2))), "scan");
}

TEST_F(ItemPipelinesTest, FiguresInGroupsAreAddedUpWithoutReadingARecord) {
  putItem(1, "1", "a");
  putItem(2, "2.5", "b");
  putItem(3, R"({"$numberLong": "9007199254740993"})", "b");
  putItem(4, "4", "a");
  putItem(5, R"("text")", "a");
  const auto groups =
      answered(grouped("", {column(Column::Kind::key, "c", "k")}, {column(Column::Kind::number, "d", "n")}));
  ASSERT_TRUE(groups.has_value());
  std::set<std::string> lines;
  for (const Bytes& group : *groups) lines.insert(json::write(viewOf(group), JsonMode::relaxed));
  EXPECT_EQ(
      lines,
      (std::set<std::string>{
          R"({"_id": {"by0": "a"}, "count": 3, "count0": 2, "min0": 1, "mean0": 2.5, "std0": 2.1213203435596424, "max0": 4})",
          R"({"_id": {"by0": "b"}, "count": 2, "count0": 2, "min0": 2.5, "mean0": 4503599627370498.0, "std0": 6369051672525771.0, "max0": 9007199254740993})"}));
  EXPECT_EQ(read_, 0);
}

TEST_F(ItemPipelinesTest, WithoutKeysThereIsOneGroupAndWithoutDocumentsNone) {
  const std::string stages = grouped("", {}, {column(Column::Kind::number, "d", "n")});
  EXPECT_EQ(answered(stages), std::vector<Bytes>());
  put(1, R"({"_id": 1})");
  put(7, R"({"_id": 7, "d": [{"name": "n", "value": 3}]})");
  const auto groups = answered(stages);
  ASSERT_TRUE(groups && groups->size() == 1);
  EXPECT_EQ(json::write(viewOf(groups->front()), JsonMode::relaxed),
            R"({"_id": null, "count": 2, "count0": 1, "min0": 3, "mean0": 3.0, "std0": null, "max0": 3})");
}

TEST_F(ItemPipelinesTest, ExtremesOfAllAreTakenFromTheEndsOfTheTerms) {
  const std::vector<Column> n = {column(Column::Kind::number, "d", "n"), column(Column::Kind::time, "d", "n")};
  const std::string stages = grouped("", {}, n, Asked::extremes);
  EXPECT_EQ(answered(stages), std::vector<Bytes>());
  put(200, R"({"_id": 200})");
  const auto extremes = [&] {
    const auto groups = answered(stages);
    return groups && groups->size() == 1 ? json::write(viewOf(groups->front()), JsonMode::relaxed) : "none";
  };
  EXPECT_EQ(extremes(), R"({"_id": null, "min0": null, "max0": null, "min1": null, "max1": null})");
  for (int i = 1; i <= 100; ++i) putItem(i, std::to_string(i));
  putItem(101, R"({"$numberDouble": "NaN"})");
  putItem(102, "\"a text\"");
  putItem(103, R"({"$numberDouble": "100"})");
  remove(1);
  EXPECT_EQ(extremes(), R"({"_id": null, "min0": 2, "max0": 100, "min1": null, "max1": null})")
      << "of equal numbers the first record's";
  EXPECT_EQ(read_, 0);
  remove(100);
  putItem(104, R"({"$date": "2020-01-01T00:00:00Z"})");
  put(105, R"({"_id": 105, "d": [{"name": "n", "value": -5}, {"name": "n", "value": -7}]})");
  EXPECT_EQ(extremes(), R"({"_id": null, "min0": -5, "max0": 100.0, "min1": 1577836800000, "max1": 1577836800000})");
}

TEST_F(ItemPipelinesTest, TheDeviationOfLargeNumbersCloseToEachOtherIsExact) {
  for (int i = 1; i <= 1000; ++i) putItem(i, std::to_string(1e9 + i % 10));
  const std::vector<Column> n = {column(Column::Kind::number, "d", "n")};
  const auto groups = answered(grouped("", {}, n));
  ASSERT_TRUE(groups.has_value());
  expectSameGroups(*groups, expectedGroups("", {}, n), "");
}

TEST_F(ItemPipelinesTest, TheLastBinHoldsAllGreaterNumbers) {
  for (int i = 0; i < 100; ++i) putItem(i + 1, std::to_string(i));
  for (const int last : {9, 4}) {
    const std::vector<Column> by = {binned(Column::Kind::number, "d", "n", 0, 10, last)};
    const auto groups = answered(grouped("", by, {}));
    ASSERT_TRUE(groups.has_value());
    expectSameGroups(*groups, expectedGroups("", by, {}), "");
  }
}

TEST_F(ItemPipelinesTest, DecimalsAreLeftToThePipeline) {
  for (int i = 1; i <= 40; ++i) putItem(i, R"({"$numberDecimal": "1"})");
  EXPECT_FALSE(answered(grouped("", {}, {column(Column::Kind::number, "d", "n")})).has_value())
      << "they are added up as decimals";
}

TEST_F(ItemPipelinesTest, WhateverDeviatesFromTheFormIsLeftToThePipeline) {
  for (int i = 1; i <= 40; ++i) putItem(i, std::to_string(i));
  const std::string sort = sorted("", {{item("d", "n"), false}}, 0, 3);
  const std::string group =
      grouped("", {column(Column::Kind::key, "c", "k")}, {column(Column::Kind::number, "d", "n")});
  ASSERT_TRUE(answered(sort).has_value());
  ASSERT_TRUE(answered(group).has_value());
  const auto changed = [](std::string stages, const std::string& from, const std::string& to) {
    const std::size_t at = stages.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return stages.replace(at, from.size(), to);
  };
  for (const auto& [from, to] :
       std::vector<std::pair<std::string, std::string>>{{"\"$$ROOT\"", "\"$d\""},
                                                        {", 0]}}, \"in\"", ", 1]}}, \"in\""},
                                                        {"\"missing0\": 1", "\"missing0\": -1"},
                                                        {"\"missing0\": 1, ", ""},
                                                        {"{\"$limit\": 3}, ", ""},
                                                        {"\"$limit\": 3", "\"$limit\": 2000000000"},
                                                        {"\"$record\"", "\"$records\""},
                                                        {"[\"$d\"]", "[\"$e\"]"},
                                                        {"\"_id\": 0", "\"_id\": 1"},
                                                        {"$lte", "$lt"}}) {
    EXPECT_FALSE(answered(changed(sort, from, to)).has_value()) << from << " to " << to;
  }
  for (const auto& [from, to] :
       std::vector<std::pair<std::string, std::string>>{{"{\"$sum\": 1}", "{\"$sum\": 2}"},
                                                        {"{\"$sum\": 1}", "{\"$sum\": {\"$numberLong\": \"1\"}}"},
                                                        {"\"by0\": \"$by0\"", "\"by0\": \"$by1\""},
                                                        {"$ifNull", "$or"},
                                                        {"$avg", "$first"},
                                                        {"$isNumber", "$isArray"},
                                                        {"-Infinity", "Infinity"},
                                                        {"{\"$min\": \"$value0\"}", "{\"$min\": \"$value1\"}"}}) {
    EXPECT_FALSE(answered(changed(group, from, to)).has_value()) << from << " to " << to;
  }
}

class RandomItemPipelinesTest : public ItemPipelinesTest, public testing::WithParamInterface<std::uint32_t> {
 protected:
  Column randomItem(RandomDocuments& random, Column::Kind kind) {
    return column(kind, random.oneIn(20) ? "info" : random.oneIn(2) ? "info.tags" : "info.marks", random.name());
  }
  Column randomMeasure(RandomDocuments& random) {
    return randomItem(random, random.oneIn(3) ? Column::Kind::time : Column::Kind::number);
  }
  Column randomBy(RandomDocuments& random) {
    if (random.oneIn(2)) return randomItem(random, Column::Kind::key);
    const Column of = randomMeasure(random);
    return binned(of.kind, of.path, of.name, static_cast<int>(random.below(5)) - 3, random.oneIn(4) ? -1.5 : 0.75,
                  static_cast<int>(random.below(4)));
  }
  Sorting randomSorting(RandomDocuments& random) {
    Column column = randomItem(random, Column::Kind::item);
    if (random.oneIn(8)) column.kind = random.oneIn(2) ? Column::Kind::id : Column::Kind::timeOfId;
    return {column, random.oneIn(2)};
  }
  std::string randomFilter(RandomDocuments& random) {
    const std::string path = random.oneIn(2) ? "info.tags" : "info.marks";
    switch (random.below(6)) {
      case 0:
        return "{\"" + path + "\": {\"$elemMatch\": {\"name\": \"" + random.name() + "\", \"value\": {\"$gte\": 0}}}}";
      case 1:
        return "{\"" + path + "\": {\"$elemMatch\": {\"name\": \"" + random.name() + "\"}}}";
      case 2:
        return "{\"" + path +
               "\": {\"$elemMatch\": {\"name\": {\"$in\": [\"a\", \"b\", \"c\"]}}}, \"_id\": {\"$lt\": 700}}";
      default:
        return "";
    }
  }
};

TEST_P(RandomItemPipelinesTest, AgreeWithWhatTheDocumentsComeTo) {
  const char* given = std::getenv("DATABASE_TEST_SEED");
  const std::uint32_t seed = given != nullptr ? static_cast<std::uint32_t>(std::atoi(given)) : GetParam();
  RandomDocuments random(seed);
  const testing::ScopedTrace trace(__FILE__, __LINE__, "DATABASE_TEST_SEED=" + std::to_string(seed));
  const std::uint32_t odd = random.oneIn(3) ? 0 : 10 + random.below(200);
  if (random.oneIn(2)) random.keepNamesApart();
  int ofSorted = 0;
  int ofGrouped = 0;
  for (int round = 0; round < 8; ++round) {
    const int changes = random.oneIn(4) ? 120 : 12;
    for (int i = 0; i < changes; ++i) {
      const auto record = RecordNumber{random.below(200)} + 1;
      if (documents_.count(record) != 0 && random.oneIn(3)) {
        remove(record);
      } else {
        put(record, random.document(odd));
      }
    }
    index_->flush();
    for (int i = 0; i < 12; ++i) {
      const std::string filter = randomFilter(random);
      std::vector<Sorting> keys;
      do keys.push_back(randomSorting(random));
      while (random.oneIn(3));
      const int skip = static_cast<int>(random.oneIn(3) ? random.below(40) : 0);
      const int limit = static_cast<int>(1 + random.below(random.oneIn(4) ? 300 : 12));
      const std::string sortStages = sorted(filter, keys, skip, limit);
      if (const auto found = answered(sortStages)) {
        ++ofSorted;
        expectSame(*found, expectedSorted(filter, keys, skip, limit), sortStages);
      }
      std::vector<Column> by;
      std::vector<Column> values;
      for (std::uint32_t left = random.below(4); left > 0; --left) by.push_back(randomBy(random));
      for (std::uint32_t left = random.below(3); left > 0; --left) values.push_back(randomMeasure(random));
      if (by.empty() && values.empty()) continue;
      for (const Asked asked : {Asked::allFigures, Asked::extremes}) {
        const std::string groupStages = grouped(filter, by, values, asked);
        if (const auto found = answered(groupStages)) {
          ++ofGrouped;
          expectSameGroups(*found, expectedGroups(filter, by, values, asked), groupStages);
        }
      }
      if (HasFatalFailure()) return;
    }
  }
  EXPECT_GT(ofSorted, 15);
  EXPECT_GT(ofGrouped, 15);
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomItemPipelinesTest, testing::Range(1U, 25U));

}  // namespace
}  // namespace database_client::embedded
