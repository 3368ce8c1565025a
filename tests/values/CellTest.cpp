// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "values/Cell.h"
#include "values/Number.h"
#include "values/Time.h"

namespace database_provider::values {

using database_client::PropertyType;

namespace {

struct Show {
  std::string operator()(const std::string& text) const { return "'" + text + "'"; }
  std::string operator()(bool value) const { return value ? "true" : "false"; }
  std::string operator()(int value) const { return std::to_string(value) + "i"; }
  std::string operator()(std::int64_t value) const { return std::to_string(value) + "l"; }
  std::string operator()(double value) const { return formatReal(value) + "d"; }
  std::string operator()(Time value) const { return formatTime(value.milliseconds); }
};

/// What a cell becomes under a type, or why it does not.
std::string converted(const Cell& cell, const std::string& type, TimeUnit unit = TimeUnit::undecided) {
  try {
    return std::visit(Show(), convert(cell, *columnType(type), unit));
  } catch (const ConversionError& error) {
    return error.what();
  }
}

Cell text(const std::string& value) {
  return {value};
}
Cell whole(std::int64_t value) {
  return {value};
}
Cell real(double value) {
  return {value};
}

}  // namespace

TEST(Convert, TypesHaveTheNamesOfTheCommandLine) {
  EXPECT_EQ(columnTypeNames(), "string, bool, int, long, double, time");
  EXPECT_EQ(columnType("float"), std::nullopt);
  EXPECT_EQ(columnTypeName(PropertyType::int64), "long");
}

TEST(Convert, AnIntIsAWholeNumberOf32Bits) {
  EXPECT_EQ(converted(text("27"), "int"), "27i");
  EXPECT_EQ(converted(text("-2147483648"), "int"), "-2147483648i");
  EXPECT_EQ(converted(real(27.0), "int"), "27i");
  EXPECT_EQ(converted(text("1e3"), "int"), "1000i");
  EXPECT_EQ(converted(text("2147483648"), "int"), "expected int (a whole number of 32 bits), found \"2147483648\"");
  EXPECT_EQ(converted(whole(-2147483649), "int"), "expected int (a whole number of 32 bits), found -2147483649");
  EXPECT_EQ(converted(real(1.5), "int"), "expected int (a whole number of 32 bits), found 1.5");
  EXPECT_EQ(converted(text("many"), "int"), "expected int (a whole number of 32 bits), found \"many\"");
  EXPECT_EQ(converted({true}, "int"), "expected int (a whole number of 32 bits), found true");
}

TEST(Convert, ALongIsAWholeNumberOf64Bits) {
  EXPECT_EQ(converted(text("9223372036854775807"), "long"), "9223372036854775807l");
  EXPECT_EQ(converted(text("9223372036854775808"), "long"),
            "expected long (a whole number of 64 bits), found \"9223372036854775808\"");
  EXPECT_EQ(converted(text("0.5"), "long"), "expected long (a whole number of 64 bits), found \"0.5\"");
}

TEST(Convert, ADoubleIsAnyNumber) {
  EXPECT_EQ(converted(text("48.86667"), "double"), "48.86667d");
  EXPECT_EQ(converted(whole(27), "double"), "27d");
  EXPECT_EQ(converted(text("nan"), "double"), "NaNd");
  EXPECT_EQ(converted(text("-inf"), "double"), "-Infinityd");
  EXPECT_EQ(converted(text("none"), "double"), "expected double (a number), found \"none\"");
  EXPECT_EQ(converted(text("1e999"), "double"), "expected double (a number), found \"1e999\"");
}

TEST(Convert, ABoolIsTrueOrFalse) {
  EXPECT_EQ(converted({true}, "bool"), "true");
  EXPECT_EQ(converted(text("FALSE"), "bool"), "false");
  EXPECT_EQ(converted(text("yes"), "bool"), "expected bool (true or false), found \"yes\"");
  EXPECT_EQ(converted(whole(1), "bool"), "expected bool (true or false), found 1");
}

TEST(Convert, ATimeIsIsoOrMilliseconds) {
  EXPECT_EQ(converted(text("2020-01-31T12:00:00+02:00"), "time"), "2020-01-31T10:00:00Z");
  EXPECT_EQ(converted(text("2020-01-31"), "time"), "2020-01-31T00:00:00Z");
  EXPECT_EQ(converted(whole(1580464800000), "time"), "2020-01-31T10:00:00Z");
  EXPECT_EQ(converted(text("-100000000000"), "time"), "1966-10-31T14:13:20Z");
  EXPECT_EQ(converted({Time{7}}, "time"), "1970-01-01T00:00:00.007Z");
  EXPECT_EQ(converted(text("31.1.2020"), "time"),
            "expected time (ISO 8601, or whole milliseconds since 1970), found \"31.1.2020\"");
}

TEST(Convert, ANumberThatCouldBeAYearOrSecondsIsATimeOnlyWithItsUnit) {
  const std::string expected =
      "expected time, found 2020, which could be a year, seconds or milliseconds; --time-unit s or ms says which";
  EXPECT_EQ(converted(whole(2020), "time"), expected);
  for (const std::int64_t value : {std::int64_t{0}, std::int64_t{1580464800}, std::int64_t{-99'999'999'999}})
    EXPECT_NE(converted(whole(value), "time").find("--time-unit"), std::string::npos) << value;
  EXPECT_EQ(converted(whole(2020), "time", TimeUnit::milliseconds), "1970-01-01T00:00:02.020Z");
  EXPECT_EQ(converted(whole(1580464800), "time", TimeUnit::seconds), "2020-01-31T10:00:00Z");
  EXPECT_EQ(converted(text("1580464800.125"), "time", TimeUnit::seconds), "2020-01-31T10:00:00.125Z");
  EXPECT_EQ(converted(text("2020-01-31"), "time", TimeUnit::seconds), "2020-01-31T00:00:00Z");
  EXPECT_EQ(converted(real(1e300), "time", TimeUnit::seconds),
            "expected time (ISO 8601, or seconds since 1970), found 1e+300");
}

TEST(Convert, AStringTakesNumbersAndBooleansAsTheirText) {
  EXPECT_EQ(converted({std::int64_t{7}, "7.00"}, "string"), "'7.00'");
  EXPECT_EQ(converted(real(0.5), "string"), "'0.5'");
  EXPECT_EQ(converted({false}, "string"), "'false'");
  EXPECT_EQ(converted({Cell::Other{"an array"}}, "string"), "expected a text, a number or a boolean, found an array");
}

TEST(Convert, NothingAndAnEmptyTextAreAbsent) {
  EXPECT_TRUE(Cell().isAbsent());
  EXPECT_TRUE(text("").isAbsent());
  EXPECT_FALSE(text(" ").isAbsent());
  EXPECT_FALSE(whole(0).isAbsent());
}

TEST(Convert, AMessageShowsNoMoreThanAPieceOfALongText) {
  EXPECT_LT(converted(text(std::string(100'000, 'x')), "int").size(), 200U);
}

}  // namespace database_provider::values
