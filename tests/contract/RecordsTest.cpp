// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <cmath>
#include <limits>
#include <random>
#include <set>
#include <sstream>

#include "database_provider/records.h"
#include "tests/contract/Contract.h"

namespace database_test {

using namespace database_provider;  // the tests of the library read like a program that uses it
using database_client::Error;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

namespace {

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double nan = std::numeric_limits<double>::quiet_NaN();

std::string shown(const std::optional<double>& number) {
  if (!number) return "-";
  std::ostringstream text;
  text << std::round(*number * 1e6) / 1e6;
  return text.str();
}

std::string shown(const std::optional<Value>& value) {
  if (!value) return "-";
  if (const auto* text = std::get_if<std::string>(&*value)) return *text;
  if (const auto* time = std::get_if<Time>(&*value)) return "@" + std::to_string(time->milliseconds);
  if (const bool* boolean = std::get_if<bool>(&*value)) return *boolean ? "true" : "false";
  return shown(numberOf(*value));
}

/// "a b: count missing min mean std max", a line for each group and name.
std::string shown(const std::vector<Figures>& figures) {
  std::string result;
  for (const Figures& one : figures) {
    for (const auto& value : one.by) result += value.value_or("-") + " ";
    result += one.name + ": " + std::to_string(one.count) + " " + std::to_string(one.missing) + " " + shown(one.min) +
              " " + shown(one.mean) + " " + shown(one.std) + " " + shown(one.max);
    if (one.median) result += " " + shown(one.median);
    result += "\n";
  }
  return result;
}

std::string shown(const std::vector<Facet>& facets) {
  std::string result;
  for (const Facet& facet : facets) result += facet.value + "=" + std::to_string(facet.count) + " ";
  return result;
}

std::string shown(const Histogram& histogram) {
  std::string result = (histogram.isOfTimes ? "times " : "") + shown(std::optional<double>(histogram.low)) + " +" +
                       shown(std::optional<double>(histogram.width)) + ":";
  for (const long long count : histogram.counts) result += " " + std::to_string(count);
  return result + " missing " + std::to_string(histogram.missing);
}

/// The records layer on every engine.
class RecordsContract : public StoreContract {
 protected:
  /// Six plots of two sites; the last lacks its yield.
  void givenPlots() {
    const auto plot = [](const char* site, const char* variety, int year) {
      return NewRecord().category("site", site).category("variety", variety).description("year", year);
    };
    ids_ = plots.insertMany({plot("Waseca", "Svansota", 1931).description("yield", 48.5),
                             plot("Morris", "Svansota", 1931).description("yield", 27.5),
                             plot("Waseca", "Manchuria", 1932).description("yield", 30),
                             plot("Morris", "Manchuria", 1932).description("yield", std::int64_t{26}),
                             plot("Waseca", "Manchuria", 1931).description("yield", 39.5),
                             plot("Crookston", "Manchuria", 1932).description("note", "lost")});
  }
  static Selection siteIs(const std::string& value) {
    DatabaseFilter filter;
    filter.setCategory(OperationType::equal, "site", value, "");
    return filter;
  }
  /// The numbers of the plots that are found, in their order.
  std::string found(const FindOptions& options, const Selection& selection = {}) {
    std::string result;
    for (const auto& [id, record] : plots.find(selection, options)) {
      const auto at = std::find(ids_.begin(), ids_.end(), id);
      result += std::to_string(at - ids_.begin());
    }
    return result;
  }

  Records plots{client, RecordKind::experiment};
  std::vector<std::string> ids_{};
};

TEST_P(RecordsContract, ARecordComesBackUnderItsId) {
  const std::string id = plots.insert(NewRecord().category("site", "Waseca").description("yield", 48.5));
  const std::optional<Record> record = plots.read(id);
  ASSERT_TRUE(record);
  EXPECT_EQ(record->id(), id);
  EXPECT_EQ(record->category("site"), "Waseca");
  EXPECT_EQ(record->descriptionAs<double>("yield"), 48.5);
  EXPECT_TRUE(record->created());
  EXPECT_FALSE(plots.read("000000000000000000000000"));
  EXPECT_FALSE(Records(client, RecordKind::scenario).read(id));
}

TEST_P(RecordsContract, AnIdThatIsChosenIsKeptAndStandsOnce) {
  EXPECT_EQ(plots.insert(NewRecord().id("plot 7").category("site", "Waseca")), "plot 7");
  EXPECT_EQ(outcome([&] { plots.insert(NewRecord().id("plot 7").category("site", "Morris")); }), "error 11000");
  EXPECT_EQ(plots.read("plot 7")->category("site"), "Waseca");
}

TEST_P(RecordsContract, ManyRecordsInAFileAreInsertedTogetherOrNotAtAll) {
  EXPECT_THAT(plots.insertMany({}), IsEmpty());
  const std::vector<NewRecord> twice = {NewRecord().id("a").category("n", "1"), NewRecord().id("b").category("n", "2"),
                                        NewRecord().id("a").category("n", "3")};
  EXPECT_EQ(outcome([&] { plots.insertMany(twice); }), "error 11000");
  EXPECT_EQ(plots.count(), client.keepsInsertionOrder() ? 0 : 2);
}

TEST_P(RecordsContract, FoundRecordsAreGoneThroughInBatches) {
  std::vector<NewRecord> many;
  for (int i = 0; i < 300; ++i) many.push_back(NewRecord().description("n", i));
  const std::vector<std::string> ids = plots.insertMany(many);
  std::vector<std::string> seen;
  for (const auto& [id, record] : plots.find()) {
    EXPECT_EQ(record.descriptionAs<int>("n"), static_cast<int>(seen.size()));
    seen.push_back(id);
  }
  EXPECT_EQ(seen, ids);
  const auto countOf = [&](const FindOptions& options) {
    FoundRecords records = plots.find({}, options);
    return std::distance(records.begin(), records.end());
  };
  EXPECT_EQ(countOf({{}, 100}), 100);
  EXPECT_EQ(countOf({{}, 0, 250}), 50);
  EXPECT_EQ(countOf({{}, 0, 0, ids[199]}), 100);
  EXPECT_EQ(countOf({{}, 70, 10, ids[199]}), 70);
  EXPECT_EQ(countOf({sortBy("n:desc"), 130}), 130);
}

TEST_P(RecordsContract, BatchesLeaveNothingOutWhateverOrderTheIdsHave) {
  std::vector<NewRecord> many;
  for (int i = 299; i >= 0; --i) many.push_back(NewRecord().id("plot " + std::to_string(1000 + i)).description("n", i));
  plots.insertMany(many);
  std::set<std::string> seen;
  for (const auto& [id, record] : plots.find()) EXPECT_TRUE(seen.insert(id).second) << id;
  EXPECT_EQ(seen.size(), 300U);
}

TEST_P(RecordsContract, ASortOfManyRecordsIsGoneThroughInItsOrder) {
  constexpr int count = 1500;
  std::vector<NewRecord> many;
  for (int i = 0; i < count; ++i) many.push_back(NewRecord().description("n", i));
  const std::vector<std::string> ids = plots.insertMany(many);
  const auto expectOrder = [&] {
    int expected = count;
    for (const auto& [id, record] : plots.find({}, {sortBy("n:desc")}))
      EXPECT_EQ(record.descriptionAs<int>("n"), --expected);
    EXPECT_EQ(expected, 0);
  };
  expectOrder();
  // Other programs may write ids of other kinds, by which nothing can be asked for.
  ObjectProperties foreign = plots.read(ids[1000])->document();
  plots.remove(Selection::ofIds({ids[1000]}));
  foreign.setValueInt32("_id", 7);
  std::string unused;
  client.insert("experiment", "records", &foreign, unused);
  expectOrder();
}

TEST_P(RecordsContract, ARecordMayBeChangedWhileOthersAreGoneThrough) {
  givenPlots();
  for (const auto& [id, record] : plots.find()) plots.remove(Selection::ofIds({id}));
  EXPECT_EQ(plots.count(), 0);
}

TEST_P(RecordsContract, SortsByDescriptionsCategoriesAndIds) {
  givenPlots();
  EXPECT_EQ(found({sortBy("yield")}), "312405") << "what lacks the name comes last";
  EXPECT_EQ(found({sortBy("yield:desc")}), "042135");
  EXPECT_EQ(found({sortBy("site,yield:desc")}), "513042");
  EXPECT_EQ(found({sortBy("year:desc,category:variety,description:yield")}), "325410");
  EXPECT_EQ(found({sortBy("id:desc")}), "543210");
  EXPECT_EQ(found({sortBy("created,yield")}).size(), 6u);
  EXPECT_EQ(found({sortBy("yield:desc"), 2, 1}), "42");
  EXPECT_EQ(found({sortBy("yield")}, siteIs("Waseca")), "240");
  EXPECT_EQ(found({sortBy("nosuch")}), "012345") << "ties are in the store's order";
}

TEST_P(RecordsContract, SortsNumbersOfAllKindsBeforeTexts) {
  ids_ = plots.insertMany({NewRecord().description("v", "b"), NewRecord().description("v", 2.5),
                           NewRecord().description("v", std::int64_t{2}), NewRecord().description("w", 1),
                           NewRecord().description("v", "a"), NewRecord().description("v", 3)});
  EXPECT_EQ(found({sortBy("v")}), "215403");
  EXPECT_EQ(found({sortBy("v:desc")}), "045123");
}

TEST_P(RecordsContract, TakesHostileNamesAsTheyStand) {
  for (const char* name : {"$site", "a.b", "$$ROOT", "\"", "{}", "\\", "é\xE2\x80\xAE", "0", "_id"}) {
    SCOPED_TRACE(name);
    plots.remove({});
    ids_ = plots.insertMany({NewRecord().category(name, "$x").description(name, 2),
                             NewRecord().category(name, "a.b").description(name, 1)});
    EXPECT_EQ(found({{{SortKey::Field::description, name}}}), "10");
    EXPECT_EQ(found({{{SortKey::Field::category, name, true}}}), "10");
    EXPECT_EQ(shown(plots.stats({name}, {name})),
              std::string("$x ") + name + ": 1 0 2 2 - 2\na.b " + name + ": 1 0 1 1 - 1\n");
    EXPECT_EQ(shown(plots.facets(name)), "$x=1 a.b=1 ");
    EXPECT_EQ(shown(plots.histogram(name, 1)), "1 +1: 2 missing 0");
  }
}

TEST_P(RecordsContract, CountsAndRemovesWhatIsSelected) {
  givenPlots();
  EXPECT_EQ(plots.count(), 6);
  EXPECT_EQ(plots.count(siteIs("Waseca")), 3);
  EXPECT_THAT(plots.ids(siteIs("Morris")), UnorderedElementsAre(ids_[1], ids_[3]));
  EXPECT_EQ(plots.remove(siteIs("Morris")), 2);
  EXPECT_EQ(plots.remove(siteIs("Morris")), 0);
  EXPECT_EQ(plots.remove(Selection::ofIds({ids_[0], ids_[1]})), 1);
  EXPECT_EQ(plots.remove({}), 3);
}

TEST_P(RecordsContract, CountsTheValuesOfACategory) {
  givenPlots();
  EXPECT_EQ(shown(plots.facets("site")), "Waseca=3 Morris=2 Crookston=1 ");
  EXPECT_EQ(shown(plots.facets("SITE", {}, 2)), "Waseca=3 Morris=2 ");
  EXPECT_EQ(shown(plots.facets("variety", siteIs("Waseca"))), "Manchuria=2 Svansota=1 ");
  EXPECT_EQ(shown(plots.facets("s.te")), "");
}

TEST_P(RecordsContract, TellsTheNamesInUse) {
  givenPlots();
  std::vector<std::string> names;
  for (const NameInUse& name : plots.names(siteIs("Waseca")))
    names.push_back(name.name + " " + std::to_string(static_cast<int>(name.type)) + " " + std::to_string(name.count));
  EXPECT_THAT(names, ElementsAre("site 4 3", "variety 4 3", "year 6 3", "yield 6 1", "yield 8 2"));
}

TEST_P(RecordsContract, GivesTheFiguresOfDescriptionsInGroups) {
  givenPlots();
  EXPECT_EQ(shown(plots.stats({"yield"})), "yield: 5 1 26 34.3 9.51709 48.5\n");
  EXPECT_EQ(shown(plots.stats({"yield", "nosuch"}, {"site"})),
            "Crookston yield: 0 1 - - - -\nCrookston nosuch: 0 1 - - - -\n"
            "Morris yield: 2 0 26 26.75 1.06066 27.5\nMorris nosuch: 0 2 - - - -\n"
            "Waseca yield: 3 0 30 39.3333 9.25113 48.5\nWaseca nosuch: 0 3 - - - -\n");
  EXPECT_EQ(shown(plots.stats({"yield"}, {"variety", "site"}, siteIs("Waseca"), true)),
            "Manchuria Waseca yield: 2 0 30 34.75 6.71751 39.5 34.75\n"
            "Svansota Waseca yield: 1 0 48.5 48.5 - 48.5 48.5\n");
  EXPECT_THAT(plots.stats({"yield"}, {}, siteIs("Nowhere")), IsEmpty());
}

TEST_P(RecordsContract, FiguresKeepTheKindOfTheLeastAndTheLargest) {
  const std::int64_t large = 9007199254740993;
  plots.insertMany({NewRecord().description("v", 1), NewRecord().description("v", large)});
  const std::vector<Figures> figures = plots.stats({"v"});
  ASSERT_EQ(figures.size(), 1u);
  EXPECT_EQ(figures[0].min, Value(std::int32_t{1}));
  EXPECT_EQ(figures[0].max, Value(large));
}

TEST_P(RecordsContract, FiguresPassOverWhatIsNoNumber) {
  plots.insertMany({NewRecord().description("v", nan), NewRecord().description("v", "5"),
                    NewRecord().description("v", true), NewRecord().description("v", Time{7}),
                    NewRecord().category("v", "6"), NewRecord().description("v", 4),
                    NewRecord().description("v", -infinity)});
  const std::vector<Figures> figures = plots.stats({"v"});
  ASSERT_EQ(figures.size(), 1u);
  EXPECT_EQ(figures[0].count, 2);
  EXPECT_EQ(figures[0].missing, 5);
  EXPECT_EQ(figures[0].min, Value(-infinity));
  EXPECT_EQ(figures[0].max, Value(std::int32_t{4}));
}

TEST_P(RecordsContract, RecordsWithoutTheCategoryAreAGroupOfTheirOwnWhichComesLast) {
  plots.insertMany({NewRecord().description("v", 1), NewRecord().category("site", "b").description("v", 2),
                    NewRecord().description("v", 5), NewRecord().category("site", "a").description("v", 3)});
  EXPECT_EQ(shown(plots.stats({"v"}, {"site"})), "a v: 1 0 3 3 - 3\nb v: 1 0 2 2 - 2\n- v: 2 0 1 3 2.82843 5\n");
}

TEST_P(RecordsContract, CountsValuesInBins) {
  givenPlots();
  EXPECT_EQ(shown(plots.histogram("yield", 3)), "26 +7.5: 3 1 1 missing 1");
  EXPECT_EQ(shown(plots.histogram("yield", 2, siteIs("Morris"))), "26 +0.75: 1 1 missing 0");
  EXPECT_EQ(shown(plots.histogram("yield", 4, siteIs("Crookston"))), "0 +0: missing 1");
  EXPECT_EQ(shown(plots.histogram("nosuch", 4)), "0 +0: missing 6");
  EXPECT_EQ(outcome([&] { plots.histogram("yield", 0); }), "query");
}

TEST_P(RecordsContract, CountsTimesAndExtremeValuesInBins) {
  plots.insertMany({NewRecord().description("when", Time{1000}), NewRecord().description("when", Time{5000}),
                    NewRecord().description("v", -infinity), NewRecord().description("v", infinity),
                    NewRecord().description("v", 10), NewRecord().description("v", 20),
                    NewRecord().description("v", nan)});
  EXPECT_EQ(shown(plots.histogram("when", 4)), "times 1000 +1000: 1 0 0 1 missing 5");
  EXPECT_EQ(shown(plots.histogram("v", 2)), "10 +5: 2 2 missing 3");
}

TEST_P(RecordsContract, CrossesTwoCategories) {
  givenPlots();
  std::string cells;
  for (const CoverageCell& cell : plots.coverage("site", "variety"))
    cells += cell.values[0] + "/" + cell.values[1] + "=" + std::to_string(cell.count) + " ";
  EXPECT_EQ(cells,
            "Crookston/Manchuria=1 Crookston/Svansota=0 Morris/Manchuria=1 Morris/Svansota=1 Waseca/Manchuria=2 "
            "Waseca/Svansota=1 ");
  EXPECT_THAT(plots.coverage("site", "nosuch"), IsEmpty());
}

TEST_P(RecordsContract, CountsTheExperimentsOfEachScenario) {
  const Records scenarios(client, RecordKind::scenario);
  const std::string first = scenarios.insert(NewRecord().category("scenario", "rain"));
  const std::string second = scenarios.insert(NewRecord().category("scenario", "sun"));
  plots.insertMany({NewRecord().category("scenario", "rain"), NewRecord().category("scenario", first),
                    NewRecord().category("scenario", "snow"), NewRecord().category("other", "sun")});
  std::string rows;
  for (const ScenarioCoverage& row : scenarioCoverage(client, "scenario"))
    rows += row.value.value_or("-") + "=" + std::to_string(row.experiments) + " ";
  EXPECT_EQ(rows, "rain=2 sun=0 ");
}

TEST_P(RecordsContract, ComparesRecordsSideBySide) {
  givenPlots();
  std::string rows;
  for (const ComparisonRow& row : plots.compare({ids_[0], ids_[3], ids_[5]})) {
    rows += row.name + (row.differs ? "!" : "") + ":";
    for (std::size_t i = 0; i < row.values.size(); ++i)
      rows += " " + shown(row.values[i]) + "(" + shown(row.difference[i]) + ")";
    rows += "\n";
  }
  EXPECT_EQ(rows,
            "site!: Waseca(-) Morris(-) Crookston(-)\nvariety!: Svansota(-) Manchuria(-) Manchuria(-)\n"
            "year!: 1931(0) 1932(1) 1932(1)\nyield!: 48.5(0) 26(-22.5) -(-)\nnote!: -(-) -(-) lost(-)\n");
  EXPECT_EQ(outcome([&] { plots.compare({ids_[0], "nosuch"}); }), "query");
}

TEST_P(RecordsContract, SummarisesAKind) {
  EXPECT_EQ(plots.summary().records, 0);
  EXPECT_FALSE(plots.summary().oldest);
  plots.insertMany({NewRecord().id("5e0be10000000000000000aa").category("a", "b"),
                    NewRecord().id("plot").category("a", "b"),
                    NewRecord().id("5e0be10100000000000000aa").category("a", "b")});
  const KindSummary summary = plots.summary();
  EXPECT_EQ(summary.records, 3);
  EXPECT_EQ(summary.oldest->milliseconds, 1577836800000);
  EXPECT_EQ(summary.newest->milliseconds, 1577836801000);
}

/// What a program that reads every record finds.
TEST_P(RecordsContract, FiguresAreThoseOfEveryRecord) {
  std::mt19937 random(20);
  const auto below = [&](int end) { return std::uniform_int_distribution<int>(0, end - 1)(random); };
  std::vector<NewRecord> records;
  std::map<std::string, std::vector<double>> values;
  for (int i = 0; i < 400; ++i) {
    const std::string group = "g" + std::to_string(below(7));
    NewRecord record = NewRecord().category("group", group);
    std::vector<double>& ofGroup = values[group];
    if (below(10) > 0) {
      const double value = below(1'000'000) / 7.0 + 1e6;
      record.description("v", value);
      ofGroup.push_back(value);
    }
    records.push_back(record);
  }
  plots.insertMany(records);
  for (const Figures& figures : plots.stats({"v"}, {"group"}, {}, true)) {
    std::vector<double>& ofGroup = values[*figures.by[0]];
    std::sort(ofGroup.begin(), ofGroup.end());
    double sum = 0;
    for (const double value : ofGroup) sum += value;
    const double mean = sum / static_cast<double>(ofGroup.size());
    double squares = 0;
    for (const double value : ofGroup) squares += (value - mean) * (value - mean);
    const double std = std::sqrt(squares / static_cast<double>(ofGroup.size() - 1));
    ASSERT_EQ(figures.count, static_cast<long long>(ofGroup.size()));
    EXPECT_NEAR(*figures.mean, mean, 1e-9 * mean);
    EXPECT_NEAR(*figures.std, std, 1e-9 * std);
    EXPECT_EQ(figures.min, Value(ofGroup.front()));
    EXPECT_EQ(figures.max, Value(ofGroup.back()));
    const std::size_t half = ofGroup.size() / 2;
    EXPECT_DOUBLE_EQ(*figures.median,
                     ofGroup.size() % 2 == 1 ? ofGroup[half] : (ofGroup[half - 1] + ofGroup[half]) / 2);
    values.erase(*figures.by[0]);
  }
  EXPECT_TRUE(values.empty());
}

INSTANTIATE_TEST_SUITE_P(Engines, RecordsContract, ::testing::ValuesIn(engineNames()), engineName);

}  // namespace

}  // namespace database_test
