// SPDX-License-Identifier: Apache-2.0
#include <cctype>
#include <set>

#include "tests/tools/commands/RecordctlContract.h"

using database_test::hasUsers;

namespace {

std::vector<std::string> asJson(std::vector<std::string> arguments) {
  arguments.emplace_back("--json");
  return arguments;
}

}  // namespace

TEST_P(RecordctlContract, AListIsATableInTheOrderOfTheRecords) {
  importPlots();
  EXPECT_EQ(withoutIds(output({"list", "--columns", "site,variety,yield,description:year"})),
            "site    variety  yield  year\n"
            "Waseca  Trebi     48.5  1931\n"
            "Waseca  No. 457     30  1932\n"
            "Morris  Trebi     29.9  1932\n"
            "Morris\n");
}

TEST_P(RecordctlContract, AListShowsTheConfiguredCategoriesFirst) {
  importPlots();
  output({"categories", "set", "variety,farm,site"});
  const std::string list = output({"list", "--limit", "1"});
  EXPECT_EQ(list.substr(0, list.find('\n')), "id                        variety  site    yield  year");
}

TEST_P(RecordctlContract, AListAsJsonHasFixedKeys) {
  importPlots();
  EXPECT_EQ(withoutIds(output({"list", "--json", "--where", "year=1932"})),
            "{\"id\": \"ID\", \"categories\": {\"site\": \"Waseca\", \"variety\": \"No. 457\"}, "
            "\"descriptions\": {\"yield\": 30.0, \"year\": 1932}}\n"
            "{\"id\": \"ID\", \"categories\": {\"site\": \"Morris\", \"variety\": \"Trebi\"}, "
            "\"descriptions\": {\"yield\": 29.9, \"year\": 1932}}\n");
}

TEST_P(RecordctlContract, AnEmptyListSaysSoAside) {
  importPlots();
  const Outcome outcome = run({"list", "--where", "site=nowhere"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, "recordctl: no records\n");
}

TEST_P(RecordctlContract, NamesThatNoRecordHasAreToldWhereNothingMatches) {
  importPlots();
  const auto told = [this](const std::vector<std::string>& arguments, int status = 0) {
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.status, status) << outcome.err;
    EXPECT_EQ(outcome.out, "");
    return outcome.err;
  };
  const std::string site = "recordctl: no record has a category or description \"sit\" (did you mean \"site\"?)\n";
  EXPECT_EQ(told({"list", "--where", "sit=Waseca"}), "recordctl: no records\n" + site);
  EXPECT_EQ(told({"list", "--json", "--where", "has sit and yield>1"}), site);
  EXPECT_EQ(told({"list", "--json", "--where", "sit=Waseca", "--strict"}, 2), site);
  EXPECT_EQ(told({"export", "--where", "sit=Waseca"}), site);
  EXPECT_EQ(told({"export", "--where", "description:site=Waseca"}),
            "recordctl: no record has a description \"site\" (it is a category)\n");
  EXPECT_EQ(told({"export", "--where", "note=1"}),
            "recordctl: \"note\" is a key of the user block, which filters do not see\n");
  EXPECT_EQ(told({"facets", "vareity"}),
            "recordctl: no records\nrecordctl: no record has a category \"vareity\" (did you mean \"variety\"?)\n");
  EXPECT_EQ(told({"list", "--json", "--where", "site=nowhere", "--strict"}), "") << "there could be such a record";
}

TEST_P(RecordctlContract, ValuesOfAKindThatANameNeverHasAreTold) {
  importPlots();
  const auto told = [this](const std::string& filter) {
    const Outcome outcome = run({"list", "--json", "--where", filter, "--strict"});
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.status, outcome.err.empty() ? 0 : 2);
    return outcome.err;
  };
  EXPECT_EQ(told("year=\"1932\""),
            "recordctl: \"year\" is int in every record that has it, and \"1932\" is a text, which is never equal, "
            "less or more\n");
  EXPECT_EQ(told("yield>2020-01-31"),
            "recordctl: \"yield\" is double in every record that has it, and \"2020-01-31\" is a time, which is never "
            "equal, less or more\n");
  EXPECT_EQ(told("id=abc"), "recordctl: \"abc\" is no id as the library makes them, 24 hex digits\n");
  EXPECT_EQ(told("year in (\"1932\", 1800)"), "");
  EXPECT_EQ(told("year=1800.5 and yield>1"), "");
}

TEST_P(RecordctlContract, RemovingByANameThatNoRecordHasIsWrongUse) {
  importPlots();
  const Outcome outcome = run({"remove", "--where", "sit=Waseca", "--yes"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_NE(outcome.err.find("\"site\""), std::string::npos) << outcome.err;
  EXPECT_EQ(run({"remove", "--where", "site=nowhere", "--yes"}).status, 0);
  EXPECT_EQ(countRecords(), 4);
}

TEST_P(RecordctlContract, ColumnsThatNoRecordHasAreToldAndLeftOut) {
  importPlots();
  const std::string told =
      "recordctl: --columns: no record has a category or description \"sit\" (did you mean \"site\"?)\n";
  Outcome outcome = run({"list", "--columns", "sit", "--limit", "2"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, told);
  outcome = run({"list", "--columns", "variety,sit", "--limit", "2", "--strict"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.out, "variety\nTrebi\nNo. 457\n");
  EXPECT_EQ(outcome.err, told);
}

TEST_P(RecordctlContract, AListAsJsonObeysTheColumns) {
  importPlots();
  EXPECT_EQ(withoutIds(output({"list", "--json", "--columns", "site,year", "--limit", "1"})),
            "{\"id\": \"ID\", \"categories\": {\"site\": \"Waseca\"}, \"descriptions\": {\"year\": 1931}}\n");
}

TEST_P(RecordctlContract, NamesThatComeLateInALongListAreColumnsToo) {
  std::string rows;
  for (int i = 0; i < 600; ++i) rows += "{\"site\": \"x\"}\n";
  output({"import", file("a.jsonl", rows + "{\"site\": \"y\", \"farm\": \"z\", \"year\": 1931}\n"), "--category",
          "site,farm", "--description", "year:int"});
  output({"categories", "set", ""});
  const Outcome outcome = run({"list"});
  EXPECT_EQ(outcome.err, "");
  EXPECT_EQ(outcome.out.substr(26, outcome.out.find('\n') - 26), "site  farm  year");
  EXPECT_EQ(countLines(outcome.out), 602U);
}

TEST_P(RecordctlContract, NumbersOfAColumnAreWrittenAlike) {
  output({"import", file("a.csv", "v\n100000\n10000\n1000000\n12.5\n0.0001\n"), "--description", "v:double"});
  EXPECT_EQ(output({"list", "--columns", "v"}), "      v\n 100000\n  10000\n1000000\n   12.5\n 0.0001\n");
}

TEST_P(RecordctlContract, AStoreTellsWhatItHolds) {
  importPlots();
  const std::string json = output({"info", "--json"});
  EXPECT_EQ(json.substr(0, 46), "{\"kind\": \"experiment\", \"records\": 4, \"bytes\": ");
  EXPECT_NE(json.find("\"oldest\": {\"$date\": \"20"), std::string::npos) << json;
  EXPECT_NE(json.find("\n{\"kind\": \"scenario\", \"records\": 0, \"bytes\": "), std::string::npos) << json;
  EXPECT_NE(json.find("\"oldest\": null, \"newest\": null}\n"), std::string::npos) << json;
  const Outcome text = run({"info"});
  EXPECT_EQ(text.status, 0);
  const bool isControlled = !login.empty();
  EXPECT_NE(text.out.find(isControlled ? "access  controlled\n" : "access  not controlled\n"), std::string::npos)
      << text.out;
  EXPECT_EQ(text.err.find("access to this store is not controlled") == std::string::npos, isControlled) << text.err;
  if (!isFile()) return;
  const std::string begin = "format  file, format ";
  EXPECT_EQ(text.out.substr(0, begin.size()), begin);
  EXPECT_LE(text.out.find('\n'), begin.size() + 2) << "a small number: " << text.out;
  EXPECT_EQ(json.find("\"bytes\": 0"), json.find("\"bytes\": 0, \"oldest\": null")) << json;
}

TEST_P(RecordctlContract, AUserIsNotAddedUnawaresWhereAccessIsNotControlled) {
  if (!hasUsers(GetParam())) GTEST_SKIP() << GetParam() << " keeps no users";
  if (!login.empty()) GTEST_SKIP() << GetParam() << " controls access";
  const std::string warning = "recordctl: access to this store is not controlled";
  const std::vector<std::string> add{
      "users", "add", "ann", "--role", "read:experiment", "--new-password-file", file("ann", "canary-1\n")};
  const Outcome refused = run(add);
  EXPECT_EQ(refused.status, 2);
  EXPECT_EQ(refused.err.substr(0, warning.size()), warning);
  EXPECT_NE(refused.err.find("--admin-password-file"), std::string::npos) << refused.err;
  EXPECT_EQ(storeExists(), false);
  output({"init"});
  EXPECT_EQ(output({"users", "list"}), "");
  std::vector<std::string> all = add;
  all.emplace_back("--yes");
  const Outcome added = run(all);
  EXPECT_EQ(added.status, 0) << added.err;
  EXPECT_NE(added.err.find(warning), std::string::npos) << added.err;
  const Outcome listed = run({"users", "list"});
  EXPECT_NE(listed.out.find("ann"), std::string::npos);
  EXPECT_EQ(listed.err.substr(0, warning.size()), warning);
  const Outcome used = run({"list", "--user", "ann", "--password-file", path("ann")});
  EXPECT_EQ(used.status, 0) << used.err;
  EXPECT_EQ(used.err.substr(0, warning.size()), warning);
}

TEST_P(RecordctlContract, ARecordIsShownInFull) {
  importPlots();
  const std::string id = output({"list", "--json", "--skip", "3"}).substr(8, 24);
  EXPECT_EQ(withoutIds(output({"show", id})),
            "Record ID\n"
            "\n"
            "Categories\n"
            "name  value\n"
            "site  Morris\n"
            "\n"
            "User block\n"
            "\"note\": {\"by\": [\"x\", 1]}\n");
  EXPECT_EQ(withoutIds(output({"show", id, "--json"})),
            "{\"_id\": {\"$oid\": \"ID\"}, \"note\": {\"by\": [\"x\", 1]}, "
            "\"recordInfo\": {\"category\": [{\"name\": \"site\", \"value\": \"Morris\"}]}}\n");
}

TEST_P(RecordctlContract, ARecordThatIsNotThereIsAFailure) {
  importPlots();
  const Outcome outcome = run({"show", "nothing"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, "recordctl: no record has the id \"nothing\"\n");
}

TEST_P(RecordctlContract, NamesAreTheConfiguredCategoriesAndTheDescriptionsInUse) {
  importPlots();
  EXPECT_EQ(output({"names", "--json"}),
            "{\"name\": \"site\", \"kind\": \"category\", \"type\": \"string\", \"count\": 4}\n"
            "{\"name\": \"variety\", \"kind\": \"category\", \"type\": \"string\", \"count\": 3}\n"
            "{\"name\": \"year\", \"kind\": \"description\", \"type\": \"int\", \"count\": 3}\n"
            "{\"name\": \"yield\", \"kind\": \"description\", \"type\": \"double\", \"count\": 3}\n");
}

TEST_P(RecordctlContract, CategoriesMayHoldCommasAndMayBeNone) {
  output({"categories", "set", "a\\,b,c"});
  EXPECT_EQ(output({"names", "--json"}),
            "{\"name\": \"a,b\", \"kind\": \"category\", \"type\": \"string\", \"count\": 0}\n"
            "{\"name\": \"c\", \"kind\": \"category\", \"type\": \"string\", \"count\": 0}\n");
  output({"categories", "set", ""});
  EXPECT_EQ(output({"names"}), "");
  EXPECT_EQ(run({"categories", "set", "a,,b"}).status, 2);
  EXPECT_EQ(run({"categories", "set", "a, "}).err, "recordctl: categories: the name \" \" is blank\n");
  EXPECT_EQ(output({"names"}), "");
}

TEST_P(RecordctlContract, FacetsAreBarsWidestFirst) {
  importPlots();
  EXPECT_EQ(output({"facets", "Variety"}),
            "value    count\n"
            "Trebi        2  ########################################\n"
            "No. 457      1  ####################\n");
  EXPECT_EQ(output({"facets", "variety", "--json", "--where", "site=Morris"}),
            "{\"value\": \"Trebi\", \"count\": 1}\n");
  EXPECT_EQ(output({"facets", "varie.y"}), "");
  EXPECT_EQ(output({"facets", "varie.y", "--where", "has site"}), "");
}

TEST_P(RecordctlContract, FacetsAreLimitedToTheWidest) {
  std::string rows = "site\n";
  for (int i = 0; i < 60; ++i) rows += "s" + std::to_string(i % 12) + "\n" + (i % 12 == 7 ? "s7\n" : "");
  output({"import", file("rows.csv", rows), "--category", "site"});
  EXPECT_EQ(output({"facets", "site", "--limit", "2", "--json"}),
            "{\"value\": \"s7\", \"count\": 10}\n{\"value\": \"s0\", \"count\": 5}\n");
  EXPECT_EQ(countLines(output({"facets", "site", "--limit", "100", "--json"})), 12);
  EXPECT_EQ(countLines(output({"facets", "site", "--limit", "0", "--json"})), 12);
  EXPECT_EQ(output({"facets", "site", "--limit", "1", "--json", "--where", "site!=s7"}),
            "{\"value\": \"s0\", \"count\": 5}\n");
}

TEST_P(RecordctlContract, CsvHasTheNamesOfRareRecordsToo) {
  std::string rows = "{\"site\": \"a\", \"yield\": 1}\n";
  for (int i = 0; i < 1200; ++i) rows += "{\"site\": \"b\"}\n";
  rows += "{\"variety\": \"Trebi\", \"rain\": 2, \"acre\": 3}\n";
  output({"import", file("rows.jsonl", rows), "--category", "site,variety", "--description",
          "yield:double,rain:double,acre:double"});
  const std::string all = output({"export", "--format", "csv"});
  EXPECT_EQ(all.substr(0, all.find('\r')), "id,site,variety,yield,acre,rain");
  const std::string rare = "id,variety,rain,acre\r\nID,Trebi,2,3\r\n";
  EXPECT_EQ(withoutIds(output({"export", "--format", "csv", "--where", "rain=2"})), rare);
  // Not every server gives records back in the order in which they came.
  const std::set<std::string> any{"id,site,yield\r\nID,a,1\r\n", "id,site\r\nID,b\r\n", rare};
  const std::string one = withoutIds(output({"export", "--format", "csv", "--limit", "1"}));
  EXPECT_EQ(any.count(one), 1U) << one;
}

TEST_P(RecordctlContract, SourcesAreTheExperimentsOnAHost) {
  output({"import", file("a.jsonl", "{}\n{}\n"), "--source-host", "station7"});
  importPlots();
  EXPECT_EQ(countLines(output({"sources", "--host", "station7", "--json"})), 2U);
  EXPECT_EQ(withoutIds(output({"sources", "--host", "station7", "--json"})).substr(0, 64),
            "{\"id\": \"ID\", \"type\": \"dataserver\", \"host\": \"station7\", \"section\"");
  EXPECT_EQ(output({"sources", "--host", "station8"}), "");
}

TEST_P(RecordctlContract, CsvHasTheIdTheCategoriesAndTheDescriptions) {
  output({"import", file("a.jsonl", "{\"a\": \"x,\\\"y\\\"\", \"n\": 1.5, \"rest\": 1}\n{\"t\": \"2020-01-31\"}\n"),
          "--category", "a", "--description", "n:double,t:time"});
  EXPECT_EQ(withoutIds(output({"export", "--format", "csv"})),
            "id,a,n,t\r\nID,\"x,\"\"y\"\"\",1.5,\r\nID,,,2020-01-31T00:00:00Z\r\n");
}

TEST_P(RecordctlContract, RemovingNeedsToBeToldWhat) {
  importPlots();
  for (const auto& command :
       std::vector<std::vector<std::string>>{{"remove"},
                                             {"remove", "--yes"},
                                             {"remove", "--yes", "--where", ""},
                                             {"remove", "--yes", "--where", "  "},
                                             {"remove", "--all", "--where", "site=Waseca", "--yes"},
                                             {"remove", "x", "--all", "--yes"}}) {
    EXPECT_EQ(run(command).status, 2);
  }
  EXPECT_EQ(run({"remove", "--all"}).status, 2) << "nobody can be asked";
  EXPECT_EQ(countRecords(), 4);
}

TEST_P(RecordctlContract, ADryRunOfRemovingOnlyCounts) {
  importPlots();
  EXPECT_EQ(output({"remove", "--where", "site=Waseca", "--dry-run"}), "2 records would be removed\n");
  EXPECT_EQ(output({"remove", "--all", "--dry-run", "--json"}), "{\"removed\": 0}\n");
  EXPECT_EQ(countRecords(), 4);
}

TEST_P(RecordctlContract, RecordsAreRemovedByFilterByIdOrAll) {
  importPlots();
  EXPECT_EQ(output({"remove", "--where", "site=Waseca", "--yes"}), "2 records removed\n");
  const std::string id = output({"list", "--json"}).substr(8, 24);
  const Outcome outcome = run({"remove", id, "nothing", "--yes"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out, "1 record removed\n");
  EXPECT_EQ(outcome.err, "recordctl: no record has the id \"nothing\"\n");
  EXPECT_EQ(output({"remove", "--all", "--yes", "--json"}), "{\"removed\": 1}\n");
}

TEST_P(RecordctlContract, AnIdThatIsGivenTwiceIsOneRecord) {
  importPlots();
  const std::string id = output({"list", "--json"}).substr(8, 24);
  std::string upper = id;
  for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  EXPECT_EQ(run({"remove", id, "nothing", "--dry-run"}).err, "recordctl: no record has the id \"nothing\"\n");
  EXPECT_EQ(output({"remove", id, upper, id, "--yes"}), "1 record removed\n");
}

TEST_P(RecordctlContract, ACategoryNamedIdIsToldFromTheId) {
  output({"import", file("a.jsonl", R"({"id": "7"})"), "--category", "id"});
  EXPECT_EQ(withoutIds(output({"list"})), "id                        category:id\nID  7\n");
  EXPECT_EQ(withoutIds(output({"export", "--format", "csv"})), "id,category:id\r\nID,7\r\n");
}

TEST_P(RecordctlContract, ExplainTellsThePlan) {
  importPlots();
  const std::string plan = output({"explain", "--where", "category:site=Waseca", "--json"});
  EXPECT_EQ(plan.substr(0, 10), "{\"index\": ");
  EXPECT_NE(plan.find("\"returned\": 2}"), std::string::npos) << plan;
}

TEST_P(RecordctlContract, UsersHaveRolesAndNobodySeesTheirPasswords) {
  if (!hasUsers(GetParam())) GTEST_SKIP() << GetParam() << " keeps no users";
  output({"init"});
  environment["RECORDCTL_NEW_PASSWORD"] = "canary-7f3a";
  std::string all;
  const auto collect = [&](const std::vector<std::string>& arguments) {
    const Outcome outcome = run(arguments);
    EXPECT_EQ(outcome.status, 0) << arguments[1] << ": " << outcome.err;
    all += outcome.out + outcome.err;
    return outcome.out;
  };
  collect({"users", "add", "ann", "--role", "read:experiment,readWrite:base", "--yes"});
  EXPECT_EQ(collect({"users", "list", "--json"}),
            "{\"name\": \"ann\", \"roles\": [{\"role\": \"read\", \"db\": \"experiment\"}, "
            "{\"role\": \"readWrite\", \"db\": \"base\"}]}\n");
  collect({"users", "update", "ann", "--role", "read:base"});
  EXPECT_EQ(collect({"users", "show", "ann"}), "name  roles      data\nann   read:base\n");
  collect({"users", "passwd", "ann"});
  collect({"users", "remove", "ann"});
  EXPECT_EQ(collect({"users", "list"}), "");
  EXPECT_EQ(all.find("canary"), std::string::npos) << all;
  EXPECT_EQ(run({"users", "show", "ann"}).status, 1);
  EXPECT_EQ(run({"users", "remove", "ann"}).status, 2);
}

TEST_P(RecordctlContract, TheCustomDataOfAUserIsKept) {
  if (!hasUsers(GetParam())) GTEST_SKIP() << GetParam() << " keeps no users";
  output({"init"});
  environment["RECORDCTL_NEW_PASSWORD"] = "canary-7f3a";
  output({"users", "add", "ann", "--role", "read:base", "--data", "{\"desk\": 7}", "--yes"});
  EXPECT_EQ(output({"users", "show", "ann"}), "name  roles      data\nann   read:base  {\"desk\": 7}\n");
  output({"users", "update", "ann", "--role", "read:experiment"});
  EXPECT_EQ(output({"users", "show", "ann"}), "name  roles            data\nann   read:experiment  {\"desk\": 7}\n");
}

TEST_P(RecordctlContract, SettingUpMayBeRepeatedAndSaysWhatItDid) {
  if (!hasUsers(GetParam())) GTEST_SKIP() << GetParam() << " keeps no users, so that nothing can be set up";
  if (isControlledFile()) GTEST_SKIP() << GetParam() << " is set up whole when its administrator is made";
  const SettingUp& said = settingUp();
  // Only a deployment outlives the run, and may have been set up by the one before.
  const bool wasSetUp = GetParam() == "deployment" && said.dryRun.find("would be done: ") == std::string::npos;
  if (!isFile() && !wasSetUp) {
    EXPECT_NE(said.dryRun.find("would be done: "), std::string::npos) << said.dryRun;
    EXPECT_EQ(said.dryRun.find("\ndone: "), std::string::npos) << said.dryRun;
  }
  EXPECT_EQ(said.first.find("done: ") == std::string::npos, wasSetUp) << said.first;
  EXPECT_EQ(said.first.find("would be"), std::string::npos) << said.first;
  EXPECT_EQ(countLines(said.again), countLines(said.first));
  EXPECT_EQ(said.again.find("done: "), std::string::npos) << said.again;
  EXPECT_EQ(output({"init", "--dry-run"}), said.again);
}

TEST_P(RecordctlContract, OnlyAStoreInAFileIsCheckedAndCompacted) {
  importPlots();
  const Outcome check = run({"check", "--json"});
  const Outcome compact = run({"compact"});
  EXPECT_EQ(check.status, isFile() ? 0 : 2) << check.err;
  EXPECT_EQ(check.out, isFile() ? "{\"records\": 4, \"problems\": 0}\n" : "");
  EXPECT_EQ(compact.status, isFile() ? 0 : 2) << compact.err;
  EXPECT_FALSE(compact.err.empty());
  EXPECT_EQ(countRecords(), 4);
}

TEST_P(RecordctlContract, SettingsAreKeptByUserAndTag) {
  output({"settings", "set", "ann", "layout", "{\"columns\": [1, 2]}"});
  output({"settings", "set", "ann", "colours"}, "{\"dark\": true}");
  EXPECT_EQ(output({"settings", "get", "ann", "layout"}), "{\"columns\": [1, 2]}\n");
  EXPECT_EQ(output({"settings", "get", "ann"}), "colours\nlayout\n");
  EXPECT_EQ(output({"settings", "get", "ann", "--json"}), "{\"tag\": \"colours\"}\n{\"tag\": \"layout\"}\n");
  output({"settings", "remove", "ann", "layout"});
  EXPECT_EQ(run({"settings", "get", "ann", "layout"}).status, 1);
  EXPECT_EQ(run({"settings", "remove", "ann"}).status, 2);
  output({"settings", "remove", "ann", "--all"});
  EXPECT_EQ(run({"settings", "get", "ann"}).status, 1);
}

TEST_P(RecordctlContract, ACopyIntoAFileAndBackKeepsEverythingAndMayBeRepeated) {
  importPlots();
  output({"settings", "set", "ann", "layout", "{\"a\": 1}"});
  const std::string exported = output({"export"});
  const std::string file = "file:" + path("copy.db");
  EXPECT_EQ(output(asJson(copyOf(store(), file))), "{\"records\": 4, \"problems\": 0}\n");
  EXPECT_EQ(output(copyOf(store(), file)), "0 documents copied, 6 were there already, 0 differ\n");
  EXPECT_EQ(output({"export", "--store", file}), exported);
  EXPECT_EQ(output({"settings", "get", "ann", "layout", "--store", file}), "{\"a\": 1}\n");
  output({"remove", "--all", "--yes"});
  EXPECT_EQ(output(copyOf(file, store())), "4 documents copied, 2 were there already, 0 differ\n");
  EXPECT_EQ(output(copyOf(file, store())), "0 documents copied, 6 were there already, 0 differ\n");
  EXPECT_EQ(output({"export"}), exported);
}

TEST_P(RecordctlContract, ACopyBetweenTwoStoresOfOneSortKeepsEverything) {
  const std::string other = otherStore();
  if (other.empty()) GTEST_SKIP() << "there is no second engine of the sort of " << GetParam();
  importPlots();
  EXPECT_EQ(output(copyOf(store(), other)), "5 documents copied, 0 were there already, 0 differ\n");
  EXPECT_EQ(output(copyOf(other, store())), "0 documents copied, 5 were there already, 0 differ\n");
  EXPECT_EQ(output({"export", "--store", other}), output({"export"}));
  EXPECT_EQ(output({"names", "--store", other}), output({"names"}));
}

TEST_P(RecordctlContract, ACopyTellsWhatDiffersAndLeavesItUnlessToldOtherwise) {
  importPlots();
  const std::string from = "file:" + path("from.db");
  output(copyOf(store(), from));
  output({"settings", "set", "ann", "layout", "{\"a\": 1}", "--store", from});
  output({"settings", "set", "ann", "layout", "{\"a\": 2}"});
  const Outcome outcome = run(copyOf(from, store()));
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out, "0 documents copied, 5 were there already, 1 differ\n");
  EXPECT_EQ(outcome.err,
            "databaseManager/customization {\"user\": \"ann\", \"tag\": \"layout\"}: differs, and stays as it is\n");
  EXPECT_EQ(output({"settings", "get", "ann", "layout"}), "{\"a\": 2}\n");
  std::vector<std::string> replacing = copyOf(from, store());
  replacing.insert(replacing.end(), {"--on-difference", "replace"});
  EXPECT_EQ(output(replacing), "0 documents copied, 1 replaced, 5 were there already, 0 differ\n");
  EXPECT_EQ(output({"settings", "get", "ann", "layout"}), "{\"a\": 1}\n");
  EXPECT_EQ(output(copyOf(from, store())), "0 documents copied, 6 were there already, 0 differ\n");
}

TEST_P(RecordctlContract, ACopyReplacesRecordsThatDifferOnRequest) {
  const std::string rows = R"({"_id": {"$oid": "000000000000000000000001"}, "note": "of the )";
  const std::string from = "file:" + path("from.db");
  const auto import = [&](const std::string& name) {
    return std::vector<std::string>{"import", file(name + ".jsonl", rows + name + "\"}\n"), "--format", "records",
                                    "--keep-ids"};
  };
  output(import("target"));
  std::vector<std::string> toSource = import("source");
  toSource.insert(toSource.end(), {"--store", from});
  output(toSource);
  EXPECT_EQ(run(copyOf(from, store())).status, 1);
  EXPECT_NE(output({"export"}).find("of the target"), std::string::npos);
  std::vector<std::string> replacing = copyOf(from, store());
  replacing.insert(replacing.end(), {"--on-difference", "replace"});
  EXPECT_EQ(output(replacing), "0 documents copied, 1 replaced, 0 were there already, 0 differ\n");
  EXPECT_EQ(output({"export"}), output({"export", "--store", from}));
}

TEST_P(RecordctlContract, ACopyAddsCategoriesThatAreNotConfiguredYet) {
  const std::string from = "file:" + path("from.db");
  output({"categories", "set", "site,year", "--store", from});
  output({"categories", "set", "variety,site"});
  EXPECT_EQ(output(copyOf(from, store())), "1 documents copied, 0 were there already, 0 differ\n");
  const std::string names = output({"names", "--json"});
  EXPECT_LT(names.find("variety"), names.find("site"));
  EXPECT_LT(names.find("site"), names.find("year"));
  EXPECT_EQ(countLines(names), 3U);
  EXPECT_EQ(output(copyOf(from, store())), "0 documents copied, 1 were there already, 0 differ\n");
}

TEST_P(RecordctlContract, ScenariosAreRecordsOfTheirOwn) {
  output({"import", file("a.jsonl", R"({"name": "x"})"), "--kind", "scenario", "--category", "name"});
  EXPECT_EQ(countRecords(), 0);
  EXPECT_EQ(countLines(output({"list", "--kind", "scenario", "--json"})), 1U);
  EXPECT_EQ(output({"facets", "name", "--kind", "scenario", "--json"}), "{\"value\": \"x\", \"count\": 1}\n");
  EXPECT_EQ(output({"remove", "--all", "--yes", "--kind", "scenario"}), "1 record removed\n");
}
