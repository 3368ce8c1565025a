// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <clocale>

#include "values/Text.h"

namespace database_provider::values {
namespace {

class Text : public ::testing::Test {
 protected:
  void SetUp() override { ASSERT_NE(std::setlocale(LC_CTYPE, "C.UTF-8"), nullptr); }
};

}  // namespace

TEST_F(Text, WidthCountsColumnsAndNotBytes) {
  EXPECT_EQ(displayWidth("site"), 4U);
  EXPECT_EQ(displayWidth("S\u00fcd"), 3U);
  EXPECT_EQ(displayWidth("\u6771\u4eac"), 4U);
  EXPECT_EQ(displayWidth("e\u0301"), 1U);
}

TEST_F(Text, AShortenedTextEndsInAnEllipsisAndFits) {
  EXPECT_EQ(shortened("Waseca", 6), "Waseca");
  EXPECT_EQ(shortened("Waseca", 5), "Wase\u2026");
  EXPECT_EQ(shortened("\u6771\u4eac\u90fd", 4), "\u6771\u2026");
  EXPECT_EQ(shortened("Waseca", 1), "\u2026");
  EXPECT_EQ(shortened("Waseca", 0), "");
}

TEST_F(Text, AnExcerptEndsBetweenCharacters) {
  EXPECT_EQ(excerpt("short", 5), "short");
  EXPECT_EQ(excerpt("longer", 5), "longe\u2026");
  EXPECT_EQ(excerpt("caf\u00E9s", 4), "caf\u2026");
  EXPECT_EQ(excerpt("caf\u00E9s", 5), "caf\u00E9\u2026");
  EXPECT_EQ(inQuotes(std::string(1'000'000, 'x')), '"' + std::string(150, 'x') + "\u2026\"");
}

TEST_F(Text, ControlCharactersNeverReachTheTerminal) {
  EXPECT_EQ(printable("a\x1b[31mb\nc\td\u202ee"), R"(a\x1B[31mb c d\u202Ee)");
  EXPECT_EQ(printable("\x07\x7f\u009b2J\u2028"), R"(\x07\x7F\x9B2J\u2028)");
}

TEST_F(Text, LinesStayLinesWithoutControlCharacters) {
  EXPECT_EQ(printableLines("a\x1b[2J\n  ^\n"), "a\\x1B[2J\n  ^\n");
  EXPECT_EQ(printableLines(""), "");
}

TEST_F(Text, JsonStaysTheSameDocumentWithoutControlCharacters) {
  EXPECT_EQ(printableJson(R"({"a": "\u001b[2J", "b": "S\u00fcd"})"), R"({"a": "\u001b[2J", "b": "S\u00fcd"})");
  EXPECT_EQ(printableJson("{\"S\u00fcd\": \"\u009b2J\x7f\u202e\"}"), "{\"S\u00fcd\": \"\\u009B2J\\u007F\\u202E\"}");
}

TEST_F(Text, WhatIsNotUtf8IsShownAsSuch) {
  EXPECT_EQ(printable("a\xff"
                      "b"),
            "a\ufffdb");
  EXPECT_EQ(printable("\xc0\xaf"), "\ufffd\ufffd");
  EXPECT_EQ(printable("\xe2\x82"), "\ufffd\ufffd");
}

TEST_F(Text, SplittingObeysBackslashes) {
  EXPECT_EQ(splitEscaped("a,b", ','), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(splitEscaped("a\\,b,c", ','), (std::vector<std::string>{"a\\,b", "c"}));
  EXPECT_EQ(splitEscaped("", ','), (std::vector<std::string>{""}));
  EXPECT_EQ(splitEscaped("a\\\\,b", ','), (std::vector<std::string>{"a\\\\", "b"}));
}

TEST_F(Text, UnescapingTakesTheBackslashesAway) {
  EXPECT_EQ(unescaped("a\\,b\\:c\\\\d"), "a,b:c\\d");
  EXPECT_EQ(unescaped("C\\temp"), "C\\temp");
}

TEST_F(Text, APathIsToldFromTheNameOfAHost) {
  for (const char* path : {"./plots", "/data/plots", "plots.db", "plots.sqlite3"})
    EXPECT_TRUE(looksLikePath(path)) << path;
  for (const char* host : {"", "localhost", "db", ".db", "db.example.org", "10.0.0.1"})
    EXPECT_FALSE(looksLikePath(host)) << host;
}

TEST_F(Text, LetterCaseAndBlanksCanBeLeftOut) {
  EXPECT_EQ(withoutCaseAndBlanks(" New\tYork "), "newyork");
  EXPECT_EQ(withoutCaseAndBlanks("\u00c9T\u00c9"), withoutCaseAndBlanks("\u00e9 t\u00a0\u00e9"));
  EXPECT_EQ(withoutCaseAndBlanks("\u0416\U00010400"), withoutCaseAndBlanks("\u0436\U00010428"));
  EXPECT_NE(withoutCaseAndBlanks("a-b"), withoutCaseAndBlanks("ab"));
  EXPECT_EQ(withoutCaseAndBlanks("A\xff\u20ac"), "a\xff\u20ac");
  EXPECT_EQ(withoutCaseAndBlanks(""), "");
}

}  // namespace database_provider::values
