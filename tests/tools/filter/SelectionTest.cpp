// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "selection/Query.h"
#include "tests/tools/commands/RecordctlContract.h"
#include "tools/core/Records.h"

using namespace database_provider;
using namespace database_provider::recordctl;
using selection::filterOf;

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
class FilterSelection : public database_test::EngineTest {
 protected:
  void SetUp() override {
    EngineTest::SetUp();
    if (!IsSkipped()) addRecords();
  }

  /// The letters of the records that a filter selects, sorted, since a server promises no order.
  std::string selected(const std::string& text) {
    std::string letters;
    forEachRecord(RecordKind::experiment, client, {filterOf(text)}, [&](const StoredRecord& stored) {
      letters += stored.record->getUserRecord().valueAsString("letter", "?");
    });
    std::sort(letters.begin(), letters.end());
    return letters;
  }

  std::string idOf(const std::string& letter) {
    std::string id;
    forEachRecord(RecordKind::experiment, client, {}, [&](const StoredRecord& stored) {
      if (stored.record->getUserRecord().valueAsString("letter", "") == letter) id = stored.id;
    });
    return id;
  }

 private:
  using Record = DatabaseRecordInterface;

  template <class Fill>
  void add(const char* letter, const Fill& fill) {
    const auto record = newRecordOf(RecordKind::experiment);
    ObjectProperties block;
    block.setValueString("letter", letter);
    record->setUserRecrod(block);
    fill(*record);
    std::string id;
    providerOf(RecordKind::experiment, client)->writeRecord(record.get(), id);
  }

  void addPlot(const char* letter, const char* site, const char* variety, double yield, int year) {
    add(letter, [&](Record& record) {
      record.setCategory("site", site);
      record.setCategory("variety", variety);
      setDescription(record, "yield", yield);
      setDescription(record, "year", year);
    });
  }

  void addRecords() {
    addPlot("a", "Waseca", "Trebi", 48.5, 1931);
    add("b", [](Record& record) {
      record.setCategory("site", "Waseca");
      record.setCategory("variety", "No. 457");
      setDescription(record, "yield", 30);
      setDescription(record, "year", 1932);
    });
    addPlot("c", "Morris", "Trebi", 29.9, 1932);
    add("d", [](Record& record) {
      record.setCategory("site", "Morris");
      setDescription(record, "yield", 5'000'000'000LL);
    });
    add("e", [](Record& record) {
      record.setCategory("Site", "Duluth");
      record.setCategory("variety", "trebi");
      setDescription(record, "year", "1932");
    });
    add("f", [](Record& record) {
      record.setCategory("year", "1932");
      record.setCategory("variety", "Manchuria");
      setDescription(record, "site", "Waseca");
    });
    add("g", [](Record& record) {
      record.setCategory("plot", "30");
      setDescription(record, "begin", std::chrono::milliseconds(1'580'464'800'000));  // 2020-01-31T10:00:00Z
      setDescription(record, "checked", true);
    });
    add("h", [](Record&) {});
    add("i", [](Record& record) {
      record.setCategory("soil type", "clay|loam");
      record.setCategory("a.b", "$x");
      setDescription(record, "count", 30LL);
    });
  }
};

}  // namespace

TEST_P(FilterSelection, SelectsTheExpectedRecords) {
  for (const Row& row : rows()) EXPECT_EQ(selected(row.filter), row.letters) << row.filter;
}

TEST_P(FilterSelection, AnIdSelectsItsRecord) {
  EXPECT_EQ(selected("id=" + idOf("c")), "c");
  EXPECT_EQ(selected("id in (" + idOf("h") + ", " + idOf("b") + ")"), "bh");
  EXPECT_EQ(selected("not id=" + idOf("c")), "abdefghi");
  EXPECT_EQ(selected("id!=" + idOf("c")), "abdefghi");
}

INSTANTIATE_TEST_SUITE_P(Engines, FilterSelection, ::testing::ValuesIn(recordctlEngines()), database_test::engineName);
