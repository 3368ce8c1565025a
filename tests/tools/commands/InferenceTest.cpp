// SPDX-License-Identifier: Apache-2.0
#include "tests/tools/commands/Recordctl.h"

namespace {

const char* const plots = "site,yield,zip\nWaseca,48.5,007\nMorris,30,012\n";

}  // namespace

TEST_F(Recordctl, ColumnsThatNobodyNamedAreInferred) {
  const Outcome outcome = run({"import", file("plots.csv", plots)});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err, "recordctl: categories: site, zip; descriptions: yield (double)\n");
  EXPECT_EQ(withoutIds(output({"list", "--json", "--where", "yield=30"})),
            R"({"id": "ID", "categories": {"site": "Morris", "zip": "012"}, "descriptions": {"yield": 30.0}})"
            "\n");
}

TEST_F(Recordctl, ThePlanIsACommandLineThatSaysTheSame) {
  const std::string name = file("plots.csv", plots);
  const Outcome plan = run({"import", name, "--plan"});
  EXPECT_EQ(plan.status, 0);
  EXPECT_EQ(plan.out, "recordctl import " + name + " --category site,zip --description yield:double\n");
  EXPECT_NE(plan.err.find("leading zeros (\"007\", line 2)"), std::string::npos) << plan.err;
  EXPECT_FALSE(storeExists()) << "a plan writes nothing";
}

TEST_F(Recordctl, ThePlanKeepsWhatWasAsked) {
  const std::string name = file("it's.txt", "a,b|c:d\n1,5|x\nNA|y\n");
  EXPECT_EQ(
      run({"import", name, "--plan", "--format", "csv", "--delimiter", "|", "--kind", "scenario", "--time-format",
           "%d %b"})
          .out,
      "recordctl import '" + path("it'\\''s.txt") +
          "' --kind scenario --format csv --delimiter '|' --category 'c\\:d' --description 'a\\,b:double' --na NA "
          "--decimal , --time-format '%d %b'\n");
}

TEST_F(Recordctl, WhatIsNamedIsNotInferred) {
  const std::string name = file("plots.csv", plots);
  EXPECT_EQ(run({"import", name, "--description", "yield:string"}).err, "");
  EXPECT_EQ(run({"import", name, "--description", "yield:string", "--infer"}).err,
            "recordctl: categories: site, zip\n");
  EXPECT_EQ(run({"import", name, "--no-infer"}).err, "");
  EXPECT_EQ(output({"count", "--where", "has site"}), "2\n");
  EXPECT_EQ(run({"import", name, "--infer", "--no-infer"}).status, 2);
  EXPECT_EQ(run({"import", name, "--infer", "--category", "nowhere"}).status, 2);
  EXPECT_EQ(run({"import", name, "--infer", "--format", "records"}).status, 2);
}

TEST_F(Recordctl, SlipsAreBadRowsOrTexts) {
  std::string rows = "n\n";
  for (int i = 0; i < 150; ++i) rows += std::to_string(i) + "\n";
  const std::string name = file("a.csv", rows + "soon\n");
  const Outcome plan = run({"import", name, "--plan"});
  EXPECT_EQ(plan.err,
            "  n  description int  1 value no number, first \"soon\", line 152 (bad rows; --on-surprise text keeps "
            "them as texts)\n");
  const Outcome outcome = run({"import", name});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(
      outcome.err.substr(0, outcome.err.find('\n')),
      name +
          ":152: n: expected int (a whole number of 32 bits), found \"soon\"; --on-surprise text keeps it as a text "
          "(row 151)");
  EXPECT_EQ(countRecords(), 150);
  EXPECT_EQ(run({"import", name, "--on-surprise", "text"}).status, 0);
  EXPECT_EQ(output({"count", "--where", "n=soon"}), "1\n");
}

TEST_F(Recordctl, StandardInputIsInferredToo) {
  const Outcome outcome = run({"import", "-", "--format", "csv"}, plots);
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(output({"count", "--where", "yield>40"}), "1\n");
}

TEST_F(Recordctl, TheKindsOfTheStoreAreKept) {
  output({"import", file("a.csv", plots)});
  EXPECT_EQ(run({"import", file("b.csv", "site,yield,zip\nDuluth,31,5601\n"), "--plan"}).out,
            "recordctl import " + path("b.csv") + " --category site,zip --description yield:double\n");
}

TEST_F(Recordctl, OnATerminalThePlanIsAskedFor) {
  const std::string name = file("plots.csv", plots);
  {
    const auto terminal = onTerminal({"import", name});
    EXPECT_NE(terminal->readUntil("Import 2 rows like this?").find("description double"), std::string::npos);
    terminal->type("n\n");
    EXPECT_EQ(terminal->finish(), 0);
  }
  EXPECT_FALSE(storeExists());
  const auto terminal = onTerminal({"import", name});
  terminal->readUntil("Import 2 rows like this?");
  terminal->type("y\n");
  EXPECT_EQ(terminal->finish(), 0);
  EXPECT_EQ(countRecords(), 2);
}

TEST_F(Recordctl, WhatToolsWriteIsReadAsPythonReadsIt) {
  const Outcome outcome = runScript(DATABASE_TEST_SCRIPTS "/imports.py");
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.out, "14 files\n") << outcome.err;
}

TEST_F(Recordctl, ResultsOfTestsAreUpdatedByAKey) {
  const std::string report = DATABASE_TEST_IMPORTS "/gtest.xml";
  output({"import", report, "--format", "junit", "--key", "suite,name"});
  const std::string again = output({"import", report, "--format", "junit", "--key", "suite,name"});
  EXPECT_EQ(again.substr(0, again.find(", in")), "0 records imported, 0 updated, 6 unchanged");
}
