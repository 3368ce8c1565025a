// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "client/embedded/query/match/Matcher.h"
#include "client/embedded/query/pipeline/Pipeline.h"
#include "tests/client/embedded/query/pipeline/runPipeline.h"
#include "tests/client/embedded/query/support.h"
#include "tests/support/pipelineCases.h"
#include "tests/support/quotes.h"

namespace database_client::embedded {
namespace {

using database_test::doubleQuoted;
using database_test::PipelineCase;
using database_test::singleQuoted;

/// What comes out of one stage.
std::string stage(const std::string& text, const Documents& documents) {
  return run("[" + text + "]", documents);
}

std::string messageOf(const std::string& stages) {
  try {
    const Bytes specification = fromJson("{\"p\": " + stages + "}");
    const Pipeline pipeline(viewOf(specification).find("p").asDocument());
    return "no error";
  } catch (const Error& error) {
    return error.what();
  }
}

/// How many documents are read until `wanted` have come out.
int documentsRead(const std::string& stages, int available, int wanted) {
  const Bytes specification = fromJson("{\"p\": " + stages + "}");
  const Pipeline pipeline(viewOf(specification).find("p").asDocument());
  int read = 0;
  pipeline.run(
      [&](const Pipeline::Receiver& receive) {
        while (read < available && receive(viewOf(fromJson("{\"a\": " + std::to_string(++read) + "}")))) continue;
      },
      [&](bson::View) { return --wanted > 0; });
  return read;
}

class PipelineRows : public ::testing::TestWithParam<PipelineCase> {};

TEST_P(PipelineRows, GiveTheirResults) {
  for (const auto& [documents, rows] : GetParam().parts) {
    Documents texts;
    for (const char* document : documents) texts.push_back(doubleQuoted(document));
    for (const PipelineCase::Row& row : rows) {
      std::string results = singleQuoted(run(doubleQuoted(row.stages), texts));
      if (results.rfind("query", 0) == 0) results.replace(0, 5, "error ");
      std::string expected = row.expected;
      expected.erase(std::remove(expected.begin(), expected.end(), '\n'), expected.end());
      EXPECT_EQ(results, expected) << row.stages;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Cases, PipelineRows, ::testing::ValuesIn(database_test::pipelineCases()),
                         [](const auto& one) { return std::string(one.param.name); });

// --- the pipeline itself -----------------------------------------------------------------------------------------

TEST(Pipeline, StagesOfAServerThatAreNotSupportedAreNamed) {
  for (const char* name : {"$lookup", "$out", "$merge", "$bucketAuto", "$sample", "$geoNear", "$redact"}) {
    const std::string stages = "[{\"" + std::string(name) + "\": {}}]";
    EXPECT_EQ(run(stages, {}), "unsupported 0");
    EXPECT_NE(messageOf(stages).find(name), std::string::npos);
  }
}

TEST(Pipeline, HoldsAtMost1000Stages) {
  const auto repeated = [](int count) {
    std::string stages = "[";
    for (int i = 0; i < count; ++i) stages += (i > 0 ? "," : "") + std::string(R"({"$skip": 0})");
    return stages + "]";
  };
  EXPECT_EQ(run(repeated(1000), {"{}"}), "{}");
  EXPECT_EQ(run(repeated(1001), {"{}"}), "query 7749501");
}

TEST(Pipeline, TellsItsStagesAndRunsFromAnyOfThem) {
  const Bytes specification = fromJson(R"({"0": {"$match": {"a": 1}}, "1": {"$project": {"a": 1}}})");
  const Pipeline pipeline(viewOf(specification));
  ASSERT_EQ(pipeline.stages().size(), 2U);
  EXPECT_EQ(pipeline.stages()[0].name, "$match");
  EXPECT_EQ(toJson(pipeline.stages()[0].operand.asDocument()), R"({"a": 1})");
  std::string result;
  const auto source = [](const Pipeline::Receiver& receive) { receive(viewOf(fromJson(R"({"a": 2, "b": 3})"))); };
  const auto receiver = [&](bson::View document) {
    result += toJson(document);
    return true;
  };
  pipeline.run(source, receiver);
  EXPECT_EQ(result, "");
  pipeline.run(source, receiver, 1);
  EXPECT_EQ(result, R"({"a": 2})");
  result.clear();
  pipeline.run(source, receiver, 1, 1);
  EXPECT_EQ(result, R"({"a": 2, "b": 3})");
}

TEST(Pipeline, TellsTheQueriesOfItsMatches) {
  const Bytes specification = fromJson(R"({"0": {"$match": {"a": 1}}, "1": {"$limit": 1}, "2": {"$match": {}}})");
  const Pipeline pipeline(viewOf(specification));
  ASSERT_NE(pipeline.matchAt(0), nullptr);
  EXPECT_TRUE(pipeline.matchAt(0)->matches(viewOf(fromJson(R"({"a": 1})"))));
  EXPECT_FALSE(pipeline.matchAt(0)->matches(viewOf(fromJson(R"({"a": 2})"))));
  EXPECT_EQ(pipeline.matchAt(1), nullptr);
  ASSERT_NE(pipeline.matchAt(2), nullptr);
  EXPECT_TRUE(pipeline.matchAt(2)->matchesEverything());
  EXPECT_EQ(pipeline.matchAt(3), nullptr);
}

TEST(Pipeline, OutlivesTheBytesOfItsStages) {
  Bytes specification = fromJson(R"({"0": {"$match": {"a": "x"}}, "1": {"$group": {"_id": "$a", "n": {"$sum": 1}}}})");
  const Pipeline pipeline(viewOf(specification));
  std::memset(specification.data(), 0xFF, specification.size());
  std::string result;
  pipeline.run([](const Pipeline::Receiver& receive) { receive(viewOf(fromJson(R"({"a": "x"})"))); },
               [&](bson::View document) {
                 result = toJson(document);
                 return true;
               });
  EXPECT_EQ(result, R"({"_id": "x", "n": 1})");
}

TEST(Pipeline, MayBeRunAgain) {
  const Bytes specification = fromJson(R"({"0": {"$limit": 1}, "1": {"$group": {"_id": null, "n": {"$sum": 1}}}})");
  const Pipeline pipeline(viewOf(specification));
  std::string results;
  for (int i = 0; i < 2; ++i) {
    pipeline.run([](const Pipeline::Receiver& receive) { receive(viewOf(fromJson("{}"))); },
                 [&](bson::View document) {
                   results += toJson(document);
                   return true;
                 });
  }
  EXPECT_EQ(results, R"({"_id": null, "n": 1}{"_id": null, "n": 1})");
}

TEST(Pipeline, ReadsNoMoreThanTheReceiverWants) {
  EXPECT_EQ(documentsRead(R"([{"$match": {"a": {"$gt": 2}}}, {"$project": {"a": 1}}])", 100, 3), 5);
}

TEST(Pipeline, ReadsNoMoreThanALimitLetsThrough) {
  EXPECT_EQ(documentsRead(R"([{"$skip": 2}, {"$limit": 3}])", 100, 100), 5);
  EXPECT_EQ(documentsRead(R"([{"$limit": 3}, {"$group": {"_id": "$a"}}])", 100, 100), 3);
}

// --- $match ------------------------------------------------------------------------------------------------------

TEST(MatchStage, SelectsAsFindDoes) {
  EXPECT_EQ(stage(R"({"$match": {"a": {"$gt": 1}}})", {R"({"a": 1})", R"({"a": 2})", R"({"a": [0, 3]})"}),
            R"({"a": 2} {"a": [0, 3]})");
  EXPECT_EQ(stage(R"({"$match": 1})", {}), "query 15959");
  EXPECT_EQ(stage(R"({"$match": {"$where": "x"}})", {}), "unsupported 0");
}

// --- $project ----------------------------------------------------------------------------------------------------

TEST(ProjectStage, RefusesAnEmptyName) {
  EXPECT_EQ(stage(R"({"$project": {"": 1}})", {}), "query 40352");
}

TEST(ProjectStage, RefusesOtherExpressionsByName) {
  EXPECT_EQ(stage(R"({"$project": {"x": {"$reduce": {}}}})", {}), "unsupported 0");
  EXPECT_EQ(stage(R"({"$project": {"x": {"$function": {}}}})", {}), "unsupported 0");
  EXPECT_EQ(stage(R"({"$project": {"x": "$$NOW"}})", {}), "unsupported 0");
  EXPECT_EQ(stage(R"({"$project": {"x": "$$foo"}})", {}), "query 17276");
  EXPECT_NE(messageOf(R"([{"$project": {"x": {"$reduce": {}}}}])").find("$reduce"), std::string::npos);
}

TEST(Pipeline, ErrorsNameTheStageByNumberAndName) {
  EXPECT_EQ(messageOf(R"([{"$limit": 0}])"), "\"0.$limit\": $limit has to be positive");
  EXPECT_EQ(messageOf(R"([{"$match": {}}, {"$match": {"a": {"$in": 5}}}])"),
            "\"1.$match.a.$in\": $in takes an array, not an int32");
  EXPECT_EQ(messageOf(R"([{"$group": {"_id": 1, "x": {"$foo": 1}}}])"),
            "\"0.$group.x.$foo\": unknown accumulator \"$foo\"");
  EXPECT_EQ(messageOf(R"([{"$nope": 1}])"), "\"0.$nope\": unknown stage \"$nope\"");
  EXPECT_EQ(messageOf(R"([{"$facet": {"f": [{"$sort": {"a": 2}}]}}])"),
            "\"0.$facet.f.0.$sort.a\": $sort takes 1 or -1 under \"a\"");
}

TEST(ProjectStage, ComputesWithOperators) {
  const Documents documents = {R"({"_id": 1, "a": [1, 2, 3], "b": 2})", R"({"_id": 2})"};
  EXPECT_EQ(stage(R"({"$project": {"n": {"$size": {"$ifNull": ["$a", []]}}, "x": {"$arrayElemAt": ["$a", "$b"]}}})",
                  documents),
            R"({"_id": 1, "n": 3, "x": 3} {"_id": 2, "n": 0, "x": null})");
  EXPECT_EQ(stage(R"({"$project": {"a": {"$cond": [{"$isArray": "$a"}, "$$REMOVE", "none"]}}})", documents),
            R"({"_id": 1} {"_id": 2, "a": "none"})");
  EXPECT_EQ(stage(R"({"$set": {"a": {"$map": {"input": "$a", "in": {"$gt": ["$$this", "$b"]}}}, "b": "$$REMOVE"}})",
                  documents),
            R"({"_id": 1, "a": [false, false, true]} {"_id": 2, "a": null})");
}

// --- $addFields, $set, $unset, $replaceRoot ----------------------------------------------------------------------

TEST(ReplaceWithStage, TakesTheExpressionItself) {
  EXPECT_EQ(stage(R"({"$replaceWith": "$a"})", {R"({"a": {"b": 1}})"}), R"({"b": 1})");
  EXPECT_EQ(stage(R"({"$replaceWith": {"$mergeObjects": [{"b": 0, "c": 2}, "$a"]}})", {R"({"a": {"b": 1}})"}),
            R"({"b": 1, "c": 2})");
  EXPECT_EQ(stage(R"({"$replaceWith": "$a"})", {"{}"}), "query 40228");
}

// --- $group ------------------------------------------------------------------------------------------------------

/// What one accumulator over "$v" gives for the values, as {"v": …} documents.
std::string accumulate(const std::string& name, const Documents& values) {
  Documents documents;
  for (const std::string& value : values) documents.push_back(value.empty() ? "{}" : "{\"v\": " + value + "}");
  const std::string result = stage(R"({"$group": {"_id": null, "r": {")" + name + R"(": "$v"}}})", documents);
  const std::string head = R"({"_id": null, "r": )";
  return result.compare(0, head.size(), head) == 0 ? result.substr(head.size(), result.size() - head.size() - 1)
                                                   : result;
}

TEST(GroupStage, ChecksItsFields) {
  EXPECT_EQ(stage(R"({"$group": {"_id": null, "x": 1}})", {}), "query 40234");
  EXPECT_EQ(stage(R"({"$group": {"_id": null, "x": {}}})", {}), "query 40234");
  EXPECT_EQ(stage(R"({"$group": {"_id": null, "a.b": {"$sum": 1}}})", {}), "query 40235");
  EXPECT_EQ(stage(R"({"$group": {"_id": null, "$a": {"$sum": 1}}})", {}), "query 40236");
  EXPECT_EQ(stage(R"({"$group": {"_id": null, "x": {"$sum": 1, "$avg": 1}}})", {}), "query 40238");
  EXPECT_EQ(stage(R"({"$group": {"_id": null, "x": {"$foo": 1}}})", {}), "query 15952");
  EXPECT_EQ(stage(R"({"$group": {"_id": null, "x": {"$median": "$a"}}})", {}), "unsupported 0");
  EXPECT_EQ(stage(R"({"$group": {"_id": null, "x": {"$accumulator": {}}}})", {}), "unsupported 0");
}

TEST(GroupStage, HoldsABoundedAmountOfMemory) {
  Documents documents;
  for (int i = 0; i < 100; ++i)
    documents.push_back("{\"a\": " + std::to_string(i) + R"(, "b": ")" + std::string(500, 'x') + "\"}");
  EXPECT_EQ(run(R"([{"$group": {"_id": "$a"}}])", documents, 10000), "query 292");
  EXPECT_EQ(run(R"([{"$group": {"_id": null, "b": {"$push": "$b"}}}])", documents, 10000), "query 292");
  EXPECT_EQ(run(R"([{"$group": {"_id": null, "b": {"$addToSet": "$b"}}}, {"$project": {"b": 0}}])", documents, 10000),
            R"({"_id": null})");
}

TEST(GroupStage, TakesExpressionsAsIdAndInAccumulators) {
  EXPECT_EQ(stage(R"({"$group": {"_id": {"$mod": ["$a", 2]}, "n": {"$sum": {"$multiply": ["$a", 10]}}}})",
                  {R"({"a": 1})", R"({"a": 2})", R"({"a": 3})"}),
            R"({"_id": 1, "n": 40} {"_id": 0, "n": 20})");
  EXPECT_EQ(stage(R"({"$group": {"_id": {"big": {"$gt": ["$a", 1]}}, "n": {"$count": {}}}})",
                  {R"({"a": 1})", R"({"a": 2})", "{}"}),
            R"({"_id": {"big": false}, "n": 2} {"_id": {"big": true}, "n": 1})");
  EXPECT_EQ(stage(R"({"$group": {"_id": null, "n": {"$count": 1}}})", {}), "query 9");
}

TEST(Deviation, IgnoresWhatIsNoNumber) {
  EXPECT_EQ(accumulate("$stdDevSamp", {"1", "\"x\"", "", "null", "3"}), "1.4142135623730951");
  EXPECT_EQ(accumulate("$stdDevPop", {"1", "\"x\"", "3"}), "1.0");
}

TEST(Deviation, OfTooFewNumbersIsNull) {
  EXPECT_EQ(accumulate("$stdDevSamp", {"1"}), "null");
  EXPECT_EQ(accumulate("$stdDevSamp", {"null"}), "null");
  EXPECT_EQ(accumulate("$stdDevPop", {"1"}), "0.0");
  EXPECT_EQ(accumulate("$stdDevPop", {}), "");
}

TEST(MergeObjectsAccumulator, LetsTheLaterValueWin) {
  EXPECT_EQ(accumulate("$mergeObjects", {R"({"a": 1, "b": 1})", "null", "", R"({"c": 3, "a": 2})"}),
            R"({"a": 2, "b": 1, "c": 3})");
  EXPECT_EQ(accumulate("$mergeObjects", {"null"}), "{}");
  EXPECT_EQ(accumulate("$mergeObjects", {"1"}), "query 40400");
}

TEST(AddToSetAccumulator, KeepsOneOfEqualValues) {
  EXPECT_EQ(accumulate("$addToSet", {"1", "", "null", "1.0", "null", "\"1\"", R"({"a": 1})", R"({"a": 1})"}),
            R"([1, null, "1", {"a": 1}])");
}

// --- $sort, $limit, $skip, $count, $sortByCount ------------------------------------------------------------------

TEST(SortStage, OrdersByAllKeysAndKeepsTheOrderOfEqualDocuments) {
  EXPECT_EQ(stage(R"({"$sort": {"a": 1, "b": -1}})",
                  {R"({"a": 2, "n": 1})", R"({"a": 1, "b": 1})", R"({"a": 1, "b": 2})", R"({"a": 2, "n": 2})"}),
            R"({"a": 1, "b": 2} {"a": 1, "b": 1} {"a": 2, "n": 1} {"a": 2, "n": 2})");
}

TEST(SortStage, ChecksItsKeys) {
  EXPECT_EQ(stage(R"({"$sort": {}})", {}), "query 15976");
  EXPECT_EQ(stage(R"({"$sort": {"a": 2}})", {}), "query 15975");
  EXPECT_EQ(stage(R"({"$sort": {"a": 0}})", {}), "query 15975");
  EXPECT_EQ(stage(R"({"$sort": {"a": "x"}})", {}), "query 15974");
  EXPECT_EQ(stage(R"({"$sort": 1})", {}), "query 15973");
  EXPECT_EQ(stage(R"({"$sort": {"a": {"$meta": "textScore"}}})", {}), "unsupported 0");
}

TEST(SortStage, WithALimitKeepsOnlyTheFirst) {
  Documents documents;
  for (int i = 0; i < 100; ++i) documents.push_back("{\"a\": " + std::to_string(i * 37 % 100) + "}");
  EXPECT_EQ(run(R"([{"$sort": {"a": 1}}, {"$limit": 3}])", documents, 1000), R"({"a": 0} {"a": 1} {"a": 2})");
  EXPECT_EQ(run(R"([{"$sort": {"a": -1}}, {"$skip": 1}, {"$limit": 2}])", documents, 1000), R"({"a": 98} {"a": 97})");
}

TEST(SortStage, WithALimitStillKeepsTheOrderOfEqualDocuments) {
  Documents documents;
  for (int i = 0; i < 20; ++i)
    documents.push_back("{\"a\": " + std::to_string(i % 2) + ", \"n\": " + std::to_string(i) + "}");
  EXPECT_EQ(run(R"([{"$sort": {"a": -1}}, {"$limit": 3}])", documents),
            R"({"a": 1, "n": 1} {"a": 1, "n": 3} {"a": 1, "n": 5})");
}

TEST(SortStage, HoldsABoundedAmountOfMemory) {
  Documents documents;
  for (int i = 0; i < 100; ++i) documents.push_back("{\"a\": " + std::to_string(i) + "}");
  EXPECT_EQ(run(R"([{"$sort": {"a": 1}}])", documents, 10000), "query 292");
}

TEST(BucketStage, GroupsByTheBoundaryBelow) {
  const Documents documents = {R"({"a": 5})", R"({"a": 0})", R"({"a": 9.5})", R"({"a": 10})", R"({"a": 4})"};
  EXPECT_EQ(stage(R"({"$bucket": {"groupBy": "$a", "boundaries": [0, 5, 10], "default": "other"}})", documents),
            R"({"_id": 0, "count": 2} {"_id": 5, "count": 2} {"_id": "other", "count": 1})");
  EXPECT_EQ(stage(R"({"$bucket": {"groupBy": {"$multiply": ["$a", 2]}, "boundaries": [0, {"$add": [10, 11]}],
                                  "output": {"all": {"$push": "$a"}}}})",
                  documents),
            R"({"_id": 0, "all": [5, 0, 9.5, 10, 4]})");
  EXPECT_EQ(stage(R"({"$bucket": {"groupBy": "$a", "boundaries": [0, 5]}})", documents), "query 40066");
  EXPECT_EQ(stage(R"({"$bucket": {"groupBy": "$a", "boundaries": [0, 5], "default": {"$literal": "$x"}}})", {"{}"}),
            R"({"_id": "$x", "count": 1})");
}

TEST(BucketStage, ChecksItsOperands) {
  const auto bucket = [](const std::string& options) { return stage("{\"$bucket\": " + options + "}", {}); };
  EXPECT_EQ(bucket(R"({"groupBy": "$a", "boundaries": ["$b", 5]})"), "query 40191");
  EXPECT_EQ(bucket(R"({"groupBy": "$a", "boundaries": [5]})"), "query 40192");
  EXPECT_EQ(bucket(R"({"groupBy": "$a", "boundaries": [5, "x"]})"), "query 40193");
  EXPECT_EQ(bucket(R"({"groupBy": "$a", "boundaries": [5, 5.0]})"), "query 40194");
  EXPECT_EQ(bucket(R"({"groupBy": "$a", "boundaries": [0, 5], "default": "$b"})"), "query 40195");
  EXPECT_EQ(bucket(R"({"groupBy": "$a", "boundaries": [0, 5], "output": 1})"), "query 40196");
  EXPECT_EQ(bucket(R"({"groupBy": "$a", "boundaries": [0, 5], "x": 1})"), "query 40197");
  EXPECT_EQ(bucket(R"({"groupBy": "$a"})"), "query 40198");
  EXPECT_EQ(bucket(R"({"boundaries": [0, 5]})"), "query 40198");
  EXPECT_EQ(bucket(R"({"groupBy": "$a", "boundaries": [0, 5], "default": 3})"), "query 40199");
  EXPECT_EQ(bucket(R"({"groupBy": "$a", "boundaries": 1})"), "query 40200");
  EXPECT_EQ(bucket("1"), "query 40201");
  EXPECT_EQ(bucket(R"({"groupBy": "a", "boundaries": [0, 5]})"), "query 40202");
}

// --- $facet ------------------------------------------------------------------------------------------------------

TEST(FacetStage, StopsReadingWhenNoPipelineWantsMore) {
  EXPECT_EQ(documentsRead(R"([{"$facet": {"x": [{"$limit": 1}], "y": [{"$limit": 2}]}}])", 100, 100), 2);
}

TEST(FacetStage, RefusesStagesThatCannotStandInside) {
  for (const char* name : {"$facet", "$out", "$merge", "$geoNear", "$indexStats", "$collStats"}) {
    EXPECT_EQ(stage(R"({"$facet": {"x": [{")" + std::string(name) + R"(": {}}]}})", {}), "query 40600") << name;
  }
}

TEST(FacetStage, RefusesResultsAbove16MiB) {
  EXPECT_EQ(stage(R"({"$facet": {"x": [], "y": []}})", {"{\"a\": \"" + std::string(9 * 1024 * 1024, 'x') + "\"}"}),
            "document 10334");
}

// --- limits ------------------------------------------------------------------------------------------------------

TEST(PipelineLimits, NestingBeyond100LevelsIsAnError) {
  std::string stages = "[";
  for (int i = 0; i < 101; ++i)
    stages += (i > 0 ? "," : "") + std::string(R"({"$replaceRoot": {"newRoot": {"a": "$$ROOT"}}})");
  EXPECT_EQ(run(stages + "]", {"{}"}), "document 15");
}

TEST(PipelineLimits, ADocumentAbove16MiBIsAnError) {
  EXPECT_EQ(stage(R"({"$set": {"b": "$a"}})", {"{\"a\": \"" + std::string(9 * 1024 * 1024, 'x') + "\"}"}),
            "document 10334");
}

}  // namespace
}  // namespace database_client::embedded
