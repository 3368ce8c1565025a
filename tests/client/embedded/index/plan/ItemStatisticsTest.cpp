// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <set>

#include "client/embedded/index/plan/answerFromIndex.h"
#include "client/embedded/query/pipeline/Pipeline.h"
#include "client/embedded/query/values/compare.h"
#include "database_client/Error.h"
#include "tests/client/embedded/index/IndexedDocuments.h"

namespace database_client::embedded {
namespace {

std::string stagesOf(const std::string& path, const std::string& field, const std::string& rest) {
  return R"({"$project": {")" + path + R"(": true, "_id": false}}, {"$unwind": "$)" + path +
         R"("}, {"$project": {"name": "$)" + path + R"(.name", ")" + field + R"(": "$)" + path + "." + field +
         R"(", "_id": false}}, )" + rest;
}

std::string names(const std::string& path) {
  return stagesOf(path, "type", R"({"$group": {"_id": {"name": "$name", "type": "$type"}, "count": {"$sum": 1}}})");
}

std::string values(const std::string& path, const std::string& pattern) {
  return stagesOf(path, "value",
                  R"({"$match": {"name": {"$regex": ")" + pattern +
                      R"(", "$options": "i"}}}, {"$group": {"_id": "$value", "count": {"$sum": 1}}})");
}

class ItemStatisticsTest : public IndexedDocuments {
 protected:
  static Bytes pipeline(const std::string& stages) {
    const Bytes document = fromJson(R"({"pipeline": [)" + stages + "]}");
    const bson::View array = viewOf(document).find("pipeline").asDocument();
    return {array.data, array.data + array.size};
  }

  /// The groups, sorted, and how many documents were read; "scan" when the index does not answer.
  std::string answered(const std::string& stages) { return answered(viewOf(pipeline(stages))); }
  std::string answered(bson::View stages) {
    read_ = 0;
    std::set<std::string> groups;
    const IndexAnswer answer = answerFromIndex(*index_, Pipeline(stages), source());
    answeredStages_ = answer.stages;
    if (answeredStages_ == 0) return "scan";
    answer.documents([&](bson::View group) {
      groups.insert(toJson(group));
      return true;
    });
    return joined(groups);
  }

  std::string scanned(bson::View stages) const {
    std::set<std::string> groups;
    const Pipeline whole(stages);
    whole.run(
        [this](const Pipeline::Receiver& give) {
          for (const auto& [record, body] : documents_) give(viewOf(body));
        },
        [&groups](bson::View group) { return groups.insert(toJson(group)).second; });
    return joined(groups);
  }

  static std::string joined(const std::set<std::string>& lines) {
    std::string text;
    for (std::string line : lines) {
      line.erase(std::remove(line.begin(), line.end(), ' '), line.end());
      text += (text.empty() ? "" : " ") + line;
    }
    return text;
  }

  std::size_t answeredStages_ = 0;
};

TEST_F(ItemStatisticsTest, CountsItemsOfEachNameAndType) {
  put(1, R"({"r": {"d": [{"name": "n", "type": 4}, {"name": "m", "type": 6}]}})");
  put(2, R"({"r": {"d": [{"name": "n", "type": 4}, {"name": "n", "type": 6}, {"name": "n", "type": 6}]}})");
  put(3, R"({"x": 1})");
  EXPECT_EQ(answered(names("r.d")),
            R"({"_id":{"name":"m","type":6},"count":1} {"_id":{"name":"n","type":4},"count":2} )"
            R"({"_id":{"name":"n","type":6},"count":2})");
  EXPECT_EQ(read_, 0);
}

TEST_F(ItemStatisticsTest, ItemsWithoutANameOrTypeFormGroupsWithoutThatPart) {
  put(1, R"({"d": [{"name": "n"}, {"type": 4}, {"value": 1}, 5, null]})");
  EXPECT_EQ(answered(names("d")), scanned(viewOf(pipeline(names("d")))));
  EXPECT_EQ(answered(names("d")),
            R"({"_id":{"name":"n"},"count":1} {"_id":{"type":4},"count":1} {"_id":{},"count":3})");
}

TEST_F(ItemStatisticsTest, CountsValuesOfANameWithoutRegardToCase) {
  put(1, R"({"c": [{"name": "Color", "value": "red"}, {"name": "Shape", "value": "round"}]})");
  put(2, R"({"c": [{"name": "color", "value": "red"}]})");
  put(3, R"({"c": [{"name": "Color", "value": "blue"}, {"name": "Colour", "value": "blue"}]})");
  EXPECT_EQ(answered(values("c", "^color$")), R"({"_id":"blue","count":1} {"_id":"red","count":2})");
  EXPECT_EQ(answered(values("c", "^Col$")), "");
  EXPECT_EQ(answered(values("c", "^C.lor$")), R"({"_id":"blue","count":1} {"_id":"red","count":2})");
  EXPECT_EQ(read_, 0);
}

TEST_F(ItemStatisticsTest, TheSameItemTwiceInARecordCountsTwice) {
  put(1, R"({"c": [{"name": "n", "value": "a"}, {"name": "n", "value": "a"}]})");
  put(2, R"({"c": [{"name": "n", "value": "a"}]})");
  EXPECT_EQ(answered(values("c", "^n$")), R"({"_id":"a","count":3})");
  put(1, R"({"c": [{"name": "n", "value": "a"}]})");
  EXPECT_EQ(answered(values("c", "^n$")), R"({"_id":"a","count":2})");
}

TEST_F(ItemStatisticsTest, NullAndTheEmptyTextAreApartAndAMissingValueIsNull) {
  put(1, R"({"c": [{"name": "n", "value": ""}, {"name": "n", "value": null}, {"name": "n"}]})");
  EXPECT_EQ(answered(values("c", "^n$")), R"({"_id":"","count":1} {"_id":null,"count":2})");
}

TEST_F(ItemStatisticsTest, ValuesThatTheIndexDoesNotHoldAreReadFromTheirDocuments) {
  const std::string text(300, 'x');
  put(1, R"({"c": [{"name": "n", "value": ")" + text + R"("}, {"name": "n", "value": [1, 2]}]})");
  put(2, R"({"c": [{"name": "n", "value": 1}, {"name": "m", "value": ")" + text + R"("}]})");
  put(3, R"({"c": [{"name": "n", "value": 1}]})");
  EXPECT_EQ(answered(values("c", "^n$")), scanned(viewOf(pipeline(values("c", "^n$")))));
  EXPECT_EQ(read_, 1);
}

TEST_F(ItemStatisticsTest, IrregularDocumentsAreReadAndNoOthers) {
  put(1, R"({"c": [{"name": "n", "value": 1}]})");
  put(2, R"({"c": {"name": "n", "value": 1}})");
  put(3, R"({"c": [{"name": ["n"], "value": 1}]})");
  EXPECT_EQ(answered(values("c", "^n$")), R"({"_id":1,"count":3})");
  EXPECT_EQ(read_, 2);
  EXPECT_EQ(answered(names("c")), scanned(viewOf(pipeline(names("c")))));
}

TEST_F(ItemStatisticsTest, EqualValuesOfDifferentKindsAreLeftToTheScan) {
  put(1, R"({"c": [{"name": "n", "value": 1}]})");
  put(2, R"({"c": [{"name": "n", "value": 1.0}]})");
  EXPECT_EQ(answered(values("c", "^n$")), "scan");
}

TEST_F(ItemStatisticsTest, APathThatOnceHeldSomethingElseIsLeftToTheScan) {
  put(1, R"({"c": 5})");
  put(2, R"({"c": [{"name": "n", "value": 1}]})");
  EXPECT_EQ(answered(names("c")), "scan");
}

TEST_F(ItemStatisticsTest, WithoutAnyDocumentThereAreNoGroups) {
  EXPECT_EQ(answered(names("c")), "");
  EXPECT_EQ(answeredStages_, 4U);
  put(1, R"({"x": 1})");
  EXPECT_EQ(answered(values("c", "^n$")), "");
  EXPECT_EQ(answeredStages_, 5U);
}

TEST_F(ItemStatisticsTest, LaterStagesAreTheCallers) {
  put(1, R"({"c": [{"name": "n", "value": 1}]})");
  EXPECT_EQ(answered(names("c") + R"(, {"$sort": {"count": -1}})"), R"({"_id":{"name":"n"},"count":1})");
  EXPECT_EQ(answeredStages_, 4U);
}

TEST_F(ItemStatisticsTest, AFilterBeforeRestrictsTheDocuments) {
  put(1, R"({"c": [{"name": "n", "value": 1}, {"name": "s", "value": "new"}]})");
  put(2, R"({"c": [{"name": "n", "value": 1}, {"name": "s", "value": "old"}]})");
  put(3, R"({"c": [{"name": "n", "value": 2}, {"name": "s", "value": "old"}]})");
  for (int i = 4; i < 40; ++i) put(i, R"({"c": [{"name": "n", "value": 3}]})");
  const std::string old = R"({"$match": {"c": {"$elemMatch": {"name": "s", "value": "old"}}}}, )";
  EXPECT_EQ(answered(old + values("c", "^n$")), R"({"_id":1,"count":1} {"_id":2,"count":1})");
  EXPECT_EQ(read_, 0);
  EXPECT_EQ(answered(R"({"$match": {"x": 1}}, )" + values("c", "^n$")), "scan");
}

TEST_F(ItemStatisticsTest, OtherShapesAreLeftToTheScan) {
  put(1, R"({"c": [{"name": "n", "value": 1}]})");
  EXPECT_EQ(answered(R"({"$unwind": "$c"})"), "scan");
  EXPECT_EQ(answered(R"({"$project": {"c": true}}, {"$unwind": "$c"}, {"$project": {"name": "$c.name", "type": )"
                     R"("$c.type", "_id": false}}, {"$group": {"_id": {"name": "$name", "type": "$type"}, "count": )"
                     R"({"$sum": 1}}})"),
            "scan")
      << "the _id is kept";
  EXPECT_EQ(answered(stagesOf("c", "type", R"({"$group": {"_id": "$name", "count": {"$sum": 1}}})")), "scan");
  EXPECT_EQ(answered(stagesOf("c", "type",
                              R"({"$group": {"_id": {"name": "$name", "type": "$type"}, "count": {"$sum": 2}}})")),
            "scan");
}

class RandomStatisticsTest : public ItemStatisticsTest, public testing::WithParamInterface<std::uint32_t> {};

TEST_P(RandomStatisticsTest, AgreeWithThePipeline) {
  const char* given = std::getenv("DATABASE_TEST_SEED");
  const std::uint32_t seed = given != nullptr ? static_cast<std::uint32_t>(std::atoi(given)) : GetParam();
  RandomDocuments random(seed);
  const std::uint32_t odd = random.oneIn(2) ? 0 : 10 + random.below(60);
  int compared = 0;
  put(1000, R"({"info": {"tags": [{"name": "a"}], "marks": [{"name": "a"}]}})");
  for (int round = 0; round < 15; ++round) {
    for (int i = 0; i < 12; ++i) {
      const auto record = RecordNumber{random.below(80)} + 1;
      if (documents_.count(record) != 0 && random.oneIn(3)) {
        remove(record);
      } else {
        put(record, random.document(odd));
      }
    }
    index_->flush();
    const std::string path = random.oneIn(2) ? "info.tags" : "info.marks";
    std::string filter;
    if (random.oneIn(2)) filter = R"({"$match": {"info.marks": {"$elemMatch": {"name": "b", "value": null}}}}, )";
    for (const std::string& stages : {names(path), values(path, "^" + random.name() + "$"), values(path, "^[ab]$")}) {
      const Bytes bytes = pipeline(filter + stages);
      const std::string found = answered(viewOf(bytes));
      if (found == "scan") continue;
      ++compared;
      ASSERT_EQ(found, scanned(viewOf(bytes))) << "DATABASE_TEST_SEED=" << seed << " " << filter << stages;
    }
  }
  EXPECT_GT(compared, 4);
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomStatisticsTest, testing::Range(1U, 41U));

}  // namespace
}  // namespace database_client::embedded
