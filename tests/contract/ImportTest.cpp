// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <map>

#include "database_provider/import.h"
#include "database_provider/records.h"
#include "tests/contract/Contract.h"
#include "tests/contract/elections.h"
#include "tests/support/TemporaryFile.h"

namespace database_test {

using namespace database_provider;  // the tests of the library read like a program that uses it
using database_client::Error;

namespace {

/// Rows become records, on every engine.
class ImportContract : public StoreContract {
 protected:
  void SetUp() override {
    StoreContract::SetUp();
    if (!IsSkipped() && electsPrimaries(GetParam())) GTEST_SKIP() << electionsEndCountedWrites;
  }

  /// A row for each text, in JSON with single quotes.
  static std::unique_ptr<RowReader> rows(const std::vector<std::string>& texts, bool canBeReadTwice = true) {
    const auto at = std::make_shared<std::size_t>(0);
    const auto next = [texts, at](ObjectProperties& row) {
      if (*at == texts.size()) return false;
      row = document(texts[(*at)++]);
      return true;
    };
    return canBeReadTwice ? rowsOf(next, [at] { *at = 0; }) : rowsOf(next);
  }
  static ImportPlan planOf(const std::vector<std::string>& key, OnMatch onMatch = OnMatch::update) {
    ImportPlan plan;
    plan.categories = {"site"};
    plan.descriptions = {{"run", PropertyType::int32}, {"yield", PropertyType::real}};
    plan.key = key;
    plan.onMatch = onMatch;
    return plan;
  }
  /// "imported updated unchanged failed", and what is wrong with the bad rows.
  static std::string shown(const ImportResult& result) {
    std::string text = std::to_string(result.imported) + " " + std::to_string(result.updated) + " " +
                       std::to_string(result.unchanged) + " " + std::to_string(result.failed);
    for (const BadRow& bad : result.badRows)
      text += "\n" + std::to_string(bad.origin.row) + " " + bad.column + ": " + bad.reason;
    return text;
  }
  std::string imported(const std::vector<std::string>& texts, const ImportPlan& plan, bool canBeReadTwice = true) {
    return shown(plots.importFrom(*rows(texts, canBeReadTwice), plan));
  }
  static std::string shown(const Record& record) {
    std::string result;
    for (const std::string& name : record.categoryNames()) result += name + "=" + *record.category(name) + " ";
    for (const std::string& name : record.descriptionNames()) {
      const Value value = *record.description(name);
      const auto* text = std::get_if<std::string>(&value);
      result += name + ":" + (text != nullptr ? *text : std::to_string(numberOf(value).value_or(-1))) + " ";
    }
    return result + text(record.data()) + "\n";
  }
  /// All records, one a line, in the order of their runs.
  std::string stored() {
    FindOptions byRun;
    byRun.sort = sortBy("run");
    std::string result;
    plots.forEach({}, byRun, [&](const Record& record) {
      result += shown(record);
      return true;
    });
    return result;
  }

  Records plots{client, RecordKind::experiment};
};

TEST_P(ImportContract, RowsBecomeRecordsAndBadOnesAreTold) {
  EXPECT_EQ(
      imported({"{'site':'Waseca','run':1,'note':'dry'}", "{'site':'Morris','run':2.5}", "{'site':['x'],'run':3}"},
               planOf({})),
      "1 0 0 2\n2 run: expected int (a whole number of 32 bits), found 2.5\n"
      "3 site: expected a text, a number or a boolean, found an array");
  EXPECT_EQ(stored(), "site=Waseca run:1.000000 {'note':'dry'}\n");
}

TEST_P(ImportContract, AFileIsReadWithItsPlaces) {
  const TemporaryFile file("site,run\nWaseca,1\nMorris,soon\n");
  std::vector<std::string> told;
  ImportObserver observer;
  observer.badRow = [&](const BadRow& bad) {
    told.push_back(bad.origin.file + ":" + std::to_string(bad.origin.line) + " " + bad.column);
  };
  ImportProgress last;
  observer.progress = [&](const ImportProgress& progress) {
    last = progress;
    return true;
  };
  const ImportResult result = plots.importFrom(*openRows(file.path(), RowFormat::csv), planOf({}), observer);
  EXPECT_EQ(shown(result), "1 0 0 1");
  EXPECT_THAT(told, ::testing::ElementsAre(file.path() + ":3 run"));
  EXPECT_EQ(last.rows, 2U);
  EXPECT_EQ(last.position, last.size);
}

TEST_P(ImportContract, AllOrNothingIsATransaction) {
  ImportPlan plan = planOf({});
  plan.allOrNothing = true;
  const auto bad = rows({"{'run':1}", "{'run':'x'}"});
  if (!client.keepsInsertionOrder()) {
    EXPECT_THROW(plots.importFrom(*bad, plan), Error);
    return;
  }
  EXPECT_EQ(plots.importFrom(*bad, plan).failed, 1);
  EXPECT_EQ(plots.count(), 0);
  EXPECT_EQ(imported({"{'run':1}", "{'run':2}"}, plan), "2 0 0 0");
  EXPECT_EQ(plots.count(), 2);
}

TEST_P(ImportContract, WhoeverWatchesMayGiveUp) {
  std::vector<std::string> many(1500, "{'site':'x'}");
  ImportObserver observer;
  observer.progress = [](const ImportProgress& progress) { return progress.rows < 1200; };
  try {
    plots.importFrom(*rows(many), planOf({}), observer);
    ADD_FAILURE() << "nobody gave up";
  } catch (const Error& error) {
    EXPECT_EQ(error.kind(), Error::Kind::cancelled);
    EXPECT_NE(std::string(error.what()).find("1000 records were written"), std::string::npos) << error.what();
  }
  EXPECT_EQ(plots.count(), 1000);
}

TEST_P(ImportContract, ARowChangesTheRecordOfItsKey) {
  imported({"{'site':'Waseca','run':1,'yield':40,'note':'dry','kept':true}", "{'site':'Morris','run':2}"}, planOf({}));
  const auto ids = plots.ids();
  EXPECT_EQ(imported({"{'run':2,'yield':27.5}", "{'run':1,'site':'','yield':41,'note':'','more':[1,null]}",
                      "{'run':3,'site':'Waseca'}"},
                     planOf({"run"})),
            "1 2 0 0");
  EXPECT_EQ(stored(),
            "site=Waseca run:1.000000 yield:41.000000 {'note':'dry','kept':true,'more':[1,null]}\n"
            "site=Morris run:2.000000 yield:27.500000 {}\n"
            "site=Waseca run:3.000000 {}\n");
  auto after = plots.ids();
  after.pop_back();
  EXPECT_EQ(after, ids) << "a record keeps its id and its place";
}

TEST_P(ImportContract, WhatIsSoAlreadyIsUnchanged) {
  const std::vector<std::string> texts = {"{'site':'Waseca','run':1,'yield':40,'note':'dry'}",
                                          "{'site':'Morris','run':2}"};
  imported(texts, planOf({}));
  const std::string before = stored();
  EXPECT_EQ(imported(texts, planOf({"run"})), "0 0 2 0");
  EXPECT_EQ(imported(texts, planOf({"run"}, OnMatch::replace)), "0 0 2 0");
  EXPECT_EQ(stored(), before);
}

TEST_P(ImportContract, AMatchMayReplaceSkipOrFail) {
  imported({"{'site':'Waseca','run':1,'yield':40,'note':'dry'}"}, planOf({}));
  const std::string id = plots.ids().front();
  const std::vector<std::string> again = {"{'run':1,'yield':41}", "{'run':2}"};
  EXPECT_EQ(imported({again[0]}, planOf({"run"}, OnMatch::skip)), "0 0 1 0");
  EXPECT_EQ(imported({again[0]}, planOf({"run"}, OnMatch::fail)),
            "0 0 0 1\n1 : the key run=1 is that of the record " + id);
  EXPECT_EQ(stored(), "site=Waseca run:1.000000 yield:40.000000 {'note':'dry'}\n");
  EXPECT_EQ(imported(again, planOf({"run"}, OnMatch::replace)), "1 1 0 0");
  EXPECT_EQ(stored(), "run:1.000000 yield:41.000000 {}\nrun:2.000000 {}\n");
  EXPECT_EQ(plots.ids().front(), id);
}

TEST_P(ImportContract, TwoRecordsOfAKeyMakeABadRow) {
  imported({"{'run':1}", "{'run':1}", "{'run':2}"}, planOf({}));
  const auto ids = plots.ids();
  EXPECT_EQ(imported({"{'run':1,'yield':1}", "{'run':2,'yield':2}"}, planOf({"run"})),
            "0 1 0 1\n1 : the key run=1 is that of 2 records, " + ids[0] + " and " + ids[1]);
}

TEST_P(ImportContract, TwoRowsOfAKeyAreBothBad) {
  EXPECT_EQ(imported({"{'run':1,'yield':1}", "{'run':2}", "{'run':1.0,'yield':2}"}, planOf({"run"})),
            "1 0 0 2\n1 : the key run=1 stands in row 3, too\n3 : the key run=1 stands in row 1, too");
  EXPECT_EQ(stored(), "run:2.000000 {}\n");
}

TEST_P(ImportContract, TwoRowsOfAKeyAreFoundHoweverFarApart) {
  constexpr int rows = 1100;  // more than a batch has
  std::vector<std::string> many;
  for (int i = 0; i < rows; ++i) many.push_back("{'run':" + std::to_string(i) + "}");
  many.back() = "{'run':0,'yield':1}";
  EXPECT_EQ(imported(many, planOf({"run"})),
            "1098 0 0 2\n1 : the key run=0 stands in row 1100, too\n1100 : the key run=0 stands in row 1, too");
}

TEST_P(ImportContract, OfRowsThatComeOnceTheFirstOfAKeyGoesIn) {
  std::vector<std::string> many;
  for (int i = 0; i < 1100; ++i) many.push_back("{'run':" + std::to_string(i) + "}");
  many.back() = "{'run':0,'yield':1}";
  EXPECT_EQ(imported(many, planOf({"run"}), false), "1099 0 0 1\n1100 : the key run=0 stands in row 1, too");
}

TEST_P(ImportContract, SeveralNamesAreOneKey) {
  imported({"{'site':'Waseca','run':1}", "{'site':'Waseca','run':2}", "{'site':'Morris','run':1}"}, planOf({}));
  EXPECT_EQ(imported({"{'site':'Morris','run':1,'yield':7}", "{'site':'Morris','run':2,'yield':8}",
                      "{'run':2,'yield':9}", "{'site':'Waseca','yield':9}"},
                     planOf({"site", "description:run"})),
            "1 1 0 2\n3 site: has no value, and belongs to the key\n4 run: has no value, and belongs to the key");
}

/// Every value with every other: each field alone selects a great part of the records.
TEST_P(ImportContract, AKeyOfFieldsThatSelectMuchIsStillExact) {
  std::vector<std::string> pairs;
  for (int i = 0; i < 60; ++i) {
    for (int j = 0; j < 60; ++j)
      pairs.push_back("{'site':'s" + std::to_string(i * 7 % 60) + "','run':" + std::to_string(j * 11 % 60) + "}");
  }
  EXPECT_EQ(imported(pairs, planOf({})), "3600 0 0 0");
  for (std::string& pair : pairs) pair.replace(pair.size() - 1, 1, ",'yield':1}");
  EXPECT_EQ(imported(pairs, planOf({"site", "run"})), "0 3600 0 0");
  EXPECT_EQ(plots.count(where("yield=1")), 3600);
}

TEST_P(ImportContract, AnIdIsAKeyAndARowWithoutOneIsNew) {
  imported({"{'site':'Waseca','run':1}"}, planOf({}));
  plots.insert(NewRecord().id("plot 7").description("run", 7));
  const std::string id = plots.ids(where("run=1")).front();
  EXPECT_EQ(imported({"{'id':'" + id + "','yield':1}", "{'id':'plot 7','yield':7}", "{'id':'','run':8}", "{'run':9}",
                      "{'id':'plot 10','run':10}"},
                     planOf({"id"})),
            "3 2 0 0");
  EXPECT_EQ(stored(),
            "site=Waseca run:1.000000 yield:1.000000 {}\nrun:7.000000 yield:7.000000 {}\nrun:8.000000 {}\n"
            "run:9.000000 {}\nrun:10.000000 {}\n");
  EXPECT_TRUE(plots.read("plot 10"));
}

TEST_P(ImportContract, ColumnsThatAreNotNamedAreWhatTheStoreHas) {
  imported({"{'site':'Waseca','run':1,'yield':40}"}, planOf({}));
  ImportPlan plan;
  plan.key = {"run"};
  EXPECT_EQ(imported({"{'run':'1','site':'Morris','yield':'41','other':'x'}"}, plan), "0 1 0 0");
  EXPECT_EQ(stored(), "site=Morris run:1.000000 yield:41.000000 {'other':'x'}\n");
  EXPECT_EQ(imported({"{'run':'1','yield':'much'}"}, plan),
            "0 0 0 1\n1 yield: expected double (a number), found \"much\"");
}

TEST_P(ImportContract, AValueOfANameOfSeveralKindsComesBackAsItIs) {
  plots.insertMany(
      {NewRecord().category("n", "1").description("v", 5), NewRecord().category("n", "2").description("v", 6),
       NewRecord().category("n", "3").description("v", 5.5), NewRecord().category("n", "4").description("v", "5")});
  ImportPlan plan;
  plan.key = {"n"};
  EXPECT_EQ(imported({"{'n':'1','v':'5'}", "{'n':'2','v':'6'}", "{'n':'3','v':'5.5'}", "{'n':'4','v':'5'}"}, plan),
            "0 0 4 0");
}

TEST_P(ImportContract, NamesOfAKeyMayHoldAnything) {
  const std::vector<std::string> names = {"a.b", "$x", "category:site", "name\"'", "\xC3\xA4", "a,b", "id:1"};
  for (const std::string& name : names) {
    const Records scenarios(client, RecordKind::scenario);
    scenarios.insert(NewRecord().category(name, "$v.1").description("n", 1));
    std::string escaped;
    for (const char c : name) escaped += std::string(c == ':' || c == '\\' ? "\\" : "") + c;
    const NewRecord same = NewRecord().category(name, "$v.1").description("n", 2);
    EXPECT_EQ(shown(scenarios.upsertMany({same}, {escaped})), "0 1 0 0") << name;
    EXPECT_EQ(shown(scenarios.upsertMany({same}, {"category:" + escaped})), "0 0 1 0") << name;
  }
}

TEST_P(ImportContract, AKeyThatNothingHasIsWrongUse) {
  const auto problem = [&](const std::vector<std::string>& key) -> std::string {
    try {
      return imported({"{'site':'x','run':1}"}, planOf(key));
    } catch (const ImportError& error) {
      return error.what();
    }
  };
  EXPECT_EQ(problem({"sit"}), "key: \"sit\" is no category or description of the rows, and no record has one");
  EXPECT_EQ(problem({"run", "description:run"}), "key: \"run\" stands twice");
  EXPECT_EQ(problem({"kind:run"}), "key: before a colon stands category or description, found \"kind:run\"");
  EXPECT_EQ(plots.count(), 0);
}

TEST_P(ImportContract, AProgramsRecordsAreWrittenOntoThoseOfTheirKey) {
  const auto run = [](int number) { return NewRecord().category("site", "Waseca").description("run", number); };
  EXPECT_EQ(shown(plots.upsertMany({run(1), run(2)}, {"run"})), "2 0 0 0");
  EXPECT_EQ(shown(plots.upsertMany(
                {run(1), run(2).description("yield", 2.5), run(3), NewRecord().category("site", "x")}, {"run"})),
            "1 1 1 1\n4 run: has no value, and belongs to the key");
  EXPECT_EQ(shown(plots.upsertMany({}, {"id"})), "0 0 0 0");
  EXPECT_THROW(plots.upsertMany({run(1)}, {}), Error);
  EXPECT_THROW(plots.upsertMany({run(1)}, {"unknown"}), ImportError);
}

TEST_P(ImportContract, FilesAndTheSourceAreAddedOnce) {
  ImportPlan plan = planOf({"run"});
  plan.files = {{ObjectType::documentObject, "nas", "log"}};
  plan.sourceHost = "station7";
  EXPECT_EQ(imported({"{'run':1,'log':'/a.log'}"}, plan), "1 0 0 0");
  EXPECT_EQ(imported({"{'run':1,'log':'/a.log'}"}, plan), "0 0 1 0");
  plan.onMatch = OnMatch::replace;
  EXPECT_EQ(imported({"{'run':1,'log':'/a.log'}"}, plan), "0 0 1 0");
  plan.onMatch = OnMatch::update;
  plan.sourceHost = "station8";
  EXPECT_EQ(imported({"{'run':1,'log':'/b.log'}"}, plan), "0 1 0 0");
  const Record record = *plots.read(plots.ids().front());
  ASSERT_EQ(record.files().size(), 2U);
  EXPECT_EQ(record.files()[1].path, "/b.log");
  EXPECT_NE(record.document().toJson().find("station8"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(Engines, ImportContract, ::testing::ValuesIn(engineNames()), engineName);

}  // namespace

}  // namespace database_test
