// SPDX-License-Identifier: Apache-2.0
#include <sys/stat.h>

#include <fstream>

#include "tests/tools/commands/RecordctlContract.h"

namespace {

/// Rows with a bad year from number `firstBad` on.
std::string rows(int count, int firstBad) {
  std::string result;
  for (int i = 1; i <= count; ++i)
    result += std::string(R"({"site": "s", "year": )") + (i < firstBad ? "1931" : "1931.5") + "}\n";
  return result;
}

const std::string checkedFirst =
    "recordctl: this store has no transactions; the rows are checked first, then written\n";

const std::vector<std::string> yearColumns{"--category", "site", "--description", "year:int"};

std::vector<std::string> with(std::vector<std::string> arguments, const std::vector<std::string>& more) {
  arguments.insert(arguments.end(), more.begin(), more.end());
  return arguments;
}

}  // namespace

TEST_P(RecordctlContract, AnImportTellsHowManyRecordsItMade) {
  const std::string plots = file("plots.csv", "site,yield\nWaseca,48.5\nMorris,30\n");
  const std::string out = output({"import", plots, "--category", "site", "--description", "yield:double"});
  EXPECT_EQ(out.substr(0, out.find(',')), "2 records imported");
  const std::string json = output({"import", plots, "--category", "site", "--json"});
  EXPECT_EQ(json.substr(0, json.find("\"seconds\"")), "{\"imported\": 2, \"failed\": 0, ");
  EXPECT_EQ(countRecords(), 4);
}

TEST_P(RecordctlContract, ADoubleAloneIsImported) {
  output({"import", file("a.jsonl", "{\"yield\": 27}\n"), "--description", "yield:double"});
  EXPECT_EQ(withoutIds(output({"list", "--json"})),
            "{\"id\": \"ID\", \"categories\": {}, \"descriptions\": {\"yield\": 27.0}}\n");
}

TEST_P(RecordctlContract, A64BitNumberAloneIsImported) {
  output({"import", file("a.jsonl", "{\"n\": 5000000000}\n"), "--description", "n:long"});
  EXPECT_EQ(withoutIds(output({"list", "--json"})),
            "{\"id\": \"ID\", \"categories\": {}, \"descriptions\": {\"n\": 5000000000}}\n");
}

TEST_P(RecordctlContract, BadRowsAreToldAndTheOthersGoIn) {
  const std::string data = file("a.jsonl", rows(3, 3));
  const Outcome outcome = run(with({"import", data}, yearColumns));
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, data + ":3: year: expected int (a whole number of 32 bits), found 1931.5 (row 3)\n");
  EXPECT_EQ(countRecords(), 2);
}

TEST_P(RecordctlContract, ABadRowIsToldByItsLineAndItsNumber) {
  const std::string csv = file("a.csv", "site,year\n\"x\ny\",1931\n\nz,soon\n");
  EXPECT_EQ(run(with({"import", csv}, yearColumns)).err,
            csv + ":5: year: expected int (a whole number of 32 bits), found \"soon\" (row 2)\n");
  const std::string json =
      file("a.json", "[\n  {\"site\": \"x\",\n   \"year\": 1931},\n  {\"year\": 0.5, \"site\": 1}\n]");
  EXPECT_EQ(run(with({"import", json}, yearColumns)).err,
            json + ":4: year: expected int (a whole number of 32 bits), found 0.5 (row 2)\n");
}

TEST_P(RecordctlContract, AfterTwentyBadRowsTheRestIsCounted) {
  const Outcome outcome = run(with({"import", file("a.jsonl", rows(30, 6)), "--json"}, yearColumns));
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(countLines(outcome.err), 21U) << outcome.err;
  EXPECT_NE(outcome.err.find("recordctl: and 5 more bad rows\n"), std::string::npos) << outcome.err;
  EXPECT_EQ(outcome.out.substr(0, 32), "{\"imported\": 5, \"failed\": 25, \"s");
}

TEST_P(RecordctlContract, AllOrNothingWritesNothingWhenARowIsBad) {
  importPlots();
  const Outcome outcome = run(with({"import", file("a.jsonl", rows(1500, 1500)), "--all-or-nothing"}, yearColumns));
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.err.find("nothing was written"), std::string::npos) << outcome.err;
  EXPECT_EQ(outcome.out.substr(0, outcome.out.find(", in")), "0 records imported, 1 row failed");
  EXPECT_EQ(countRecords(), 4);
}

TEST_P(RecordctlContract, AllOrNothingIsATransactionInAFileAndElsewhereCheckedFirst) {
  const Outcome outcome = run(with({"import", file("b.jsonl", rows(1500, 9999)), "--all-or-nothing"}, yearColumns));
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.err, isFile() ? "" : checkedFirst);
  EXPECT_EQ(countRecords(), 1500);
}

TEST_P(RecordctlContract, AllOrNothingOfKeptIdsWritesNothingWhenAnIdIsThereAlready) {
  importPlots();
  const std::string old = output({"export", "--where", "year=1931"});
  const std::string added = R"({"_id": {"$oid": "65aa00000000000000000001"}, "n": 1})";
  const std::string records = file("all.records", added + "\n" + old);
  const Outcome outcome = run({"import", records, "--format", "records", "--keep-ids", "--all-or-nothing"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, (isFile() ? "" : checkedFirst) + records +
                             ":2: _id: a record of this id is there already (row 2)\n" +
                             "recordctl: nothing was written, since some rows are bad\n");
  EXPECT_EQ(outcome.out.substr(0, outcome.out.find(", in")), "0 records imported, 1 row failed");
  EXPECT_EQ(countRecords(), 4);
}

TEST_P(RecordctlContract, AllOrNothingOfKeptIdsWritesNothingWhenAnIdStandsTwice) {
  importPlots();
  const std::string added = R"({"_id": {"$oid": "65aa00000000000000000001"}, "n": 1})";
  const std::string records = file("all.records", added + "\n{}\n" + added + "\n");
  const Outcome outcome = run({"import", records, "--format", "records", "--keep-ids", "--all-or-nothing"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.err.find(records + ":3: _id: "), std::string::npos) << outcome.err;
  EXPECT_EQ(countRecords(), 4);
}

TEST_P(RecordctlContract, AllOrNothingOfKeptIdsWritesThemAll) {
  importPlots();
  const std::string exported = output({"export"});
  output({"remove", "--all", "--yes"});
  output({"import", file("all.records", exported), "--format", "records", "--keep-ids", "--all-or-nothing"});
  EXPECT_EQ(output({"export"}), exported);
}

TEST_P(RecordctlContract, StandardInputIsReadUnderItsFormat) {
  EXPECT_EQ(run({"import", "-", "--category", "site"}, "site\nx\n").status, 2);
  output({"import", "-", "--format", "csv", "--category", "site"}, "site\nx\n");
  EXPECT_EQ(countRecords(), 1);
}

TEST_P(RecordctlContract, RowsBeforeABrokenPlaceOfStandardInputStayAndAreTold) {
  std::string input = "[";
  for (int i = 0; i < 1500; ++i) input += R"({"site": "x"},)";
  const Outcome outcome = run({"import", "-", "--format", "json", "--category", "site"}, input + "{");
  EXPECT_EQ(outcome.status, 2);
  EXPECT_NE(outcome.err.find("1000 records were written before this"), std::string::npos) << outcome.err;
  EXPECT_EQ(countRecords(), 1000);
}

TEST_P(RecordctlContract, SeveralFilesOfSeveralFormatsAreOneImport) {
  output({"import", file("a.json", R"([{"site": "x"}])"), file("b.csv", "site\ny\n"),
          file("c.jsonl", R"({"site":"z"})"), "--category", "site"});
  EXPECT_EQ(output({"facets", "site", "--json"}),
            "{\"value\": \"x\", \"count\": 1}\n{\"value\": \"y\", \"count\": 1}\n{\"value\": \"z\", \"count\": 1}\n");
}

TEST_P(RecordctlContract, CategoriesOfAnImportAreAddedBehindTheConfiguredOnes) {
  output({"categories", "set", "variety,farm"});
  importPlots();
  const std::string names = output({"names"});
  EXPECT_LT(names.find("variety"), names.find("farm"));
  EXPECT_LT(names.find("farm"), names.find("site"));
}

TEST_P(RecordctlContract, TheEndingOfANameTellsTheFormatInEitherCase) {
  importPlots();
  output({"import", file("a.records", output({"export"}))});
  output({"import", file("B.CSV", "site\ny\n")});
  EXPECT_EQ(countRecords(), 9);
}

TEST_P(RecordctlContract, AScenarioHasNoDataSource) {
  const Outcome outcome = run({"import", file("a.jsonl", "{}"), "--kind", "scenario", "--source-host", "station7"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.err, "recordctl: --source-host: a scenario has no data source\n");
}

TEST_P(RecordctlContract, FilesOfAKindThatTheRecordsDoNotHaveAreRefused) {
  const std::string data = file("a.jsonl", R"({"p": "x.avi"})");
  EXPECT_EQ(run({"import", data, "--file", "media:h:p"}).status, 2);
  output({"import", data, "--file", "media:h:p", "--kind", "scenario"});
  EXPECT_EQ(countLines(output({"list", "--json", "--kind", "scenario"})), 1U);
}

TEST_P(RecordctlContract, AnInterruptKeepsWhatWasAcknowledged) {
  const std::string rows = path("rows.jsonl");
  ASSERT_EQ(::mkfifo(rows.c_str(), 0600), 0);
  const auto terminal = onTerminal({"import", rows, "--category", "site"});
  std::ofstream pipe(rows);  // open to the end, so that the command waits for more
  for (int i = 1; i < 2100; ++i) pipe << "{\"site\": \"s\"}\n";
  pipe << "no row\n" << std::flush;
  terminal->readUntil(":2100: ");  // two batches of 1000 are in
  terminal->type("\x03");
  EXPECT_EQ(terminal->finish(), 130);
  EXPECT_NE(terminal->rest().find("2000 records were written before this"), std::string::npos) << terminal->rest();
  EXPECT_EQ(countRecords(), 2000);
}

TEST_P(RecordctlContract, ExportedRecordsComeBackByteForByte) {
  importPlots();
  output({"import", file("s.jsonl", R"({"n": 5000000000, "t": {"$date": "2020-01-31T10:00:00Z"}})"), "--description",
          "n:long,t:time", "--source-host", "station7"});
  const std::string exported = output({"export"});
  EXPECT_EQ(countLines(exported), 5U);
  const std::string csv = output({"export", "--format", "csv"});
  output({"remove", "--all", "--yes"});
  output({"import", file("all.records", exported), "--format", "records", "--keep-ids"});
  EXPECT_EQ(output({"export"}), exported);
  EXPECT_EQ(output({"export", "--format", "csv"}), csv);
}

TEST_P(RecordctlContract, ExportedCsvComesBackAsRows) {
  importPlots();
  const std::vector<std::string> asCsv{"export", "--format", "csv"};
  const std::string csv = withoutIds(output(asCsv));
  const std::string rows = file("all.csv", output(asCsv));
  output({"remove", "--all", "--yes"});
  output({"import", rows, "--category", "site,variety", "--description", "yield:double,year:int"});
  EXPECT_EQ(withoutIds(output(asCsv)), csv);
}

TEST_P(RecordctlContract, AnImportOfNothingConfiguresNothing) {
  output({"categories", "set", "farm"});
  const std::string names = output({"names"});
  std::vector<std::string> import = with({"import", file("a.jsonl", rows(3, 1))}, yearColumns);
  EXPECT_EQ(run(import).status, 1);
  EXPECT_EQ(output({"names"}), names);
  import.emplace_back("--all-or-nothing");
  EXPECT_EQ(run(import).status, 1);
  EXPECT_EQ(output({"names"}), names);
  EXPECT_EQ(countRecords(), 0);
}

TEST_P(RecordctlContract, ANumberThatCouldBeAYearOrSecondsIsNoTimeByItself) {
  const std::string data = file("a.csv", "t\n2020\n1580464800\n1580464800000\n2020-01-31T10:00:00Z\n");
  const Outcome outcome = run({"import", data, "--description", "t:time"});
  EXPECT_EQ(outcome.status, 1);
  const std::string reason = "which could be a year, seconds or milliseconds; --time-unit s or ms says which";
  EXPECT_EQ(outcome.err, data + ":2: t: expected time, found \"2020\", " + reason + " (row 1)\n" + data +
                             ":3: t: expected time, found \"1580464800\", " + reason + " (row 2)\n");
  EXPECT_EQ(output({"list", "--columns", "t"}), "t\n2020-01-31T10:00:00Z\n2020-01-31T10:00:00Z\n");
}

TEST_P(RecordctlContract, TheUnitOfTimesMayBeGiven) {
  output({"import", file("a.jsonl", "{\"t\": 1580464800}\n{\"t\": 1580464800.25}\n{\"t\": \"1580464800\"}\n"),
          "--description", "t:time", "--time-unit", "s"});
  output({"import", file("b.csv", "t\n1500\n"), "--description", "t:time", "--time-unit", "ms"});
  EXPECT_EQ(output({"list", "--columns", "t"}),
            "t\n2020-01-31T10:00:00Z\n2020-01-31T10:00:00.250Z\n2020-01-31T10:00:00Z\n1970-01-01T00:00:01.500Z\n");
}

TEST_P(RecordctlContract, NanAndTheInfinitiesAreDoubles) {
  const std::vector<std::string> asDouble{"--description", "v:double"};
  output(with({"import", file("a.csv", "v\nNaN\nnan\nInfinity\n-inf\n1.5\n")}, asDouble));
  output(with({"import", file("b.jsonl", "{\"v\": \"NaN\"}\n{\"v\": \"-Infinity\"}\n")}, asDouble));
  const std::string shown = "NaN\nNaN\nInfinity\n-Infinity\n1.5\nNaN\n-Infinity\n";
  const auto values = [this](const std::string& filter) {
    const std::string csv = output({"export", "--format", "csv", "--where", filter});
    std::string result;
    for (std::size_t at = csv.find('\n') + 1; at < csv.size(); at = csv.find('\n', at) + 1)
      result += csv.substr(at + 25, csv.find('\r', at) - at - 25) + "\n";
    return result;
  };
  EXPECT_EQ(values(""), shown);
  EXPECT_EQ(values("v=NaN"), "NaN\nNaN\nNaN\n");
  EXPECT_EQ(values("v=inf"), "Infinity\n");
  EXPECT_EQ(values("v>0"), "Infinity\n1.5\n");
  EXPECT_EQ(values("v<=-Infinity"), "-Infinity\n-Infinity\n");
  const std::string exported = output({"export", "--format", "csv"});
  output(with({"import", file("all.csv", exported)}, asDouble));
  EXPECT_EQ(values(""), shown + shown);
  const Outcome outcome = run({"import", file("c.csv", "v\nNaN\n"), "--description", "v:int"});
  EXPECT_EQ(outcome.status, 1) << "an int has no NaN";
}

TEST_P(RecordctlContract, AnExportOfAllComesBackWithConfigurationAndSettings) {
  importPlots();
  output({"import", file("s.jsonl", R"({"name": "x"})"), "--kind", "scenario", "--category", "name"});
  output({"settings", "set", "ann", "layout", "{\"a\": 1}"});
  const std::string exported = output({"export", "--all"});
  const std::string everything = file("all.records", exported);
  const std::string copy = "file:" + path("copy.db");
  const Outcome outcome = run({"import", everything, "--keep-ids", "--store", copy});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.out.substr(0, outcome.out.find(", in")), "5 records imported, 3 settings and configurations");
  EXPECT_EQ(output({"export", "--all", "--store", copy}), exported);
  EXPECT_EQ(output({"names", "--store", copy}), output({"names"}));
  EXPECT_EQ(output({"settings", "get", "ann", "layout", "--store", copy}), "{\"a\": 1}\n");
  const Outcome again = run({"import", everything, "--keep-ids"});
  EXPECT_EQ(again.status, 1) << "the records are there";
  EXPECT_EQ(again.out.substr(0, again.out.find(", in")),
            "0 records imported, 2 settings and configurations, 5 rows failed");
  EXPECT_EQ(output({"export", "--all"}), exported);
}

TEST_P(RecordctlContract, AnImportOfAllAddsCategoriesAndKeepsSettingsThatDiffer) {
  importPlots();
  output({"settings", "set", "ann", "layout", "{\"a\": 1}"});
  const std::string everything = file("all.records", output({"export", "--all"}));
  output({"categories", "set", "farm,site"});
  output({"settings", "set", "ann", "layout", "{\"a\": 2}"});
  const Outcome outcome = run({"import", everything});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.err.find("settings of \"ann\" under \"layout\" are there already, differ, and stay as they are"),
            std::string::npos)
      << outcome.err;
  EXPECT_EQ(countRecords(), 8);
  EXPECT_EQ(output({"settings", "get", "ann", "layout"}), "{\"a\": 2}\n");
  const std::string names = output({"names", "--json"});
  EXPECT_LT(names.find("farm"), names.find("site"));
  EXPECT_LT(names.find("site"), names.find("variety"));
}

TEST_P(RecordctlContract, AnExportThatNamesNoKnownCollectionIsWrongInput) {
  const std::string data = file("a.records", "{\"$collection\": \"experiment.recrods\"}\n{\"n\": 1}\n");
  const Outcome outcome = run({"import", data});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.err, "recordctl: " + data + ":1: records are not kept in a collection \"experiment.recrods\"\n");
}

TEST_P(RecordctlContract, AnIdThatIsThereAlreadyIsAFailedRow) {
  importPlots();
  const std::string records = file("all.records", output({"export"}));
  const Outcome outcome = run({"import", records, "--format", "records", "--keep-ids"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err.substr(0, outcome.err.find('\n')),
            records + ":1: _id: a record of this id is there already (row 1)");
  EXPECT_EQ(countRecords(), 4);
}

TEST_P(RecordctlContract, RecordsGetNewIdsUnlessTheyAreKept) {
  importPlots();
  const std::string records = file("all.records", output({"export"}));
  output({"import", records, "--format", "records"});
  EXPECT_EQ(countRecords(), 8);
  EXPECT_EQ(run({"import", records, "--format", "records", "--category", "site"}).status, 2);
  EXPECT_EQ(run({"import", file("a.jsonl", "{}"), "--keep-ids"}).status, 2);
}

TEST_P(RecordctlContract, SumoConfigurationsBecomeScenarios) {
  const std::string folder = "/usr/share/sumo/tools";
  if (!std::filesystem::exists(folder)) GTEST_SKIP() << "no " << folder << "; the package sumo-tools has it";
  const std::string out = output({"import-sumo", folder, "--host", "road1"});
  EXPECT_EQ(out.substr(0, out.find(',')), "15 records imported");
  EXPECT_EQ(countLines(output({"list", "--json", "--kind", "scenario", "--where", "not has begin"})), 6U);
  EXPECT_EQ(countLines(output({"list", "--json", "--kind", "scenario", "--where", "begin=0"})), 9U);
  EXPECT_EQ(
      withoutIds(output({"export", "--kind", "scenario", "--format", "csv", "--where", "name='game/hiking/hiking'"})),
      "id,name,network\r\nID,game/hiking/hiking,hiking.net.xml\r\n");
}

TEST_P(RecordctlContract, ASumoScenarioRefersToItsFilesFromAnywhere) {
  std::filesystem::create_directories(path("net/sub"));
  file("net/sub/a.sumocfg", R"(<configuration><net-file value="a.net.xml"/></configuration>)");
  const std::string folder = std::filesystem::relative(path("net"));
  ASSERT_NE(folder.front(), '/');
  output({"import-sumo", folder + "/../net", "--host", "road1"});
  const std::string exported = output({"export", "--kind", "scenario"});
  EXPECT_NE(exported.find("\"path\": \"" + path("net/sub/a.net.xml") + "\""), std::string::npos) << exported;
  EXPECT_NE(exported.find("\"configuration\": \"" + path("net/sub/a.sumocfg") + "\""), std::string::npos) << exported;
  EXPECT_NE(exported.find("\"value\": \"sub/a\""), std::string::npos) << exported;
}

TEST_P(RecordctlContract, AKeyTellsWhichRecordARowIsOf) {
  const std::vector<std::string> columns{"--category", "site", "--description", "run:int,yield:double"};
  const std::string first = file("first.csv", "site,run,yield\nWaseca,1,48.5\nMorris,2,30\n");
  const std::string json = output(with({"import", first, "--key", "run", "--json"}, columns));
  EXPECT_EQ(json.substr(0, json.find("\"seconds\"")),
            "{\"imported\": 2, \"updated\": 0, \"unchanged\": 0, \"failed\": 0, ");
  const std::string second = file("second.csv", "run,yield\n1,\n2,31\n3,7\n");
  const std::string out = output({"import", second, "--key", "run"});
  EXPECT_EQ(out.substr(0, out.find(", in")), "1 record imported, 1 updated, 1 unchanged");
  EXPECT_EQ(countRecords(), 3);
  const Outcome failed = run({"import", second, "--key", "run", "--on-match", "fail"});
  EXPECT_EQ(failed.status, 1);
  EXPECT_EQ(countLines(failed.err), 3U) << failed.err;
}

TEST_P(RecordctlContract, TwoRowsOfAKeyAreBadRowsThatNameEachOther) {
  const std::string rows = file("rows.csv", "run,yield\n1,1\n2,2\n1,3\n");
  const Outcome outcome = run({"import", rows, "--key", "run", "--description", "run:int,yield:double"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err, rows + ":2: the key run=1 stands in row 3 (" + rows + ":4), too (row 1)\n" + rows +
                             ":4: the key run=1 stands in row 1 (" + rows + ":2), too (row 3)\n");
  EXPECT_EQ(countRecords(), 1);
}

TEST_P(RecordctlContract, ExportedCsvComesBack) {
  importPlots();
  const std::string before = output({"export"});
  const std::string table = output({"export", "--format", "csv"});
  std::string out = output({"import", file("table.csv", table), "--key", "id"});
  EXPECT_EQ(out.substr(0, out.find(", in")), "0 records imported, 0 updated, 4 unchanged");
  EXPECT_EQ(output({"export"}), before);
  std::string edited = table;
  edited.replace(edited.find(",1931"), 5, ",1941");
  out = output({"import", file("edited.csv", edited), "--key", "id"});
  EXPECT_EQ(out.substr(0, out.find(", in")), "0 records imported, 1 updated, 3 unchanged");
  EXPECT_EQ(output({"count", "--where", "description:year=1941"}), "1\n");
}

TEST_P(RecordctlContract, AKeyThatNothingHasIsWrongUse) {
  importPlots();
  const std::string rows = file("rows.csv", "sites\nx\n");
  EXPECT_EQ(run({"import", rows, "--key", "sites"}).status, 2);
  EXPECT_EQ(run({"import", rows, "--on-match", "skip"}).status, 2);
  EXPECT_EQ(run({"import", rows, "--key", "id", "--on-match", "perhaps"}).status, 2);
  EXPECT_EQ(run({"import", file("a.records", "{}"), "--key", "id"}).status, 2);
  EXPECT_EQ(countRecords(), 4);
}

TEST_P(RecordctlContract, AllOrNothingOfAKeyChangesNothingWhenARowIsBad) {
  importPlots();
  const std::string before = output({"export"});
  const std::string table = output({"export", "--format", "csv"});
  std::string edited = table;
  edited.replace(edited.find(",1931"), 5, ",1941");
  edited.replace(edited.rfind(",193"), 5, ",soon");
  const Outcome outcome = run({"import", file("edited.csv", edited), "--key", "id", "--all-or-nothing"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.err.find("nothing was written"), std::string::npos) << outcome.err;
  EXPECT_EQ(output({"export"}), before);
}

TEST_P(RecordctlContract, ASumoScenarioRefersToItsFiles) {
  std::filesystem::create_directory(path("net"));
  file("net/a.sumocfg", R"(<configuration><input><net-file value="a.net.xml"/><route-files value="r.xml,../s.xml"/>
                           <additional-files value="/x/add.xml"/></input><time><end value="90"/></time></configuration>)");
  file("net/bad.sumocfg", "<configuration>");
  const Outcome outcome = run({"import-sumo", path("net"), "--host", "road1"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.err.compare(0, path("net/bad.sumocfg").size() + 11, path("net/bad.sumocfg") + ": not XML: "), 0)
      << outcome.err;
  const std::string list = output({"list", "--json", "--kind", "scenario"});
  EXPECT_EQ(withoutIds(list),
            "{\"id\": \"ID\", \"categories\": {\"name\": \"a\", \"network\": \"a.net.xml\"}, "
            "\"descriptions\": {\"end\": 90.0}}\n");
  const std::string shown = output({"show", list.substr(8, 24), "--kind", "scenario"});
  for (const std::string& line : {"xml   road1  " + path("net/a.net.xml"), "xml   road1  " + path("net/r.xml"),
                                  "xml   road1  " + path("s.xml"), std::string("xml   road1  /x/add.xml")})
    EXPECT_NE(shown.find(line + "\n"), std::string::npos) << line << "\n" << shown;
}
