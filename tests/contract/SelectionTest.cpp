// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "database_provider/Selection.h"
#include "database_provider/database_provider.h"
#include "tests/contract/Contract.h"

namespace database_test {

using namespace database_provider;  // the tests of the library read like a program that uses it

namespace {

/// Filters, and the letters of the records that they select.
struct Row {
  const char* filter;
  const char* letters;
};

const std::vector<Row>& rows() {
  static const std::vector<Row> all{

      {"", "abcdefghi"},
      {"site=Waseca", "abf"},
      {"category:site=Waseca", "ab"},
      {"description:site=Waseca", "f"},
      {"site=waseca", ""},
      {"site!=Waseca", "cd"},
      {"not site=Waseca", "cdeghi"},
      {"has site", "abcdef"},
      {"not has site", "ghi"},
      {"has category:SITE", "abcde"},
      {"has description:site", "f"},
      {"has s.te", ""},
      {"has \"site|plot\"", ""},
      {"yield>30", "ad"},
      {"yield>=30", "abd"},
      {"yield=30", "b"},
      {"yield=30.0", "b"},
      {"yield=3e1", "b"},
      {"yield<30", "c"},
      {"yield<=30", "bc"},
      {"yield!=30", "acd"},
      {"yield>30 and yield<100", "a"},
      {"yield in (30, 29.9)", "bc"},
      {"yield=\"30\"", ""},
      {"plot=30", "g"},
      {"plot=\"30\"", "g"},
      {"plot=30.0", ""},
      {"plot>3", "g"},
      {"count=30", "i"},
      {"year=1932", "bcf"},
      {"year=\"1932\"", "ef"},
      {"description:year=1932", "bc"},
      {"category:year=1932", "f"},
      {"year!=1932", "ae"},
      {"variety=Trebi", "ac"},
      {"variety in (Trebi, trebi)", "ace"},
      {"variety ~ '^T'", "ac"},
      {"variety ~i '^t'", "ace"},
      {"variety !~ '^T'", "bef"},
      {"variety !~i '^t'", "bf"},
      {"variety~re", "ace"},
      {R"(variety ~ "No\\. 4")", "b"},
      {"variety='No. 457'", "b"},
      {"variety='No. 45.'", ""},
      {"\"soil type\"='clay|loam'", "i"},
      {"\"soil type\"=clay", ""},
      {"a.b=$x", "i"},
      {"begin=2020-01-31T10:00:00Z", "g"},
      {"begin=2020-01-31T12:00:00+02:00", "g"},
      {"begin>2020-01-31", "g"},
      {"begin<2020-01-31", ""},
      {"checked=true", "g"},
      {"checked!=true", ""},
      {"checked=false", ""},
      {"site=Waseca and year=1932", "bf"},
      {"site=Waseca or site=Morris", "abcdf"},
      {"site=Morris and (yield>30 or year=1932)", "cd"},
      {"site=Waseca and (yield>30 or year=1932) and not has variety", ""},
      {"not (site=Waseca or site=Morris)", "eghi"},
      {"not has variety", "dghi"},
      {"not not has variety", "abcef"},
      {"id=none", ""}};
  return all;
}

/// Nine records, each with a letter of its own in its user block, on every engine.
class FilterSelection : public EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    if (IsSkipped()) return;
    experiments->setDatabaseClient(&client);
    addRecords();
  }

  /// The letters of the records that are selected, sorted, since a server promises no order.
  std::string selected(const Selection& selection) {
    std::list<std::string> ids;
    experiments->read(selection.filter(), ids, 0, 0);
    std::string letters;
    for (const std::string& id : ids) letters += letters_.at(id);
    std::sort(letters.begin(), letters.end());
    return letters;
  }

  std::string idOf(char letter) const {
    const auto found =
        std::find_if(letters_.begin(), letters_.end(), [&](const auto& known) { return known.second == letter; });
    return found == letters_.end() ? "" : found->first;
  }

  std::unique_ptr<ExperimentDatabaseInterface> experiments{createExperimentDatabase()};

 private:
  using Record = DatabaseRecordInterface;

  template <class Fill>
  void add(char letter, const Fill& fill) {
    const std::unique_ptr<ExperimentDatabaseRecordInterface> record(createExperimentDatabaseRecord());
    fill(*record);
    std::string id;
    experiments->writeRecord(record.get(), id);
    letters_[id] = letter;
  }

  void addPlot(char letter, const char* site, const char* variety, double yield, int year) {
    add(letter, [&](Record& record) {
      record.setCategory("site", site);
      record.setCategory("variety", variety);
      setDescription(record, "yield", yield);
      setDescription(record, "year", year);
    });
  }

  void addRecords() {
    addPlot('a', "Waseca", "Trebi", 48.5, 1931);
    add('b', [](Record& record) {
      record.setCategory("site", "Waseca");
      record.setCategory("variety", "No. 457");
      setDescription(record, "yield", 30);
      setDescription(record, "year", 1932);
    });
    addPlot('c', "Morris", "Trebi", 29.9, 1932);
    add('d', [](Record& record) {
      record.setCategory("site", "Morris");
      setDescription(record, "yield", 5'000'000'000LL);
    });
    add('e', [](Record& record) {
      record.setCategory("Site", "Duluth");
      record.setCategory("variety", "trebi");
      setDescription(record, "year", "1932");
    });
    add('f', [](Record& record) {
      record.setCategory("year", "1932");
      record.setCategory("variety", "Manchuria");
      setDescription(record, "site", "Waseca");
    });
    add('g', [](Record& record) {
      record.setCategory("plot", "30");
      setDescription(record, "begin", std::chrono::milliseconds(1'580'464'800'000));  // 2020-01-31T10:00:00Z
      setDescription(record, "checked", true);
    });
    add('h', [](Record&) {});
    add('i', [](Record& record) {
      record.setCategory("soil type", "clay|loam");
      record.setCategory("a.b", "$x");
      setDescription(record, "count", 30LL);
    });
  }

  std::map<std::string, char> letters_;  ///< of the records, by id
};

}  // namespace

TEST_P(FilterSelection, SelectsTheExpectedRecords) {
  for (const Row& row : rows()) EXPECT_EQ(selected(where(row.filter)), row.letters) << row.filter;
}

TEST_P(FilterSelection, AnIdSelectsItsRecord) {
  EXPECT_EQ(selected(where("id=" + idOf('c'))), "c");
  EXPECT_EQ(selected(where("id in (" + idOf('h') + ", " + idOf('b') + ")")), "bh");
  EXPECT_EQ(selected(where("not id=" + idOf('c'))), "abdefghi");
  EXPECT_EQ(selected(where("id!=" + idOf('c'))), "abdefghi");
}

TEST_P(FilterSelection, GivenIdsSelectTheirRecords) {
  EXPECT_EQ(selected(Selection::ofIds({idOf('h'), "none", idOf('b')})), "bh");
  EXPECT_EQ(selected(Selection::ofIds({})), "");
}

TEST_P(FilterSelection, BothOfTwoSelectionsHold) {
  const Selection some = Selection::ofIds({idOf('a'), idOf('b'), idOf('c')});
  EXPECT_EQ(selected(where("site=Waseca") && some), "ab");
  EXPECT_EQ(selected(where("site=Waseca or yield<30") && where("year=1932") && some), "bc");
  EXPECT_EQ(selected(Selection() && some), "abc");
  EXPECT_EQ(selected(some && Selection::ofIds({})), "");
}

/// Records whose ids were made at known seconds, each named by a letter, and two whose ids are no object ids.
class CreatedSelection : public EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    if (IsSkipped()) return;
    for (const char* id : {"{'$oid':'000000010000000000000001'}",    // a: 1970-01-01T00:00:01Z
                           "{'$oid':'69a8c77fffffffffffffffff'}",    // b: the last id of 2026-03-04
                           "{'$oid':'69a8c7800000000000000000'}",    // c: the first one of 2026-03-05
                           "{'$oid':'69a954207f00000000000001'}",    // d: 2026-03-05T10:00:00Z
                           "{'$oid':'69a954210000000000000000'}",    // e: a second later
                           "{'$oid':'69aa19000000000000000000'}",    // f: 2026-03-06
                           "{'$oid':'ffffffffffffffffffffffff'}",    // g: 2106-02-07T06:28:15Z
                           "'69a954207f0000000000000x'", "'2026'"})  // x, y
      insert(id);
  }

  std::string selected(const std::string& text) {
    std::string letters;
    client.findEach("experiment", "records", where(text).query(), {}, 0, 0, [&](ObjectProperties& record) {
      letters += record.valueAsString("letter", "?");
      return true;
    });
    std::sort(letters.begin(), letters.end());
    return letters;
  }

 private:
  void insert(const std::string& id) {
    const std::string letters = "abcdefgxy";
    std::string inserted;
    const ObjectProperties record = document("{'_id':" + id + ",'letter':'" + letters.at(count_++) + "'}");
    ASSERT_TRUE(client.insert("experiment", "records", &record, inserted));
  }

  std::size_t count_ = 0;
};

TEST_P(CreatedSelection, TheSecondOfATimeIsCompared) {
  EXPECT_EQ(selected("created<2026-03-05T10:00:00Z"), "abc");
  EXPECT_EQ(selected("created<=2026-03-05T10:00:00Z"), "abcd");
  EXPECT_EQ(selected("created>2026-03-05T10:00:00Z"), "efg");
  EXPECT_EQ(selected("created>=2026-03-05T10:00:00Z"), "defg");
  EXPECT_EQ(selected("created=2026-03-05T10:00:00.7Z"), "d");
  EXPECT_EQ(selected("created!=2026-03-05T10:00:00Z"), "abcefg");
}

TEST_P(CreatedSelection, TheDayOfADateIsCompared) {
  EXPECT_EQ(selected("created<2026-03-05"), "ab");
  EXPECT_EQ(selected("created<=2026-03-05"), "abcde");
  EXPECT_EQ(selected("created>2026-03-05"), "fg");
  EXPECT_EQ(selected("created>=2026-03-05"), "cdefg");
  EXPECT_EQ(selected("created=2026-03-05"), "cde");
  EXPECT_EQ(selected("created!=2026-03-05"), "abfg");
}

TEST_P(CreatedSelection, ConditionsAreJoined) {
  EXPECT_EQ(selected("created>=2026-03-05 and created<2026-03-05T10:00:01Z"), "cd");
  EXPECT_EQ(selected("created<1971-01-01 or created>2100-01-01"), "ag");
  EXPECT_EQ(selected("created>=2026-03-05 and id=69a954207f00000000000001"), "d");
}

TEST_P(CreatedSelection, IdsThatAreNoObjectIdsHaveNoTime) {
  EXPECT_EQ(selected("created>=1960-01-01"), "abcdefg");
  EXPECT_EQ(selected("created<2200-01-01"), "abcdefg");
  EXPECT_EQ(selected("created!=1999-01-01"), "abcdefg");
  EXPECT_EQ(selected("created<1960-01-01"), "");
  EXPECT_EQ(selected("created>2200-01-01"), "");
  EXPECT_EQ(selected("not created<2026-03-05"), "cdefgxy");
}

TEST_P(CreatedSelection, ARecordThatWasJustWrittenIsNew) {
  const std::unique_ptr<ExperimentDatabaseInterface> experiments(createExperimentDatabase());
  experiments->setDatabaseClient(&client);
  const std::unique_ptr<ExperimentDatabaseRecordInterface> record(createExperimentDatabaseRecord());
  record->setCategory("site", "Waseca");
  std::string id;
  ASSERT_TRUE(experiments->writeRecord(record.get(), id));
  std::list<std::string> ids;
  experiments->read(where("created>now-1h and created<2100-01-01").filter(), ids, 0, 0);
  EXPECT_EQ(ids, std::list<std::string>{id});
}

INSTANTIATE_TEST_SUITE_P(Engines, FilterSelection, ::testing::ValuesIn(engineNames()), engineName);
INSTANTIATE_TEST_SUITE_P(Engines, CreatedSelection, ::testing::ValuesIn(engineNames()), engineName);

}  // namespace database_test
