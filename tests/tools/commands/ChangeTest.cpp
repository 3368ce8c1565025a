// SPDX-License-Identifier: Apache-2.0
#include "tests/tools/commands/RecordctlContract.h"

namespace {

/// The commands that add and change records, on every engine.
class RecordctlChanges : public RecordctlContract {
 protected:
  /// What a run wrote, and how it ended where that was not well.
  std::string outcome(const std::vector<std::string>& arguments, const std::string& input = "") const {
    const Outcome result = run(arguments, input);
    return (result.status == 0 ? "" : std::to_string(result.status) + " ") + result.out + result.err;
  }
  /// The records as JSON, a line each, without their ids.
  std::string listed() const { return withoutIds(output({"list", "--json"})); }
  std::string idOf(const std::string& filter) const {
    const std::string line = output({"list", "--where", filter, "--json"});
    return line.substr(line.find(": \"") + 3, 24);
  }
};

TEST_P(RecordctlChanges, AddMakesARecordAndPrintsItsId) {
  const std::string data = file("data.json", R"({"mine": {"deep": [1, null]}})");
  const std::string id = output({"add",
                                 "--category",
                                 "site=Waseca",
                                 "--category",
                                 "a\\=b=c=d",
                                 "--description",
                                 "yield=48.5",
                                 "--description",
                                 "year:long=1931",
                                 "--description",
                                 "when=2020-01-31",
                                 "--description",
                                 "note=dry, \"hot\"",
                                 "--description",
                                 "done=true",
                                 "--description",
                                 "n=7",
                                 "--file",
                                 "archive:nas:/runs/a:b.zip",
                                 "--data",
                                 data});
  ASSERT_EQ(id.size(), 25u) << id;
  const std::string shown = output({"show", id.substr(0, 24), "--json"});
  EXPECT_NE(shown.find(R"("mine": {"deep": [1, null]})"), std::string::npos) << shown;
  EXPECT_NE(shown.find(R"("category": [{"name": "site", "value": "Waseca"}, {"name": "a=b", "value": "c=d"}])"),
            std::string::npos)
      << shown;
  EXPECT_NE(
      shown.find(R"({"name": "yield", "value": 48.5, "type": 8}, {"name": "year", "value": 1931, "type": 7}, )"
                 R"({"name": "when", "value": {"$date": "2020-01-31T00:00:00Z"}, "type": 9}, )"
                 R"({"name": "note", "value": "dry, \"hot\"", "type": 4}, {"name": "done", "value": true, "type": 5}, )"
                 R"({"name": "n", "value": 7, "type": 6})"),
      std::string::npos)
      << shown;
  EXPECT_NE(shown.find(R"("type": 3, "host": "nas", "path": "/runs/a:b.zip")"), std::string::npos) << shown;
  EXPECT_EQ(withoutIds(output({"add", "--kind", "scenario", "--category", "a=b", "--json"})), "{\"id\": \"ID\"}\n");
  EXPECT_EQ(output({"count", "--kind", "scenario"}), "1\n");
}

TEST_P(RecordctlChanges, AValueHasTheTypeOfItsNameInTheStore) {
  importPlots();
  output({"add", "--category", "site=Duluth", "--description", "yield=30", "--description", "new=30"});
  EXPECT_EQ(output({"names", "--json"}).find("\"yield\", \"kind\": \"description\", \"type\": \"int"),
            std::string::npos);
  EXPECT_NE(output({"names", "--json"}).find(R"({"name": "new", "kind": "description", "type": "int", "count": 1})"),
            std::string::npos)
      << output({"names", "--json"});
  EXPECT_EQ(
      outcome({"add", "--description", "yield=high"}),
      "2 recordctl: --description: \"yield\": expected double (a number), found \"high\"; in the store it is double, "
      "and NAME:TYPE=VALUE gives it another type\n");
  EXPECT_EQ(outcome({"add", "--description", "year=1.5"}).substr(0, 76),
            "2 recordctl: --description: \"year\": expected int (a whole number of 32 bits)");
  EXPECT_EQ(output({"count"}), "5\n");
}

TEST_P(RecordctlChanges, AddRefusesWhatNoRecordCanHold) {
  for (const std::vector<std::string>& arguments :
       std::vector<std::vector<std::string>>{{},
                                             {"--category", "site"},
                                             {"--category", "site="},
                                             {"--category", "=x"},
                                             {"--category", "a=1", "--category", "a=2"},
                                             {"--description", "a:float=1"},
                                             {"--description", "a:b:int=1"},
                                             {"--description", "a==b + 1"},
                                             {"--description", "a:time=5"},
                                             {"--file", "archive:nas"},
                                             {"--file", "exe:nas:/a"},
                                             {"--data", path("nosuch.json")},
                                             {"--data", file("list.json", "[1]")},
                                             {"--data", file("key.json", R"({"recordInfo": 1})")},
                                             {"--kind", "scenario", "--file", "archive:nas:/a.zip"}}) {
    std::vector<std::string> command = {"add"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    const Outcome result = run(command);
    EXPECT_EQ(result.status, 2) << (arguments.empty() ? "nothing" : arguments.back()) << ": " << result.err;
    EXPECT_EQ(result.out, "");
  }
}

TEST_P(RecordctlChanges, SetChangesWhatIsNamed) {
  importPlots();
  EXPECT_EQ(outcome({"set", "--where", "site=Waseca", "--category", "site=Duluth", "--description", "note=dry",
                     "--unset", "year", "--yes"}),
            "2 records changed\n");
  EXPECT_EQ(output({"count", "--where", "site=Duluth and note=dry and not has year"}), "2\n");
  EXPECT_EQ(outcome({"set", "--all", "--category", "site=Duluth", "--yes", "--json"}),
            "{\"changed\": 2, \"unchanged\": 2, \"skipped\": 0, \"failed\": 0}\n");
  EXPECT_EQ(outcome({"set", idOf("yield=30"), "000000000000000000000000", "--description", "yield=31", "--yes"}),
            "1 1 record changed\nrecordctl: no record has the id \"000000000000000000000000\"\n");
  EXPECT_EQ(output({"count", "--where", "yield=31"}), "1\n");
}

TEST_P(RecordctlChanges, SetComputes) {
  importPlots();
  EXPECT_EQ(withoutIds(outcome(
                {"set", "--all", "--description", "yield==yield*2", "--description", "half:int==year/2", "--yes"})),
            "1 2 records changed, 1 skipped, 1 failed\n"
            "recordctl: ID: \"half\" becomes 965.5, which is not an integer of 32 bits\n");
  EXPECT_EQ(output({"list", "--columns", "yield,half", "--sort", "yield"}),
            "yield  half\n"
            " 48.5\n"
            " 59.8   966\n"
            "   60   966\n"
            "\n");
  EXPECT_EQ(output({"set", "--all", "--description", "ratio==yield/0", "--dry-run", "--json"}),
            "{\"changed\": 3, \"unchanged\": 0, \"skipped\": 1, \"failed\": 0}\n");
}

TEST_P(RecordctlChanges, SetAsksOrIsToldYes) {
  importPlots();
  const std::string before = listed();
  EXPECT_EQ(outcome({"set", "--all", "--category", "site=x"}),
            "2 recordctl: nobody can be asked; --yes changes 4 records\n");
  EXPECT_EQ(outcome({"set", "--all", "--category", "site=x", "--dry-run"}), "4 records would be changed\n");
  EXPECT_EQ(outcome({"set", "--category", "site=x", "--yes"}),
            "2 recordctl: what is to be changed? Give IDs, --where FILTER, or --all for every record\n");
  EXPECT_EQ(outcome({"set", "--all", "--yes"}),
            "2 recordctl: what is to be changed? Give --category, --description, --unset or --file\n");
  EXPECT_EQ(run({"set", "--all", "--where", "site=Waseca", "--category", "site=x", "--yes"}).status, 2);
  EXPECT_EQ(listed(), before);
}

TEST_P(RecordctlChanges, SetTellsNamesThatNoRecordHas) {
  importPlots();
  const std::string before = listed();
  EXPECT_EQ(outcome({"set", "--all", "--unset", "yeld", "--yes"}),
            "2 recordctl: --unset: no record has a category or description \"yeld\" (did you mean \"yield\"?)\n");
  EXPECT_EQ(outcome({"set", "--all", "--description", "double==yeld*2", "--yes"}),
            "2 recordctl: --description: no record has a description \"yeld\" (did you mean \"yield\"?)\n");
  EXPECT_EQ(outcome({"set", "--where", "sight=Waseca", "--category", "a=b", "--yes"}),
            "2 0 records changed\nrecordctl: no record has a category or description \"sight\"\n");
  EXPECT_EQ(outcome({"set", "--all", "--description", "double==yield * (2 +", "--yes"}),
            "2 recordctl: --description: in the formula: expected a number, a name, - or (, found the end\n"
            "  yield * (2 +\n              ^\n");
  EXPECT_EQ(listed(), before);
}

TEST_P(RecordctlChanges, RenameGivesANameAnother) {
  importPlots();
  output({"categories", "set", "site,variety"});
  EXPECT_EQ(outcome({"rename", "site", "place"}), "2 recordctl: nobody can be asked; --yes changes 4 records\n");
  EXPECT_EQ(outcome({"rename", "site", "place", "--dry-run"}), "4 records would be changed\n");
  EXPECT_EQ(outcome({"rename", "site", "place", "--yes", "--json"}),
            "{\"changed\": 4, \"unchanged\": 0, \"failed\": 0}\n");
  EXPECT_EQ(output({"list", "--limit", "1", "--columns", "place,variety,yield"}).substr(0, 5), "place");
  EXPECT_EQ(run({"list", "--where", "site=Waseca", "--strict"}).status, 2);
  const Outcome taken = run({"rename", "variety", "place", "--yes"});
  EXPECT_EQ(taken.status, 2);
  EXPECT_EQ(taken.err.find("recordctl: 4 records have a category \"place\" already: "), 0u) << taken.err;
  EXPECT_EQ(outcome({"rename", "sight", "other", "--yes"}),
            "2 recordctl: no record has a category or description \"sight\"\n");
  EXPECT_EQ(run({"rename", "place", "--yes"}).status, 2);
  EXPECT_EQ(run({"rename", "id", "other", "--yes"}).status, 2);
}

TEST_P(RecordctlChanges, RenameMergesWhatPeopleWroteInTwoWays) {
  importPlots();
  output({"add", "--category", "Site=waseca"});
  EXPECT_EQ(run({"rename", "Site", "site", "--yes"}).status, 2);
  EXPECT_EQ(outcome({"rename", "Site", "site", "--merge", "--yes"}), "1 record changed\n");
  EXPECT_EQ(outcome({"rename", "site", "--value", "waseca=Waseca", "--value", "Morris=a=b", "--yes"}),
            "3 records changed\n");
  EXPECT_EQ(output({"facets", "site", "--json"}),
            "{\"value\": \"Waseca\", \"count\": 3}\n{\"value\": \"a=b\", \"count\": 2}\n");
  EXPECT_EQ(outcome({"rename", "site", "--value", "Wasecca=x", "--yes"}),
            "2 recordctl: --value: no record has the site \"Wasecca\" (did you mean \"Waseca\"?)\n");
  EXPECT_EQ(run({"rename", "site", "place", "--value", "a=b", "--yes"}).status, 2);
  EXPECT_EQ(run({"rename", "site", "--value", "a", "--yes"}).status, 2);
}

TEST_P(RecordctlChanges, ConvertGivesADescriptionAnotherType) {
  importPlots();
  EXPECT_EQ(outcome({"convert", "year", "double", "--yes"}), "3 records changed\n");
  EXPECT_EQ(outcome({"convert", "year", "double", "--yes", "--json"}),
            "{\"changed\": 0, \"unchanged\": 3, \"failed\": 0}\n");
  EXPECT_EQ(outcome({"convert", "year", "string", "--yes"}), "3 records changed\n");
  EXPECT_EQ(output({"count", "--where", "year=\"1932\""}), output({"count", "--where", "has year and year~1932"}));
  EXPECT_EQ(outcome({"convert", "year", "int", "--yes"}), "3 records changed\n");
  const Outcome refused = run({"convert", "yield", "int", "--yes"});
  EXPECT_EQ(refused.status, 2);
  EXPECT_NE(refused.err.find("that cannot become an integer of 32 bits: "), std::string::npos) << refused.err;
  EXPECT_EQ(run({"convert", "year", "number", "--yes"}).status, 2);
  EXPECT_EQ(run({"convert", "site", "string", "--yes"}).status, 2);
}

INSTANTIATE_TEST_SUITE_P(Engines, RecordctlChanges, ::testing::ValuesIn(recordctlEngines()), database_test::engineName);

}  // namespace
