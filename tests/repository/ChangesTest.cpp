// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "database_provider/records.h"

namespace database_provider {

using database_client::Error;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

/// A store in memory with one record, whose numbers formulas are computed from.
class FormulaTest : public ::testing::Test {
 protected:
  FormulaTest() {
    id_ = records.insert(NewRecord()
                             .description("a", 6)
                             .description("b", 1.5)
                             .description("long", std::int64_t{4})
                             .description("a-b", 100)
                             .description("per head", 8)
                             .description("2nd", 9)
                             .description("$x.y", 10)
                             .description("quote\"d", 11)
                             .description("text", "12"));
  }

  /// What a formula gives; nothing where the record is skipped.
  std::optional<Value> computed(const std::string& formula, PropertyType type = PropertyType::real) {
    ChangeOptions options;
    options.onFailure = [this](const FailedChange& failed) { failure = failed.reason; };
    failure.clear();
    const ChangeResult result = records.update({}, Changes().compute("result", formula, type), options);
    if (result.changed + result.unchanged == 0) return std::nullopt;
    return records.read(id_)->description("result");
  }
  /// The value as a double.
  double number(const std::string& formula) { return numberOf(computed(formula).value_or(-1e9)).value_or(-1e9); }
  /// The place and the reason of an error.
  static std::string error(const std::string& formula) {
    try {
      Changes().compute("result", formula);
      return "none";
    } catch (const FormulaError& wrong) {
      return std::to_string(wrong.position()) + " " + wrong.reason();
    }
  }

  std::unique_ptr<DataBaseClient> store = open("file::memory:");
  Records records{*store, RecordKind::experiment};
  std::string failure{};

 private:
  std::string id_{};
};

TEST_F(FormulaTest, ComputesAsArithmeticDoes) {
  EXPECT_EQ(number("a"), 6);
  EXPECT_EQ(number("1 + 2 * 3"), 7);
  EXPECT_EQ(number("(1 + 2) * 3"), 9);
  EXPECT_EQ(number("10 - 2 - 3"), 5);
  EXPECT_EQ(number("24 / 4 / 2"), 3);
  EXPECT_EQ(number("-a * -b"), 9);
  EXPECT_EQ(number("--2"), 2);
  EXPECT_EQ(number("2 - -3"), 5);
  EXPECT_EQ(number("a+b*long"), 12);
  EXPECT_EQ(number("1e3+.5+2."), 1002.5);
  EXPECT_EQ(number("1e-3"), 0.001);
  EXPECT_EQ(number("1.5-0.5"), 1);
}

TEST_F(FormulaTest, NamesStandBareAsInFiltersOrInQuotes) {
  EXPECT_EQ(number("\"per head\" / 2"), 4);
  EXPECT_EQ(number("'per head'/2"), 4);
  EXPECT_EQ(number("2nd*2"), 18);
  EXPECT_EQ(number("$x.y+1"), 11);
  EXPECT_EQ(number("\"quote\\\"d\""), 11);
}

TEST_F(FormulaTest, AMinusBelongsToTheNameThatIsThereElseItSubtracts) {
  EXPECT_EQ(number("a-b"), 100);
  EXPECT_EQ(number("a - b"), 4.5);
  EXPECT_EQ(number("a -b"), 4.5);
  EXPECT_EQ(number("b-a"), -4.5);
  EXPECT_EQ(number("2*b-a"), -3);
  EXPECT_EQ(number("a-b-long"), 96);
  EXPECT_EQ(number("a-2"), 4);
  EXPECT_EQ(number("7-a"), 1);
}

TEST_F(FormulaTest, WhatIsNoNumberSkipsTheRecord) {
  EXPECT_EQ(computed("a + nosuch"), std::nullopt);
  EXPECT_EQ(computed("text * 2"), std::nullopt);
  EXPECT_THAT(records.unknownOperands(Changes().compute("r", "a + nosuch * text")), ElementsAre("nosuch"));
  EXPECT_THAT(records.unknownOperands(Changes().compute("r", "a-b - b-a")), IsEmpty());
}

TEST_F(FormulaTest, DividesByZeroAsDoublesDo) {
  EXPECT_EQ(number("a / 0"), std::numeric_limits<double>::infinity());
  EXPECT_EQ(number("-a / 0"), -std::numeric_limits<double>::infinity());
  EXPECT_TRUE(std::isnan(number("0 / 0")));
  EXPECT_EQ(number("1e308 * 10"), std::numeric_limits<double>::infinity());
}

TEST_F(FormulaTest, AResultHasTheTypeThatIsAskedForOrFails) {
  EXPECT_EQ(computed("a * 2", PropertyType::int32), Value(std::int32_t{12}));
  EXPECT_EQ(computed("a * 2", PropertyType::int64), Value(std::int64_t{12}));
  EXPECT_EQ(computed("-(a - a)", PropertyType::int32), Value(std::int32_t{0}));
  EXPECT_EQ(computed("b", PropertyType::int32), std::nullopt);
  EXPECT_EQ(failure, "\"result\" becomes 1.5, which is not an integer of 32 bits");
  EXPECT_EQ(computed("a * 1e9", PropertyType::int32), std::nullopt);
  EXPECT_EQ(computed("a * 1e9", PropertyType::int64), Value(std::int64_t{6000000000}));
  EXPECT_EQ(computed("0 / 0", PropertyType::int64), std::nullopt);
}

TEST_F(FormulaTest, WithoutATypeTheResultHasThatOfTheNameWhereItFits) {
  const auto change = [this](const char* name, const char* formula) {
    records.update({}, Changes().compute(name, formula));
    Value result;
    records.forEach({}, {}, [&](const Record& record) {
      result = record.description(name).value_or("none");
      return true;
    });
    return result;
  };
  EXPECT_EQ(change("new", "a + 1"), Value(7.0));
  EXPECT_EQ(change("a", "a + 1"), Value(std::int32_t{7}));
  EXPECT_EQ(change("long", "long * 1e12"), Value(std::int64_t{4000000000000}));
  EXPECT_EQ(change("b", "2"), Value(2.0));
  EXPECT_EQ(change("a", "a / 2"), Value(3.5));
  const std::string other = records.insert(NewRecord().description("long", std::int64_t{1}).description("x", 2));
  records.update(Selection::ofIds({other}), Changes().unset("long"));
  records.update(Selection::ofIds({other}), Changes().compute("long", "x * 2"));
  EXPECT_EQ(records.read(other)->description("long"), Value(std::int64_t{4})) << "as the other record has it";
}

TEST_F(FormulaTest, TheNamesStandForTheRecordAsItWas) {
  records.update({}, Changes().compute("a", "long").compute("long", "a").description("b", 5).compute("c", "b"));
  EXPECT_EQ(number("a"), 4);
  EXPECT_EQ(number("long"), 6);
  EXPECT_EQ(number("c"), 1.5);
}

TEST_F(FormulaTest, AnErrorSaysWhere) {
  EXPECT_EQ(error(""), "0 expected a number, a name, - or (, found the end");
  EXPECT_EQ(error("a +"), "3 expected a number, a name, - or (, found the end");
  EXPECT_EQ(error("a * / b"), "4 expected a number, a name, - or (, found \"/\"");
  EXPECT_EQ(error("(a"), "2 expected \")\", found the end");
  EXPECT_EQ(error("a)"), "1 expected +, -, *, /, or the end, found \")\"");
  EXPECT_EQ(error("a b"), "2 expected +, -, *, /, or the end, found \"b\"");
  EXPECT_EQ(error("a + \"b"), "4 expected an end of this quote, found \"\"\"");
  EXPECT_EQ(error("a + \"\""), "4 expected a name, found \"\"\"");
  EXPECT_EQ(error("1e999"), "0 expected a number that a double can hold, found \"1\"");
  EXPECT_EQ(error("a % b"), "2 expected +, -, *, /, or the end, found \"%\"");
  EXPECT_EQ(error(std::string(100'000, '(')).substr(0, 36), "100 expected no more than 100 levels");
  EXPECT_EQ(error(std::string(100'000, '-')).substr(0, 36), "100 expected no more than 100 levels");
  try {
    Changes().compute("result", "yield * (2 +");
    FAIL();
  } catch (const FormulaError& wrong) {
    EXPECT_STREQ(wrong.what(),
                 "in the formula: expected a number, a name, - or (, found the end\n  yield * (2 +\n              ^");
  }
}

TEST_F(FormulaTest, IsAsLongAsOneLikes) {
  std::string sum = "a";
  for (int i = 0; i < 20'000; ++i) sum += "+1";
  EXPECT_EQ(number(sum), 20'006);
}

TEST(ChangesTest, RefusesWhatNoRecordCanHold) {
  const auto refusal = [](const auto& change) {
    try {
      change();
      return std::string("none");
    } catch (const Error& error) {
      return std::string(toString(error.kind())) + " " + error.where();
    }
  };
  EXPECT_EQ(refusal([] { Changes().category("site", ""); }), "document site");
  EXPECT_EQ(refusal([] { Changes().category("", "x"); }), "document ");
  EXPECT_EQ(refusal([] { Changes().description("note", ""); }), "document note");
  EXPECT_EQ(refusal([] { Changes().unset(""); }), "document ");
  EXPECT_EQ(refusal([] { Changes().compute("n", "1", PropertyType::string); }), "document n");
  EXPECT_TRUE(Changes().isEmpty());
  EXPECT_FALSE(Changes().unset("x").isEmpty());
}

}  // namespace

}  // namespace database_provider
