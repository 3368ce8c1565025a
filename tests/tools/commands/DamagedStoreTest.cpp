// SPDX-License-Identifier: Apache-2.0
#include <fstream>
#include <iterator>

#include "tests/tools/commands/Recordctl.h"

namespace {

/// A store of 30 plots; the user block of each holds a text that stands nowhere else.
class DamagedStore : public Recordctl {
 protected:
  DamagedStore() {
    std::string rows;
    for (int i = 0; i < 30; ++i) {
      rows += R"({"site": "s)" + std::to_string(i % 3) + R"(", "yield": )" + std::to_string(i) +
              R"(.5, "note": "<mark )" + std::to_string(i) + ">\"}\n";
    }
    output({"import", file("plots.jsonl", rows), "--category", "site", "--description", "yield:double"});
    ids_ = output({"list", "--json"});
  }

  /// Changes bytes of a record in the file.
  void damage(int record) const {
    std::ifstream input(path("store.db"), std::ios::binary);
    std::string content{std::istreambuf_iterator<char>(input), std::istreambuf_iterator<char>()};
    const std::size_t at = content.find("<mark " + std::to_string(record) + ">");
    ASSERT_NE(at, std::string::npos);
    content.replace(at, 5, "<MARK");
    std::ofstream(path("store.db"), std::ios::binary) << content;
  }
  std::string idOf(int record) const {
    std::size_t line = 0;
    for (; record > 0; --record) line = ids_.find('\n', line) + 1;
    return ids_.substr(ids_.find(R"("id": ")", line) + 7, 24);
  }

 private:
  std::string ids_{};
};

TEST_F(DamagedStore, IsReadButForTheDamagedRecordWhichIsNamed) {
  damage(7);
  const std::vector<std::pair<std::vector<std::string>, std::size_t>> commands = {
      {{"list", "--json"}, 29},
      {{"list"}, 30},
      {{"list", "--json", "--where", "yield>=0"}, 29},
      {{"export"}, 29},
      {{"export", "--format", "csv"}, 30},
      {{"sources", "--host", "h", "--json"}, 0}};
  for (const auto& [command, lines] : commands) {
    const Outcome outcome = run(command);
    EXPECT_EQ(outcome.status, 1) << command.front();
    EXPECT_EQ(countLines(outcome.out), lines) << command.front() << outcome.out;
    EXPECT_EQ(outcome.err, "recordctl: " + idOf(7) + " is passed over: store " + path("store.db") +
                               ": a document of experiment.records is damaged (record 8)\n");
  }
  EXPECT_EQ(countLines(output({"facets", "site", "--json", "--where", "yield>=0"})), 3U) << "which reads no record";
  EXPECT_EQ(run({"show", idOf(8)}).status, 0);
  const Outcome shown = run({"show", idOf(7)});
  EXPECT_EQ(shown.status, 1);
  EXPECT_EQ(shown.err.find("recordctl: " + idOf(7) + " is passed over"), 0U) << shown.err;
}

TEST_F(DamagedStore, NamesTheFirstDamagedRecordsAndCountsTheOthers) {
  for (int record = 0; record < 25; ++record) damage(record);
  const Outcome outcome = run({"export"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(countLines(outcome.out), 5U);
  EXPECT_EQ(countLines(outcome.err), 21U);
  EXPECT_NE(outcome.err.find("recordctl: 5 more are passed over; \"recordctl check\" names them\n"), std::string::npos);
}

TEST_F(DamagedStore, LosesADamagedRecordByItsId) {
  damage(7);
  EXPECT_EQ(output({"remove", idOf(7), "--yes"}), "1 record removed\n");
  EXPECT_EQ(countLines(output({"list", "--json"})), 29U);
  EXPECT_EQ(output({"facets", "site", "--json"}),
            "{\"value\": \"s0\", \"count\": 10}\n"
            "{\"value\": \"s2\", \"count\": 10}\n"
            "{\"value\": \"s1\", \"count\": 9}\n");
  EXPECT_NE(output({"check"}).find(" 0 problems"), std::string::npos);
}

TEST_F(DamagedStore, LosesAllRecordsDamagedOrNot) {
  damage(7);
  EXPECT_EQ(output({"remove", "--all", "--yes"}), "30 records removed\n");
  EXPECT_NE(output({"check"}).find(" 0 problems"), std::string::npos);
}

TEST_F(DamagedStore, IsCheckedWithTheIdOfEachDamagedRecord) {
  damage(7);
  damage(9);
  const Outcome outcome = run({"check", "--json"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out, "{\"records\": 30, \"problems\": 2}\n");
  EXPECT_EQ(outcome.err, "recordctl: experiment.records {\"_id\": {\"$oid\": \"" + idOf(7) +
                             "\"}} (record 8): it is damaged\n" +
                             "recordctl: experiment.records {\"_id\": {\"$oid\": \"" + idOf(9) +
                             "\"}} (record 10): it is damaged\n");
}

TEST_F(DamagedStore, IsRepairedIntoANewOne) {
  output({"settings", "set", "ann", "layout", "{\"a\": 1}"});
  output({"init", "--admin-password-file", file("admin", "secret")});
  login = {"--user", "admin"};
  environment["RECORDCTL_PASSWORD"] = "secret";
  damage(7);
  const Outcome outcome = run({"check", "--repair", path("new.db"), "--json"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out, "{\"records\": 29, \"problems\": 1}\n");
  EXPECT_EQ(outcome.err, "recordctl: experiment.records {\"_id\": {\"$oid\": \"" + idOf(7) + "\"}} (record 8): lost\n");
  const std::vector<std::string> repaired = {"--store", "file:" + path("new.db"), "--user", "admin"};
  const auto of = [&](std::vector<std::string> command) {
    command.insert(command.end(), repaired.begin(), repaired.end());
    return run(command);
  };
  EXPECT_EQ(of({"export"}).out, run({"export"}).out);
  EXPECT_EQ(of({"check"}).status, 0);
  EXPECT_EQ(
      of({"names"}).out,
      "name   kind         type    count\nsite   category     string     29\nyield  description  double     29\n");
  EXPECT_EQ(of({"settings", "get", "ann", "layout"}).out, "{\"a\": 1}\n");
  EXPECT_EQ(run({"list", "--store", "file:" + path("new.db")}).status, 3) << "nobody in particular may not read";
  EXPECT_EQ(run({"check", "--repair", path("new.db")}).status, 3) << "a store that is there is not written over";
  EXPECT_EQ(run({"check", "--repair", "mongodb://h"}).status, 2);
}

TEST_F(DamagedStore, IsNotCalledCompactedAndNothingElse) {
  damage(7);
  const Outcome outcome = run({"compact"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_NE(outcome.err.find(idOf(7)), std::string::npos) << outcome.err;
  EXPECT_NE(outcome.err.find("what is damaged stays so"), std::string::npos) << outcome.err;
  EXPECT_EQ(countLines(run({"list", "--json"}).out), 29U);
}

TEST_F(DamagedStore, IsCopiedButForTheDamagedRecordOnRequest) {
  damage(7);
  const std::string store = "file:" + path("store.db");
  const Outcome refused = run({"copy", store, "file:" + path("a.db")});
  EXPECT_EQ(refused.status, 3);
  EXPECT_NE(refused.err.find("is damaged (record 8)"), std::string::npos) << refused.err;
  const Outcome outcome = run({"copy", store, "file:" + path("b.db"), "--skip-damaged"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.out, "30 documents copied, 0 were there already, 0 differ, 1 are damaged\n");
  EXPECT_EQ(outcome.err.find("recordctl: " + idOf(7) + " is passed over: "), 0U) << outcome.err;
  EXPECT_EQ(output({"export", "--store", "file:" + path("b.db")}), run({"export"}).out);
  EXPECT_EQ(run({"copy", store, "file:" + path("b.db"), "--skip-damaged", "--json"}).out,
            "{\"records\": 29, \"problems\": 1}\n");
}

}  // namespace
