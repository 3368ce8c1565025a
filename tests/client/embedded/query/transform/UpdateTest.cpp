// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "client/embedded/query/match/Query.h"
#include "client/embedded/query/transform/Update.h"
#include "tests/client/embedded/query/support.h"

namespace database_client::embedded {
namespace {

constexpr bson::Byte newId[bson::objectIdSize] = {};
constexpr const char* newIdText = R"({"$oid": "000000000000000000000000"})";

/// The changed document, "unchanged", or the error.
std::string apply(UpdateKind kind, const std::string& change, const std::string& stored) {
  return outcome([&]() -> std::string {
    const Bytes document = fromJson(change);
    const Bytes result = Update(kind, viewOf(document)).apply(viewOf(fromJson(stored)));
    return result.empty() ? "unchanged" : toJson(viewOf(result));
  });
}

std::string set(const std::string& change, const std::string& stored) {
  return apply(UpdateKind::setInAll, change, stored);
}
std::string push(const std::string& change, const std::string& stored) {
  return apply(UpdateKind::appendToArrayInAll, change, stored);
}
std::string replace(const std::string& change, const std::string& stored) {
  return apply(UpdateKind::replaceFirst, change, stored);
}

std::string upsert(UpdateKind kind, const std::string& selector, const std::string& change) {
  return outcome([&] {
    const Bytes document = fromJson(change);
    return toJson(viewOf(Update(kind, viewOf(document)).upsertDocument(parseQuery(viewOf(fromJson(selector))), newId)));
  });
}
std::string upsertSet(const std::string& selector, const std::string& change = R"({"z": 9})") {
  return upsert(UpdateKind::setInAll, selector, change);
}

// --- replacing ---------------------------------------------------------------------------------------------------

TEST(Replace, KeepsTheStoredId) {
  EXPECT_EQ(replace(R"({"b": 2})", R"({"_id": 1, "a": 1})"), R"({"_id": 1, "b": 2})");
  EXPECT_EQ(replace(R"({"b": 2, "_id": 1})", R"({"_id": 1, "a": 1})"), R"({"_id": 1, "b": 2})");
  EXPECT_EQ(replace(R"({"_id": 1.0, "b": 2})", R"({"_id": 1})"), R"({"_id": 1, "b": 2})");
}

TEST(Replace, RefusesAnotherId) {
  EXPECT_EQ(replace(R"({"_id": 2})", R"({"_id": 1})"), "query 66");
}

TEST(Replace, RefusesOperatorsAtTheTop) {
  EXPECT_EQ(replace(R"({"$set": {"a": 1}})", R"({"_id": 1})"), "query 22");
  EXPECT_EQ(replace(R"({"a": 1, "$b": 1})", R"({"_id": 1})"), "query 22");
  EXPECT_EQ(replace(R"({"a": {"$b": 1}})", R"({"_id": 1})"), R"({"_id": 1, "a": {"$b": 1}})");
}

TEST(Replace, ByTheEmptyDocumentLeavesTheId) {
  EXPECT_EQ(replace("{}", R"({"_id": 1, "a": 1})"), R"({"_id": 1})");
}

TEST(Replace, ByTheSameChangesNothing) {
  EXPECT_EQ(replace(R"({"a": 1})", R"({"_id": 1, "a": 1})"), "unchanged");
}

// --- setting -----------------------------------------------------------------------------------------------------

TEST(Set, ReplacesInPlaceAndAddsAtTheEnd) {
  EXPECT_EQ(set(R"({"a": "x", "c": 3})", R"({"_id": 1, "a": 1, "b": 2})"), R"({"_id": 1, "a": "x", "b": 2, "c": 3})");
}

TEST(Set, AddsAbsentFieldsInTheOrderOfTheirNames) {
  EXPECT_EQ(set(R"({"b": 1, "a": 2, "10": 3, "9": 4})", R"({"_id": 1})"),
            R"({"_id": 1, "9": 4, "10": 3, "a": 2, "b": 1})");
}

TEST(Set, CreatesMissingParentsAsDocuments) {
  EXPECT_EQ(set(R"({"a.b.c": 1})", R"({"_id": 1})"), R"({"_id": 1, "a": {"b": {"c": 1}}})");
  EXPECT_EQ(set(R"({"a.0": 1})", R"({"_id": 1})"), R"({"_id": 1, "a": {"0": 1}})");
  EXPECT_EQ(set(R"({"a.c": 1})", R"({"_id": 1, "a": {"b": 2}})"), R"({"_id": 1, "a": {"b": 2, "c": 1}})");
}

TEST(Set, RefusesAPathThroughAScalarOrNull) {
  EXPECT_EQ(set(R"({"a.b": 1})", R"({"_id": 1, "a": 5})"), "query 28");
  EXPECT_EQ(set(R"({"a.b": 1})", R"({"_id": 1, "a": null})"), "query 28");
  EXPECT_EQ(set(R"({"a.b.c": 1})", R"({"_id": 1, "a": {"b": "x"}})"), "query 28");
}

TEST(Set, SetsAndPadsArraysByIndex) {
  EXPECT_EQ(set(R"({"a.1": 9})", R"({"_id": 1, "a": [1, 2, 3]})"), R"({"_id": 1, "a": [1, 9, 3]})");
  EXPECT_EQ(set(R"({"a.4": 9})", R"({"_id": 1, "a": [1, 2]})"), R"({"_id": 1, "a": [1, 2, null, null, 9]})");
  EXPECT_EQ(set(R"({"a.2.x": 9})", R"({"_id": 1, "a": [{"x": 1}]})"), R"({"_id": 1, "a": [{"x": 1}, null, {"x": 9}]})");
  EXPECT_EQ(set(R"({"a.0.x": 9})", R"({"_id": 1, "a": [{"x": 1}]})"), R"({"_id": 1, "a": [{"x": 9}]})");
  EXPECT_EQ(set(R"({"a.10": 1, "a.2": 2})", R"({"_id": 1, "a": [0, 0]})"),
            R"({"_id": 1, "a": [0, 0, 2, null, null, null, null, null, null, null, 1]})");
}

TEST(Set, PadsByAtMost1500000Elements) {
  EXPECT_EQ(set(R"({"a.1500001": 1})", R"({"_id": 1, "a": []})"), "query 34");
  EXPECT_EQ(set(R"({"a.18446744073709551615": 1})", R"({"_id": 1, "a": []})"), "query 34");
  EXPECT_NE(set(R"({"a.1500000": 1})", R"({"_id": 1, "a": []})"), "query 34");
}

TEST(Set, RefusesANameInAnArray) {
  EXPECT_EQ(set(R"({"a.b": 1})", R"({"_id": 1, "a": [1]})"), "query 28");
  EXPECT_EQ(set(R"({"a.01": 1})", R"({"_id": 1, "a": [1]})"), "query 28");
}

TEST(Set, RefusesAPathTogetherWithItsBeginning) {
  EXPECT_EQ(set(R"({"a": 1, "a.b": 1})", R"({"_id": 1})"), "query 40");
  EXPECT_EQ(set(R"({"a.b": 1, "a": 1})", R"({"_id": 1})"), "query 40");
  EXPECT_EQ(set(R"({"a": 1, "a": 1})", R"({"_id": 1})"), "query 40");
}

TEST(Set, RefusesToChangeTheId) {
  EXPECT_EQ(set(R"({"_id": 2})", R"({"_id": 1})"), "query 66");
  EXPECT_EQ(set(R"({"_id.x": 2})", R"({"_id": {"x": 1}})"), "query 66");
}

TEST(Set, OfTheSameIdChangesNothing) {
  EXPECT_EQ(set(R"({"_id": 1})", R"({"_id": 1})"), "unchanged");
  EXPECT_EQ(set(R"({"_id": 1.0})", R"({"_id": 1})"), "unchanged");
}

TEST(Set, RefusesAnEmptyPartOfAPath) {
  for (const char* path : {"", "a.", ".a", "a..b"}) {
    EXPECT_EQ(set("{\"" + std::string(path) + "\": 1}", R"({"_id": 1})"), "query 56") << path;
  }
}

TEST(Set, RefusesDollarsInAPath) {
  EXPECT_EQ(set(R"({"$inc": {"a": 1}})", R"({"_id": 1})"), "query 52");
  EXPECT_EQ(set(R"({"a.$": 1})", R"({"_id": 1})"), "unsupported 0");
  EXPECT_EQ(set(R"({"a.$[]": 1})", R"({"_id": 1})"), "unsupported 0");
}

TEST(Set, OfNothingChangesNothing) {
  EXPECT_EQ(set("{}", R"({"_id": 1, "a": 1})"), "unchanged");
  EXPECT_EQ(set(R"({"a": 1})", R"({"_id": 1, "a": 1})"), "unchanged");
}

TEST(Set, ChangesTheKindOfANumber) {
  EXPECT_EQ(set(R"({"a": 1.0})", R"({"_id": 1, "a": 1})"), R"({"_id": 1, "a": 1.0})");
}

TEST(Set, RefusesMoreThan100Levels) {
  std::string path = "a";
  for (int i = 0; i < 99; ++i) path += ".a";
  EXPECT_NE(set("{\"" + path + "\": 1}", R"({"_id": 1})"), "document 15");
  EXPECT_EQ(set("{\"" + path + ".a.a\": 1}", R"({"_id": 1})"), "document 15");
}

TEST(Set, RefusesMoreThan16MiB) {
  const std::string half = "\"" + std::string(9 * 1024 * 1024, 'x') + "\"";
  EXPECT_EQ(set("{\"b\": " + half + "}", "{\"_id\": 1, \"a\": " + half + "}"), "document 10334");
}

// --- appending ---------------------------------------------------------------------------------------------------

TEST(Append, AddsOneElement) {
  EXPECT_EQ(push(R"({"a": {"x": 1}})", R"({"_id": 1, "a": [0]})"), R"({"_id": 1, "a": [0, {"x": 1}]})");
  EXPECT_EQ(push(R"({"a": 5, "b": 6})", R"({"_id": 1, "a": []})"), R"({"_id": 1, "a": [5], "b": [6]})");
}

TEST(Append, CreatesAMissingArrayAndItsParents) {
  EXPECT_EQ(push(R"({"a": 1})", R"({"_id": 1})"), R"({"_id": 1, "a": [1]})");
  EXPECT_EQ(push(R"({"a.b": 1})", R"({"_id": 1})"), R"({"_id": 1, "a": {"b": [1]}})");
}

TEST(Append, RefusesWhatIsNoArray) {
  for (const char* value : {"null", "1", "{}", "\"x\""}) {
    EXPECT_EQ(push(R"({"a": 1})", "{\"_id\": 1, \"a\": " + std::string(value) + "}"), "query 2") << value;
  }
  EXPECT_EQ(push(R"({"a.b": 1})", R"({"_id": 1, "a": 5})"), "query 28");
}

TEST(Append, TakesAnArrayAsOneElement) {
  EXPECT_EQ(push(R"({"a": [1, 2]})", R"({"_id": 1, "a": [0]})"), R"({"_id": 1, "a": [0, [1, 2]]})");
}

TEST(Append, SpreadsEach) {
  EXPECT_EQ(push(R"({"a": {"$each": [1, 2]}})", R"({"_id": 1, "a": [0]})"), R"({"_id": 1, "a": [0, 1, 2]})");
  EXPECT_EQ(push(R"({"a": {"$each": []}})", R"({"_id": 1, "a": [0]})"), "unchanged");
  EXPECT_EQ(push(R"({"a": {"$each": []}})", R"({"_id": 1})"), R"({"_id": 1, "a": []})");
}

TEST(Append, ChecksTheModifiers) {
  EXPECT_EQ(push(R"({"a": {"$each": 1}})", R"({"_id": 1})"), "query 2");
  EXPECT_EQ(push(R"({"a": {"$each": [], "$slice": 1}})", R"({"_id": 1})"), "unsupported 0");
  EXPECT_EQ(push(R"({"a": {"$each": [], "x": 1}})", R"({"_id": 1})"), "query 2");
}

TEST(Append, ReachesArraysByIndex) {
  EXPECT_EQ(push(R"({"a.0": 5})", R"({"_id": 1, "a": [[1]]})"), R"({"_id": 1, "a": [[1, 5]]})");
  EXPECT_EQ(push(R"({"a.1": 5})", R"({"_id": 1, "a": []})"), R"({"_id": 1, "a": [null, [5]]})");
}

// --- upserts -----------------------------------------------------------------------------------------------------

TEST(Upsert, HoldsTheEqualityConditionsAndTheChange) {
  EXPECT_EQ(upsertSet(R"({"_id": 7, "a": 1, "b": {"$eq": 2}})"), R"({"_id": 7, "a": 1, "b": 2, "z": 9})");
  EXPECT_EQ(upsertSet(R"({"$and": [{"a": 1}, {"$and": [{"_id": 7}]}]})"), R"({"_id": 7, "a": 1, "z": 9})");
  EXPECT_EQ(upsert(UpdateKind::appendToArrayInAll, R"({"_id": 7})", R"({"a": 1})"), R"({"_id": 7, "a": [1]})");
}

TEST(Upsert, DottedPathsBecomeNestedDocuments) {
  EXPECT_EQ(upsertSet(R"({"_id": 7, "a.b": 1, "a.c": 2})"), R"({"_id": 7, "a": {"b": 1, "c": 2}, "z": 9})");
}

TEST(Upsert, AReferenceIsAValue) {
  EXPECT_EQ(upsertSet(R"({"_id": {"$ref": "c", "$id": 1}, "a": {"$ref": "c", "$id": 2}})"),
            R"({"_id": {"$ref": "c", "$id": 1}, "a": {"$ref": "c", "$id": 2}, "z": 9})");
}

TEST(Upsert, PassesOverOtherOperators) {
  EXPECT_EQ(upsertSet(R"({"_id": 7, "a": {"$gt": 1}, "b": {"$in": [1]}, "$or": [{"c": 1}],
                        "d": {"$regularExpression": {"pattern": "x", "options": ""}}, "e": {"$exists": true},
                        "f": {"$all": [1]}, "g": {"$not": {"$eq": 1}}, "h": {"$elemMatch": {"$eq": 1}}})"),
            R"({"_id": 7, "z": 9})");
}

TEST(Upsert, RefusesAValueDemandedTwice) {
  EXPECT_EQ(upsertSet(R"({"a": 1, "$and": [{"a": 1}]})"), "query 54");
  EXPECT_EQ(upsertSet(R"({"a": 1, "a.b": 1})"), "query 54");
  EXPECT_EQ(upsertSet(R"({"a.b": 1, "a": 1})"), "query 54");
}

TEST(Upsert, ForAReplacementTakesOnlyTheId) {
  EXPECT_EQ(upsert(UpdateKind::replaceFirst, R"({"_id": 7, "a": 1, "$and": [{"a": 1}]})", R"({"b": 2})"),
            R"({"_id": 7, "b": 2})");
  EXPECT_EQ(upsert(UpdateKind::replaceFirst, R"({"a": 1})", R"({"b": 2, "_id": 8})"), R"({"_id": 8, "b": 2})");
  EXPECT_EQ(upsert(UpdateKind::replaceFirst, R"({"_id": 7})", R"({"_id": 8})"), "query 66");
}

TEST(Upsert, GetsTheNewIdWhenNothingGivesOne) {
  EXPECT_EQ(upsertSet(R"({"a": 1})"), R"({"_id": )" + std::string(newIdText) + R"(, "a": 1, "z": 9})");
  EXPECT_EQ(upsert(UpdateKind::replaceFirst, "{}", "{}"), R"({"_id": )" + std::string(newIdText) + "}");
}

TEST(Upsert, PutsTheIdFirst) {
  EXPECT_EQ(upsertSet(R"({"a": 1, "_id": 7})"), R"({"_id": 7, "a": 1, "z": 9})");
  EXPECT_EQ(upsertSet(R"({"a": 1})", R"({"_id": 3})"), R"({"_id": 3, "a": 1})");
}

TEST(Upsert, RefusesAnIdThatNoDocumentMayHave) {
  EXPECT_EQ(upsertSet(R"({"_id": [1]})"), "query 53");
  EXPECT_EQ(upsertSet(R"({"a": 1})", R"({"_id": {"$regularExpression": {"pattern": "x", "options": ""}}})"),
            "query 53");
  EXPECT_EQ(upsert(UpdateKind::replaceFirst, "{}", R"({"_id": {"$undefined": true}})"), "query 53");
}

TEST(Upsert, AppliesTheChangeToWhatTheConditionsGive) {
  EXPECT_EQ(upsertSet(R"({"_id": 7, "a": 1})", R"({"a": 2})"), R"({"_id": 7, "a": 2})");
  EXPECT_EQ(upsertSet(R"({"_id": 7, "a": 1})", R"({"a.b": 2})"), "query 28");
  EXPECT_EQ(upsertSet(R"({"_id": 7})", R"({"_id": 8})"), "query 66");
}

}  // namespace
}  // namespace database_client::embedded
