// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <clocale>
#include <string>

#include "database_provider/Selection.h"
#include "selection/Parser.h"
#include "values/Number.h"
#include "values/Time.h"

using namespace database_provider::selection;
using database_provider::SelectionError;
using database_provider::values::formatReal;
using database_provider::values::formatTime;
using database_provider::values::Time;

namespace {

std::string shown(const Name& name) {
  switch (name.field) {
    case Field::id:
      return "#id";
    case Field::category:
      return "category:" + name.text;
    case Field::description:
      return "description:" + name.text;
    case Field::any:
      break;
  }
  return name.text;
}

struct ShowTyped {
  std::string operator()(const std::string& text) const { return "'" + text + "'"; }
  std::string operator()(bool value) const { return value ? "true" : "false"; }
  std::string operator()(std::int64_t value) const { return std::to_string(value); }
  std::string operator()(double value) const { return formatReal(value) + "r"; }
  std::string operator()(Time time) const { return formatTime(time.milliseconds); }
};

std::string shown(const Value& value) {
  return std::visit(ShowTyped(), value.typed);
}

std::string shown(const Expression& expression);

template <class Parts>
std::string joined(const char* word, const Parts& parts) {
  std::string result = std::string("(") + word;
  for (const auto& part : parts) result += " " + shown(part);
  return result + ")";
}

std::string shown(Moment moment) {
  return "[" + formatTime(moment.first * 1000) + ", " + formatTime(moment.end * 1000) + ")";
}

constexpr Time now{1'772'704'800'500};  // 2026-03-05T10:00:00.5Z

std::string shown(const Expression& expression) {
  static const char* const operations[] = {"=", "!=", "<", "<=", ">", ">=", "", "", "~", "!~"};
  switch (expression.kind) {
    case Expression::Kind::comparison:
      return shown(expression.name) + " " + operations[static_cast<int>(expression.operation)] + expression.options +
             " " + shown(expression.values.front());
    case Expression::Kind::oneOf:
      return shown(expression.name) + " " + joined("in", expression.values);
    case Expression::Kind::has:
      return "has " + shown(expression.name);
    case Expression::Kind::created:
      return std::string("#created ") + operations[static_cast<int>(expression.operation)] + " " +
             shown(expression.moment);
    case Expression::Kind::negation:
      return joined("not", expression.operands);
    case Expression::Kind::any:
      return joined("or", expression.operands);
    case Expression::Kind::all:
      break;
  }
  return joined("and", expression.operands);
}

/// The tree of a text, or what is wrong with it and where.
std::string parsed(const std::string& text) {
  try {
    return shown(parseFilter(text, now));
  } catch (const SelectionError& error) {
    return std::to_string(error.position()) + ": " + error.reason();
  }
}

std::string repeated(const std::string& text, int count) {
  std::string result;
  for (int i = 0; i < count; ++i) result += text;
  return result;
}

}  // namespace

TEST(FilterParser, AnEmptyTextSelectsEverything) {
  EXPECT_EQ(parsed(""), "(and)");
  EXPECT_EQ(parsed("  \t"), "(and)");
}

TEST(FilterParser, EveryComparisonIsRead) {
  EXPECT_EQ(parsed("a=b"), "a = 'b'");
  EXPECT_EQ(parsed("a != b"), "a != 'b'");
  EXPECT_EQ(parsed("a<1"), "a < 1");
  EXPECT_EQ(parsed("a<=1"), "a <= 1");
  EXPECT_EQ(parsed("a>1"), "a > 1");
  EXPECT_EQ(parsed("a>=1"), "a >= 1");
  EXPECT_EQ(parsed("a ~ '^x'"), "a ~ '^x'");
  EXPECT_EQ(parsed("a !~ x"), "a !~ 'x'");
  EXPECT_EQ(parsed("has a"), "has a");
  EXPECT_EQ(parsed("a in (b, 1,'c')"), "a (in 'b' 1 'c')");
}

TEST(FilterParser, APatternForEitherCaseIsTildeI) {
  EXPECT_EQ(parsed("a ~i x"), "a ~i 'x'");
  EXPECT_EQ(parsed("a !~i 'x'"), "a !~i 'x'");
  EXPECT_EQ(parsed("a~i'x'"), "a ~i 'x'");
  EXPECT_EQ(parsed("a~ice"), "a ~ 'ice'");
}

TEST(FilterParser, NotBindsTightestThenAnd) {
  EXPECT_EQ(parsed("a=1 or b=2 and not c=3"), "(or a = 1 (and b = 2 (not c = 3)))");
  EXPECT_EQ(parsed("not a=1 and b=2"), "(and (not a = 1) b = 2)");
  EXPECT_EQ(parsed("site=Waseca and (yield>30 or year=1932) and not has variety"),
            "(and site = 'Waseca' (or yield > 30 year = 1932) (not has variety))");
}

TEST(FilterParser, ParenthesesChangeTheBinding) {
  EXPECT_EQ(parsed("not (a=1 or b=2)"), "(not (or a = 1 b = 2))");
  EXPECT_EQ(parsed("((a=1))"), "a = 1");
}

TEST(FilterParser, ValuesAreTyped) {
  EXPECT_EQ(parsed("a=30"), "a = 30");
  EXPECT_EQ(parsed("a=-5"), "a = -5");
  EXPECT_EQ(parsed("a=1e3"), "a = 1000r");
  EXPECT_EQ(parsed("a=nan"), "a = NaNr");
  EXPECT_EQ(parsed("a>=-inf"), "a >= -Infinityr");
  EXPECT_EQ(parsed("a='nan'"), "a = 'nan'");
  EXPECT_EQ(parsed("a=1e+3"), "a = 1000r");
  EXPECT_EQ(parsed("a=.2"), "a = 0.2r");
  EXPECT_EQ(parsed("a=9223372036854775808"), "a = 9223372036854775808r");
  EXPECT_EQ(parsed("a=true"), "a = true");
  EXPECT_EQ(parsed("a=2020-01-31"), "a = 2020-01-31T00:00:00Z");
  EXPECT_EQ(parsed("a=2020-01-31T10:00:00Z"), "a = 2020-01-31T10:00:00Z");
  EXPECT_EQ(parsed("a=2020-01-31T10:00:00+02:00"), "a = 2020-01-31T08:00:00Z");
}

TEST(FilterParser, QuotedValuesAreTexts) {
  EXPECT_EQ(parsed("a=\"30\""), "a = '30'");
  EXPECT_EQ(parsed("a='true'"), "a = 'true'");
  EXPECT_EQ(parsed("a=\"\""), "a = ''");
  EXPECT_EQ(parsed(R"x(a="say \"so\" \\ 'x'")x"), R"x(a = 'say "so" \ 'x'')x");
}

TEST(FilterParser, BareTextsHoldLettersOfEveryLanguage) {
  EXPECT_EQ(parsed("gr\u00f6\u00dfe=$S\u00fcd_1-a.b"), "gr\u00f6\u00dfe = '$S\u00fcd_1-a.b'");
  EXPECT_EQ(parsed("a=12abc"), "a = '12abc'");
  EXPECT_EQ(parsed("a=nano"), "a = 'nano'");
}

TEST(FilterParser, APrefixForcesCategoryOrDescription) {
  EXPECT_EQ(parsed("category:year=1931"), "category:year = 1931");
  EXPECT_EQ(parsed("has description:\"soil type\""), "has description:soil type");
  EXPECT_EQ(parsed("category=x"), "category = 'x'");
  EXPECT_EQ(parsed("\"category:x\"=1"), "category:x = 1");
  EXPECT_EQ(parsed("category:in=1"), "category:in = 1");
}

TEST(FilterParser, IdIsTheRecordsIdUnlessQuotedOrForced) {
  EXPECT_EQ(parsed("id=abc"), "#id = 'abc'");
  EXPECT_EQ(parsed("id in (a,b)"), "#id (in 'a' 'b')");
  EXPECT_EQ(parsed("\"id\"=abc"), "id = 'abc'");
  EXPECT_EQ(parsed("category:id=abc"), "category:id = 'abc'");
  EXPECT_EQ(parsed("id ~ a"), "3: an id is compared whole, not with a pattern");
  EXPECT_EQ(parsed("has id"), "4: every record has an id; a name stands in quotes");
}

TEST(FilterParser, CreatedIsComparedWithTheSecondThatATimeNames) {
  EXPECT_EQ(parsed("created>=2026-03-05T10:00:00Z"), "#created >= [2026-03-05T10:00:00Z, 2026-03-05T10:00:01Z)");
  EXPECT_EQ(parsed("created = 2026-03-05T12:00+02:00"), "#created = [2026-03-05T10:00:00Z, 2026-03-05T10:00:01Z)");
  EXPECT_EQ(parsed("created<2026-03-05T10:00:00.999Z"), "#created < [2026-03-05T10:00:00Z, 2026-03-05T10:00:01Z)");
  EXPECT_EQ(parsed("created<now"), "#created < [2026-03-05T10:00:00Z, 2026-03-05T10:00:01Z)");
  EXPECT_EQ(parsed("created>now-90m"), "#created > [2026-03-05T08:30:00Z, 2026-03-05T08:30:01Z)");
  EXPECT_EQ(parsed("created!=1969-12-31T23:59:59.5Z"), "#created != [1969-12-31T23:59:59Z, 1970-01-01T00:00:00Z)");
}

TEST(FilterParser, CreatedIsComparedWithTheDayOfADateAlone) {
  EXPECT_EQ(parsed("created<2026-03-05"), "#created < [2026-03-05T00:00:00Z, 2026-03-06T00:00:00Z)");
  EXPECT_EQ(parsed("created=1969-12-31"), "#created = [1969-12-31T00:00:00Z, 1970-01-01T00:00:00Z)");
  EXPECT_EQ(parsed("created<now-20000d"), "#created < [1971-06-02T10:00:00Z, 1971-06-02T10:00:01Z)");
}

TEST(FilterParser, CreatedIsANameWhereItIsQuotedOrForced) {
  EXPECT_EQ(parsed("\"created\"=2026-03-05"), "created = 2026-03-05T00:00:00Z");
  EXPECT_EQ(parsed("category:created=x"), "category:created = 'x'");
  EXPECT_EQ(parsed("description:created in (1, 2)"), "description:created (in 1 2)");
  EXPECT_EQ(parsed("has category:created"), "has category:created");
  EXPECT_EQ(parsed("has 'created'"), "has created");
  EXPECT_EQ(parsed("a=created"), "a = 'created'");
  EXPECT_EQ(parsed("Created=1"), "Created = 1");
}

TEST(FilterParser, CreatedTakesTimesAlone) {
  EXPECT_EQ(parsed("created in (2026-03-05)"),
            "8: created is compared with one time: created=A or created=B; a name stands in quotes");
  EXPECT_EQ(parsed("has created"), "4: created is the time in a record's id; a name stands in quotes");
  EXPECT_EQ(parsed("created ~ 2026"), "8: a time is compared with another, not with a pattern");
  const std::string expected = "8: expected a date, a time or a time ago such as now-30d, found ";
  EXPECT_EQ(parsed("created<5"), expected + "\"5\"");
  EXPECT_EQ(parsed("created<'2026-03-05'"), expected + "\"'2026-03-05'\"");
  EXPECT_EQ(parsed("created<2026-02-30"), expected + "\"2026-02-30\"");
  EXPECT_EQ(parsed("created<now-30"), expected + "\"now-30\"");
  EXPECT_EQ(parsed("created<"), expected + "the end");
  EXPECT_EQ(parsed("created"), "7: expected a comparison, found the end");
  EXPECT_EQ(parsed("created:x=1"), R"x(0: before a colon stands category or description, found "created")x");
}

TEST(FilterParser, ATimeAgoIsAValueToo) {
  EXPECT_EQ(parsed("started>now-1h"), "started > 2026-03-05T09:00:00.500Z");
  EXPECT_EQ(parsed("started in (now, now-1d)"), "started (in 2026-03-05T10:00:00.500Z 2026-03-04T10:00:00.500Z)");
  EXPECT_EQ(parsed("state='now'"), "state = 'now'");
  EXPECT_EQ(parsed("state=nowhere"), "state = 'nowhere'");
  EXPECT_EQ(parsed("state=now-30"), "state = 'now-30'");
}

TEST(FilterParser, KeywordsAreSmallLettersOnly) {
  EXPECT_EQ(parsed("state=IN"), "state = 'IN'");
  EXPECT_EQ(parsed("a=1 AND b=2"), R"x(4: expected and, or, or the end, found "AND" (written in small letters))x");
}

TEST(FilterParser, ErrorsNameWhatWasExpectedAndWhere) {
  EXPECT_EQ(parsed("a="), "2: expected a value, found the end");
  EXPECT_EQ(parsed("a= and b=1"), R"x(3: expected a value, found "and" (a text of that kind stands in quotes))x");
  EXPECT_EQ(parsed("a"), "1: expected a comparison, found the end");
  EXPECT_EQ(parsed("=1"), R"x(0: expected a name, found "=")x");
  EXPECT_EQ(parsed("a==1"), R"x(2: expected a value, found "=")x");
  EXPECT_EQ(parsed("a=1 b=2"), R"x(4: expected and, or, or the end, found "b")x");
  EXPECT_EQ(parsed("(a=1"), R"x(4: expected ")", found the end)x");
  EXPECT_EQ(parsed("a=1)"), R"x(3: expected and, or, or the end, found ")")x");
  EXPECT_EQ(parsed("a in ()"), R"x(6: expected a value, found ")")x");
  EXPECT_EQ(parsed("a in b"), R"x(5: expected "(", found "b")x");
  EXPECT_EQ(parsed("a='b"), "2: this quote is not closed");
  EXPECT_EQ(parsed("a=b/c"), R"x(3: unexpected "/"; a text that holds it stands in quotes)x");
  EXPECT_EQ(parsed("size:a=1"), R"x(0: before a colon stands category or description, found "size")x");
  EXPECT_EQ(parsed("a=2020-13-01"), R"x(2: expected a date or time such as 2020-01-31T10:00:00Z, found "2020-13-01")x");
  EXPECT_EQ(parsed("a=12:30"),
            R"x(2: expected a value (a text with such characters stands in quotes), found "12:30")x");
  EXPECT_EQ(parsed("\"\"=1"), R"x(0: expected a name, found """")x");
}

TEST(FilterParser, WhatIsNoPatternIsToldWithItsPlace) {
  EXPECT_EQ(parsed("a=1 or b ~i '(x'"), "12: this is no pattern: missing closing parenthesis");
  EXPECT_EQ(parsed("b !~ \"[\""), "5: this is no pattern: missing terminating ] for character class");
}

TEST(FilterParser, WhatIsNotUtf8IsToldWithItsPlace) {
  EXPECT_EQ(parsed("a='\xff'"), "2: this is not UTF-8");
  EXPECT_EQ(parsed("a=1 and \xff=2"), "8: this is not UTF-8");
}

TEST(FilterParser, NestingIsLimited) {
  EXPECT_EQ(parsed(repeated("(", 20) + "a=1" + repeated(")", 20)), "a = 1");
  EXPECT_EQ(parsed(repeated("(", 21) + "a=1" + repeated(")", 21)), "20: more than 20 levels of parentheses and not");
  EXPECT_EQ(parsed(repeated("not ", 21) + "a=1"), "80: more than 20 levels of parentheses and not");
  EXPECT_EQ(parsed(repeated("(a=1) and ", 50) + "b=2").substr(0, 4), "(and");
}

TEST(FilterParser, ConditionsAreLimited) {
  EXPECT_EQ(parsed("a=0" + repeated(" or a=1", 999)).substr(0, 3), "(or");
  EXPECT_EQ(parsed("a=0" + repeated(" or a=1", 1000)), "7000: more than 1000 conditions");
  EXPECT_EQ(parsed("has a" + repeated(" and a in (1, 2)", 1000)), "15994: more than 1000 conditions");
}

TEST(FilterParser, ValuesOfAListAreLimited) {
  EXPECT_EQ(parsed("a in (1" + repeated(",2", 9'999) + ")").substr(0, 7), "a (in 1");
  EXPECT_EQ(parsed("a in (1" + repeated(",2", 10'000) + ")"), "20006: more than 10000 values in a list");
}

TEST(FilterParser, OfALongFilterThePlaceIsShown) {
  const std::string text = "a in (1" + repeated(",2", 10'000) + ")";
  try {
    parseFilter(text);
    FAIL() << "no error";
  } catch (const SelectionError& error) {
    EXPECT_STREQ(error.what(), ("in the filter: more than 10000 values in a list\n  \u2026" + repeated("2,", 50) +
                                "2)\n  " + std::string(101, ' ') + "^")
                                   .c_str());
  }
}

TEST(FilterParser, NamesAndValuesKnowTheirPlaces) {
  const Expression both = parseFilter("  site = Waseca and not has category:'v w' or id in (a, \"b\")");
  const Expression& first = both.operands[0];
  EXPECT_EQ(first.operands[0].name.position, 2U);
  EXPECT_EQ(first.operands[0].values[0].position, 9U);
  EXPECT_EQ(first.operands[1].operands[0].name.position, 28U);
  EXPECT_EQ(both.operands[1].name.position, 46U);
  EXPECT_EQ(both.operands[1].values[1].position, 56U);
}

TEST(FilterParser, AMarkStandsUnderTheColumn) {
  ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr);
  const std::string text = "gr\u00f6\u00dfe\t> and x=1";
  try {
    parseFilter(text);
    FAIL() << "no error";
  } catch (const SelectionError& error) {
    EXPECT_STREQ(error.what(),
                 "in the filter: expected a value, found \"and\" (a text of that kind stands in quotes)\n"
                 "  gr\u00f6\u00dfe > and x=1\n"
                 "          ^");
  }
}
