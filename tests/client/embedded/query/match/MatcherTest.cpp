// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstring>

#include "client/embedded/query/match/Matcher.h"
#include "tests/client/embedded/query/support.h"
#include "tests/support/matchingCases.h"
#include "tests/support/quotes.h"

namespace database_client::embedded {
namespace {

using database_test::doubleQuoted;
using database_test::MatchingCase;

/// The numbers of the documents that match, from 1 on: "1 3"; or kind and code of the error.
std::string select(const std::string& query, const std::vector<std::string>& documents) {
  return outcome([&] {
    const Matcher matcher(viewOf(fromJson(query)));
    std::string numbers;
    for (std::size_t i = 0; i < documents.size(); ++i) {
      if (!matcher.matches(viewOf(fromJson(documents[i])))) continue;
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
    const Matcher matcher(viewOf(fromJson(query)));
    return "no error";
  } catch (const Error& error) {
    return error.what();
  }
}

class MatcherRows : public ::testing::TestWithParam<MatchingCase> {};

TEST_P(MatcherRows, SelectTheirDocuments) {
  for (const auto& [documents, rows] : GetParam().parts) {
    std::vector<std::string> texts;
    for (const char* document : documents) texts.push_back(doubleQuoted(document));
    for (const MatchingCase::Row& row : rows) {
      std::string selected = select(doubleQuoted(row.query), texts);
      if (selected.rfind("query ", 0) == 0) selected.replace(0, 5, "error");
      EXPECT_EQ(selected, row.expected) << row.query;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Cases, MatcherRows, ::testing::ValuesIn(database_test::matchingCases()),
                         [](const auto& one) { return std::string(one.param.name); });

TEST(Matcher, TheEmptyQueryMatchesEverything) {
  EXPECT_EQ(select("{}", {"{}", R"({"a": 1})"}), "1 2");
  EXPECT_TRUE(Matcher(viewOf(fromJson("{}"))).matchesEverything());
  EXPECT_TRUE(Matcher(viewOf(fromJson(R"({"$comment": "x"})"))).matchesEverything());
  EXPECT_FALSE(Matcher(viewOf(fromJson(R"({"a": 1})"))).matchesEverything());
}

TEST(Matcher, AnEmptyKeyIsAPath) {
  EXPECT_EQ(select(R"({"": 1})", {R"({"": 1})", "{}"}), "1");
}

TEST(Matcher, TheFirstOfRepeatedKeysCounts) {
  EXPECT_EQ(select(R"({"a": 2})", {R"({"a": 1, "a": 2})"}), "");
}

TEST(Matcher, AnOverlongPathIsRefused) {
  std::string path = "a";
  for (int i = 0; i < 200; ++i) path += ".a";
  EXPECT_EQ(select("{\"" + path + "\": 1}", {}), "query 15");
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

TEST(Matcher, AStoredRegexMatchesOnlyTheSame) {
  const auto stored = [](const char* pattern, const char* options) {
    return std::string(R"({"a": {"$regularExpression": {"pattern": ")") + pattern + R"(", "options": ")" + options +
           "\"}}}";
  };
  EXPECT_EQ(select(stored("b", "i"), {stored("b", "i"), stored("b", ""), stored("ab", "i"), R"({"a": "AB"})"}), "1 4");
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

TEST(Matcher, OutlivesTheBytesOfItsQuery) {
  Bytes query = fromJson(R"({"a": "text", "b": {"$in": ["x", {"y": 1}]}, "c": {"$regex": "p", "$options": "i"}})");
  const Matcher matcher(viewOf(query));
  std::memset(query.data(), 0xFF, query.size());
  EXPECT_TRUE(matcher.matches(viewOf(fromJson(R"({"a": "text", "b": {"y": 1}, "c": "P"})"))));
  EXPECT_FALSE(matcher.matches(viewOf(fromJson(R"({"a": "text", "b": {"y": 2}, "c": "P"})"))));
}

TEST(Matcher, ManyAlternativesOfInAreFoundQuickly) {
  std::string list;
  for (int i = 0; i < 100000; ++i) list += (i > 0 ? "," : "") + std::to_string(2 * i);
  EXPECT_EQ(select("{\"a\": {\"$in\": [" + list + "]}}", {R"({"a": 199998})", R"({"a": 199999})"}), "1");
}

}  // namespace
}  // namespace database_client::embedded
