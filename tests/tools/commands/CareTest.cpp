// SPDX-License-Identifier: Apache-2.0
#include <set>
#include <sstream>

#include "tests/support/Process.h"
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

TEST_P(RecordctlContract, TheDoctorFindsWhatPythonFindsInTheSameRecords) {
  if (database_test::onPath("python3").empty()) GTEST_SKIP() << "there is no python3 on the PATH";
  const Outcome outcome = runScript(DATABASE_TEST_SCRIPTS "/doctor.py");
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.out, "agree\n");
}

TEST_P(RecordctlContract, TheDoctorFindsNothingInAnEmptyStore) {
  importPlots();
  output({"remove", "--all", "--yes"});
  const Outcome outcome = run({"doctor"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, "recordctl: nothing is odd\n");
  EXPECT_EQ(output({"doctor", "--json"}), "");
  EXPECT_EQ(output({"files", "check", "--json"}), "");
}

TEST_P(RecordctlContract, TheDoctorTellsEachProblemWithTheLineThatMendsIt) {
  output({"import", file("a.jsonl", "{\"site\": \"Waseca\", \"yield\": 1}\n{\"site\": \"waseca\", \"yeild\": 2}\n"),
          "--category", "site", "--description", "yield:double,yeild:double", "--kind", "scenario"});
  output({"import", file("b.jsonl", "{\"it's\": \"x\", \"n\": 1}\n{\"it's\": \"X \", \"n\": 2}\n"), "--category",
          "it's", "--description", "n:int", "--source-host", "nas"});
  EXPECT_EQ(output({"doctor"}),
            "values that differ by case or blanks alone \"it's\": \"X \" and \"x\" (1 record)\n"
            "    recordctl rename '--value=X =x' 'it'\\''s'\n"
            "values that differ by case or blanks alone \"site\": \"waseca\" and \"Waseca\" (scenarios, 1 record)\n"
            "    recordctl rename --kind scenario --value=waseca=Waseca site\n"
            "name used once \"yeild\" (scenarios, 1 record)\n"
            "    recordctl set --kind scenario --where 'has description:yeild' --unset yeild\n"
            "name used once \"yield\" (scenarios, 1 record)\n"
            "    recordctl set --kind scenario --where 'has description:yield' --unset yield\n");
}

TEST_P(RecordctlContract, FilesOfAnotherHostAreLookedAtBelowItsRoot) {
  std::filesystem::create_directories(path("mounted/data"));
  file("mounted/data/a.pdf", "x");
  file("secret", "x");
  const std::string rows = "{\"f\": \"/data/a.pdf\"}\n{\"f\": \"data/gone.pdf\"}\n{\"f\": \"/data/../../secret\"}\n";
  output({"import", file("f.jsonl", rows), "--file", "document:NAS:f"});
  const std::string root = "nas=" + path("mounted");
  EXPECT_EQ(withoutIds(output({"files", "list", "--json", "--where", ""})),
            "{\"id\": \"ID\", \"kind\": \"document\", \"host\": \"NAS\", \"path\": \"/data/a.pdf\", \"state\": "
            "\"elsewhere\"}\n"
            "{\"id\": \"ID\", \"kind\": \"document\", \"host\": \"NAS\", \"path\": \"data/gone.pdf\", \"state\": "
            "\"elsewhere\"}\n"
            "{\"id\": \"ID\", \"kind\": \"document\", \"host\": \"NAS\", \"path\": \"/data/../../secret\", \"state\": "
            "\"elsewhere\"}\n");
  const Outcome checked = run({"files", "check", "--host-root", root});
  EXPECT_EQ(checked.status, 1);
  EXPECT_EQ(withoutIds(checked.out).find("a.pdf"), std::string::npos) << checked.out;
  EXPECT_NE(checked.out.find("data/gone.pdf"), std::string::npos) << checked.out;
  EXPECT_EQ(checked.err, "recordctl: /data/../../secret: \"..\" in it leads out of " + path("mounted") +
                             ", so that it is not looked at\n"
                             "recordctl: of 3 files 1 missing, 1 unreadable, 0 on other hosts\n");
  const Outcome elsewhere = run({"files", "check", "--json"});
  EXPECT_EQ(elsewhere.status, 0) << "what lies elsewhere is not wrong";
  EXPECT_EQ(run({"files", "check", "--host-root", "nas=" + path("nowhere")}).status, 2);
  EXPECT_EQ(run({"files", "check", "--host-root", "nas"}).status, 2);
  EXPECT_EQ(run({"files", "check", "--where", "sight=1", "--strict"}).status, 2);
}

TEST_P(RecordctlContract, ABackupHoldsEverythingAndComesBack) {
  importPlots();
  output({"import", file("s.jsonl", "{\"network\": \"ring\"}\n"), "--kind", "scenario", "--category", "network"});
  output({"categories", "set", "variety,site"});
  output({"settings", "set", "ann", "layout", "{\"a\": 1}"});
  const auto sorted = [](const std::string& text) {
    std::multiset<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.insert(line);
    return lines;
  };
  const auto before = sorted(output({"export", "--all"}));

  EXPECT_EQ(output({"backup", path("b.db"), "--json"}), "{\"records\": 5}\n");
  std::vector<std::string> exported = {"export", "--all", "--store", "file:" + path("b.db")};
  if (isControlledFile()) exported.insert(exported.end(), login.begin(), login.end());
  EXPECT_EQ(sorted(output(exported)), before);
  EXPECT_EQ(run({"backup", path("b.db")}).status, 3) << "what is there is not written over";

  Outcome refused = run({"restore", path("b.db")});
  EXPECT_EQ(refused.status, 2);
  EXPECT_NE(refused.err.find("the store holds 5 records; --replace"), std::string::npos) << refused.err;
  output({"remove", "--where", "site=Waseca", "--yes"});
  output({"settings", "remove", "ann", "layout"});
  refused = run({"restore", path("b.db"), "--replace"});
  EXPECT_EQ(refused.status, 2);
  EXPECT_NE(refused.err.find("--yes replaces 3 records by 5 records"), std::string::npos) << refused.err;
  EXPECT_EQ(output({"restore", path("b.db"), "--replace", "--dry-run"}),
            "5 records would be restored, and take the place of 3\n");
  EXPECT_EQ(output({"count"}), "2\n");
  EXPECT_EQ(output({"restore", "file:" + path("b.db"), "--replace", "--yes", "--json"}), "{\"records\": 5}\n");
  EXPECT_EQ(sorted(output({"export", "--all"})), before);
  if (isFile()) {
    EXPECT_NE(output({"check"}).find(" 0 problems"), std::string::npos);
  }
  EXPECT_EQ(run({"restore", path("nothing.db"), "--replace", "--yes"}).status, 3);
  EXPECT_EQ(sorted(output({"export", "--all"})), before);
}

TEST_P(RecordctlContract, UsersOfAServerComeBackWithoutTheirPasswords) {
  if (isFile() || !database_test::hasUsers(GetParam())) GTEST_SKIP() << "this is for servers with users";
  importPlots();
  environment["RECORDCTL_NEW_PASSWORD"] = "hers";
  output({"users", "add", "ann", "--role", "read:experiment", "--data", "{\"room\": 7}", "--yes"});
  const std::string users = output({"users", "list", "--json"});
  const std::string told = "passwords cannot be read from a store; users that need new ones (users passwd NAME): ann\n";
  const Outcome backup = run({"backup", path("b.db")});
  EXPECT_EQ(backup.status, 0) << backup.err;
  EXPECT_NE(backup.err.find(told), std::string::npos) << backup.err;
  EXPECT_NE(backup.err.find("a server was read while others could write"), std::string::npos) << backup.err;
  EXPECT_EQ(output({"users", "list", "--json", "--store", "file:" + path("b.db")}), users);
  output({"users", "remove", "ann"});
  const Outcome restored = run({"restore", path("b.db"), "--replace", "--yes"});
  EXPECT_EQ(restored.status, 0) << restored.err;
  EXPECT_NE(restored.err.find(told), std::string::npos) << restored.err;
  EXPECT_EQ(output({"users", "list", "--json"}), users);
  EXPECT_EQ(run({"restore", path("b.db"), "--replace", "--yes"}).err.find(told), std::string::npos)
      << "who is there already stays";
  output({"users", "remove", "ann"});
}
