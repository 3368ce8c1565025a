// SPDX-License-Identifier: Apache-2.0
#include "tests/tools/commands/RecordctlContract.h"

// What the command says of names that a store does not have, of what a store holds, and of what is odd in it.

TEST_P(RecordctlContract, WhatIsAnotherSortOfNameIsToldAsThat) {
  importPlots();
  const auto told = [this](const std::vector<std::string>& arguments) {
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    std::vector<std::string> strict = arguments;
    strict.emplace_back("--strict");
    EXPECT_EQ(run(strict).status, 2) << outcome.err;
    return outcome.err;
  };
  EXPECT_EQ(told({"facets", "yield", "--json"}),
            "recordctl: no record has a category \"yield\" (it is a description)\n");
  EXPECT_EQ(told({"stats", "site", "--json"}), "recordctl: no record has a description \"site\" (it is a category)\n");
  EXPECT_EQ(told({"stats", "yield", "--by", "year", "--json"}),
            "recordctl: no record has a category \"year\" (it is a description)\n");
  EXPECT_EQ(told({"list", "--json", "--columns", "note"}),
            "recordctl: --columns: no record has a category or description \"note\" (it is a key of the user block)\n");
  EXPECT_EQ(told({"list", "--json", "--sort", "note.by"}),
            "recordctl: --sort: no record has a category or description \"note.by\" (it is a key of the user block)\n");
  EXPECT_EQ(told({"explain", "--where", "sit=Waseca", "--json"}),
            "recordctl: no record has a category or description \"sit\" (did you mean \"site\"?)\n");
}

TEST_P(RecordctlContract, ANameOfTheOtherKindOfRecordIsToldAsThat) {
  importPlots();
  output({"import", file("s.jsonl", "{\"network\": \"ring\"}\n"), "--kind", "scenario", "--category", "network"});
  const std::string sentence = "recordctl: no record has a category or description \"network\" (but scenarios have)";
  EXPECT_EQ(run({"count", "--where", "network=ring"}).err, sentence + "; try --kind scenario\n");
  EXPECT_EQ(run({"list", "--json", "--columns", "site", "--kind", "scenario"}).err,
            "recordctl: --columns: no record has a category or description \"site\" (but experiments have); try --kind "
            "experiment\n");
  EXPECT_EQ(run({"remove", "--where", "network=ring", "--yes"}).status, 2);
}

TEST_P(RecordctlContract, OddNamesAreAskedForAsTheyAre) {
  importPlots();
  for (const std::string name :
       {"$where", "a.$b", ".a", "a..b", "recordInfo.category", "a\\\"b", "\u202e", "*", "^s"}) {
    std::string quoted;
    for (const char c : name) quoted += c == '"' || c == '\\' ? std::string("\\") + c : std::string(1, c);
    const Outcome outcome = run({"count", "--where", "has \"" + quoted + "\""});
    EXPECT_EQ(outcome.status, 0) << name;
    EXPECT_EQ(outcome.out, "0\n");
    EXPECT_EQ(outcome.err.find("recordctl: no record has a category or description \""), 0U) << outcome.err;
  }
}
