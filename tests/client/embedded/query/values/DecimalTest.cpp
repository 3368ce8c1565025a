// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "client/embedded/query/values/Decimal.h"
#include "tests/client/embedded/query/support.h"

namespace database_client::embedded {
namespace {

Decimal decimal(const std::string& text) {
  return Decimal::load(Single(R"({"$numberDecimal": ")" + text + "\"}").value().data);
}

std::string toJson(const Decimal& number) {
  std::string text = number.negative ? "-" : "";
  if (number.kind == Decimal::Kind::notANumber) return "NaN";
  if (number.kind == Decimal::Kind::infinite) return text + "Infinity";
  std::string digits;
  for (Uint128 rest = number.coefficient; rest != 0; rest /= 10) {
    digits.insert(digits.begin(), static_cast<char>('0' + static_cast<int>(rest % 10)));
  }
  return text + (digits.empty() ? "0" : digits) + "E" + std::to_string(number.exponent);
}

std::string sum(const std::string& left, const std::string& right) {
  std::string forward = toJson(decimal(left).plus(decimal(right)));
  EXPECT_EQ(forward, toJson(decimal(right).plus(decimal(left))));
  return forward;
}

TEST(Decimal, SumsKeepTheFinerScale) {
  EXPECT_EQ(sum("1.10", "2.2"), "330E-2");
  EXPECT_EQ(sum("1", "2"), "3E0");
  EXPECT_EQ(sum("1E+3", "1"), "1001E0");
}

TEST(Decimal, SumsOfOppositesAreZero) {
  EXPECT_EQ(sum("1.5", "-1.5"), "0E-1");
  EXPECT_EQ(sum("0", "-0"), "0E0");
}

TEST(Decimal, SumsRoundHalvesToTheEvenNeighbour) {
  EXPECT_EQ(sum("1000000000000000000000000000000000", "0.5"), "1000000000000000000000000000000000E0");
  EXPECT_EQ(sum("1000000000000000000000000000000001", "0.5"), "1000000000000000000000000000000002E0");
  EXPECT_EQ(sum("1000000000000000000000000000000000", "0.500000001"), "1000000000000000000000000000000001E0");
  EXPECT_EQ(sum("9999999999999999999999999999999999", "0.5"), "1000000000000000000000000000000000E1");
}

TEST(Decimal, SumsRoundCorrectlyBelowAPowerOfTen) {
  EXPECT_EQ(sum("1000000000000000000000000000000000", "-0.01"), "1000000000000000000000000000000000E0");
  EXPECT_EQ(sum("1000000000000000000000000000000000", "-0.1"), "9999999999999999999999999999999999E-1");
  EXPECT_EQ(sum("1000000000000000000000000000000000", "-0.06"), "9999999999999999999999999999999999E-1");
}

TEST(Decimal, SumsOfFarApartNumbersAreTheGreaterOne) {
  EXPECT_EQ(sum("1E+6000", "-1E-6000"), "1000000000000000000000000000000000E5967");
}

TEST(Decimal, SumsBeyondTheRangeAreInfinite) {
  const std::string largest = "9.999999999999999999999999999999999E+6144";
  EXPECT_EQ(sum(largest, largest), "Infinity");
  EXPECT_EQ(sum("-" + largest, "-" + largest), "-Infinity");
}

TEST(Decimal, SpecialValuesSpread) {
  EXPECT_EQ(sum("Infinity", "1"), "Infinity");
  EXPECT_EQ(sum("Infinity", "-Infinity"), "NaN");
  EXPECT_EQ(sum("NaN", "1"), "NaN");
}

TEST(Decimal, QuotientsAreRoundedTo34Digits) {
  EXPECT_EQ(toJson(decimal("1").dividedBy(4)), "25E-2");
  EXPECT_EQ(toJson(decimal("1").dividedBy(3)), "3333333333333333333333333333333333E-34");
  EXPECT_EQ(toJson(decimal("2").dividedBy(3)), "6666666666666666666666666666666667E-34");
  EXPECT_EQ(toJson(decimal("-7.5").dividedBy(5)), "-15E-1");
}

TEST(Decimal, TakesTheFirst34DigitsOfADouble) {
  EXPECT_EQ(toJson(Decimal::fromDouble(0.1)), "1000000000000000055511151231257827E-34");
  EXPECT_EQ(toJson(Decimal::fromDouble(-2.5)), "-25E-1");
  EXPECT_EQ(toJson(Decimal::fromDouble(1e300)), "100000000000000005250476025520442E268");
}

TEST(Decimal, BecomesTheNearestDouble) {
  EXPECT_EQ(decimal("0.1").toDouble(), 0.1);
  EXPECT_EQ(decimal("1E+400").toDouble(), std::numeric_limits<double>::infinity());
  EXPECT_EQ(decimal("-1E-400").toDouble(), 0.0);
  EXPECT_TRUE(std::isnan(decimal("NaN").toDouble()));
}

TEST(Decimal, TruncatesTowardsZeroWithinInt64) {
  EXPECT_EQ(decimal("-1.9").truncated(), -1);
  EXPECT_EQ(decimal("1E+3").truncated(), 1000);
  EXPECT_EQ(decimal("1E-6000").truncated(), 0);
  EXPECT_EQ(decimal("9223372036854775807.5").truncated(), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(decimal("-9223372036854775808").truncated(), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(decimal("9223372036854775808").truncated(), std::nullopt);
  EXPECT_EQ(decimal("Infinity").truncated(), std::nullopt);
}

TEST(Decimal, SurvivesStoring) {
  for (const char* text : {"1.50", "-0E+6111", "9.999999999999999999999999999999999E+6144", "1E-6176", "Infinity"}) {
    bson::Byte bytes[16];
    decimal(text).store(bytes);
    EXPECT_EQ(toJson(Decimal::load(bytes)), toJson(decimal(text)));
  }
}

}  // namespace
}  // namespace database_client::embedded
