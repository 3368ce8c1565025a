// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "values/Number.h"

namespace database_provider::values {

TEST(Number, WholeNumbersReachTheEndsOf64Bits) {
  EXPECT_EQ(parseInteger("9223372036854775807"), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(parseInteger("-9223372036854775808"), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(parseInteger("9223372036854775808"), std::nullopt);
}

TEST(Number, OnlyDigitsMakeAWholeNumber) {
  for (const char* text : {"", "-", "+5", "1.0", "1e3", "0x10", " 1", "1 "}) EXPECT_FALSE(parseInteger(text)) << text;
}

TEST(Number, RealNumbersHaveThePlainForms) {
  EXPECT_EQ(parseReal("30"), 30.0);
  EXPECT_EQ(parseReal("-2.5"), -2.5);
  EXPECT_EQ(parseReal(".2"), 0.2);
  EXPECT_EQ(parseReal("1e3"), 1000.0);
  EXPECT_EQ(parseReal("1E-3"), 0.001);
}

TEST(Number, WordsAndHexadecimalDigitsAreNoNumbers) {
  for (const char* text : {"", "nan", "inf", "-inf", "infinity", "0x1p3", "1e", "1e999", "e5", "1,5", "--1"})
    EXPECT_FALSE(parseReal(text)) << text;
}

TEST(Number, TheShortestTextReadsBackAsTheSameNumber) {
  for (const double value : {0.1, 1.0 / 3, 48.86667, 1e300, -0.5, 5e-324, 1000.0})
    EXPECT_EQ(parseReal(formatReal(value)), value);
  EXPECT_EQ(formatReal(48.86667), "48.86667");
  EXPECT_EQ(formatReal(27), "27");
}

TEST(Number, AnExponentIsWrittenOnlyWhereDigitsWouldBeMany) {
  EXPECT_EQ(formatReal(10000), "10000");
  EXPECT_EQ(formatReal(100000), "100000");
  EXPECT_EQ(formatReal(1e6), "1000000");
  EXPECT_EQ(formatReal(1e20), "100000000000000000000");
  EXPECT_EQ(formatReal(1e21), "1e+21");
  EXPECT_EQ(formatReal(-1e-6), "-0.000001");
  EXPECT_EQ(formatReal(1e-7), "1e-07");
  EXPECT_EQ(formatReal(0), "0");
  for (const double value : {1e20, 123456789012345678901.0, 1e-6, 1.7976931348623157e308, 0.1 + 0.2})
    EXPECT_EQ(parseReal(formatReal(value)), value);
}

TEST(Number, NanAndTheInfinitiesHaveTheirWords) {
  const double infinity = std::numeric_limits<double>::infinity();
  for (const char* text : {"nan", "NaN", "-nan", "NAN"}) {
    const auto value = parseNonFinite(text);
    EXPECT_TRUE(value && std::isnan(*value)) << text;
  }
  for (const char* text : {"inf", "Infinity", "+inf", "INF"}) EXPECT_EQ(parseNonFinite(text), infinity) << text;
  for (const char* text : {"-inf", "-Infinity"}) EXPECT_EQ(parseNonFinite(text), -infinity) << text;
  for (const char* text : {"", "-", "1", "nan(1)", "infinit", "--inf"}) EXPECT_FALSE(parseNonFinite(text)) << text;
  EXPECT_EQ(formatReal(infinity), "Infinity");
  EXPECT_EQ(formatReal(-infinity), "-Infinity");
  EXPECT_EQ(formatReal(std::numeric_limits<double>::quiet_NaN()), "NaN");
}

TEST(Number, AWholeDoubleIsTakenWithin64Bits) {
  EXPECT_EQ(wholeNumber(-3.0), -3);
  EXPECT_EQ(wholeNumber(-9223372036854775808.0), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(wholeNumber(9223372036854775808.0), std::nullopt);
  EXPECT_EQ(wholeNumber(1.5), std::nullopt);
  EXPECT_EQ(wholeNumber(std::numeric_limits<double>::quiet_NaN()), std::nullopt);
}

}  // namespace database_provider::values
