// SPDX-License-Identifier: Apache-2.0
#include "tests/support/Process.h"
#include "tests/tools/commands/RecordctlContract.h"

TEST_P(RecordctlContract, AnswersAreThoseThatPythonComputesFromTheSameRows) {
  if (database_test::onPath("python3").empty()) GTEST_SKIP() << "there is no python3 on the PATH";
  const Outcome outcome = runScript(DATABASE_TEST_SCRIPTS "/answers.py");
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.out, "agree\n");
}

TEST_P(RecordctlContract, ServedAnswersAreThoseOfTheCommands) {
  if (database_test::onPath("python3").empty()) GTEST_SKIP() << "there is no python3 on the PATH";
  constexpr int skipped = 77;
  const Outcome outcome = runScript(DATABASE_TEST_SCRIPTS "/../serve/answers.py");
  if (outcome.status == skipped) GTEST_SKIP() << outcome.out;
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.out, "agree\n");
}

TEST_P(RecordctlContract, CountTellsHowMany) {
  importPlots();
  EXPECT_EQ(output({"count", "--kind", "scenario"}), "0\n");
  EXPECT_EQ(output({"count"}), "4\n");
  EXPECT_EQ(output({"count", "--where", "site=Waseca", "--json"}), "{\"count\": 2}\n");
  const Outcome nothing = run({"count", "--where", "sight=Waseca"});
  EXPECT_EQ(nothing.status, 0);
  EXPECT_EQ(nothing.out, "0\n");
  EXPECT_EQ(nothing.err, "recordctl: no record has a category or description \"sight\"\n");
  EXPECT_EQ(run({"count", "--where", "sight=Waseca", "--strict"}).status, 2);
}

TEST_P(RecordctlContract, AListIsSortedByWhatIsNamed) {
  importPlots();
  const std::vector<std::string> list = {"list", "--columns", "site,yield", "--sort"};
  const auto sorted = [&](const std::string& by) {
    std::vector<std::string> command = list;
    command.push_back(by);
    return output(command);
  };
  EXPECT_EQ(sorted("yield"),
            "site    yield\n"
            "Morris   29.9\n"
            "Waseca     30\n"
            "Waseca   48.5\n"
            "Morris\n");
  EXPECT_EQ(sorted("category:site:desc,yield:desc"),
            "site    yield\n"
            "Waseca   48.5\n"
            "Waseca     30\n"
            "Morris   29.9\n"
            "Morris\n");
  const Outcome unknown = run({"list", "--columns", "site", "--sort", "yeeld"});
  EXPECT_EQ(unknown.status, 0);
  EXPECT_EQ(unknown.err,
            "recordctl: --sort: no record has a category or description \"yeeld\" (did you mean \"yield\"?)\n");
  EXPECT_EQ(run({"list", "--sort", "yield:down"}).status, 2);
}

TEST_P(RecordctlContract, StatsAreATableOfGroups) {
  importPlots();
  EXPECT_EQ(output({"stats", "yield", "--by", "site", "--median"}),
            "site    name   count  missing   min   mean      std   max  median\n"
            "Morris  yield      1        1  29.9   29.9           29.9    29.9\n"
            "Waseca  yield      2        0    30  39.25  13.0815  48.5   39.25\n");
  EXPECT_EQ(output({"stats", "--json", "--where", "site=Waseca"}),
            "{\"by\": {}, \"name\": \"year\", \"count\": 2, \"missing\": 0, \"min\": 1931, \"mean\": 1931.5, \"std\": "
            "0.7071067811865476, \"max\": 1932}\n"
            "{\"by\": {}, \"name\": \"yield\", \"count\": 2, \"missing\": 0, \"min\": 30.0, \"mean\": 39.25, \"std\": "
            "13.08147545195113, \"max\": 48.5}\n");
  const Outcome text = run({"stats", "site", "--strict"});
  EXPECT_EQ(text.status, 2);
  EXPECT_EQ(text.err, "recordctl: no record has a description \"site\" (it is a category)\n");
  EXPECT_EQ(run({"stats", "yield", "--by", "a,b,c"}).status, 2);
}

TEST_P(RecordctlContract, CoverageMarksWhatIsMissing) {
  importPlots();
  const Outcome outcome = run({"coverage", "site", "variety"});
  EXPECT_EQ(outcome.out,
            "site    No. 457  Trebi\n"
            "Morris        .      1\n"
            "Waseca        1      1\n");
  EXPECT_EQ(outcome.err, "recordctl: 1 of 4 combinations have no record\n");
  EXPECT_EQ(output({"coverage", "site", "variety", "--json"}),
            "{\"values\": [\"Morris\", \"No. 457\"], \"count\": 0}\n"
            "{\"values\": [\"Morris\", \"Trebi\"], \"count\": 1}\n"
            "{\"values\": [\"Waseca\", \"No. 457\"], \"count\": 1}\n"
            "{\"values\": [\"Waseca\", \"Trebi\"], \"count\": 1}\n");
  EXPECT_EQ(run({"coverage", "site"}).status, 2);
  EXPECT_EQ(run({"coverage", "site", "varieti", "--strict"}).err,
            "recordctl: no record has both categories\n"
            "recordctl: no record has a category \"varieti\" (did you mean \"variety\"?)\n");
}

TEST_P(RecordctlContract, CoverageCountsTheExperimentsOfScenarios) {
  importPlots();
  const std::string scenarios = file("scenarios.jsonl", "{\"site\": \"Waseca\"}\n{\"site\": \"Duluth\"}\n");
  output({"import", scenarios, "--kind", "scenario", "--category", "site"});
  EXPECT_EQ(withoutIds(output({"coverage", "--scenarios", "site", "--json"})),
            "{\"scenario\": \"ID\", \"value\": \"Waseca\", \"experiments\": 2}\n"
            "{\"scenario\": \"ID\", \"value\": \"Duluth\", \"experiments\": 0}\n");
}

TEST_P(RecordctlContract, CompareShowsWhatDiffers) {
  importPlots();
  const std::vector<std::string> compare = {"compare", "--where", "site=Waseca"};
  const auto with = [&](std::vector<std::string> options) {
    options.insert(options.begin(), compare.begin(), compare.end());
    return run(options);
  };
  EXPECT_EQ(
      with({"--json"}).out,
      "{\"name\": \"variety\", \"kind\": \"category\", \"values\": [\"Trebi\", \"No. 457\"], \"difference\": null}\n"
      "{\"name\": \"yield\", \"kind\": \"description\", \"values\": [48.5, 30.0], \"difference\": -18.5}\n"
      "{\"name\": \"year\", \"kind\": \"description\", \"values\": [1931, 1932], \"difference\": 1.0}\n");
  EXPECT_EQ(withoutIds(with({"--format", "csv", "--all"}).out),
            "name,ID,ID,difference\r\nsite,Waseca,Waseca,\r\nvariety,Trebi,No. 457,\r\nyield,48.5,30,-18.5 (-38.14 "
            "%)\r\nyear,1931,1932,+1 (+0.05 %)\r\n");
  EXPECT_EQ(withoutIds(with({"--format", "md"}).out),
            "| name | ID | ID | difference |\n| --- | --- | --- | --- |\n| variety | Trebi | No. 457 |  |\n"
            "| yield | 48.5 | 30 | -18.5 (-38.14 %) |\n| year | 1931 | 1932 | +1 (+0.05 %) |\n");
  EXPECT_EQ(with({"--check"}).status, 1);
  EXPECT_EQ(
      with({"--tolerance", "yield:50%,year:1", "--json"}).out,
      "{\"name\": \"variety\", \"kind\": \"category\", \"values\": [\"Trebi\", \"No. 457\"], \"difference\": null}\n");
  EXPECT_EQ(with({"--tolerance", "yield"}).status, 2);
  EXPECT_EQ(run({"compare", "--where", "site=Nowhere"}).status, 2);
  EXPECT_EQ(run({"compare"}).status, 2);
}

TEST_P(RecordctlContract, ShowTakesABeginningOfAnId) {
  const std::string records = R"({"_id": {"$oid": "5e0be10000000000000000aa"}, "n": 1})"
                              "\n"
                              R"({"_id": {"$oid": "5e0be10000000000000000ab"}, "n": 2})"
                              "\n"
                              R"({"_id": "plot 7", "n": 3})"
                              "\n";
  output({"import", file("a.jsonl", records), "--format", "records", "--keep-ids"});
  EXPECT_NE(output({"show", "5e0be10000000000000000ab"}).find("Record 5e0be10000000000000000ab"), std::string::npos);
  EXPECT_NE(output({"show", "plo"}).find("Record plot 7"), std::string::npos);
  const Outcome several = run({"show", "5e0"});
  EXPECT_EQ(several.status, 2);
  EXPECT_EQ(several.err,
            "recordctl: several ids begin with \"5e0\": 5e0be10000000000000000aa 5e0be10000000000000000ab\n");
  EXPECT_EQ(run({"show", "6"}).status, 1);
}
