// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "client/bson/Writer.h"
#include "client/embedded/query/expression/Expression.h"
#include "client/embedded/query/values/compare.h"
#include "tests/client/embedded/query/support.h"

namespace database_client::embedded {
namespace {

/// A value as JSON, an int64 with an L behind it; "missing" for none.
std::string shown(const bson::Value& value) {
  if (isMissing(value)) return "missing";
  bson::Writer out;
  out.append("", value);
  const Bytes document = out.take();
  const std::string text = toJson(viewOf(document));
  return text.substr(5, text.size() - 6) + (value.type == bson::Type::int64 ? "L" : "");
}

/// What an expression gives for a document, or kind and code of the error.
std::string result(const std::string& expression, const std::string& document = "{}") {
  return outcome([&] {
    const Bytes specification = fromJson("{\"e\": " + expression + "}");
    const ExpressionPtr parsed = parseExpression(viewOf(specification).find("e"));
    const Bytes root = fromJson(document);
    Scratch scratch;
    return shown(parsed->evaluate(viewOf(root), scratch));
  });
}

struct Row {
  std::string expression;
  std::string result;
};

/// Each expression for the same document.
void expectAll(const std::vector<Row>& rows, const std::string& document = "{}") {
  for (const Row& row : rows) EXPECT_EQ(result(row.expression, document), row.result) << row.expression;
}

const char* const nan = R"({"$numberDouble": "NaN"})";
const char* const infinity = R"({"$numberDouble": "Infinity"})";
const char* const int64Max = R"({"$numberLong": "9223372036854775807"})";
const char* const int64Min = R"({"$numberLong": "-9223372036854775808"})";

std::string op(const std::string& name, const std::string& operands) {
  return "{\"" + name + "\": " + operands + "}";
}

// --- leaves ------------------------------------------------------------------------------------------------------

TEST(Expression, PathsVariablesAndLiterals) {
  expectAll({{R"("$a")", "1"},
             {R"("$b.c")", "2"},
             {R"("$nothing")", "missing"},
             {R"("$a.b")", "missing"},
             {R"("$list.x")", "[1, 2]"},
             {R"("$$ROOT.b")", R"({"c": 2})"},
             {R"("$$CURRENT.a")", "1"},
             {R"("$$REMOVE")", "missing"},
             {R"("$$REMOVE.a")", "missing"},
             {R"("text")", R"("text")"},
             {R"({"$literal": "$a"})", R"("$a")"},
             {R"({"$literal": {"$add": [1]}})", R"({"$add": [1]})"},
             {R"({"x": "$a", "y": "$nothing", "z": ["$nothing"]})", R"({"x": 1, "z": [null]})"}},
            R"({"a": 1, "b": {"c": 2}, "list": [{"x": 1}, 5, {"x": 2}, {"y": 3}]})");
}

TEST(Expression, RefusesWhatIsMalformedOrUnknown) {
  expectAll({{R"({"$add": [1], "$subtract": [1, 2]})", "query 15983"},
             {R"({"a": 1, "$add": [1]})", "query 16410"},
             {R"({"$dateToString": {}})", "unsupported 0"},
             {R"({"$nope": 1})", "unsupported 0"},
             {R"("$$nope")", "query 17276"},
             {R"("$$NOW")", "unsupported 0"},
             {R"("$$REMOVE.")", "query 16872"},
             {R"({"$eq": [1]})", "query 16020"},
             {R"({"$eq": 1})", "query 16020"},
             {R"({"$not": [1, 2]})", "query 16020"},
             {R"({"$round": [1, 2, 3]})", "query 28667"},
             {R"({"$round": []})", "query 28667"},
             {R"({"$size": ["$a..b"]})", "query 15998"}});
}

TEST(Expression, OfConstantsFailsWhileItIsParsed) {
  const Bytes specification = fromJson(R"({"e": {"$cond": ["$a", {"$divide": [1, 0]}, 2]}})");
  EXPECT_THROW(parseExpression(viewOf(specification).find("e")), Error);
  EXPECT_EQ(result(R"({"$cond": ["$a", {"$divide": [1, "$b"]}, 2]})", R"({"a": false, "b": 0})"), "2");
}

TEST(Expression, IsConstantWithoutPathsAndVariables) {
  const auto isConstant = [](const std::string& expression) {
    const Bytes specification = fromJson("{\"e\": " + expression + "}");
    return parseExpression(viewOf(specification).find("e"))->isConstant();
  };
  for (const char* constant : {"1", R"({"$add": [1, 2]})", R"({"a": {"$not": [1]}})", R"({"$cond": [1, 2, 3]})",
                               R"({"$ifNull": [null, 3]})", R"({"$switch": {"branches": [{"case": 1, "then": 2}]}})",
                               R"({"$and": [1, 2]})", R"({"$convert": {"input": 1, "to": "long"}})"}) {
    EXPECT_TRUE(isConstant(constant)) << constant;
  }
  for (const char* varying :
       {R"("$a")", R"({"$add": [1, "$a"]})", R"(["$a"])", R"({"$cond": ["$a", 2, 3]})", R"({"$and": [1, "$a"]})",
        R"({"$convert": {"input": 1, "to": "long", "onError": "$a"}})"}) {
    EXPECT_FALSE(isConstant(varying)) << varying;
  }
}

// --- comparison --------------------------------------------------------------------------------------------------

TEST(ComparisonOperators, FollowTheOrderOfKinds) {
  // Each value lies below the next.
  const std::vector<std::string> ascending = {R"({"$minKey": 1})",
                                              "null",
                                              nan,
                                              "-1",
                                              "1.5",
                                              "2",
                                              R"("")",
                                              R"("a")",
                                              R"({"$literal": {}})",
                                              R"({"$literal": {"a": 1}})",
                                              "[]",
                                              "[1]",
                                              R"({"$oid": "5f5f5f5f5f5f5f5f5f5f5f5f"})",
                                              "false",
                                              "true",
                                              R"({"$date": {"$numberLong": "-1"}})",
                                              R"({"$date": {"$numberLong": "0"}})",
                                              R"({"$maxKey": 1})"};
  for (std::size_t left = 0; left < ascending.size(); ++left) {
    for (std::size_t right = 0; right < ascending.size(); ++right) {
      const std::string operands = "[" + ascending[left] + ", " + ascending[right] + "]";
      const int order = (left > right) - (left < right);
      EXPECT_EQ(result(op("$cmp", operands)), std::to_string(order)) << operands;
      EXPECT_EQ(result(op("$eq", operands)), order == 0 ? "true" : "false") << operands;
      EXPECT_EQ(result(op("$ne", operands)), order != 0 ? "true" : "false") << operands;
      EXPECT_EQ(result(op("$lt", operands)), order < 0 ? "true" : "false") << operands;
      EXPECT_EQ(result(op("$lte", operands)), order <= 0 ? "true" : "false") << operands;
      EXPECT_EQ(result(op("$gt", operands)), order > 0 ? "true" : "false") << operands;
      EXPECT_EQ(result(op("$gte", operands)), order >= 0 ? "true" : "false") << operands;
    }
  }
}

TEST(ComparisonOperators, PutMissingBelowNullAndAboveMinKey) {
  expectAll({{R"({"$eq": ["$a", null]})", "false"},
             {R"({"$lt": ["$a", null]})", "true"},
             {R"({"$lte": ["$a", null]})", "true"},
             {R"({"$gt": ["$a", {"$minKey": 1}]})", "true"},
             {R"({"$eq": ["$a", "$b"]})", "true"},
             {R"({"$eq": ["$a", "$u"]})", "true"},
             {R"({"$cmp": [null, "$a"]})", "1"},
             {R"({"$lte": ["$n", null]})", "true"}},
            R"({"n": null, "u": {"$undefined": true}})");
}

TEST(ComparisonOperators, CompareNumbersExactlyAcrossKinds) {
  expectAll({{R"({"$eq": [1, 1.0]})", "true"},
             {R"({"$eq": [{"$numberLong": "9007199254740993"}, 9007199254740992.0]})", "false"},
             {R"({"$gt": [{"$numberLong": "9007199254740993"}, 9007199254740992.0]})", "true"},
             {R"({"$eq": [{"$numberDecimal": "1.0"}, 1]})", "true"},
             {R"({"$eq": [{"$numberDouble": "-0.0"}, 0]})", "true"}});
  EXPECT_EQ(result(op("$eq", std::string("[") + nan + ", " + nan + "]")), "true");
  EXPECT_EQ(result(op("$gte", std::string("[") + nan + R"(, {"$numberDouble": "-Infinity"}])")), "false");
}

// --- conditions --------------------------------------------------------------------------------------------------

TEST(ConditionalOperators, TakeZeroNullMissingAndFalseForFalse) {
  expectAll({{R"({"$and": []})", "true"},
             {R"({"$or": []})", "false"},
             {R"({"$and": [1, "text", [], {"$literal": {}}]})", "true"},
             {R"({"$and": [1, 0.0]})", "false"},
             {R"({"$or": [false, null, 0, "$nothing"]})", "false"},
             {R"({"$or": [false, "$nothing", ""]})", "true"},
             {R"({"$not": [null]})", "true"},
             {R"({"$not": "$nothing"})", "true"},
             {R"({"$not": [[false]]})", "false"},
             {R"({"$and": "$nothing"})", "false"}});
  EXPECT_EQ(result(op("$not", std::string("[") + nan + "]")), "false");
}

TEST(ConditionalOperators, EvaluateNoMoreThanTheyNeed) {
  const std::string failing = R"({"$divide": [1, "$zero"]})";
  const std::string document = R"({"zero": 0, "one": 1})";
  EXPECT_EQ(result("{\"$and\": [\"$zero\", " + failing + "]}", document), "false");
  EXPECT_EQ(result("{\"$or\": [\"$one\", " + failing + "]}", document), "true");
  EXPECT_EQ(result("{\"$ifNull\": [\"$one\", " + failing + "]}", document), "1");
  EXPECT_EQ(result("{\"$cond\": [\"$zero\", " + failing + ", 5]}", document), "5");
  EXPECT_EQ(result("{\"$and\": [\"$one\", " + failing + "]}", document), "query 2");
}

TEST(ConditionalOperators, Cond) {
  expectAll({{R"({"$cond": [true, 1, 2]})", "1"},
             {R"({"$cond": ["$nothing", 1, 2]})", "2"},
             {R"({"$cond": {"if": 1, "then": "$a", "else": 2}})", "7"},
             {R"({"$cond": {"else": 2, "if": 0, "then": 1}})", "2"},
             {R"({"$cond": [1, "$nothing", 2]})", "missing"},
             {R"({"$cond": [1, 2]})", "query 16020"},
             {R"({"$cond": {"then": 1, "else": 2}})", "query 17080"},
             {R"({"$cond": {"if": 1, "else": 2}})", "query 17081"},
             {R"({"$cond": {"if": 1, "then": 2}})", "query 17082"},
             {R"({"$cond": {"if": 1, "then": 2, "otherwise": 3}})", "query 17083"}},
            R"({"a": 7})");
}

TEST(ConditionalOperators, IfNull) {
  expectAll({{R"({"$ifNull": ["$a", 1]})", "7"},
             {R"({"$ifNull": ["$nothing", "$null", "$a", 1]})", "7"},
             {R"({"$ifNull": ["$nothing", "$null"]})", "null"},
             {R"({"$ifNull": ["$null", "$nothing"]})", "missing"},
             {R"({"$ifNull": [0, 1]})", "0"},
             {R"({"$ifNull": [1]})", "query 1257300"},
             {R"({"$ifNull": 1})", "query 1257300"}},
            R"({"a": 7, "null": null})");
}

TEST(ConditionalOperators, Switch) {
  expectAll({{R"({"$switch": {"branches": [{"case": false, "then": 1}, {"case": 1, "then": 2}], "default": 3}})", "2"},
             {R"({"$switch": {"branches": [{"case": "$nothing", "then": 1}], "default": 3}})", "3"},
             {R"({"$switch": {"branches": [{"case": "$nothing", "then": 1}]}})", "query 40066"},
             {R"({"$switch": 1})", "query 40060"},
             {R"({"$switch": {"branches": 1}})", "query 40061"},
             {R"({"$switch": {"branches": [1]}})", "query 40062"},
             {R"({"$switch": {"branches": [{"case": 1, "then": 1, "else": 1}]}})", "query 40063"},
             {R"({"$switch": {"branches": [{"then": 1}]}})", "query 40064"},
             {R"({"$switch": {"branches": [{"case": 1}]}})", "query 40065"},
             {R"({"$switch": {"cases": []}})", "query 40067"},
             {R"({"$switch": {"branches": []}})", "query 40068"},
             {R"({"$switch": {"default": 1}})", "query 40068"}});
}

// --- arithmetic --------------------------------------------------------------------------------------------------

TEST(ArithmeticOperators, KeepTheWidestKindAndWidenOnOverflow) {
  expectAll({{R"({"$add": []})", "0"},
             {R"({"$add": [1, 2, 3]})", "6"},
             {R"({"$add": 5})", "5"},
             {R"({"$add": [2147483647, 1]})", "2147483648L"},
             {R"({"$add": [1, {"$numberLong": "1"}]})", "2L"},
             {R"({"$add": [1, 0.5]})", "1.5"},
             {R"({"$add": [0.1, 0.2, -0.3]})", "2.7755575615628914E-17"},
             {R"({"$subtract": [-2147483648, 1]})", "-2147483649L"},
             {R"({"$subtract": [3, 5]})", "-2"},
             {R"({"$subtract": [3, 0.5]})", "2.5"},
             {R"({"$subtract": [{"$numberLong": "3"}, 5]})", "-2L"},
             {R"({"$multiply": []})", "1"},
             {R"({"$multiply": [2, 3, 4]})", "24"},
             {R"({"$multiply": [65536, 65536]})", "4294967296L"},
             {R"({"$multiply": [2, 1.5]})", "3.0"},
             {R"({"$mod": [7, 3]})", "1"},
             {R"({"$mod": [-7, 3]})", "-1"},
             {R"({"$mod": [7, {"$numberLong": "3"}]})", "1L"},
             {R"({"$mod": [7.5, 2]})", "1.5"}});
  expectAll({{op("$add", std::string("[") + int64Max + ", 1]"), "9.223372036854776E+18"},
             {op("$subtract", std::string("[") + int64Min + ", 1]"), "-9.223372036854776E+18"},
             {op("$multiply", std::string("[") + int64Max + ", 2]"), "1.8446744073709552E+19"},
             {op("$mod", std::string("[") + int64Min + ", -1]"), "0L"}});
}

TEST(ArithmeticOperators, DivideGivesADouble) {
  expectAll({{R"({"$divide": [6, 3]})", "2.0"},
             {R"({"$divide": [1, {"$numberLong": "4"}]})", "0.25"},
             {R"({"$divide": [1, 0]})", "query 2"},
             {R"({"$divide": [1, {"$numberDouble": "-0.0"}]})", "query 2"},
             {R"({"$mod": [1, 0]})", "query 16610"}});
  EXPECT_EQ(result(op("$divide", std::string("[") + infinity + ", 2]")), infinity);
  EXPECT_EQ(result(op("$divide", std::string("[1, ") + nan + "]")), nan);
}

TEST(ArithmeticOperators, OfNullOrMissingGiveNull) {
  for (const char* name : {"$add", "$subtract", "$multiply", "$divide", "$mod", "$round", "$trunc"}) {
    for (const char* operands : {R"([1, null])", R"(["$nothing", 1])", R"([null, "$nothing"])"}) {
      EXPECT_EQ(result(op(name, operands)), "null") << name << operands;
    }
  }
  for (const char* name : {"$abs", "$floor", "$ceil", "$round", "$trunc"}) {
    EXPECT_EQ(result(op(name, "null")), "null") << name;
    EXPECT_EQ(result(op(name, R"("$nothing")")), "null") << name;
  }
}

TEST(ArithmeticOperators, RefuseWhatIsNoNumber) {
  expectAll({{R"({"$add": [1, "x"]})", "query 14"},
             {R"({"$subtract": [1, "x"]})", "query 14"},
             {R"({"$multiply": [1, true]})", "query 14"},
             {R"({"$divide": ["x", 1]})", "query 14"},
             {R"({"$mod": ["x", 1]})", "query 16611"},
             {R"({"$abs": "x"})", "query 28765"},
             {R"({"$floor": "x"})", "query 28765"},
             {R"({"$ceil": [[1]]})", "query 28765"},
             {R"({"$round": ["x", 1]})", "query 51081"},
             {R"({"$round": [1.5, 0.5]})", "query 51082"},
             {R"({"$round": [1.5, "x"]})", "query 51082"},
             {R"({"$trunc": [1.5, 101]})", "query 51083"},
             {R"({"$trunc": [1.5, -21]})", "query 51083"}});
}

TEST(ArithmeticOperators, WithDatesCountMilliseconds) {
  const std::string date = R"({"$date": {"$numberLong": "1000"}})";
  expectAll({{"{\"$add\": [" + date + ", 500]}", R"({"$date": "1970-01-01T00:00:01.500Z"})"},
             {"{\"$add\": [1, " + date + ", 1.5]}", R"({"$date": "1970-01-01T00:00:01.003Z"})"},
             {"{\"$add\": [" + date + ", " + date + "]}", "query 16612"},
             {"{\"$subtract\": [" + date + ", 500]}", R"({"$date": "1970-01-01T00:00:00.500Z"})"},
             {"{\"$subtract\": [" + date + R"(, {"$date": {"$numberLong": "400"}}]})", "600L"},
             {"{\"$subtract\": [500, " + date + "]}", "query 14"},
             {"{\"$add\": [" + date + ", " + int64Max + "]}", "query 15"},
             {"{\"$add\": [" + date + ", " + nan + "]}", "query 15"}});
}

TEST(ArithmeticOperators, KnowDecimalsInSumsOnly) {
  const std::string decimal = R"({"$numberDecimal": "1.5"})";
  expectAll({{"{\"$add\": [" + decimal + ", 1]}", R"({"$numberDecimal": "2.5"})"},
             {"{\"$subtract\": [1, " + decimal + "]}", R"({"$numberDecimal": "-0.5"})"},
             {"{\"$sum\": [" + decimal + ", 1]}", R"({"$numberDecimal": "2.5"})"},
             {"{\"$avg\": [" + decimal + ", 1]}", R"({"$numberDecimal": "1.25"})"}});
  for (const char* name : {"$multiply", "$divide", "$mod", "$round"}) {
    EXPECT_EQ(result(op(name, "[" + decimal + ", 1]")), "unsupported 0") << name;
  }
  for (const char* name : {"$abs", "$floor", "$ceil", "$trunc"}) {
    EXPECT_EQ(result(op(name, "[" + decimal + "]")), "unsupported 0") << name;
  }
}

TEST(ArithmeticOperators, AbsFloorAndCeil) {
  expectAll({{R"({"$abs": -3})", "3"},
             {R"({"$abs": -2147483648})", "2147483648L"},
             {R"({"$abs": {"$numberLong": "-3"}})", "3L"},
             {R"({"$abs": -2.5})", "2.5"},
             {op("$abs", int64Min), "query 28680"},
             {R"({"$floor": 2.7})", "2.0"},
             {R"({"$floor": -2.1})", "-3.0"},
             {R"({"$floor": 5})", "5"},
             {R"({"$ceil": 2.1})", "3.0"},
             {R"({"$ceil": {"$numberLong": "5"}})", "5L"},
             {op("$floor", nan), nan},
             {op("$ceil", infinity), infinity}});
}

TEST(ArithmeticOperators, RoundGoesToTheEvenNeighbourAndTruncTowardsZero) {
  expectAll({{R"({"$round": 2.5})", "2.0"},
             {R"({"$round": 3.5})", "4.0"},
             {R"({"$round": -2.5})", "-2.0"},
             {R"({"$round": 7})", "7"},
             {R"({"$round": [2.345, 1]})", "2.3"},
             {R"({"$round": [0.125, 2]})", "0.12"},
             {R"({"$round": [1e300, 100]})", "1E+300"},
             {R"({"$round": [1234.5, -2]})", "1200.0"},
             {R"({"$round": [1250.0, -2]})", "1200.0"},
             {R"({"$round": [1350.0, -2]})", "1400.0"},
             {R"({"$round": [1250, -2]})", "1200"},
             {R"({"$round": [1251, -2]})", "1300"},
             {R"({"$round": [-1251, -2]})", "-1300"},
             {R"({"$round": [5, 3]})", "5"},
             {R"({"$round": [5, -1]})", "0"},
             {R"({"$round": [15, -1]})", "20"},
             {R"({"$round": [5, -20]})", "0"},
             {R"({"$round": [2147483647, -1]})", "2147483650L"},
             {op("$round", std::string("[") + int64Max + ", -1]"), "query 51080"},
             {R"({"$trunc": 2.9})", "2.0"},
             {R"({"$trunc": -2.9})", "-2.0"},
             {R"({"$trunc": [2.99, 1]})", "2.9"},
             {R"({"$trunc": [-2.99, 1]})", "-2.9"},
             {R"({"$trunc": [1299, -2]})", "1200"},
             {R"({"$trunc": [1299.5, -2]})", "1200.0"},
             {op("$round", std::string("[") + nan + ", 1]"), nan},
             {op("$trunc", std::string("[") + infinity + ", -1]"), infinity}});
}

// --- arrays ------------------------------------------------------------------------------------------------------

TEST(ArrayOperators, GiveElements) {
  expectAll({{R"({"$arrayElemAt": ["$a", 0]})", "7"},
             {R"({"$arrayElemAt": ["$a", 2.0]})", "9"},
             {R"({"$arrayElemAt": ["$a", -1]})", "9"},
             {R"({"$arrayElemAt": ["$a", -3]})", "7"},
             {R"({"$arrayElemAt": ["$a", 3]})", "missing"},
             {R"({"$arrayElemAt": ["$a", -4]})", "missing"},
             {R"({"$arrayElemAt": ["$nothing", 0]})", "null"},
             {R"({"$arrayElemAt": ["$a", null]})", "null"},
             {R"({"$arrayElemAt": [5, 0]})", "query 28689"},
             {R"({"$arrayElemAt": ["$a", "x"]})", "query 28690"},
             {R"({"$arrayElemAt": ["$a", 0.5]})", "query 28691"},
             {R"({"$arrayElemAt": ["$a", {"$numberLong": "2147483648"}]})", "query 28691"},
             {R"({"$first": "$a"})", "7"},
             {R"({"$last": "$a"})", "9"},
             {R"({"$first": [[]]})", "missing"},
             {R"({"$last": "$empty"})", "missing"},
             {R"({"$first": "$nothing"})", "null"},
             {R"({"$last": 5})", "query 28689"}},
            R"({"a": [7, 8, 9], "empty": []})");
}

TEST(ArrayOperators, TellTheirSizeAndWhatIsInThem) {
  expectAll({{R"({"$size": "$a"})", "3"},
             {R"({"$size": [[]]})", "0"},
             {R"({"$size": "$nothing"})", "query 17124"},
             {R"({"$size": null})", "query 17124"},
             {R"({"$isArray": "$a"})", "true"},
             {R"({"$isArray": ["$a"]})", "true"},
             {R"({"$isArray": [[1]]})", "true"},
             {R"({"$isArray": "$nothing"})", "false"},
             {R"({"$isArray": [{"$literal": {}}]})", "false"},
             {R"({"$in": [8.0, "$a"]})", "true"},
             {R"({"$in": [5, "$a"]})", "false"},
             {R"({"$in": ["$nothing", [null]]})", "false"},
             {R"({"$in": [null, [1, null]]})", "true"},
             {R"({"$in": [1, "$nothing"]})", "query 40081"},
             {R"({"$in": [1, 1]})", "query 40081"}},
            R"({"a": [7, 8, 9]})");
}

// --- variables ---------------------------------------------------------------------------------------------------

TEST(BindingOperators, Let) {
  expectAll({{R"({"$let": {"vars": {"x": "$a", "y": 2}, "in": {"$add": ["$$x", "$$y"]}}})", "9"},
             {R"({"$let": {"vars": {}, "in": "$a"}})", "7"},
             {R"({"$let": {"vars": {"x": "$b"}, "in": "$$x.c"}})", "[1, 2]"},
             {R"({"$let": {"vars": {"x": "$nothing"}, "in": "$$x"}})", "missing"},
             {R"({"$let": {"vars": {"x": 5}, "in": "$$x.y"}})", "missing"},
             // An inner variable hides the outer one, and only inside.
             {R"({"$let": {"vars": {"x": 1}, "in": [{"$let": {"vars": {"x": 2}, "in": "$$x"}}, "$$x"]}})", "[2, 1]"},
             // A value sees the outer variables, not those beside it.
             {R"({"$let": {"vars": {"x": 1}, "in": {"$let": {"vars": {"x": 5, "y": "$$x"}, "in": ["$$x", "$$y"]}}}})",
              "[5, 1]"},
             {R"({"$let": {"vars": {"x": 1, "y": "$$x"}, "in": "$$y"}})", "query 17276"},
             // Variables inside the values leave those beside them alone.
             {R"({"$let": {"vars": {"x": 1, "y": {"$let": {"vars": {"z": 2}, "in": "$$z"}}}, "in": ["$$x", "$$y"]}})",
              "[1, 2]"},
             {R"({"$let": {"vars": {"CURRENT": "$b"}, "in": "$c"}})", "[1, 2]"},
             {R"({"$let": {"vars": {"CURRENT": "$b"}, "in": "$$ROOT.a"}})", "7"},
             {R"({"$let": {"vars": {"x": 1}, "in": 1}, "$add": 1})", "query 15983"}},
            R"({"a": 7, "b": [{"c": 1}, {"c": 2}]})");
}

TEST(BindingOperators, LetChecksItsOperands) {
  expectAll({{R"({"$let": 1})", "query 16874"},
             {R"({"$let": {"vars": {}, "in": 1, "x": 1}})", "query 16875"},
             {R"({"$let": {"in": 1}})", "query 16876"},
             {R"({"$let": {"vars": {}}})", "query 16877"},
             {R"({"$let": {"vars": 1, "in": 1}})", "query 10065"},
             {R"({"$let": {"vars": {"X": 1}, "in": 1}})", "query 9"},
             {R"({"$let": {"vars": {"": 1}, "in": 1}})", "query 9"},
             {R"({"$let": {"vars": {"_x": 1}, "in": 1}})", "query 9"},
             {R"({"$let": {"vars": {"a-b": 1}, "in": 1}})", "query 9"},
             {R"({"$let": {"vars": {"ROOT": 1}, "in": 1}})", "query 9"},
             {R"({"$let": {"vars": {"é": 1, "aZ_9": 2}, "in": ["$$é", "$$aZ_9"]}})", "[1, 2]"}});
}

TEST(BindingOperators, Map) {
  expectAll({{R"({"$map": {"input": "$a", "in": {"$multiply": ["$$this", 2]}}})", "[2, 4, 6]"},
             {R"({"$map": {"input": "$a", "as": "x", "in": "$$x.y"}})", "[null, null, null]"},
             {R"({"$map": {"input": "$nothing", "in": 1}})", "null"},
             {R"({"$map": {"input": [], "in": 1}})", "[]"},
             {R"({"$map": {"input": "$a", "as": "x", "in":
             {"$map": {"input": "$a", "as": "y", "in": {"$add": ["$$x", "$$y"]}}}}})",
              "[[2, 3, 4], [3, 4, 5], [4, 5, 6]]"},
             {R"({"$map": {"input": "$a", "in": {"$let": {"vars": {"x": {"$add": ["$$this", 1]}}, "in": ["$$x"]}}}})",
              "[[2], [3], [4]]"},
             {R"({"$map": {"input": 5, "in": 1}})", "query 16883"},
             {R"({"$map": 1})", "query 16878"},
             {R"({"$map": {"input": [], "in": 1, "x": 1}})", "query 16879"},
             {R"({"$map": {"in": 1}})", "query 16880"},
             {R"({"$map": {"input": []}})", "query 16882"},
             {R"({"$map": {"input": [], "as": "X", "in": 1}})", "query 9"},
             {R"({"$map": {"input": [], "as": 5, "in": 1}})", "query 9"}},
            R"({"a": [1, 2, 3]})");
}

TEST(BindingOperators, Filter) {
  expectAll({{R"({"$filter": {"input": "$a", "cond": {"$gt": ["$$this", 1]}}})", "[2, 3, 4]"},
             {R"({"$filter": {"input": "$a", "as": "x", "cond": {"$gt": ["$$x", 1]}, "limit": 2}})", "[2, 3]"},
             {R"({"$filter": {"input": "$a", "cond": true, "limit": null}})", "[1, 2, 3, 4]"},
             {R"({"$filter": {"input": "$a", "cond": "$$this.b"}})", "[]"},
             {R"({"$filter": {"input": "$nothing", "cond": true}})", "null"},
             {R"({"$filter": {"input": "$a", "as": "x", "cond":
             {"$in": ["$$x", {"$map": {"input": "$a", "as": "x", "in": {"$add": ["$$x", 2]}}}]}}})",
              "[3, 4]"},
             {R"({"$filter": {"input": 5, "cond": true}})", "query 28651"},
             {R"({"$filter": {"input": [], "cond": true, "limit": 0}})", "query 327392"},
             {R"({"$filter": {"input": [], "cond": true, "limit": 1.5}})", "query 327391"},
             {R"({"$filter": {"input": [], "cond": true, "limit": "x"}})", "query 327391"},
             {R"({"$filter": 1})", "query 28646"},
             {R"({"$filter": {"input": [], "cond": 1, "x": 1}})", "query 28647"},
             {R"({"$filter": {"cond": 1}})", "query 28648"},
             {R"({"$filter": {"input": []}})", "query 28650"}},
            R"({"a": [1, 2, 3, 4]})");
}

// --- conversion --------------------------------------------------------------------------------------------------

TEST(ConversionOperators, TellTheKind) {
  expectAll({{R"({"$type": "$nothing"})", R"("missing")"},
             {R"({"$type": null})", R"("null")"},
             {R"({"$type": 1})", R"("int")"},
             {R"({"$type": {"$numberLong": "1"}})", R"("long")"},
             {R"({"$type": 1.5})", R"("double")"},
             {R"({"$type": {"$numberDecimal": "1"}})", R"("decimal")"},
             {R"({"$type": "x"})", R"("string")"},
             {R"({"$type": true})", R"("bool")"},
             {R"({"$type": [[]]})", R"("array")"},
             {R"({"$type": {"$literal": {}}})", R"("object")"},
             {R"({"$type": {"$oid": "5f5f5f5f5f5f5f5f5f5f5f5f"}})", R"("objectId")"},
             {R"({"$type": {"$date": {"$numberLong": "0"}}})", R"("date")"},
             {R"({"$type": {"$minKey": 1}})", R"("minKey")"},
             {R"({"$isNumber": 1})", "true"},
             {R"({"$isNumber": {"$numberDecimal": "1"}})", "true"},
             {R"({"$isNumber": "1"})", "false"},
             {R"({"$isNumber": "$nothing"})", "false"}});
}

TEST(ConversionOperators, ToNumbers) {
  expectAll({{R"({"$toInt": 2.9})", "2"},
             {R"({"$toInt": -2.9})", "-2"},
             {R"({"$toInt": true})", "1"},
             {R"({"$toInt": "-12"})", "-12"},
             {R"({"$toInt": "+12"})", "12"},
             {R"({"$toInt": 2147483648.0})", "query 241"},
             {R"({"$toInt": {"$date": {"$numberLong": "0"}}})", "query 241"},
             {R"({"$toLong": {"$date": {"$numberLong": "-5"}}})", "-5L"},
             {R"({"$toLong": 1})", "1L"},
             {R"({"$toLong": "9223372036854775807"})", "9223372036854775807L"},
             {R"({"$toLong": "9223372036854775808"})", "query 241"},
             {R"({"$toLong": "1.5"})", "query 241"},
             {R"({"$toLong": " 1"})", "query 241"},
             {R"({"$toLong": ""})", "query 241"},
             {R"({"$toLong": {"$numberDecimal": "2.9"}})", "2L"},
             {R"({"$toLong": [[1]]})", "query 241"},
             {R"({"$toDouble": 1})", "1.0"},
             {R"({"$toDouble": "1e3"})", "1000.0"},
             {R"({"$toDouble": "x"})", "query 241"},
             {R"({"$toDouble": {"$date": {"$numberLong": "5"}}})", "5.0"},
             {R"({"$toDouble": {"$numberDecimal": "0.5"}})", "0.5"},
             {op("$toLong", nan), "query 241"},
             {op("$toLong", infinity), "query 241"}});
}

TEST(ConversionOperators, ToOtherKinds) {
  expectAll({{R"({"$toString": 5})", R"("5")"},
             {R"({"$toString": 1.5})", R"("1.5")"},
             {R"({"$toString": true})", R"("true")"},
             {R"({"$toString": {"$oid": "5f5f5f5f5f5f5f5f5f5f5f5f"}})", R"("5f5f5f5f5f5f5f5f5f5f5f5f")"},
             {R"({"$toString": {"$date": {"$numberLong": "0"}}})", "unsupported 0"},
             {R"({"$toString": [[1]]})", "query 241"},
             {op("$toString", nan), R"("NaN")"},
             {R"({"$toBool": 0})", "false"},
             {R"({"$toBool": ""})", "true"},
             {R"({"$toBool": [[1]]})", "query 241"},
             {R"({"$toDate": {"$numberLong": "1000"}})", R"({"$date": "1970-01-01T00:00:01Z"})"},
             {R"({"$toDate": 1000.9})", R"({"$date": "1970-01-01T00:00:01Z"})"},
             {R"({"$toDate": 1000})", "query 241"},
             {R"({"$toDate": {"$oid": "5f5f5f5f0000000000000000"}})", R"({"$date": "2020-09-14T12:17:35Z"})"},
             {R"({"$toDate": {"$oid": "ffffffff0000000000000000"}})", R"({"$date": "2106-02-07T06:28:15Z"})"},
             {R"({"$toDate": {"$timestamp": {"t": 2, "i": 3}}})", R"({"$date": "1970-01-01T00:00:02Z"})"},
             {R"({"$toDate": "2020-01-01"})", "unsupported 0"},
             {R"({"$toObjectId": "5f5f5f5f5f5f5f5f5f5f5f5f"})", R"({"$oid": "5f5f5f5f5f5f5f5f5f5f5f5f"})"},
             {R"({"$toObjectId": "5f"})", "query 241"},
             {R"({"$toDecimal": 1})", "unsupported 0"}});
  for (const char* name : {"$toInt", "$toLong", "$toDouble", "$toString", "$toBool", "$toDate", "$toObjectId"}) {
    EXPECT_EQ(result(op(name, "null")), "null") << name;
    EXPECT_EQ(result(op(name, R"("$nothing")")), "null") << name;
  }
}

TEST(ConversionOperators, Convert) {
  expectAll({{R"({"$convert": {"input": "5", "to": "int"}})", "5"},
             {R"({"$convert": {"input": "5", "to": 18}})", "5L"},
             {R"({"$convert": {"input": "x", "to": "int"}})", "query 241"},
             {R"({"$convert": {"input": "x", "to": "int", "onError": "$a"}})", "7"},
             {R"({"$convert": {"input": null, "to": "int", "onNull": "none"}})", R"("none")"},
             {R"({"$convert": {"input": "$nothing", "to": "int"}})", "null"},
             {R"({"$convert": {"input": 1, "to": null}})", "null"},
             {R"({"$convert": {"input": 1, "to": "array"}})", "query 241"},
             {R"({"$convert": {"input": 1, "to": "nope"}})", "query 2"},
             {R"({"$convert": {"input": 1, "to": 1.5}})", "query 9"},
             {R"({"$convert": {"input": 1, "to": "decimal", "onError": 1}})", "unsupported 0"},
             {R"({"$convert": {"input": 1}})", "query 9"},
             {R"({"$convert": {"to": "int"}})", "query 9"},
             {R"({"$convert": {"input": 1, "to": "int", "format": 1}})", "query 9"},
             {R"({"$convert": 1})", "query 9"}},
            R"({"a": 7})");
}

// --- joining and accumulating ------------------------------------------------------------------------------------

TEST(JoiningOperators, JoinTextsArraysAndDocuments) {
  expectAll({{R"({"$concat": ["a", "$b", "c"]})", R"("aéc")"},
             {R"({"$concat": []})", R"("")"},
             {R"({"$concat": ["a", null]})", "null"},
             {R"({"$concat": ["a", 1]})", "query 16702"},
             {R"({"$concatArrays": [[1], [], [2, 3]]})", "[1, 2, 3]"},
             {R"({"$concatArrays": [[1], "$nothing"]})", "null"},
             {R"({"$concatArrays": [[1], 2]})", "query 28664"},
             {R"({"$mergeObjects": ["$d", {"y": 3, "z": 4}]})", R"({"x": 1, "y": 3, "z": 4})"},
             {R"({"$mergeObjects": "$list"})", R"({"p": 2, "q": 3})"},
             {R"({"$mergeObjects": [null, "$nothing"]})", "{}"},
             {R"({"$mergeObjects": [1]})", "query 40400"}},
            R"({"b": "é", "d": {"x": 1, "y": 2}, "list": [{"p": 1}, {"p": 2, "q": 3}]})");
}

TEST(AccumulatingOperators, TakeTheirOperandsOrOneArray) {
  expectAll({{R"({"$sum": [1, 2, "x", null]})", "3"},
             {R"({"$sum": "$a"})", "6"},
             {R"({"$sum": ["$a", 1]})", "1"},
             {R"({"$sum": "$nothing"})", "0"},
             {R"({"$avg": "$a"})", "2.0"},
             {R"({"$avg": ["x"]})", "null"},
             {R"({"$min": ["$nothing", 3, 2.0, 2]})", "2.0"},
             {R"({"$max": "$a"})", "3"},
             {R"({"$max": [1, "x"]})", R"("x")"},
             {R"({"$min": [null, "$nothing"]})", "null"},
             {R"({"$stdDevPop": "$a"})", "0.816496580927726"},
             {R"({"$stdDevSamp": "$a"})", "1.0"},
             {R"({"$stdDevSamp": [1]})", "null"},
             {R"({"$stdDevPop": [1]})", "0.0"},
             {R"({"$stdDevPop": ["x"]})", "null"}},
            R"({"a": [1, 2, 3]})");
}

TEST(AccumulatingOperators, TheDeviationOfLargeNumbersThatLieCloseTogetherIsExact) {
  EXPECT_EQ(result(R"({"$stdDevSamp": [1000000001.0, 1000000002.0, 1000000003.0]})"), "1.0");
  EXPECT_EQ(result(op("$stdDevPop", std::string("[1, ") + nan + "]")), nan);
}

// --- limits ------------------------------------------------------------------------------------------------------

TEST(ExpressionLimits, AValueOfMoreThan16MiBIsRefusedWhileItGrows) {
  // Each variable has twice the size of the one before.
  std::string nested = "\"$$x\"";
  for (int i = 0; i < 30; ++i) nested = R"({"$let": {"vars": {"x": ["$$x", "$$x"]}, "in": )" + nested + "}}";
  nested = R"({"$let": {"vars": {"x": "$a"}, "in": )" + nested + "}}";
  EXPECT_EQ(result(nested, R"({"a": "x"})"), "document 10334");
}

TEST(ExpressionLimits, WhatOneExpressionComputesIsBounded) {
  const std::string text(1024 * 1024, 'x');
  std::string joined;
  for (int i = 0; i < 8; ++i) joined += std::string(i > 0 ? "," : "") + R"("$a")";
  std::string sizes;
  for (int i = 0; i < 20; ++i) {
    sizes += std::string(i > 0 ? "," : "") + R"({"$eq": [{"$concat": [)" + joined + R"(]}, 1]})";
  }
  EXPECT_EQ(result("[" + sizes + "]", "{\"a\": \"" + text + "\"}"), "query 146");
}

}  // namespace
}  // namespace database_client::embedded
