#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "tools/values/Number.h"

using namespace database_provider::recordctl;

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

TEST(Number, AWholeDoubleIsTakenWithin64Bits) {
  EXPECT_EQ(wholeNumber(-3.0), -3);
  EXPECT_EQ(wholeNumber(-9223372036854775808.0), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(wholeNumber(9223372036854775808.0), std::nullopt);
  EXPECT_EQ(wholeNumber(1.5), std::nullopt);
  EXPECT_EQ(wholeNumber(std::numeric_limits<double>::quiet_NaN()), std::nullopt);
}
