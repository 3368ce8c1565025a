// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "client/embedded/query/transform/Projection.h"
#include "tests/client/embedded/query/support.h"

namespace database_client::embedded {
namespace {

std::string project(const std::string& specification, const std::string& document) {
  return outcome(
      [&] { return toJson(viewOf(Projection(viewOf(fromJson(specification))).apply(viewOf(fromJson(document))))); });
}

constexpr const char* sample = R"({"_id": 1, "a": 2, "b": {"x": 3, "y": 4}, "c": [{"x": 5, "y": 6}, 7, [{"x": 8}]]})";

TEST(Projection, InclusionKeepsTheNamedFieldsAndId) {
  EXPECT_EQ(project(R"({"b": 1, "a": 1})", sample), R"({"_id": 1, "a": 2, "b": {"x": 3, "y": 4}})");
  EXPECT_EQ(project(R"({"nowhere": 1})", sample), R"({"_id": 1})");
}

TEST(Projection, ExclusionKeepsAllOtherFields) {
  EXPECT_EQ(project(R"({"b": 0, "c": 0})", sample), R"({"_id": 1, "a": 2})");
}

TEST(Projection, IdMayBeSwitchedOffInAnInclusionAndOnInAnExclusion) {
  EXPECT_EQ(project(R"({"_id": 0, "a": 1})", sample), R"({"a": 2})");
  EXPECT_EQ(project(R"({"a": 1, "_id": false})", sample), R"({"a": 2})");
  EXPECT_EQ(project(R"({"_id": 1, "a": 0, "b": 0})", R"({"_id": 1, "a": 2})"), R"({"_id": 1})");
}

TEST(Projection, IdAloneFixesTheKind) {
  EXPECT_EQ(project(R"({"_id": 1})", sample), R"({"_id": 1})");
  EXPECT_EQ(project(R"({"_id": 0})", R"({"_id": 1, "a": 2})"), R"({"a": 2})");
}

TEST(Projection, TheEmptyProjectionKeepsEverything) {
  EXPECT_EQ(project("{}", R"({"_id": 1, "a": 2})"), R"({"_id": 1, "a": 2})");
  EXPECT_TRUE(Projection(viewOf(fromJson("{}"))).keepsEverything());
  EXPECT_FALSE(Projection(viewOf(fromJson(R"({"_id": 0})"))).keepsEverything());
  EXPECT_FALSE(Projection(viewOf(fromJson(R"({"_id": 1})"))).keepsEverything());
}

TEST(Projection, AnyNumberOrBooleanCountsByItsTruth) {
  for (const char* yes : {"1", "true", "5", "-1.5", R"({"$numberDecimal": "1"})", R"({"$numberLong": "7"})"}) {
    EXPECT_EQ(project("{\"a\": " + std::string(yes) + "}", sample), R"({"_id": 1, "a": 2})") << yes;
  }
  for (const char* no : {"0", "false", "0.0", "-0.0", R"({"$numberDecimal": "0"})"}) {
    EXPECT_EQ(project("{\"a\": " + std::string(no) + "}", R"({"_id": 1, "a": 2})"), R"({"_id": 1})") << no;
  }
}

TEST(Projection, InclusionAndExclusionDoNotMix) {
  EXPECT_EQ(project(R"({"a": 0, "b": 1})", sample), "query 31253");
  EXPECT_EQ(project(R"({"a": 1, "b": 0})", sample), "query 31254");
  EXPECT_EQ(project(R"({"_id": 1, "a": 0, "b": 1})", sample), "query 31253");
  EXPECT_EQ(project(R"({"b": {"x": 1, "y": 0}})", sample), "query 31254");
}

TEST(Projection, CollidingPathsAreRefused) {
  EXPECT_EQ(project(R"({"b": 1, "b.x": 1})", sample), "query 31249");
  EXPECT_EQ(project(R"({"b.x": 1, "b": 1})", sample), "query 31250");
  EXPECT_EQ(project(R"({"b.x": 1, "b": {"x": 1}})", sample), "query 31250");
}

TEST(Projection, DottedInclusionReducesDocumentsAndDropsScalarsInArrays) {
  EXPECT_EQ(project(R"({"b.x": 1})", sample), R"({"_id": 1, "b": {"x": 3}})");
  EXPECT_EQ(project(R"({"c.x": 1})", sample), R"({"_id": 1, "c": [{"x": 5}, [{"x": 8}]]})");
  EXPECT_EQ(project(R"({"a.x": 1})", sample), R"({"_id": 1})");
  EXPECT_EQ(project(R"({"b.z": 1})", sample), R"({"_id": 1, "b": {}})");
}

TEST(Projection, DottedExclusionLeavesScalarsInArrays) {
  EXPECT_EQ(project(R"({"c.x": 0, "b": 0})", sample), R"({"_id": 1, "a": 2, "c": [{"y": 6}, 7, [{}]]})");
  EXPECT_EQ(project(R"({"a.x": 0, "b": 0, "c": 0})", sample), R"({"_id": 1, "a": 2})");
}

TEST(Projection, NestedDocumentsSpellPaths) {
  EXPECT_EQ(project(R"({"b": {"x": 1}})", sample), R"({"_id": 1, "b": {"x": 3}})");
  EXPECT_EQ(project(R"({"b": {}})", sample), "query 51270");
}

TEST(Projection, KeptFieldsStayInDocumentOrderWithIdFirst) {
  EXPECT_EQ(project(R"({"b": 1, "a": 1, "_id": 1})", R"({"a": 1, "b": 2, "_id": 3})"), R"({"_id": 3, "a": 1, "b": 2})");
}

TEST(Projection, ExpressionsAreUnsupported) {
  for (const char* specification : {R"({"a": "$b"})", R"({"a": "text"})", R"({"a": {"$slice": 1}})", R"({"a": [1]})",
                                    R"({"a": {"$elemMatch": {"x": 1}}})", R"({"a": null})", R"({"a.$": 1})"}) {
    EXPECT_EQ(project(specification, sample), "unsupported 0") << specification;
  }
}

TEST(Projection, MalformedPathsAreRefused) {
  EXPECT_EQ(project(R"({"a..b": 1})", sample), "query 15998");
  EXPECT_EQ(project(R"({"$a": 1})", sample), "query 16410");
}

}  // namespace
}  // namespace database_client::embedded
