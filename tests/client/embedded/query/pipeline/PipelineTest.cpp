// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstring>

#include "client/embedded/query/pipeline/Pipeline.h"
#include "tests/client/embedded/query/pipeline/runPipeline.h"
#include "tests/client/embedded/query/support.h"

namespace database_client::embedded {
namespace {

using testing::bytes;
using testing::Documents;
using testing::run;
using testing::show;
using testing::view;

/// What comes out of one stage.
std::string stage(const std::string& text, const Documents& documents) {
  return run("[" + text + "]", documents);
}

std::string messageOf(const std::string& stages) {
  try {
    const testing::Bytes specification = bytes("{\"p\": " + stages + "}");
    const Pipeline pipeline(view(specification).find("p").asDocument());
    return "no error";
  } catch (const Error& error) {
    return error.what();
  }
}

/// How many documents are read until `wanted` have come out.
int documentsRead(const std::string& stages, int available, int wanted) {
  const testing::Bytes specification = bytes("{\"p\": " + stages + "}");
  const Pipeline pipeline(view(specification).find("p").asDocument());
  int read = 0;
  pipeline.run(
      [&](const Pipeline::Receiver& receive) {
        while (read < available && receive(view(bytes("{\"a\": " + std::to_string(++read) + "}")))) continue;
      },
      [&](bson::View) { return --wanted > 0; });
  return read;
}

// --- the pipeline itself -----------------------------------------------------------------------------------------

TEST(Pipeline, WithoutStagesPassesEverything) {
  EXPECT_EQ(run("[]", {R"({"a": 1})", "{}"}), R"({"a": 1} {})");
}

TEST(Pipeline, AStageHasExactlyOneField) {
  EXPECT_EQ(run("[{}]", {}), "query 40323");
  EXPECT_EQ(run(R"([{"$match": {}, "$limit": 1}])", {}), "query 40323");
}

TEST(Pipeline, AStageIsADocument) {
  EXPECT_EQ(run("[1]", {}), "query 14");
}

TEST(Pipeline, UnknownStagesAreRefused) {
  EXPECT_EQ(run(R"([{"$foo": 1}])", {}), "query 40324");
  EXPECT_EQ(run(R"([{"match": {}}])", {}), "query 40324");
}

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
  const testing::Bytes specification = bytes(R"({"0": {"$match": {"a": 1}}, "1": {"$project": {"a": 1}}})");
  const Pipeline pipeline(view(specification));
  ASSERT_EQ(pipeline.stages().size(), 2U);
  EXPECT_EQ(pipeline.stages()[0].name, "$match");
  EXPECT_EQ(show(pipeline.stages()[0].operand.asDocument()), R"({"a": 1})");
  std::string result;
  const auto source = [](const Pipeline::Receiver& receive) { receive(view(bytes(R"({"a": 2, "b": 3})"))); };
  const auto receiver = [&](bson::View document) {
    result += show(document);
    return true;
  };
  pipeline.run(source, receiver);
  EXPECT_EQ(result, "");
  pipeline.run(source, receiver, 1);
  EXPECT_EQ(result, R"({"a": 2})");
}

TEST(Pipeline, OutlivesTheBytesOfItsStages) {
  testing::Bytes specification =
      bytes(R"({"0": {"$match": {"a": "x"}}, "1": {"$group": {"_id": "$a", "n": {"$sum": 1}}}})");
  const Pipeline pipeline(view(specification));
  std::memset(specification.data(), 0xFF, specification.size());
  std::string result;
  pipeline.run([](const Pipeline::Receiver& receive) { receive(view(bytes(R"({"a": "x"})"))); },
               [&](bson::View document) {
                 result = show(document);
                 return true;
               });
  EXPECT_EQ(result, R"({"_id": "x", "n": 1})");
}

TEST(Pipeline, MayBeRunAgain) {
  const testing::Bytes specification =
      bytes(R"({"0": {"$limit": 1}, "1": {"$group": {"_id": null, "n": {"$sum": 1}}}})");
  const Pipeline pipeline(view(specification));
  std::string results;
  for (int i = 0; i < 2; ++i) {
    pipeline.run([](const Pipeline::Receiver& receive) { receive(view(bytes("{}"))); },
                 [&](bson::View document) {
                   results += show(document);
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

TEST(ProjectStage, IncludesAndExcludes) {
  const Documents documents = {R"({"_id": 1, "a": 2, "b": 3})"};
  EXPECT_EQ(stage(R"({"$project": {"a": 1}})", documents), R"({"_id": 1, "a": 2})");
  EXPECT_EQ(stage(R"({"$project": {"a": true, "_id": 0}})", documents), R"({"a": 2})");
  EXPECT_EQ(stage(R"({"$project": {"a": 0}})", documents), R"({"_id": 1, "b": 3})");
  EXPECT_EQ(stage(R"({"$project": {"_id": 0}})", documents), R"({"a": 2, "b": 3})");
}

TEST(ProjectStage, ChecksItsOperand) {
  EXPECT_EQ(stage(R"({"$project": {}})", {}), "query 51272");
  EXPECT_EQ(stage(R"({"$project": 1})", {}), "query 15969");
  EXPECT_EQ(stage(R"({"$project": {"a": 1, "b": 0}})", {}), "query 31254");
  EXPECT_EQ(stage(R"({"$project": {"a": 0, "b": 1}})", {}), "query 31253");
  EXPECT_EQ(stage(R"({"$project": {"a": 0, "b": "$c"}})", {}), "query 31252");
  EXPECT_EQ(stage(R"({"$project": {"a": 1, "a.b": 1}})", {}), "query 31249");
}

TEST(ProjectStage, CopiesAPathAndLeavesAMissingOneOut) {
  EXPECT_EQ(stage(R"({"$project": {"x": "$a.b", "y": "$nowhere"}})", {R"({"_id": 1, "a": {"b": 5}})"}),
            R"({"_id": 1, "x": 5})");
}

TEST(ProjectStage, CollectsAPathThroughAnArray) {
  EXPECT_EQ(stage(R"({"$project": {"x": "$a.b"}})", {R"({"a": [{"b": 1}, {"c": 2}, 3, [{"b": 4}], {"b": null}]})"}),
            R"({"x": [1, null]})");
  EXPECT_EQ(stage(R"({"$project": {"x": "$a.0"}})", {R"({"a": [7]})"}), R"({"x": []})");
}

TEST(ProjectStage, SubDocumentsAreNested) {
  EXPECT_EQ(stage(R"({"$project": {"a": {"b": 1, "x": "$c"}}})", {R"({"_id": 1, "a": {"b": 2, "d": 3}, "c": 4})"}),
            R"({"_id": 1, "a": {"b": 2, "x": 4}})");
}

TEST(ProjectStage, ComputesIntoEachElementOfAnArray) {
  EXPECT_EQ(stage(R"({"$project": {"a.x": "$c"}})", {R"({"a": [{"b": 1}, 2], "c": 4})", R"({"c": 5})"}),
            R"({"a": [{"x": 4}]} {"a": {"x": 5}})");
}

TEST(ProjectStage, KnowsLiteralsTheWholeDocumentAndComposites) {
  const Documents documents = {R"({"a": 1})"};
  EXPECT_EQ(stage(R"({"$project": {"x": {"$literal": "$a"}, "y": "text", "z": {"$literal": 1}}})", documents),
            R"({"x": "$a", "y": "text", "z": 1})");
  EXPECT_EQ(stage(R"({"$project": {"x": "$$ROOT", "y": "$$CURRENT.a", "z": "$$ROOT.a"}})", documents),
            R"({"x": {"a": 1}, "y": 1, "z": 1})");
  EXPECT_EQ(stage(R"({"$project": {"x": ["$a", "$b", 5, {"c": "$a", "d": "$b"}]}})", documents),
            R"({"x": [1, null, 5, {"c": 1}]})");
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

TEST(ProjectStage, RefusesMalformedPaths) {
  EXPECT_EQ(stage(R"({"$project": {"x": "$"}})", {}), "query 16872");
  EXPECT_EQ(stage(R"({"$project": {"x": "$a."}})", {}), "query 40353");
  EXPECT_EQ(stage(R"({"$project": {"x": "$a..b"}})", {}), "query 15998");
  EXPECT_EQ(stage(R"({"$project": {"x": "$a.$b"}})", {}), "query 16410");
  EXPECT_EQ(stage(R"({"$project": {"": 1}})", {}), "query 40352");
  EXPECT_EQ(stage(R"({"$project": {"x": {"$literal": 1, "y": 2}}})", {}), "query 15983");
}

// --- $addFields, $set, $unset, $replaceRoot ----------------------------------------------------------------------

TEST(AddFieldsStage, SetsOrReplacesInPlace) {
  const Documents documents = {R"({"_id": 1, "a": 2, "b": 3})"};
  EXPECT_EQ(stage(R"({"$addFields": {"a": "$b", "c": 5}})", documents), R"({"_id": 1, "a": 3, "b": 3, "c": 5})");
  EXPECT_EQ(stage(R"({"$set": {"c": {"$literal": 5}}})", documents), R"({"_id": 1, "a": 2, "b": 3, "c": 5})");
}

TEST(AddFieldsStage, CreatesNestedDocumentsForDottedNames) {
  EXPECT_EQ(stage(R"({"$set": {"a.b.c": 1}})", {"{}"}), R"({"a": {"b": {"c": 1}}})");
  EXPECT_EQ(stage(R"({"$set": {"a": {"b": 1}}})", {R"({"a": {"c": 2}})"}), R"({"a": {"c": 2, "b": 1}})");
}

TEST(AddFieldsStage, AppliesToEachElementOfAnArray) {
  EXPECT_EQ(stage(R"({"$set": {"a.x": 1}})", {R"({"a": [{"y": 2}, 3, [4]]})"}),
            R"({"a": [{"y": 2, "x": 1}, {"x": 1}, [{"x": 1}]]})");
}

TEST(AddFieldsStage, ReplacesAScalarParentByADocument) {
  EXPECT_EQ(stage(R"({"$set": {"a.x": 1}})", {R"({"a": 5})"}), R"({"a": {"x": 1}})");
}

TEST(AddFieldsStage, AMissingValueTakesTheFieldOut) {
  EXPECT_EQ(stage(R"({"$set": {"a": "$nowhere"}})", {R"({"a": 1, "b": 2})"}), R"({"b": 2})");
}

TEST(AddFieldsStage, ChecksItsOperand) {
  EXPECT_EQ(stage(R"({"$set": 1})", {}), "query 40272");
  EXPECT_EQ(stage(R"({"$set": {}})", {}), "query 40177");
  EXPECT_EQ(stage(R"({"$set": {"a": {}}})", {}), "query 40180");
  EXPECT_EQ(stage(R"({"$set": {"a": 1, "a.b": 1}})", {}), "query 40176");
}

TEST(UnsetStage, TakesAStringOrAnArrayOfStrings) {
  const Documents documents = {R"({"a": 1, "b": {"c": 2, "d": 3}, "e": 4})"};
  EXPECT_EQ(stage(R"({"$unset": "a"})", documents), R"({"b": {"c": 2, "d": 3}, "e": 4})");
  EXPECT_EQ(stage(R"({"$unset": ["a", "b.c"]})", documents), R"({"b": {"d": 3}, "e": 4})");
  EXPECT_EQ(stage(R"({"$unset": 1})", {}), "query 31002");
  EXPECT_EQ(stage(R"({"$unset": []})", {}), "query 31119");
  EXPECT_EQ(stage(R"({"$unset": ["a", 1]})", {}), "query 31120");
}

TEST(ReplaceRootStage, TakesADocument) {
  EXPECT_EQ(stage(R"({"$replaceRoot": {"newRoot": "$a"}})", {R"({"a": {"b": 1}})"}), R"({"b": 1})");
  EXPECT_EQ(stage(R"({"$replaceRoot": {"newRoot": {"x": "$a"}}})", {R"({"a": 1})", "{}"}), R"({"x": 1} {})");
}

TEST(ReplaceRootStage, RefusesAnythingElse) {
  EXPECT_EQ(stage(R"({"$replaceRoot": {"newRoot": "$a"}})", {R"({"a": 1})"}), "query 40228");
  EXPECT_EQ(stage(R"({"$replaceRoot": {"newRoot": "$a"}})", {"{}"}), "query 40228");
  EXPECT_EQ(stage(R"({"$replaceRoot": 1})", {}), "query 40229");
  EXPECT_EQ(stage(R"({"$replaceRoot": {"x": 1}})", {}), "query 40230");
  EXPECT_EQ(stage(R"({"$replaceRoot": {}})", {}), "query 40231");
}

TEST(ReplaceWithStage, TakesTheExpressionItself) {
  EXPECT_EQ(stage(R"({"$replaceWith": "$a"})", {R"({"a": {"b": 1}})"}), R"({"b": 1})");
  EXPECT_EQ(stage(R"({"$replaceWith": {"$mergeObjects": [{"b": 0, "c": 2}, "$a"]}})", {R"({"a": {"b": 1}})"}),
            R"({"b": 1, "c": 2})");
  EXPECT_EQ(stage(R"({"$replaceWith": "$a"})", {"{}"}), "query 40228");
}

// --- $unwind -----------------------------------------------------------------------------------------------------

TEST(UnwindStage, GivesOneDocumentForEachElement) {
  EXPECT_EQ(stage(R"({"$unwind": "$a"})", {R"({"_id": 1, "a": [1, "x", {"y": 2}, [3]], "b": 4})"}),
            R"({"_id": 1, "a": 1, "b": 4} {"_id": 1, "a": "x", "b": 4} {"_id": 1, "a": {"y": 2}, "b": 4} )"
            R"({"_id": 1, "a": [3], "b": 4})");
}

TEST(UnwindStage, ReachesNestedArrays) {
  EXPECT_EQ(stage(R"({"$unwind": "$r.c"})", {R"({"r": {"x": 1, "c": [1, 2], "z": 3}, "t": 4})"}),
            R"({"r": {"x": 1, "c": 1, "z": 3}, "t": 4} {"r": {"x": 1, "c": 2, "z": 3}, "t": 4})");
}

TEST(UnwindStage, DropsDocumentsWithoutElements) {
  EXPECT_EQ(stage(R"({"$unwind": "$a"})", {"{}", R"({"a": null})", R"({"a": []})", R"({"a": {"$undefined": true}})"}),
            "");
  EXPECT_EQ(stage(R"({"$unwind": "$a.b"})", {R"({"a": [{"b": [1]}]})", R"({"a": 1})"}), "");
}

TEST(UnwindStage, PassesWhatIsNoArrayAndKeepsNullElements) {
  EXPECT_EQ(stage(R"({"$unwind": "$a"})", {R"({"a": 5})", R"({"a": [null, 1]})"}), R"({"a": 5} {"a": null} {"a": 1})");
}

TEST(UnwindStage, PreservesOnRequest) {
  const Documents documents = {R"({"_id": 1})", R"({"_id": 2, "a": null})", R"({"_id": 3, "a": [], "b": 1})"};
  EXPECT_EQ(stage(R"({"$unwind": {"path": "$a", "preserveNullAndEmptyArrays": true}})", documents),
            R"({"_id": 1} {"_id": 2, "a": null} {"_id": 3, "b": 1})");
  EXPECT_EQ(stage(R"({"$unwind": {"path": "$a", "preserveNullAndEmptyArrays": false}})", documents), "");
}

TEST(UnwindStage, TellsThePositionAsInt64) {
  EXPECT_EQ(stage(R"({"$unwind": {"path": "$a", "includeArrayIndex": "i"}})", {R"({"a": ["x", "y"]})", R"({"a": 5})"}),
            R"({"a": "x", "i": 0} {"a": "y", "i": 1} {"a": 5, "i": null})");
  EXPECT_EQ(run(R"([{"$unwind": {"path": "$a", "includeArrayIndex": "i"}}, {"$match": {"i": {"$type": "long"}}}])",
                {R"({"a": ["x"]})"}),
            R"({"a": "x", "i": 0})");
  EXPECT_EQ(
      stage(R"({"$unwind": {"path": "$a", "includeArrayIndex": "i", "preserveNullAndEmptyArrays": true}})", {"{}"}),
      R"({"i": null})");
}

TEST(UnwindStage, ChecksItsOperand) {
  EXPECT_EQ(stage(R"({"$unwind": "a"})", {}), "query 28818");
  EXPECT_EQ(stage(R"({"$unwind": 1})", {}), "query 15981");
  EXPECT_EQ(stage(R"({"$unwind": {"path": 1}})", {}), "query 28808");
  EXPECT_EQ(stage(R"({"$unwind": {"path": "$a", "preserveNullAndEmptyArrays": 1}})", {}), "query 28809");
  EXPECT_EQ(stage(R"({"$unwind": {"path": "$a", "includeArrayIndex": ""}})", {}), "query 28810");
  EXPECT_EQ(stage(R"({"$unwind": {"path": "$a", "x": 1}})", {}), "query 28811");
  EXPECT_EQ(stage(R"({"$unwind": {}})", {}), "query 28812");
  EXPECT_EQ(stage(R"({"$unwind": {"path": "$a", "includeArrayIndex": "$i"}})", {}), "query 28822");
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

/// The kind of the one result of an accumulator.
std::string kindOf(const std::string& name, const Documents& values) {
  Documents documents;
  for (const std::string& value : values) documents.push_back("{\"v\": " + value + "}");
  for (const char* kind : {"int", "long", "double", "decimal", "null"}) {
    const std::string stages =
        R"([{"$group": {"_id": null, "r": {")" + name + R"(": "$v"}}}, {"$match": {"r": {"$type": ")" + kind + "\"}}}]";
    if (!run(stages, documents).empty()) return kind;
  }
  return "another";
}

TEST(GroupStage, NeedsAnId) {
  EXPECT_EQ(stage(R"({"$group": {}})", {}), "query 15955");
  EXPECT_EQ(stage(R"({"$group": {"n": {"$sum": 1}}})", {}), "query 15955");
  EXPECT_EQ(stage(R"({"$group": {"_id": 1, "_id": 2}})", {}), "query 15948");
  EXPECT_EQ(stage(R"({"$group": 1})", {}), "query 15947");
}

TEST(GroupStage, NullAsIdMakesOneGroupButNoneOfNothing) {
  const char* const count = R"({"$group": {"_id": null, "n": {"$sum": 1}}})";
  EXPECT_EQ(stage(count, {"{}", "{}"}), R"({"_id": null, "n": 2})");
  EXPECT_EQ(stage(count, {}), "");
}

TEST(GroupStage, AMissingIdGroupsWithNull) {
  EXPECT_EQ(stage(R"({"$group": {"_id": "$a", "n": {"$sum": 1}}})", {"{}", R"({"a": null})", R"({"a": ""})"}),
            R"({"_id": null, "n": 2} {"_id": "", "n": 1})");
}

TEST(GroupStage, InACompoundIdMissingDiffersFromNull) {
  EXPECT_EQ(stage(R"({"$group": {"_id": {"x": "$a", "y": "$b"}, "n": {"$sum": 1}}})",
                  {R"({"a": 1})", R"({"a": 1, "b": null})", R"({"a": 1, "b": ""})", R"({"a": 1.0})"}),
            R"({"_id": {"x": 1}, "n": 2} {"_id": {"x": 1, "y": null}, "n": 1} {"_id": {"x": 1, "y": ""}, "n": 1})");
}

TEST(GroupStage, NumericIdsMeetAcrossKinds) {
  EXPECT_EQ(stage(R"({"$group": {"_id": "$a", "n": {"$sum": 1}}})",
                  {R"({"a": 1})", R"({"a": {"$numberLong": "1"}})", R"({"a": 1.0})",
                   R"({"a": {"$numberDecimal": "1.0"}})", R"({"a": true})"}),
            R"({"_id": 1, "n": 4} {"_id": true, "n": 1})");
}

TEST(GroupStage, GroupsByArraysAndDocumentsWhole) {
  EXPECT_EQ(stage(R"({"$group": {"_id": "$a"}})",
                  {R"({"a": [1, 2]})", R"({"a": [2, 1]})", R"({"a": [1, 2.0]})", R"({"a": {"x": 1}})"}),
            R"({"_id": [1, 2]} {"_id": [2, 1]} {"_id": {"x": 1}})");
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

TEST(Sum, PassesOverWhatIsNoNumber) {
  EXPECT_EQ(accumulate("$sum", {"1", "\"x\"", "", "null", "true", "[5]", "2"}), "3");
  EXPECT_EQ(accumulate("$sum", {"\"x\""}), "0");
  EXPECT_EQ(kindOf("$sum", {"\"x\""}), "int");
}

TEST(Sum, PromotesInt32ToInt64OnOverflow) {
  EXPECT_EQ(accumulate("$sum", {"2147483647", "1"}), "2147483648");
  EXPECT_EQ(kindOf("$sum", {"2147483647", "1"}), "long");
  EXPECT_EQ(kindOf("$sum", {"2147483646", "1"}), "int");
  EXPECT_EQ(kindOf("$sum", {"1", R"({"$numberLong": "1"})"}), "long");
}

TEST(Sum, PromotesInt64ToDoubleOnOverflow) {
  const std::string largest = R"({"$numberLong": "9223372036854775807"})";
  EXPECT_EQ(accumulate("$sum", {largest}), "9223372036854775807");
  EXPECT_EQ(kindOf("$sum", {largest, "1"}), "double");
  EXPECT_EQ(accumulate("$sum", {largest, "1", "-1"}), "9223372036854775807");
  EXPECT_EQ(kindOf("$sum", {R"({"$numberLong": "-9223372036854775808"})", "-1"}), "double");
}

TEST(Sum, IsADoubleAsSoonAsOneIs) {
  EXPECT_EQ(kindOf("$sum", {"1", "2.0"}), "double");
  EXPECT_EQ(accumulate("$sum", {"1", "2.5"}), "3.5");
}

TEST(Sum, CompensatesWhatRoundingLoses) {
  EXPECT_EQ(accumulate("$sum", {"1e100", "1.0", "-1e100"}), "1.0");
  EXPECT_EQ(accumulate("$sum", Documents(10, "0.1")), "1.0");
  EXPECT_EQ(
      accumulate("$sum", {R"({"$numberLong": "9007199254740993"})", "0.5", R"({"$numberLong": "-9007199254740992"})"}),
      "1.5");
}

TEST(Sum, TakesInfinityAndNaN) {
  EXPECT_EQ(accumulate("$sum", {R"({"$numberDouble": "Infinity"})", "1.5"}), R"({"$numberDouble": "Infinity"})");
  EXPECT_EQ(accumulate("$sum", {R"({"$numberDouble": "Infinity"})", R"({"$numberDouble": "-Infinity"})"}),
            R"({"$numberDouble": "NaN"})");
}

TEST(Sum, IsADecimalAsSoonAsOneIs) {
  EXPECT_EQ(accumulate("$sum", {R"({"$numberDecimal": "0.10"})", R"({"$numberDecimal": "0.2"})"}),
            R"({"$numberDecimal": "0.30"})");
  EXPECT_EQ(accumulate("$sum", {R"({"$numberDecimal": "0.1"})", "1", "0.5"}), R"({"$numberDecimal": "1.6"})");
}

TEST(Sum, OfAConstantPromotesTheSameWay) {
  EXPECT_EQ(stage(R"({"$group": {"_id": null, "n": {"$sum": 2147483647}}})", {"{}", "{}"}),
            R"({"_id": null, "n": 4294967294})");
}

TEST(Average, IsADoubleOrADecimal) {
  EXPECT_EQ(accumulate("$avg", {"1", "2", "\"x\"", ""}), "1.5");
  EXPECT_EQ(kindOf("$avg", {"2", "2"}), "double");
  EXPECT_EQ(accumulate("$avg", {R"({"$numberDecimal": "1"})", "2"}), R"({"$numberDecimal": "1.5"})");
}

TEST(Average, OfNoNumberIsNull) {
  EXPECT_EQ(accumulate("$avg", {"\"x\"", "null", ""}), "null");
}

TEST(Average, DoesNotOverflow) {
  const std::string largest = R"({"$numberLong": "9223372036854775807"})";
  EXPECT_EQ(accumulate("$avg", {largest, largest}), "9.223372036854776E+18");
}

TEST(MinAndMax, UseTheOrderAcrossKinds) {
  EXPECT_EQ(accumulate("$min", {"\"x\"", "5", "true"}), "5");
  EXPECT_EQ(accumulate("$max", {"\"x\"", "5", "true"}), "true");
  EXPECT_EQ(accumulate("$min", {"2", "1.0", "1"}), "1.0");
  EXPECT_EQ(accumulate("$max", {"[1]", "[2]"}), "[2]");
}

TEST(MinAndMax, PassOverNullAndMissing) {
  EXPECT_EQ(accumulate("$min", {"null", "", "3"}), "3");
  EXPECT_EQ(accumulate("$max", {"null", "", "3"}), "3");
  EXPECT_EQ(accumulate("$min", {"null", ""}), "null");
  EXPECT_EQ(accumulate("$max", {""}), "null");
}

TEST(FirstAndLast, FollowTheOrderOfTheDocuments) {
  EXPECT_EQ(accumulate("$first", {"1", "2", "3"}), "1");
  EXPECT_EQ(accumulate("$last", {"1", "2", "3"}), "3");
}

TEST(FirstAndLast, GiveNullForMissing) {
  EXPECT_EQ(accumulate("$first", {"", "2"}), "null");
  EXPECT_EQ(accumulate("$last", {"2", ""}), "null");
}

TEST(PushAccumulator, SkipsMissingAndKeepsNull) {
  EXPECT_EQ(accumulate("$push", {"1", "", "null", "1", "[2]"}), "[1, null, 1, [2]]");
  EXPECT_EQ(accumulate("$push", {""}), "[]");
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

TEST(LimitAndSkip, TakeAWindow) {
  const Documents documents = {R"({"a": 1})", R"({"a": 2})", R"({"a": 3})"};
  EXPECT_EQ(run(R"([{"$skip": 1}, {"$limit": 1}])", documents), R"({"a": 2})");
  EXPECT_EQ(stage(R"({"$skip": 0})", documents), R"({"a": 1} {"a": 2} {"a": 3})");
  EXPECT_EQ(stage(R"({"$limit": 2.0})", documents), R"({"a": 1} {"a": 2})");
}

TEST(LimitAndSkip, CheckTheirOperands) {
  EXPECT_EQ(stage(R"({"$limit": 0})", {}), "query 15958");
  for (const char* bad : {"-1", "1.5", "\"x\"", "null", "1e300"}) {
    EXPECT_EQ(stage("{\"$limit\": " + std::string(bad) + "}", {}), "query 5107201") << bad;
    EXPECT_EQ(stage("{\"$skip\": " + std::string(bad) + "}", {}), "query 5107200") << bad;
  }
}

TEST(CountStage, CountsButGivesNothingOfNothing) {
  EXPECT_EQ(stage(R"({"$count": "n"})", {"{}", "{}"}), R"({"n": 2})");
  EXPECT_EQ(stage(R"({"$count": "n"})", {}), "");
}

TEST(CountStage, ChecksItsName) {
  EXPECT_EQ(stage(R"({"$count": 1})", {}), "query 40156");
  EXPECT_EQ(stage(R"({"$count": ""})", {}), "query 40157");
  EXPECT_EQ(stage(R"({"$count": "$n"})", {}), "query 40158");
  EXPECT_EQ(stage(R"({"$count": "a.b"})", {}), "query 40160");
}

TEST(SortByCountStage, CountsAndOrders) {
  EXPECT_EQ(stage(R"({"$sortByCount": "$a"})", {R"({"a": "x"})", R"({"a": "y"})", R"({"a": "y"})"}),
            R"({"_id": "y", "count": 2} {"_id": "x", "count": 1})");
  EXPECT_EQ(stage(R"({"$sortByCount": {"$literal": 1}})", {"{}"}), R"({"_id": 1, "count": 1})");
}

TEST(SortByCountStage, ChecksItsOperand) {
  EXPECT_EQ(stage(R"({"$sortByCount": "a"})", {}), "query 40148");
  EXPECT_EQ(stage(R"({"$sortByCount": {"x": 1}})", {}), "query 40147");
  EXPECT_EQ(stage(R"({"$sortByCount": 1})", {}), "query 40149");
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

TEST(FacetStage, GivesEachPipelineTheSameInput) {
  EXPECT_EQ(stage(R"({"$facet": {"all": [{"$count": "n"}], "big": [{"$match": {"a": {"$gt": 1}}}, {"$limit": 1}]}})",
                  {R"({"a": 1})", R"({"a": 2})", R"({"a": 3})"}),
            R"({"all": [{"n": 3}], "big": [{"a": 2}]})");
}

TEST(FacetStage, AlwaysGivesExactlyOneDocument) {
  EXPECT_EQ(stage(R"({"$facet": {"x": [{"$limit": 1}], "y": []}})", {}), R"({"x": [], "y": []})");
}

TEST(FacetStage, StopsReadingWhenNoPipelineWantsMore) {
  EXPECT_EQ(documentsRead(R"([{"$facet": {"x": [{"$limit": 1}], "y": [{"$limit": 2}]}}])", 100, 100), 2);
}

TEST(FacetStage, RefusesStagesThatCannotStandInside) {
  for (const char* name : {"$facet", "$out", "$merge", "$geoNear", "$indexStats", "$collStats"}) {
    EXPECT_EQ(stage(R"({"$facet": {"x": [{")" + std::string(name) + R"(": {}}]}})", {}), "query 40600") << name;
  }
}

TEST(FacetStage, ChecksItsOperand) {
  EXPECT_EQ(stage(R"({"$facet": 1})", {}), "query 40169");
  EXPECT_EQ(stage(R"({"$facet": {}})", {}), "query 40169");
  EXPECT_EQ(stage(R"({"$facet": {"x": 1}})", {}), "query 40170");
  EXPECT_EQ(stage(R"({"$facet": {"$x": []}})", {}), "query 16410");
  EXPECT_EQ(stage(R"({"$facet": {"a.b": []}})", {}), "query 16412");
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

// --- what the library sends --------------------------------------------------------------------------------------

TEST(Pipeline, AnswersTheStatisticsOfCategories) {
  const Documents records = {
      R"({"recordInfo": {"category": [{"name": "Color", "value": "red"}, {"name": "Shape", "value": "round"}]}})",
      R"({"recordInfo": {"category": [{"name": "color", "value": "red"}]}})",
      R"({"recordInfo": {"category": [{"name": "Color", "value": "blue"}, {"name": "Color"}]}})",
      R"({"recordInfo": {}})"};
  EXPECT_EQ(run(R"([{"$match": {"recordInfo.category.name": {"$regex": "^color$", "$options": "i"}}},
                    {"$unwind": "$recordInfo.category"},
                    {"$project": {"_id": false, "name": "$recordInfo.category.name", "value": "$recordInfo.category.value"}},
                    {"$match": {"name": {"$regex": "^color$", "$options": "i"}}},
                    {"$group": {"_id": "$value", "count": {"$sum": 1}}}])",
                records),
            R"({"_id": "red", "count": 2} {"_id": "blue", "count": 1} {"_id": null, "count": 1})");
}

}  // namespace
}  // namespace database_client::embedded
