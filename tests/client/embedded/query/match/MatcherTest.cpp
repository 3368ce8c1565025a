// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstring>

#include "client/embedded/query/match/Matcher.h"
#include "tests/client/embedded/query/support.h"

namespace database_client::embedded {
namespace {

using testing::bytes;
using testing::outcome;
using testing::view;

/// The numbers of the documents that match, from 1 on: "1 3"; or kind and code of the error.
std::string select(const std::string& query, const std::vector<std::string>& documents) {
  return outcome([&] {
    const Matcher matcher(view(bytes(query)));
    std::string numbers;
    for (std::size_t i = 0; i < documents.size(); ++i) {
      if (!matcher.matches(view(bytes(documents[i])))) continue;
      numbers += (numbers.empty() ? "" : " ") + std::to_string(i + 1);
    }
    return numbers;
  });
}

/// Whether `query` selects the one document: "yes" or "no", or the error.
std::string test(const std::string& query, const std::string& document) {
  const std::string numbers = select(query, {document});
  return numbers.empty() ? "no" : numbers == "1" ? "yes" : numbers;
}

/// The message of the error that a query causes.
std::string messageOf(const std::string& query) {
  try {
    const Matcher matcher(view(bytes(query)));
    return "no error";
  } catch (const Error& error) {
    return error.what();
  }
}

// --- equality ----------------------------------------------------------------------------------------------------

TEST(Matcher, TheEmptyQueryMatchesEverything) {
  EXPECT_EQ(select("{}", {"{}", R"({"a": 1})"}), "1 2");
  EXPECT_TRUE(Matcher(view(bytes("{}"))).matchesEverything());
  EXPECT_TRUE(Matcher(view(bytes(R"({"$comment": "x"})"))).matchesEverything());
  EXPECT_FALSE(Matcher(view(bytes(R"({"a": 1})"))).matchesEverything());
}

TEST(Matcher, SeveralFieldsMustAllMatch) {
  EXPECT_EQ(select(R"({"a": 1, "b": 2})", {R"({"a": 1, "b": 2})", R"({"a": 1})", R"({"b": 2})"}), "1");
}

TEST(Matcher, ScalarsMatchAnElementOfAnArray) {
  EXPECT_EQ(select(R"({"a": 1})", {R"({"a": [1, 2]})", R"({"a": 1})", R"({"a": [2]})", R"({"a": [[1]]})"}), "1 2");
}

TEST(Matcher, ArraysMatchWholeOrAsAnElement) {
  EXPECT_EQ(select(R"({"a": [1, 2]})", {R"({"a": [1, 2]})", R"({"a": [[1, 2], 3]})", R"({"a": [2, 1]})",
                                        R"({"a": [1, 2, 3]})", R"({"a": [1.0, {"$numberLong": "2"}]})"}),
            "1 2 5");
}

TEST(Matcher, TheEmptyArrayMatchesItselfAndAsAnElement) {
  EXPECT_EQ(select(R"({"a": []})", {R"({"a": []})", R"({"a": [[]]})", R"({"a": [1]})", "{}"}), "1 2");
}

TEST(Matcher, ObjectsMatchInStoredOrderWithNumbersByValue) {
  EXPECT_EQ(select(R"({"a": {"x": 1, "y": 2}})",
                   {R"({"a": {"x": 1, "y": 2}})", R"({"a": {"y": 2, "x": 1}})", R"({"a": {"x": 1.0, "y": 2}})",
                    R"({"a": {"x": 1, "y": 2, "z": 3}})", R"({"a": {"x": 1}})"}),
            "1 3");
}

TEST(Matcher, NumbersCompareExactlyAcrossKinds) {
  const std::vector<std::string> documents = {
      R"({"a": {"$numberLong": "9007199254740993"}})", R"({"a": {"$numberDouble": "9007199254740992"}})",
      R"({"a": {"$numberLong": "9007199254740992"}})", R"({"a": {"$numberLong": "9007199254740991"}})",
      R"({"a": {"$numberDecimal": "9007199254740993"}})"};
  EXPECT_EQ(select(R"({"a": {"$numberLong": "9007199254740993"}})", documents), "1 5");
  EXPECT_EQ(select(R"({"a": {"$numberDouble": "9007199254740992"}})", documents), "2 3");
  EXPECT_EQ(select(R"({"a": {"$lt": {"$numberDouble": "9007199254740992"}}})", documents), "4");
  EXPECT_EQ(select(R"({"a": {"$gt": {"$numberDouble": "9007199254740992"}}})", documents), "1 5");
}

TEST(Matcher, NegativeZeroIsZero) {
  EXPECT_EQ(select(R"({"a": 0})", {R"({"a": {"$numberDouble": "-0.0"}})", R"({"a": {"$numberDecimal": "-0"}})"}),
            "1 2");
  EXPECT_EQ(select(R"({"a": {"$lt": 0}})", {R"({"a": {"$numberDouble": "-0.0"}})"}), "");
}

TEST(Matcher, StringsEqualSymbols) {
  EXPECT_EQ(select(R"({"a": "x"})", {R"({"a": {"$symbol": "x"}})", R"({"a": "x"})", R"({"a": "x\u0000"})"}), "1 2");
}

TEST(Matcher, BooleansAreNoNumbers) {
  EXPECT_EQ(select(R"({"a": 1})", {R"({"a": true})"}), "");
  EXPECT_EQ(select(R"({"a": {"$gte": false}})", {R"({"a": 0})", R"({"a": true})"}), "2");
}

TEST(Matcher, AReferenceIsAValue) {
  const std::string reference = R"({"a": {"$ref": "c", "$id": 1}})";
  EXPECT_EQ(select(reference, {reference, "{}"}), "1");
  EXPECT_EQ(select(R"({"a": {"$eq": {"$ref": "c", "$id": 1}}})", {reference, "{}"}), "1");
  EXPECT_EQ(select(R"({"a": {"$in": [{"$ref": "c", "$id": 1}]}})", {reference, "{}"}), "1");
}

TEST(Matcher, AnObjectWithALaterDollarKeyIsAValue) {
  EXPECT_EQ(select(R"({"a": {"x": 1, "$gt": 2}})", {R"({"a": {"x": 1, "$gt": 2}})", R"({"a": 3})"}), "1");
}

TEST(Matcher, ComparingWithUndefinedIsRefused) {
  for (const char* query : {R"({"a": {"$undefined": true}})", R"({"a": {"$gt": {"$undefined": true}}})",
                            R"({"a": {"$ne": {"$undefined": true}}})", R"({"a": {"$in": [{"$undefined": true}]}})"}) {
    EXPECT_EQ(select(query, {}), "query 2") << query;
  }
}

// --- null and missing --------------------------------------------------------------------------------------------

TEST(Matcher, NullMatchesNullMissingAndUndefined) {
  EXPECT_EQ(select(R"({"a": null})", {R"({"a": null})", "{}", R"({"a": {"$undefined": true}})", R"({"a": 0})",
                                      R"({"a": []})", R"({"a": [null]})"}),
            "1 2 3 6");
}

TEST(Matcher, NullOnAPathMatchesWhereTheFieldCouldStandAndDoesNot) {
  EXPECT_EQ(
      select(R"({"a.b": null})", {R"({"a": 5})", "{}", R"({"a": [{"b": 1}, {}]})", R"({"a": []})", R"({"a": [1, 2]})",
                                  R"({"a": {"b": 1}})", R"({"a": {"b": null}})", R"({"a": [{"b": 1}]})"}),
      "1 2 3 7");
}

TEST(Matcher, NotEqualToNullExcludesMissing) {
  EXPECT_EQ(select(R"({"a": {"$ne": null}})", {R"({"a": null})", "{}", R"({"a": 1})", R"({"a": []})"}), "3 4");
}

// --- paths -------------------------------------------------------------------------------------------------------

TEST(Matcher, PathsGoThroughDocumentsInArrays) {
  EXPECT_EQ(select(R"({"a.b": 1})", {R"({"a": [{"b": 1}, {"b": 2}]})", R"({"a": {"b": [0, 1]}})",
                                     R"({"a": [{"b": [1]}]})", R"({"a": [[{"b": 1}]]})", R"({"a.b": 1})"}),
            "1 2 3");
}

TEST(Matcher, NestedArraysAreEnteredOnlyByIndex) {
  const std::vector<std::string> documents = {R"({"a": [[{"b": 1}]]})", R"({"a": [{"b": 1}]})"};
  EXPECT_EQ(select(R"({"a.b": 1})", documents), "2");
  EXPECT_EQ(select(R"({"a.0.b": 1})", documents), "1 2");
  EXPECT_EQ(select(R"({"a.0.0.b": 1})", documents), "1");
  EXPECT_EQ(select(R"({"a.0.0": 5})", {R"({"a": [[5]]})"}), "1");
}

TEST(Matcher, AnIndexNamesAnElementOrAKey) {
  EXPECT_EQ(select(R"({"a.1": 5})", {R"({"a": [4, 5]})", R"({"a": {"1": 5}})", R"({"a": [{"1": 5}]})",
                                     R"({"a": [5, 4]})", R"({"a": [5]})"}),
            "1 2 3");
  EXPECT_EQ(select(R"({"a.01": 5})", {R"({"a": [4, 5]})", R"({"a": {"01": 5}})"}), "2");
}

TEST(Matcher, AnArrayReachedByIndexIsComparedWhole) {
  EXPECT_EQ(select(R"({"a.1": 2})", {R"({"a": [5, [2, 4]]})"}), "");
  EXPECT_EQ(select(R"({"a.1": [2, 4]})", {R"({"a": [5, [2, 4]]})"}), "1");
}

TEST(Matcher, APathIsNeverAKeyWithDots) {
  EXPECT_EQ(select(R"({"a.b": 1})", {R"({"a.b": 1})"}), "");
}

TEST(Matcher, EmptyPartsNameEmptyKeys) {
  EXPECT_EQ(select(R"({"": 1})", {R"({"": 1})", "{}"}), "1");
  EXPECT_EQ(select(R"({"a..b": 1})", {R"({"a": {"": {"b": 1}}})"}), "1");
}

TEST(Matcher, TheFirstOfRepeatedKeysCounts) {
  EXPECT_EQ(select(R"({"a": 2})", {R"({"a": 1, "a": 2})"}), "");
}

TEST(Matcher, AnOverlongPathIsRefused) {
  std::string path = "a";
  for (int i = 0; i < 200; ++i) path += ".a";
  EXPECT_EQ(select("{\"" + path + "\": 1}", {}), "query 15");
}

// --- comparison --------------------------------------------------------------------------------------------------

TEST(Matcher, ComparisonsStayWithinTheClassOfTheOperand) {
  const std::vector<std::string> documents = {R"({"a": 1})",    R"({"a": "x"})",
                                              R"({"a": null})", "{}",
                                              R"({"a": true})", R"({"a": {"$date": {"$numberLong": "0"}}})"};
  EXPECT_EQ(select(R"({"a": {"$gte": 0}})", documents), "1");
  EXPECT_EQ(select(R"({"a": {"$lt": 5}})", documents), "1");
  EXPECT_EQ(select(R"({"a": {"$gt": ""}})", documents), "2");
  EXPECT_EQ(select(R"({"a": {"$lte": {"$date": {"$numberLong": "0"}}}})", documents), "6");
}

TEST(Matcher, NullIsLessOrEqualAndGreaterOrEqualToMissing) {
  const std::vector<std::string> documents = {R"({"a": null})", "{}", R"({"a": 1})", R"({"a": {"$undefined": true}})"};
  EXPECT_EQ(select(R"({"a": {"$lte": null}})", documents), "1 2 4");
  EXPECT_EQ(select(R"({"a": {"$gte": null}})", documents), "1 2 4");
  EXPECT_EQ(select(R"({"a": {"$lt": null}})", documents), "");
  EXPECT_EQ(select(R"({"a": {"$gt": null}})", documents), "");
}

TEST(Matcher, MinKeyAndMaxKeyCompareWithEverything) {
  const std::vector<std::string> documents = {R"({"a": 1})", "{}", R"({"a": {"$minKey": 1}})",
                                              R"({"a": {"$maxKey": 1}})"};
  EXPECT_EQ(select(R"({"a": {"$gt": {"$minKey": 1}}})", documents), "1 2 4");
  EXPECT_EQ(select(R"({"a": {"$gte": {"$minKey": 1}}})", documents), "1 2 3 4");
  EXPECT_EQ(select(R"({"a": {"$lt": {"$maxKey": 1}}})", documents), "1 2 3");
  EXPECT_EQ(select(R"({"a": {"$lte": {"$maxKey": 1}}})", documents), "1 2 3 4");
  EXPECT_EQ(select(R"({"a": {"$lt": {"$minKey": 1}}})", documents), "");
  EXPECT_EQ(select(R"({"a": {"$gt": {"$maxKey": 1}}})", documents), "");
}

TEST(Matcher, NaNComparesOnlyWithItself) {
  const std::vector<std::string> documents = {R"({"a": {"$numberDouble": "NaN"}})", R"({"a": 1})",
                                              R"({"a": {"$numberDecimal": "NaN"}})"};
  const std::string nan = R"({"$numberDouble": "NaN"})";
  EXPECT_EQ(select("{\"a\": " + nan + "}", documents), "1 3");
  EXPECT_EQ(select("{\"a\": {\"$lt\": " + nan + "}}", documents), "");
  EXPECT_EQ(select("{\"a\": {\"$gt\": " + nan + "}}", documents), "");
  EXPECT_EQ(select("{\"a\": {\"$lte\": " + nan + "}}", documents), "1 3");
  EXPECT_EQ(select("{\"a\": {\"$gte\": " + nan + "}}", documents), "1 3");
  EXPECT_EQ(select(R"({"a": {"$lt": 5}})", documents), "2");
}

TEST(Matcher, DifferentElementsMaySatisfyEachCondition) {
  EXPECT_EQ(select(R"({"a": {"$gt": 1, "$lt": 3}})", {R"({"a": [0, 5]})", R"({"a": 0})", R"({"a": 2})"}), "1 3");
}

TEST(Matcher, DatesBeforeTheEpochComeFirst) {
  EXPECT_EQ(test(R"({"a": {"$lt": {"$date": "1970-01-01T00:00:00Z"}}})", R"({"a": {"$date": "1969-12-31T00:00:00Z"}})"),
            "yes");
}

TEST(Matcher, StringsCompareByBytes) {
  EXPECT_EQ(select(R"({"a": {"$lt": "a"}})", {R"({"a": "B"})", R"({"a": "b"})", R"({"a": "é"})"}), "1");
}

TEST(Matcher, ArraysCompareWhole) {
  EXPECT_EQ(
      select(R"({"a": {"$gt": [1, 2]}})", {R"({"a": [1, 3]})", R"({"a": [1, 1]})", R"({"a": [[2]]})", R"({"a": 5})"}),
      "1 3");
}

TEST(Matcher, ComparisonsRefuseARegularExpression) {
  for (const char* name : {"$gt", "$gte", "$lt", "$lte", "$ne"}) {
    EXPECT_EQ(
        select(R"({"a": {")" + std::string(name) + R"(": {"$regularExpression": {"pattern": "x", "options": ""}}}})",
               {}),
        "query 2")
        << name;
  }
}

TEST(Matcher, EqWithARegularExpressionMatchesOnlyAStoredOne) {
  const std::string regex = R"({"$regularExpression": {"pattern": "x", "options": ""}})";
  EXPECT_EQ(select(R"({"a": {"$eq": )" + regex + "}}", {R"({"a": "x"})", R"({"a": )" + regex + "}"}), "2");
}

// --- negation ----------------------------------------------------------------------------------------------------

TEST(Matcher, NotEqualNegatesTheWholeMatch) {
  EXPECT_EQ(select(R"({"a": {"$ne": 1}})", {R"({"a": [1, 2]})", R"({"a": 2})", "{}", R"({"a": 1})", R"({"a": [2]})"}),
            "2 3 5");
}

TEST(Matcher, NotInSelectsDocumentsWithoutTheField) {
  EXPECT_EQ(select(R"({"a": {"$nin": [1, 2]}})", {R"({"a": 3})", "{}", R"({"a": [1, 5]})", R"({"a": 2})"}), "1 2");
}

TEST(Matcher, NotNegatesAllOperatorsTogether) {
  EXPECT_EQ(
      select(R"({"a": {"$not": {"$gt": 1, "$lt": 3}}})", {R"({"a": 2})", R"({"a": 5})", "{}", R"({"a": [0, 5]})"}),
      "2 3");
}

TEST(Matcher, NotTakesARegularExpression) {
  const std::vector<std::string> documents = {R"({"a": "abc"})", R"({"a": "x"})", "{}", R"({"a": 1})"};
  EXPECT_EQ(select(R"({"a": {"$not": {"$regularExpression": {"pattern": "b", "options": ""}}}})", documents), "2 3 4");
  EXPECT_EQ(select(R"({"a": {"$not": {"$regex": "B", "$options": "i"}}})", documents), "2 3 4");
}

TEST(Matcher, NotNeedsOperators) {
  EXPECT_EQ(select(R"({"a": {"$not": 1}})", {}), "query 2");
  EXPECT_EQ(select(R"({"a": {"$not": {}}})", {}), "query 2");
  EXPECT_EQ(select(R"({"a": {"$not": {"x": 1}}})", {}), "query 2");
}

// --- logic -------------------------------------------------------------------------------------------------------

TEST(Matcher, AndOrNorCombineQueries) {
  const std::vector<std::string> documents = {R"({"a": 1, "b": 2})", R"({"a": 1})", R"({"b": 2})", "{}"};
  EXPECT_EQ(select(R"({"$and": [{"a": 1}, {"b": 2}]})", documents), "1");
  EXPECT_EQ(select(R"({"$or": [{"a": 1}, {"b": 2}]})", documents), "1 2 3");
  EXPECT_EQ(select(R"({"$nor": [{"a": 1}, {"b": 2}]})", documents), "4");
  EXPECT_EQ(select(R"({"b": 2, "$or": [{"a": 1}, {"$and": [{"a": 2}]}]})", documents), "1");
}

TEST(Matcher, LogicNeedsANonEmptyArrayOfDocuments) {
  for (const char* name : {"$and", "$or", "$nor"}) {
    for (const char* operand : {"[]", "1", "{}", "[1]", "[{}, 1]", "null"}) {
      EXPECT_EQ(select("{\"" + std::string(name) + "\": " + operand + "}", {}), "query 2") << name << operand;
    }
  }
}

TEST(Matcher, UnknownOperatorsAreRefusedAtEveryLevel) {
  for (const char* query :
       {R"({"$foo": 1})", R"({"a": {"$foo": 1}})", R"({"$or": [{"$foo": 1}]})", R"({"a": {"$not": {"$foo": 1}}})",
        R"({"a": {"$elemMatch": {"$foo": 1}}})", R"({"a": {"$elemMatch": {"b": {"$foo": 1}}}})",
        R"({"a": {"$gt": 1, "x": 2}})", R"({"$not": {"a": 1}})", R"({"$gt": 1})"}) {
    EXPECT_EQ(select(query, {}), "query 2") << query;
  }
  EXPECT_NE(messageOf(R"({"a": {"$foo": 1}})").find("$foo"), std::string::npos);
}

TEST(Matcher, ErrorsNameThePathAndWhatStandsThere) {
  EXPECT_EQ(messageOf(R"({"a.b": {"$in": 5}})"), "\"a.b.$in\": $in takes an array, not an int32");
  EXPECT_EQ(messageOf(R"({"a": {"$regex": "("}})").substr(0, 31), "\"a\": the regular expression \"(\"");
  EXPECT_EQ(messageOf(R"({"a": {"$elemMatch": {"value": {"$size": "x"}}}})"),
            "\"a.value.$size\": $size takes an integer that is not negative, not a string");
  EXPECT_EQ(messageOf(R"({"$or": [{"a": 1}, {"b": {"$foo": 1}}]})"), "\"$or.1.b.$foo\": unknown operator: $foo");
  EXPECT_EQ(messageOf(R"({"$and": []})"), "$and takes at least one document, not an empty array");
  EXPECT_EQ(messageOf(R"({"$nor": [5]})"), "\"$nor.0\": $nor takes documents, not an int32");
}

TEST(Matcher, OperatorsOfAServerThatAreNotSupportedAreNamed) {
  for (const char* name : {"$expr", "$where", "$text", "$jsonSchema", "$function", "$accumulator", "$out", "$merge"}) {
    const std::string query = "{\"" + std::string(name) + R"(": "x"})";
    EXPECT_EQ(select(query, {}), "unsupported 0") << name;
    EXPECT_NE(messageOf(query).find(name), std::string::npos);
  }
  for (const char* name : {"$near", "$nearSphere", "$geoWithin", "$geoIntersects", "$bitsAllSet", "$where"}) {
    EXPECT_EQ(select(R"({"a": {")" + std::string(name) + "\": 1}}", {}), "unsupported 0") << name;
  }
}

// --- $in ---------------------------------------------------------------------------------------------------------

TEST(Matcher, InIsEqualityWithAny) {
  EXPECT_EQ(select(R"({"a": {"$in": [1, "x", [2]]}})",
                   {R"({"a": 1.0})", R"({"a": "x"})", R"({"a": [2]})", R"({"a": [5, 1]})", R"({"a": 2})", "{}"}),
            "1 2 3 4");
}

TEST(Matcher, InWithNullCoversMissing) {
  EXPECT_EQ(
      select(R"({"a": {"$in": [null]}})", {"{}", R"({"a": null})", R"({"a": {"$undefined": true}})", R"({"a": 1})"}),
      "1 2 3");
}

TEST(Matcher, InTakesRegularExpressionValues) {
  const std::string regex = R"({"$regularExpression": {"pattern": "^a", "options": ""}})";
  EXPECT_EQ(select(R"({"a": {"$in": [1, )" + regex + "]}}", {R"({"a": "abc"})", R"({"a": "bab"})", R"({"a": 1})",
                                                             R"({"a": )" + regex + "}", R"({"a": ["x", "ax"]})"}),
            "1 3 4 5");
}

TEST(Matcher, InRefusesOperators) {
  EXPECT_EQ(select(R"({"a": {"$in": [{"$regex": "x"}]}})", {}), "query 2");
  EXPECT_EQ(select(R"({"a": {"$nin": [{"$gt": 1}]}})", {}), "query 2");
  EXPECT_EQ(select(R"({"a": {"$in": 1}})", {}), "query 2");
}

TEST(Matcher, EmptyInMatchesNothingAndEmptyNotInEverything) {
  EXPECT_EQ(select(R"({"a": {"$in": []}})", {"{}", R"({"a": 1})"}), "");
  EXPECT_EQ(select(R"({"a": {"$nin": []}})", {"{}", R"({"a": 1})"}), "1 2");
}

// --- $exists and $type -------------------------------------------------------------------------------------------

TEST(Matcher, ExistsIsTrueForNull) {
  const std::vector<std::string> documents = {R"({"a": null})", "{}", R"({"a": 1})", R"({"a": []})"};
  EXPECT_EQ(select(R"({"a": {"$exists": true}})", documents), "1 3 4");
  EXPECT_EQ(select(R"({"a": {"$exists": false}})", documents), "2");
  EXPECT_EQ(select(R"({"a": {"$exists": 1}})", documents), "1 3 4");
  EXPECT_EQ(select(R"({"a": {"$exists": 0}})", documents), "2");
  EXPECT_EQ(select(R"({"a": {"$exists": null}})", documents), "2");
  EXPECT_EQ(select(R"({"a": {"$exists": ""}})", documents), "1 3 4");
}

TEST(Matcher, ExistsAtAnIndexTellsWhetherAnArrayHoldsAnything) {
  EXPECT_EQ(
      select(R"({"a.0": {"$exists": true}})", {R"({"a": []})", R"({"a": [null]})", R"({"a": 1})", R"({"a": [[]]})"}),
      "2 4");
}

TEST(Matcher, TypeTakesNumbersNamesAndArrays) {
  const std::vector<std::string> documents = {R"({"a": 1})",   R"({"a": 1.5})",  R"({"a": {"$numberLong": "1"}})",
                                              R"({"a": "x"})", R"({"a": null})", "{}"};
  EXPECT_EQ(select(R"({"a": {"$type": 16}})", documents), "1");
  EXPECT_EQ(select(R"({"a": {"$type": "double"}})", documents), "2");
  EXPECT_EQ(select(R"({"a": {"$type": "number"}})", documents), "1 2 3");
  EXPECT_EQ(select(R"({"a": {"$type": ["long", 2]}})", documents), "3 4");
}

TEST(Matcher, TypeNullIsOnlyRealNull) {
  EXPECT_EQ(select(R"({"a": {"$type": 10}})", {R"({"a": null})", "{}", R"({"a": {"$undefined": true}})"}), "1");
}

TEST(Matcher, TypeLooksAtElementsAndAtTheArray) {
  const std::vector<std::string> documents = {R"({"a": [1, "x"]})", R"({"a": []})", R"({"a": 1})"};
  EXPECT_EQ(select(R"({"a": {"$type": "string"}})", documents), "1");
  EXPECT_EQ(select(R"({"a": {"$type": "array"}})", documents), "1 2");
}

TEST(Matcher, TypeKnowsEveryName) {
  const std::vector<std::pair<std::string, std::string>> values = {
      {"object", "{}"},
      {"binData", R"({"$binary": {"base64": "", "subType": "00"}})"},
      {"undefined", R"({"$undefined": true})"},
      {"objectId", R"({"$oid": "000000000000000000000000"})"},
      {"bool", "true"},
      {"date", R"({"$date": {"$numberLong": "0"}})"},
      {"regex", R"({"$regularExpression": {"pattern": "a", "options": ""}})"},
      {"dbPointer", R"({"$dbPointer": {"$ref": "b", "$id": {"$oid": "000000000000000000000000"}}})"},
      {"javascript", R"({"$code": "f"})"},
      {"symbol", R"({"$symbol": "s"})"},
      {"javascriptWithScope", R"({"$code": "f", "$scope": {}})"},
      {"int", "1"},
      {"timestamp", R"({"$timestamp": {"t": 1, "i": 2}})"},
      {"decimal", R"({"$numberDecimal": "1"})"},
      {"minKey", R"({"$minKey": 1})"},
      {"maxKey", R"({"$maxKey": 1})"}};
  for (const auto& [name, value] : values) {
    EXPECT_EQ(test(R"({"a": {"$type": ")" + name + "\"}}", "{\"a\": " + value + "}"), "yes") << name;
    EXPECT_EQ(test(R"({"a": {"$type": ")" + name + "\"}}", R"({"a": 1.5})"), "no") << name;
  }
  EXPECT_EQ(test(R"({"a": {"$type": -1}})", R"({"a": {"$minKey": 1}})"), "yes");
  EXPECT_EQ(test(R"({"a": {"$type": 127}})", R"({"a": {"$maxKey": 1}})"), "yes");
}

TEST(Matcher, TypeRefusesWhatIsNoType) {
  EXPECT_EQ(select(R"({"a": {"$type": "foo"}})", {}), "query 2");
  EXPECT_EQ(select(R"({"a": {"$type": 77}})", {}), "query 2");
  EXPECT_EQ(select(R"({"a": {"$type": 1.5}})", {}), "query 2");
  EXPECT_EQ(select(R"({"a": {"$type": []}})", {}), "query 9");
  EXPECT_EQ(select(R"({"a": {"$type": true}})", {}), "query 14");
}

// --- $elemMatch, $all, $size -------------------------------------------------------------------------------------

TEST(Matcher, OneElementMustMeetAllConditions) {
  EXPECT_EQ(select(R"({"a": {"$elemMatch": {"n": "x", "v": {"$gt": 1}}}})",
                   {R"({"a": [{"n": "x", "v": 2}]})", R"({"a": [{"n": "x", "v": 1}, {"n": "y", "v": 2}]})",
                    R"({"a": {"n": "x", "v": 2}})", R"({"a": [1, {"v": 5, "n": "x"}]})"}),
            "1 4");
}

TEST(Matcher, ElemMatchOperatorsApplyToElementsThemselves) {
  EXPECT_EQ(select(R"({"a": {"$elemMatch": {"$gt": 1, "$lt": 3}}})",
                   {R"({"a": [0, 5]})", R"({"a": [0, 2]})", R"({"a": 2})", R"({"a": [[2]]})"}),
            "2");
  EXPECT_EQ(test(R"({"a": {"$elemMatch": {"$gt": 3}}})", R"({"a": [[5]]})"), "no");
  EXPECT_EQ(test(R"({"a": {"$elemMatch": {"$elemMatch": {"$gt": 3}}}})", R"({"a": [[5]]})"), "yes");
  EXPECT_EQ(test(R"({"a": {"$elemMatch": {"$ne": 1}}})", R"({"a": [1, 2]})"), "yes");
  EXPECT_EQ(test(R"({"a": {"$elemMatch": {"$not": {"$gt": 1}}}})", R"({"a": [2, 3]})"), "no");
}

TEST(Matcher, ElemMatchTreatsANestedArrayAsADocument) {
  EXPECT_EQ(test(R"({"a": {"$elemMatch": {"0": 5}}})", R"({"a": [[5]]})"), "yes");
}

TEST(Matcher, ElemMatchTakesLogicOnElements) {
  EXPECT_EQ(select(R"({"a": {"$elemMatch": {"$or": [{"b": 1}, {"c": 1}]}}})",
                   {R"({"a": [{"c": 1}]})", R"({"a": [{"c": 2}]})"}),
            "1");
}

TEST(Matcher, EmptyElemMatchMatchesAnyDocumentAmongTheElements) {
  EXPECT_EQ(select(R"({"a": {"$elemMatch": {}}})", {R"({"a": [{}]})", R"({"a": [1]})", R"({"a": []})"}), "1");
  EXPECT_EQ(select(R"({"a": {"$elemMatch": 1}})", {}), "query 2");
}

TEST(Matcher, ElemMatchReachesArraysBelowArrays) {
  EXPECT_EQ(test(R"({"a.b": {"$elemMatch": {"c": 1}}})", R"({"a": [{"b": [{"c": 1}]}]})"), "yes");
}

TEST(Matcher, AllIsTheConjunctionOfEqualities) {
  EXPECT_EQ(select(R"({"a": {"$all": [1, 2]}})", {R"({"a": [2, 1, 3]})", R"({"a": [1]})", R"({"a": 1})"}), "1");
  EXPECT_EQ(select(R"({"a": {"$all": [1]}})", {R"({"a": 1})", R"({"a": [1]})", "{}"}), "1 2");
  EXPECT_EQ(select(R"({"a": {"$all": [[1, 2]]}})", {R"({"a": [1, 2]})", R"({"a": [[1, 2]]})", R"({"a": [2, 1]})"}),
            "1 2");
  EXPECT_EQ(test(R"({"a.n": {"$all": ["x", "y"]}})", R"({"a": [{"n": "x"}, {"n": "y"}]})"), "yes");
}

TEST(Matcher, AllTakesElemMatches) {
  EXPECT_EQ(select(R"({"a": {"$all": [{"$elemMatch": {"n": 1}}, {"$elemMatch": {"n": 2}}]}})",
                   {R"({"a": [{"n": 1}, {"n": 2}]})", R"({"a": [{"n": 1}]})"}),
            "1");
  EXPECT_EQ(select(R"({"a": {"$all": [{"$elemMatch": {"n": 1}}, 2]}})", {}), "query 2");
  EXPECT_EQ(select(R"({"a": {"$all": [{"$gt": 1}]}})", {}), "query 2");
  EXPECT_EQ(select(R"({"a": {"$all": 1}})", {}), "query 2");
}

TEST(Matcher, EmptyAllMatchesNothing) {
  EXPECT_EQ(select(R"({"a": {"$all": []}})", {"{}", R"({"a": []})", R"({"a": [1]})"}), "");
}

TEST(Matcher, SizeIsTheExactCountOfARealArray) {
  EXPECT_EQ(
      select(R"({"a": {"$size": 2}})", {R"({"a": [1, 2]})", R"({"a": [[1, 2]]})", R"({"a": {"0": 1, "1": 2}})", "{}"}),
      "1");
  EXPECT_EQ(select(R"({"a": {"$size": 0}})", {R"({"a": []})", "{}"}), "1");
  EXPECT_EQ(select(R"({"a": {"$size": -1}})", {}), "query 2");
  EXPECT_EQ(select(R"({"a": {"$size": 1.5}})", {}), "query 2");
  EXPECT_EQ(select(R"({"a": {"$size": "2"}})", {}), "query 2");
}

// --- $mod --------------------------------------------------------------------------------------------------------

TEST(Matcher, ModTruncatesTowardZero) {
  EXPECT_EQ(select(R"({"a": {"$mod": [3, 1]}})", {R"({"a": 4})", R"({"a": 4.9})", R"({"a": -4})", R"({"a": "4"})",
                                                  R"({"a": {"$numberDecimal": "7.99"}})", R"({"a": [2, 4]})"}),
            "1 2 5 6");
  EXPECT_EQ(test(R"({"a": {"$mod": [3, -1]}})", R"({"a": -4})"), "yes");
  EXPECT_EQ(test(R"({"a": {"$mod": [3.7, 1.2]}})", R"({"a": 4})"), "yes");
}

TEST(Matcher, ModPassesOverWhatNoInt64Holds) {
  EXPECT_EQ(select(R"({"a": {"$mod": [1, 0]}})",
                   {R"({"a": {"$numberDouble": "NaN"}})", R"({"a": {"$numberDouble": "Infinity"}})", R"({"a": 1e19})",
                    "{}", R"({"a": {"$numberLong": "-9223372036854775808"}})"}),
            "5");
  EXPECT_EQ(test(R"({"a": {"$mod": [-1, 0]}})", R"({"a": {"$numberLong": "-9223372036854775808"}})"), "yes");
}

TEST(Matcher, ModNeedsExactlyTwoNumbersAndADivisor) {
  for (const char* operand : {"[]", "[1]", "[1, 2, 3]", "5", "[0, 1]", "[0.5, 1]", "[\"x\", 1]", "[2, \"x\"]"}) {
    EXPECT_EQ(select(R"({"a": {"$mod": )" + std::string(operand) + "}}", {}), "query 2") << operand;
  }
}

// --- $regex ------------------------------------------------------------------------------------------------------

TEST(Matcher, RegexSearchesAnywhereInStringsAndSymbols) {
  EXPECT_EQ(
      select(R"({"a": {"$regex": "b+"}})", {R"({"a": "abbc"})", R"({"a": {"$symbol": "b"}})", R"({"a": ["x", "b"]})",
                                            R"({"a": 1})", "{}", R"({"a": {"$code": "b"}})"}),
      "1 2 3");
}

TEST(Matcher, RegexOptionsChangeTheSearch) {
  EXPECT_EQ(test(R"({"a": {"$regex": "B", "$options": "i"}})", R"({"a": "abc"})"), "yes");
  EXPECT_EQ(test(R"({"a": {"$regex": "É", "$options": "i"}})", R"({"a": "é"})"), "yes");
  EXPECT_EQ(test(R"({"a": {"$regex": "^b", "$options": "m"}})", R"({"a": "a\nb"})"), "yes");
  EXPECT_EQ(test(R"({"a": {"$regex": "^b"}})", R"({"a": "a\nb"})"), "no");
  EXPECT_EQ(test(R"({"a": {"$regex": "a.b", "$options": "s"}})", R"({"a": "a\nb"})"), "yes");
  EXPECT_EQ(test(R"({"a": {"$regex": "a.b"}})", R"({"a": "a\nb"})"), "no");
  EXPECT_EQ(test(R"({"a": {"$regex": "a b #c", "$options": "x"}})", R"({"a": "ab"})"), "yes");
  EXPECT_EQ(test(R"({"a": {"$options": "i", "$regex": "B"}})", R"({"a": "b"})"), "yes");
}

TEST(Matcher, RegexIsPcre) {
  EXPECT_EQ(test(R"_({"a": {"$regex": "(?i)ABC(?=d)"}})_", R"({"a": "abcd"})"), "yes");
  EXPECT_EQ(test(R"({"a": {"$regex": "\\Aab\\z"}})", R"({"a": "ab\n"})"), "no");
  EXPECT_EQ(test(R"({"a": {"$regex": "ab$"}})", R"({"a": "ab\n"})"), "yes");
  EXPECT_EQ(test(R"({"a": {"$regex": "^.$"}})", R"({"a": "é"})"), "yes");
}

TEST(Matcher, RegexHandlesTextWithNul) {
  EXPECT_EQ(test(R"({"a": {"$regex": "b"}})", R"({"a": "a\u0000b"})"), "yes");
}

TEST(Matcher, AStoredRegexMatchesOnlyTheSame) {
  const auto stored = [](const char* pattern, const char* options) {
    return std::string(R"({"a": {"$regularExpression": {"pattern": ")") + pattern + R"(", "options": ")" + options +
           "\"}}}";
  };
  EXPECT_EQ(select(stored("b", "i"), {stored("b", "i"), stored("b", ""), stored("ab", "i"), R"({"a": "AB"})"}), "1 4");
}

TEST(Matcher, RegexOptionsAreChecked) {
  EXPECT_EQ(select(R"({"a": {"$regex": "x", "$options": "g"}})", {}), "query 51108");
  EXPECT_EQ(select(R"({"a": {"$regex": "x", "$options": "iu"}})", {}), "query 51108");
  EXPECT_EQ(select(R"({"a": {"$regularExpression": {"pattern": "x", "options": "l"}}})", {}), "query 51108");
  EXPECT_EQ(select(R"({"a": {"$options": "i"}})", {}), "query 2");
  EXPECT_EQ(select(R"({"a": {"$regex": "x", "$options": 1}})", {}), "query 2");
}

TEST(Matcher, RegexOptionsStandInOnePlaceOnly) {
  const std::string regex = R"({"$regularExpression": {"pattern": "x", "options": "i"}})";
  EXPECT_EQ(select(R"({"a": {"$options": "m", "$regex": )" + regex + "}}", {}), "query 51074");
  EXPECT_EQ(select(R"({"a": {"$regex": )" + regex + R"(, "$options": "m"}})", {}), "query 51075");
  EXPECT_EQ(select(R"({"a": {"$regex": )" + regex + "}}", {R"({"a": "X"})"}), "1");
}

TEST(Matcher, InvalidPatternsAreRefused) {
  EXPECT_EQ(select(R"({"a": {"$regex": "("}})", {}), "query 51091");
  EXPECT_EQ(select(R"({"a": {"$regularExpression": {"pattern": "[", "options": ""}}})", {}), "query 51091");
  EXPECT_EQ(select(R"({"a": {"$regex": "a\u0000b"}})", {}), "query 2");
  EXPECT_EQ(select(R"({"a": {"$regex": 1}})", {}), "query 2");
}

TEST(Matcher, AnExplodingPatternIsAnErrorNotAMiss) {
  const std::string text(60, 'a');
  EXPECT_EQ(select(R"({"a": {"$regex": "^(?:(a+)+)+\\1$"}})", {"{\"a\": \"" + text + "b\"}"}), "query 0");
}

TEST(Matcher, ALongTextDoesNotOverflowTheStack) {
  const std::string text(200000, 'a');
  const std::string found = select(R"({"a": {"$regex": "^(?:a|b)*$"}})", {R"({"a": ")" + text + "\"}"});
  EXPECT_TRUE(found == "1" || found == "query 0") << found;
}

// --- lifetime ----------------------------------------------------------------------------------------------------

TEST(Matcher, OutlivesTheBytesOfItsQuery) {
  testing::Bytes query =
      bytes(R"({"a": "text", "b": {"$in": ["x", {"y": 1}]}, "c": {"$regex": "p", "$options": "i"}})");
  const Matcher matcher(view(query));
  std::memset(query.data(), 0xFF, query.size());
  EXPECT_TRUE(matcher.matches(view(bytes(R"({"a": "text", "b": {"y": 1}, "c": "P"})"))));
  EXPECT_FALSE(matcher.matches(view(bytes(R"({"a": "text", "b": {"y": 2}, "c": "P"})"))));
}

TEST(Matcher, ManyAlternativesOfInAreFoundQuickly) {
  std::string list;
  for (int i = 0; i < 100000; ++i) list += (i > 0 ? "," : "") + std::to_string(2 * i);
  EXPECT_EQ(select("{\"a\": {\"$in\": [" + list + "]}}", {R"({"a": 199998})", R"({"a": 199999})"}), "1");
}

}  // namespace
}  // namespace database_client::embedded
