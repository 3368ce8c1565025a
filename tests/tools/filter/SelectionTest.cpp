#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>

#include "tools/core/Records.h"
#include "tools/filter/Query.h"

using namespace database_provider;
using namespace database_provider::recordctl;

namespace {

/// Nine records, each with a letter of its own in its user block.
class FilterSelection : public ::testing::TestWithParam<std::pair<const char*, const char*>> {
 protected:
  static void SetUpTestSuite() {
    client = std::make_unique<DataBaseClient>();
    ASSERT_TRUE(client->connect("", "file::memory:", 0, "", "")) << client->failure();
    addRecords();
  }
  static void TearDownTestSuite() { client.reset(); }

  /// The letters of the records that a filter selects.
  static std::string selected(const std::string& text) {
    std::string letters;
    forEachRecord(RecordKind::experiment, *client, {filterOf(text)}, [&](const StoredRecord& stored) {
      letters += stored.record->getUserRecord().valueAsString("letter", "?");
    });
    return letters;
  }

  static std::string idOf(const std::string& letter) {
    std::string id;
    forEachRecord(RecordKind::experiment, *client, {}, [&](const StoredRecord& stored) {
      if (stored.record->getUserRecord().valueAsString("letter", "") == letter) id = stored.id;
    });
    return id;
  }

 private:
  using Record = DatabaseRecordInterface;

  template <class Fill>
  static void add(const char* letter, const Fill& fill) {
    const auto record = newRecordOf(RecordKind::experiment);
    ObjectProperties block;
    block.setValueString("letter", letter);
    record->setUserRecrod(block);
    fill(*record);
    std::string id;
    providerOf(RecordKind::experiment, *client)->writeRecord(record.get(), id);
  }

  static void addPlot(const char* letter, const char* site, const char* variety, double yield, int year) {
    add(letter, [&](Record& record) {
      record.setCategory("site", site);
      record.setCategory("variety", variety);
      setDescription(record, "yield", yield);
      setDescription(record, "year", year);
    });
  }

  static void addRecords() {
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

  static std::unique_ptr<DataBaseClient> client;
};

std::unique_ptr<DataBaseClient> FilterSelection::client;

}  // namespace

TEST_P(FilterSelection, SelectsTheExpectedRecords) {
  const auto& [text, letters] = GetParam();
  EXPECT_EQ(selected(text), letters) << text;
}

TEST_F(FilterSelection, AnIdSelectsItsRecord) {
  EXPECT_EQ(selected("id=" + idOf("c")), "c");
  EXPECT_EQ(selected("id in (" + idOf("h") + ", " + idOf("b") + ")"), "bh");
  EXPECT_EQ(selected("not id=" + idOf("c")), "abdefghi");
  EXPECT_EQ(selected("id!=" + idOf("c")), "abdefghi");
}

INSTANTIATE_TEST_SUITE_P(
    Texts, FilterSelection,
    ::testing::Values(
        std::pair{"", "abcdefghi"}, std::pair{"site=Waseca", "abf"}, std::pair{"category:site=Waseca", "ab"},
        std::pair{"description:site=Waseca", "f"}, std::pair{"site=waseca", ""}, std::pair{"site!=Waseca", "cd"},
        std::pair{"not site=Waseca", "cdeghi"}, std::pair{"has site", "abcdef"}, std::pair{"not has site", "ghi"},
        std::pair{"has category:SITE", "abcde"}, std::pair{"has description:site", "f"}, std::pair{"has s.te", ""},
        std::pair{"has \"site|plot\"", ""}, std::pair{"yield>30", "ad"}, std::pair{"yield>=30", "abd"},
        std::pair{"yield=30", "b"}, std::pair{"yield=30.0", "b"}, std::pair{"yield=3e1", "b"},
        std::pair{"yield<30", "c"}, std::pair{"yield<=30", "bc"}, std::pair{"yield!=30", "acd"},
        std::pair{"yield>30 and yield<100", "a"}, std::pair{"yield in (30, 29.9)", "bc"}, std::pair{"yield=\"30\"", ""},
        std::pair{"plot=30", "g"}, std::pair{"plot=\"30\"", "g"}, std::pair{"plot=30.0", ""}, std::pair{"plot>3", "g"},
        std::pair{"count=30", "i"}, std::pair{"year=1932", "bcf"}, std::pair{"year=\"1932\"", "ef"},
        std::pair{"description:year=1932", "bc"}, std::pair{"category:year=1932", "f"}, std::pair{"year!=1932", "ae"},
        std::pair{"variety=Trebi", "ac"}, std::pair{"variety in (Trebi, trebi)", "ace"},
        std::pair{"variety ~ '^T'", "ac"}, std::pair{"variety ~i '^t'", "ace"}, std::pair{"variety !~ '^T'", "bef"},
        std::pair{"variety !~i '^t'", "bf"}, std::pair{"variety~re", "ace"}, std::pair{R"(variety ~ "No\\. 4")", "b"},
        std::pair{"variety='No. 457'", "b"}, std::pair{"variety='No. 45.'", ""},
        std::pair{"\"soil type\"='clay|loam'", "i"}, std::pair{"\"soil type\"=clay", ""}, std::pair{"a.b=$x", "i"},
        std::pair{"begin=2020-01-31T10:00:00Z", "g"}, std::pair{"begin=2020-01-31T12:00:00+02:00", "g"},
        std::pair{"begin>2020-01-31", "g"}, std::pair{"begin<2020-01-31", ""}, std::pair{"checked=true", "g"},
        std::pair{"checked!=true", ""}, std::pair{"checked=false", ""}, std::pair{"site=Waseca and year=1932", "bf"},
        std::pair{"site=Waseca or site=Morris", "abcdf"}, std::pair{"site=Morris and (yield>30 or year=1932)", "cd"},
        std::pair{"site=Waseca and (yield>30 or year=1932) and not has variety", ""},
        std::pair{"not (site=Waseca or site=Morris)", "eghi"}, std::pair{"not has variety", "dghi"},
        std::pair{"not not has variety", "abcef"}, std::pair{"id=none", ""}));
