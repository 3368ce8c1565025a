// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "client/bson/Writer.h"
#include "client/embedded/query/values/compare.h"
#include "tests/client/embedded/query/support.h"

namespace database_client::embedded {
namespace {

int sign(int number) {
  return (number > 0) - (number < 0);
}

/// Groups of equal values, in ascending order. Text stands for a value in extended JSON.
const std::vector<std::vector<std::string>>& ladder() {
  static const std::vector<std::vector<std::string>> steps = {
      {R"({"$minKey": 1})"},
      {R"({"$undefined": true})"},
      {"null", ""},
      {R"({"$numberDouble": "NaN"})", R"({"$numberDecimal": "NaN"})"},
      {R"({"$numberDouble": "-Infinity"})", R"({"$numberDecimal": "-Infinity"})"},
      {R"({"$numberDecimal": "-9.999999999999999999999999999999999E+6144"})"},
      {R"({"$numberDouble": "-1.7976931348623157e308"})"},
      {R"({"$numberLong": "-9223372036854775808"})", R"({"$numberDouble": "-9223372036854775808.0"})",
       R"({"$numberDecimal": "-9223372036854775808"})"},
      {R"({"$numberLong": "-9223372036854775807"})", R"({"$numberDecimal": "-9223372036854775807"})"},
      {R"({"$numberLong": "-9007199254740993"})"},
      {R"({"$numberDouble": "-9007199254740992"})", R"({"$numberLong": "-9007199254740992"})"},
      {R"({"$numberInt": "-1"})", R"({"$numberDouble": "-1.0"})", R"({"$numberDecimal": "-1.000"})"},
      {R"({"$numberDecimal": "-1E-6176"})"},
      {R"({"$numberInt": "0"})", R"({"$numberLong": "0"})", R"({"$numberDouble": "0.0"})",
       R"({"$numberDouble": "-0.0"})", R"({"$numberDecimal": "0"})", R"({"$numberDecimal": "-0E+10"})"},
      {R"({"$numberDouble": "4.9406564584124654e-324"})"},
      {R"({"$numberDouble": "0.1"})"},
      {R"({"$numberDouble": "0.5"})", R"({"$numberDecimal": "0.50"})"},
      {R"({"$numberInt": "1"})", R"({"$numberLong": "1"})", R"({"$numberDouble": "1.0"})", R"({"$numberDecimal": "1"})",
       R"({"$numberDecimal": "1.00"})", R"({"$numberDecimal": "0.1E+1"})"},
      {R"({"$numberDecimal": "1.000000000000000000000000000000001"})"},
      {R"({"$numberInt": "2147483647"})", R"({"$numberDouble": "2147483647.0"})"},
      {R"({"$numberLong": "9007199254740991"})", R"({"$numberDouble": "9007199254740991"})"},
      {R"({"$numberLong": "9007199254740992"})", R"({"$numberDouble": "9007199254740992"})"},
      {R"({"$numberLong": "9007199254740993"})", R"({"$numberDecimal": "9007199254740993"})"},
      {R"({"$numberLong": "9007199254740994"})", R"({"$numberDouble": "9007199254740994"})"},
      {R"({"$numberLong": "9223372036854775807"})", R"({"$numberDecimal": "9223372036854775807"})"},
      {R"({"$numberDouble": "9223372036854775808.0"})", R"({"$numberDecimal": "9223372036854775808"})"},
      {R"({"$numberDecimal": "1E+30"})"},
      {R"({"$numberDouble": "1e30"})", R"({"$numberDecimal": "1000000000000000019884624838656"})"},
      {R"({"$numberDouble": "1.7976931348623157e308"})"},
      {R"({"$numberDecimal": "9.999999999999999999999999999999999E+6144"})"},
      {R"({"$numberDouble": "Infinity"})", R"({"$numberDecimal": "Infinity"})"},
      {R"("")", R"({"$symbol": ""})"},
      {R"("A")"},
      {R"("a")", R"({"$symbol": "a"})"},
      {R"("a\u0000")"},
      {R"("a\u0000b")"},
      {R"("aa")"},
      {R"("é")"},
      {"{}"},
      {R"({"a": 1})", R"({"a": 1.0})"},
      {R"({"a": 1, "b": 1})"},
      {R"({"a": 2})"},
      {R"({"b": 1})"},
      {R"({"a": "x"})"},
      {R"({"a": {}})"},
      {"[]"},
      {"[null]"},
      {"[1]"},
      {"[1, 1]"},
      {"[2]"},
      {R"(["a"])"},
      {"[[]]"},
      {R"({"$binary": {"base64": "", "subType": "00"}})"},
      {R"({"$binary": {"base64": "AA==", "subType": "00"}})"},
      {R"({"$binary": {"base64": "AQ==", "subType": "00"}})"},
      {R"({"$binary": {"base64": "AA==", "subType": "05"}})"},
      {R"({"$binary": {"base64": "AAA=", "subType": "00"}})"},
      {R"({"$oid": "000000000000000000000000"})"},
      {R"({"$oid": "ffffffffffffffffffffffff"})"},
      {"false"},
      {"true"},
      {R"({"$date": {"$numberLong": "-9223372036854775808"}})"},
      {R"({"$date": {"$numberLong": "-1"}})"},
      {R"({"$date": {"$numberLong": "0"}})"},
      {R"({"$timestamp": {"t": 1, "i": 2}})"},
      {R"({"$timestamp": {"t": 4294967295, "i": 1}})"},
      {R"({"$regularExpression": {"pattern": "a", "options": ""}})"},
      {R"({"$regularExpression": {"pattern": "a", "options": "i"}})"},
      {R"({"$regularExpression": {"pattern": "b", "options": ""}})"},
      {R"({"$dbPointer": {"$ref": "b", "$id": {"$oid": "000000000000000000000000"}}})"},
      {R"({"$code": "f"})"},
      {R"({"$code": "f", "$scope": {}})"},
      {R"({"$code": "f", "$scope": {"a": 1}})"},
      {R"({"$maxKey": 1})"}};
  return steps;
}

struct Step {
  std::size_t height;
  std::string text;
  Single single;
};

std::vector<Step> allSteps() {
  std::vector<Step> steps;
  for (std::size_t height = 0; height < ladder().size(); ++height) {
    for (const std::string& text : ladder()[height]) steps.push_back({height, text, Single(text)});
  }
  return steps;
}

TEST(Compare, OrdersAllKindsOfValuesAsAServerDoes) {
  const std::vector<Step> steps = allSteps();
  for (const Step& left : steps) {
    for (const Step& right : steps) {
      const int expected = (left.height > right.height) - (left.height < right.height);
      EXPECT_EQ(sign(compare(left.single.value(), right.single.value())), expected)
          << left.text << " against " << right.text;
    }
  }
}

TEST(Compare, CanonicalKeysAreEqualExactlyWhenTheValuesAre) {
  const std::vector<Step> steps = allSteps();
  for (const Step& left : steps) {
    for (const Step& right : steps) {
      EXPECT_EQ(canonicalKey(left.single.value()) == canonicalKey(right.single.value()), left.height == right.height)
          << left.text << " against " << right.text;
    }
  }
}

TEST(Compare, NoCanonicalKeyIsTheBeginningOfAnother) {
  const std::vector<Step> steps = allSteps();
  for (const Step& left : steps) {
    const std::string key = canonicalKey(left.single.value());
    for (const Step& right : steps) {
      const std::string longer = canonicalKey(right.single.value());
      EXPECT_EQ(longer.compare(0, key.size(), key) == 0, left.height == right.height)
          << left.text << " against " << right.text;
    }
  }
}

TEST(Compare, FieldOrderCountsInObjects) {
  EXPECT_NE(compare(Single(R"({"x": 1, "y": 2})").value(), Single(R"({"y": 2, "x": 1})").value()), 0);
}

TEST(Compare, CanonicalKeysAreAStoredForm) {
  EXPECT_EQ(canonicalKey(Single("1").value()), std::string("\x0Ai\x01\0\0\0\0\0\0\0", 10));
  EXPECT_EQ(canonicalKey(Single(R"("ab")").value()), std::string("\x0F\x02\0\0\0ab", 7));
  EXPECT_EQ(canonicalKey(Single(R"({"$oid": "0102030405060708090a0b0c"})").value()),
            std::string("\x23\x01\x02\x03\x04\x05\x06\x07\x08\x09\x0A\x0B\x0C", 13));
}

}  // namespace
}  // namespace database_client::embedded
