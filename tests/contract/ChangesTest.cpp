// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <atomic>
#include <cmath>
#include <list>
#include <optional>
#include <sstream>
#include <thread>

#include "database_provider/database_provider_creator.h"
#include "database_provider/records.h"
#include "repository/DocumentRewriter.h"
#include "tests/contract/Contract.h"
#include "tests/contract/elections.h"

namespace database_test {

using namespace database_provider;  // the tests of the library read like a program that uses it
using database_client::Error;
using repository::DocumentRewriter;

namespace {

using Outcome = DocumentRewriter::Outcome;
using Part = DocumentRewriter::Part;

/// One document that is changed while others write it.
class RewritingContract : public StoreContract {
 protected:
  void SetUp() override {
    StoreContract::SetUp();
    if (!IsSkipped() && electsPrimaries(GetParam())) GTEST_SKIP() << electionsEndCountedWrites;
    if (!IsSkipped() && !client.keepsInsertionOrder()) connect(other_);
  }

  /// Rewrites the document of the "_id" 1, in a file in a transaction.
  Outcome rewritten(Part part, const DocumentRewriter::Change& change, const Selection& selection = {}) {
    const DocumentRewriter rewriter(client, layout::experiments, part, selection);
    std::optional<database_client::Transaction> transaction;
    if (client.keepsInsertionOrder()) transaction.emplace(client);
    ObjectProperties stored;
    client.findEach("experiment", "records", document("{'_id': 1}"), rewriter.projection(), 1, 0,
                    [&](ObjectProperties& found) {
                      stored = found;
                      return true;
                    });
    const Outcome result = rewriter.rewrite(stored, change);
    if (transaction) transaction->commit();
    return result;
  }
  /// What somebody else does.
  void meanwhile(const std::string& set) {
    other_.update("experiment", "records", document("{'_id': 1}"), document(set), 0, 3);
  }
  void givenRecord(const std::string& json) {
    const ObjectProperties record = document(json);
    std::string id;
    client.insert("experiment", "records", &record, id);
  }
  std::string stored() {
    std::string json;
    client.findEach("experiment", "records", document("{}"), {}, 0, 0, [&](ObjectProperties& found) {
      json += found.toJson(database_client::JsonMode::canonical);
      return true;
    });
    std::string result;
    for (const char c : json) {
      if (c != ' ') result += c == '"' ? '\'' : c;
    }
    return result;
  }

  database_client::DataBaseClient other_{};
};

TEST_P(RewritingContract, WritesWhatIsAnotherAndNothingElse) {
  givenRecord(
      "{'_id': 1, 'odd': {'a.b': 1.0}, 'recordInfo': {'category': [1], 'mine': {'$x': 5}, 'description': []}, 'z': "
      "2}");
  EXPECT_EQ(rewritten(Part::recordInfo,
                      [](ObjectProperties& record) {
                        const database_client::GroupScope info(record, "recordInfo");
                        const database_client::ArrayScope items(record, "description");
                        record.setValueInt32("0", 7);
                      }),
            Outcome::changed);
  EXPECT_EQ(stored(),
            "{'_id':{'$numberInt':'1'},'odd':{'a.b':{'$numberDouble':'1.0'}},'recordInfo':{'category':[{'$numberInt':"
            "'1'}],'mine':{'$x':{'$numberInt':'5'}},'description':[{'$numberInt':'7'}]},'z':{'$numberInt':'2'}}");
}

TEST_P(RewritingContract, AChangeThatMakesNoDifferenceIsNotWritten) {
  givenRecord("{'_id': 1, 'recordInfo': {'category': []}, 'z': 2}");
  EXPECT_EQ(rewritten(Part::document, [](ObjectProperties& record) { record.setValueInt32("z", 2); }),
            Outcome::unchanged);
  EXPECT_EQ(rewritten(Part::document, [](ObjectProperties& record) { record.setValueInt64("z", 2); }),
            Outcome::changed);
}

TEST_P(RewritingContract, TakesKeysAway) {
  givenRecord("{'_id': 1, 'gone': 1, 'z': 3}");
  EXPECT_EQ(rewritten(Part::document, [](ObjectProperties& record) { record.removeKey("gone"); }), Outcome::changed);
  EXPECT_EQ(stored(), "{'_id':{'$numberInt':'1'},'z':{'$numberInt':'3'}}");
}

TEST_P(RewritingContract, WritesKeysThatAreNoPaths) {
  givenRecord("{'_id': 1, 'a.b': 2, 'z': 3}");
  EXPECT_EQ(rewritten(Part::document, [](ObjectProperties& record) { record.setValueInt32("a.b", 4); }),
            Outcome::changed);
  EXPECT_EQ(stored(), "{'_id':{'$numberInt':'1'},'a.b':{'$numberInt':'4'},'z':{'$numberInt':'3'}}");
}

TEST_P(RewritingContract, WhatOthersWroteMeanwhileIsReadAgain) {
  if (client.keepsInsertionOrder()) GTEST_SKIP() << "in a file nobody writes during the transaction";
  for (const bool isWhole : {false, true}) {
    client.remove("experiment", "records", {});
    givenRecord("{'_id': 1, 'n': 1, 'gone': 1, 'other': [1]}");
    int calls = 0;
    EXPECT_EQ(
        rewritten(Part::document,
                  [&](ObjectProperties& record) {
                    if (isWhole) record.removeKey("gone");
                    record.setValueInt32("n", record.valueAsInt32("n", 0) + 1);
                    if (++calls < 4)
                      meanwhile("{'n': " + std::to_string(calls * 10) + ", 'other': [" + std::to_string(calls) + "]}");
                  }),
        Outcome::changed);
    EXPECT_EQ(calls, 4);
    const std::string gone = isWhole ? "" : "'gone':{'$numberInt':'1'},";
    EXPECT_EQ(stored(), "{'_id':{'$numberInt':'1'},'n':{'$numberInt':'31'}," + gone + "'other':[{'$numberInt':'3'}]}");
  }
}

TEST_P(RewritingContract, AValueIsNotTakenForAnElementNorNullForNothing) {
  if (client.keepsInsertionOrder()) GTEST_SKIP() << "in a file nobody writes during the transaction";
  givenRecord("{'_id': 1, 'n': 5, 'm': null}");
  int calls = 0;
  rewritten(Part::document, [&](ObjectProperties& record) {
    if (++calls == 1) meanwhile("{'n': [5, 6]}");
    record.setValueString("n", record.type("n") == PropertyType::array ? "array" : "number");
  });
  EXPECT_EQ(stored(), "{'_id':{'$numberInt':'1'},'n':'array','m':null}");
}

TEST_P(RewritingContract, WritersOfDifferentKeysDoNotDisturbEachOther) {
  if (client.keepsInsertionOrder()) GTEST_SKIP() << "in a file nobody writes during the transaction";
  givenRecord("{'_id': 1, 'recordInfo': {'category': [], 'description': []}}");
  int calls = 0;
  rewritten(Part::recordInfo, [&](ObjectProperties& record) {
    if (++calls == 1) meanwhile("{'recordInfo.category': [9], 'mine': 1}");
    const database_client::GroupScope info(record, "recordInfo");
    const database_client::ArrayScope items(record, "description");
    record.setValueInt32("0", 7);
  });
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(
      stored(),
      "{'_id':{'$numberInt':'1'},'recordInfo':{'category':[{'$numberInt':'9'}],'description':[{'$numberInt':'7'}]},"
      "'mine':{'$numberInt':'1'}}");
}

TEST_P(RewritingContract, ARecordThatIsGoneOrNoLongerSelectedStaysSo) {
  if (client.keepsInsertionOrder()) GTEST_SKIP() << "in a file nobody writes during the transaction";
  givenRecord("{'_id': 1, 'n': 1, 'state': 'open'}");
  const auto increment = [](ObjectProperties& record) { record.setValueInt32("n", record.valueAsInt32("n", 0) + 1); };
  const auto changed = [&](const std::string& set) {
    return rewritten(
        Part::document,
        [&](ObjectProperties& record) {
          meanwhile(set);
          increment(record);
        },
        Selection::ofQuery(document("{'state': 'open'}")));
  };
  EXPECT_EQ(changed("{'state': 'closed'}"), Outcome::gone);
  EXPECT_EQ(stored(), "{'_id':{'$numberInt':'1'},'n':{'$numberInt':'1'},'state':'closed'}");
  EXPECT_EQ(rewritten(Part::document,
                      [&](ObjectProperties& record) {
                        other_.remove("experiment", "records", {});
                        increment(record);
                      }),
            Outcome::gone);
}

TEST_P(RewritingContract, WhoNeverGetsAWordInIsToldSo) {
  if (client.keepsInsertionOrder()) GTEST_SKIP() << "in a file nobody writes during the transaction";
  givenRecord("{'_id': 1, 'n': 1}");
  int calls = 0;
  EXPECT_EQ(outcome([&] {
              rewritten(Part::document, [&](ObjectProperties& record) {
                meanwhile("{'n': " + std::to_string(++calls + 100) + "}");
                record.setValueInt32("n", 0);
              });
            }),
            "error 112");
  EXPECT_EQ(calls, 10);
}

/// Gives up behind the fifth write.
class Interrupted : public database_client::DataBaseClient {
 public:
  database_client::UpdateResult updateCounted(const std::string& database, const std::string& collection,
                                              const ObjectProperties& selector, const ObjectProperties& change,
                                              const int& flags, const int& operation) override {
    if (++writes_ > 5) setCancellation([] { return false; });
    return DataBaseClient::updateCounted(database, collection, selector, change, flags, operation);
  }

 private:
  int writes_ = 0;
};

/// Many records that are changed.
class ChangesContract : public StoreContract {
 protected:
  void SetUp() override {
    StoreContract::SetUp();
    if (!IsSkipped() && electsPrimaries(GetParam())) GTEST_SKIP() << electionsEndCountedWrites;
  }

  /// Two plots; the second has a value more.
  void givenPlots() {
    ids = plots.insertMany({NewRecord().category("site", "Waseca").description("yield", 48.5).description("year", 1931),
                            NewRecord()
                                .category("site", "Morris")
                                .category("variety", "Trebi")
                                .description("yield", 30)
                                .description("note", "dry")
                                .file(ObjectType::archiveObject, "nas", "/a.zip")
                                .data(document("{'mine': [1, {'$x': 2.0}], 'b': 1}"))});
  }
  /// The categories and descriptions of a record in their order, "site=Waseca yield:8=48.5".
  std::string shown(const std::string& id) {
    const std::optional<Record> record = plots.read(id);
    if (!record) return "none";
    std::string result;
    const auto add = [&result](const std::string& text) { result += (result.empty() ? "" : " ") + text; };
    for (const std::string& name : record->categoryNames()) add(name + "=" + record->category(name).value_or("?"));
    for (database_client::ElementReader item = descriptionsOf(*record); item.next();) {
      std::string text;
      for (database_client::ElementReader field = item.children(); field.next();) {
        if (field.key() == "name") text = std::string(field.asString());
        if (field.key() == "type") text += ":" + std::to_string(field.asInt32(0));
      }
      const std::optional<Value> value = record->description(text.substr(0, text.find(':')));
      add(text + "=" + (value ? shownValue(*value) : "?"));
    }
    return result;
  }
  static std::string shown(const ChangeResult& result) {
    return std::to_string(result.changed) + " " + std::to_string(result.unchanged) + " " +
           std::to_string(result.skipped) + " " + std::to_string(result.failed);
  }
  /// The message of the error.
  template <class Action>
  static std::string refusal(const Action& action) {
    try {
      action();
      return "none";
    } catch (const Error& error) {
      return error.what();
    }
  }
  /// The documents as they are stored, "_id"s and all.
  std::vector<std::string> stored() {
    std::vector<std::string> result;
    client.findEach("experiment", "records", {}, {}, 0, 0, [&](ObjectProperties& found) {
      result.push_back(found.toJson(database_client::JsonMode::canonical));
      return true;
    });
    std::sort(result.begin(), result.end());
    return result;
  }
  double sumOf(const std::string& description) {
    double result = 0;
    plots.forEach({}, {}, [&](const Record& record) {
      result += record.descriptionAs<double>(description).value_or(0);
      return true;
    });
    return result;
  }

  Records plots{client, RecordKind::experiment};
  std::vector<std::string> ids{};

 private:
  static database_client::ElementReader descriptionsOf(const Record& record) {
    database_client::ElementReader level(record.document());
    for (const char* key : {"recordInfo", "description"}) {
      do {
        if (!level.next()) return level;
      } while (level.key() != key);
      level = level.children();
    }
    return level;
  }
  static std::string shownValue(const Value& value) {
    if (const auto* text = std::get_if<std::string>(&value)) return *text;
    if (const auto* time = std::get_if<Time>(&value)) return "@" + std::to_string(time->milliseconds);
    if (const bool* boolean = std::get_if<bool>(&value)) return *boolean ? "true" : "false";
    std::ostringstream text;
    text << *numberOf(value);
    return text.str();
  }
};

TEST_P(ChangesContract, SetsWhatIsNamedAndKeepsTheRest) {
  givenPlots();
  const std::vector<std::string> before = stored();
  EXPECT_EQ(
      shown(plots.update(Selection::ofIds({ids[1]}),
                         Changes().category("site", "Duluth").description("yield", 31.5).description("new", true))),
      "1 0 0 0");
  EXPECT_EQ(shown(ids[0]), "site=Waseca yield:8=48.5 year:6=1931");
  EXPECT_EQ(shown(ids[1]), "site=Duluth variety=Trebi yield:8=31.5 note:4=dry new:5=true");
  EXPECT_EQ(plots.read(ids[1])->files().size(), 1u);
  EXPECT_EQ(text(plots.read(ids[1])->data()), "{'mine':[1,{'$x':2.0}],'b':1}");
  EXPECT_EQ(plots.facets("site").size(), 2u);
  EXPECT_EQ(plots.count(where("new=true")), 1) << "the index knows it";
  plots.update(Selection::ofIds({ids[1]}),
               Changes().category("site", "Morris").description("yield", 30).unset("new").unset("nosuch"));
  EXPECT_EQ(stored(), before);
}

TEST_P(ChangesContract, WhatIsAlreadySoIsNotWritten) {
  givenPlots();
  EXPECT_EQ(shown(plots.update({}, Changes().category("site", "Waseca"))), "1 1 0 0");
  EXPECT_EQ(shown(plots.update({}, Changes().category("site", "Waseca"))), "0 2 0 0");
  EXPECT_EQ(shown(plots.update({}, Changes().description("yield", 30))), "1 1 0 0");
  EXPECT_EQ(shown(plots.update({}, Changes().description("yield", 30.0))), "2 0 0 0") << "of another kind";
  EXPECT_EQ(shown(plots.update({}, Changes())), "0 2 0 0");
}

TEST_P(ChangesContract, TakesAwayCategoriesAndDescriptions) {
  givenPlots();
  EXPECT_EQ(shown(plots.update({}, Changes().unset("yield").unset("variety"))), "2 0 0 0");
  EXPECT_EQ(shown(ids[0]), "site=Waseca year:6=1931");
  EXPECT_EQ(shown(ids[1]), "site=Morris note:4=dry");
  EXPECT_EQ(plots.count(where("has yield")), 0);
  plots.update({}, Changes().description("site", "x"));
  plots.update({}, Changes().unset(NameInUse::Kind::category, "site"));
  EXPECT_EQ(shown(ids[1]), "note:4=dry site:4=x");
}

TEST_P(ChangesContract, AddsAFileOnce) {
  givenPlots();
  const Changes changes = Changes().file(ObjectType::archiveObject, "nas", "/a.zip");
  EXPECT_EQ(shown(plots.update({}, changes)), "1 1 0 0");
  EXPECT_EQ(shown(plots.update({}, changes)), "0 2 0 0");
  EXPECT_EQ(shown(plots.update({}, Changes().file(ObjectType::documentObject, "nas", "/b.pdf"))), "2 0 0 0");
  const std::vector<FileReference> files = plots.read(ids[1])->files();
  ASSERT_EQ(files.size(), 2u);
  EXPECT_EQ(files[0].path, "/a.zip");
  EXPECT_EQ(files[1].path, "/b.pdf");
  EXPECT_NE(files[0].id, files[1].id);
  EXPECT_EQ(plots.read(ids[0])->files().size(), 2u);
}

TEST_P(ChangesContract, ComputesFromTheNumbersOfTheRecord) {
  givenPlots();
  EXPECT_EQ(shown(plots.update({}, Changes().compute("yield", "yield * 2").description("seen", true))), "2 0 0 0");
  EXPECT_EQ(shown(ids[0]), "site=Waseca yield:8=97 year:6=1931 seen:5=true");
  EXPECT_EQ(shown(ids[1]), "site=Morris variety=Trebi yield:6=60 note:4=dry seen:5=true");
  EXPECT_EQ(shown(plots.update({}, Changes().compute("age", "2026 - year", PropertyType::int32).category("x", "y"))),
            "1 0 1 0");
  EXPECT_EQ(shown(ids[0]), "site=Waseca x=y yield:8=97 year:6=1931 seen:5=true age:6=95");
  EXPECT_EQ(shown(ids[1]), "site=Morris variety=Trebi yield:6=60 note:4=dry seen:5=true") << "skipped as a whole";
  std::vector<std::string> failed;
  ChangeOptions options;
  options.onFailure = [&](const FailedChange& one) { failed.push_back(one.id); };
  EXPECT_EQ(shown(plots.update({}, Changes().compute("part", "yield / 60", PropertyType::int64), options)), "1 0 0 1");
  EXPECT_EQ(failed, std::vector<std::string>{ids[0]});
}

TEST_P(ChangesContract, ATryWritesNothing) {
  givenPlots();
  const std::vector<std::string> before = stored();
  ChangeOptions options;
  options.dryRun = true;
  EXPECT_EQ(shown(plots.update({}, Changes().category("site", "Waseca").compute("n", "year + 1"), options)), "1 0 1 0");
  EXPECT_EQ(shown(plots.rename({"site", "place"}, options)), "2 0 0 0");
  EXPECT_EQ(shown(plots.renameValues("site", {{"Waseca", "W"}}, options)), "1 0 0 0");
  EXPECT_EQ(shown(plots.convert("yield", PropertyType::real, options)), "1 1 0 0");
  EXPECT_EQ(stored(), before);
}

TEST_P(ChangesContract, ARecordThatMovesIsChangedOnce) {
  std::vector<NewRecord> many;
  for (int i = 0; i < 200; ++i) many.push_back(NewRecord().description("n", i));
  plots.insertMany(many);
  EXPECT_EQ(shown(plots.update(where("n>=0"), Changes().compute("n", "n + 100"))), "200 0 0 0");
  EXPECT_EQ(sumOf("n"), 200 * 199.5);
  EXPECT_EQ(shown(plots.update(where("n<200"), Changes().compute("n", "n + 1000"))), "100 0 0 0");
  EXPECT_EQ(plots.count(where("n<200")), 0);
}

TEST_P(ChangesContract, TakesHostileNamesAsTheyStand) {
  for (const char* name :
       {"$site", "a.b", "$$ROOT", "\"", "{}", "\\", "é\xE2\x80\xAE", "0", "_id", "recordInfo", "value"}) {
    SCOPED_TRACE(name);
    plots.remove({});
    const std::string id = plots.insert(NewRecord().category(name, "$x").description("n", 1));
    const std::string quoted = name == std::string("\"")   ? "'\"'"
                               : name == std::string("\\") ? "'\\\\'"
                                                           : "\"" + std::string(name) + "\"";
    plots.update({}, Changes().category(name, "$$y").unset(NameInUse::Kind::description, name));
    EXPECT_EQ(plots.read(id)->category(name), "$$y");
    EXPECT_EQ(shown(plots.renameValues(name, {{"$$y", "a.b"}})), "1 0 0 0");
    EXPECT_EQ(plots.read(id)->category(name), "a.b");
    EXPECT_EQ(shown(plots.rename({name, "plain"})), "1 0 0 0");
    EXPECT_EQ(shown(plots.rename({"plain", name})), "1 0 0 0");
    EXPECT_EQ(shown(id), std::string(name) + "=a.b n:6=1");
    plots.update({}, Changes().unset(name).description(name, 4));
    plots.update({}, Changes().compute("n", quoted + " * 2"));
    EXPECT_EQ(plots.read(id)->description("n"), Value(std::int32_t{8}));
    EXPECT_EQ(shown(plots.convert(name, PropertyType::string)), "1 0 0 0");
    EXPECT_EQ(plots.read(id)->description(name), Value(std::string("4")));
  }
}

TEST_P(ChangesContract, ARecordThatTheLibraryDidNotWriteFailsOrStaysAsItIs) {
  for (const char* json : {"{'_id': 1, 'recordInfo': 5}",
                           "{'_id': 2, 'recordInfo': {'category': 'x', 'description': null}}", "{'_id': 3, 'z': 1}",
                           "{'_id': 4, 'recordInfo': {'category': [7, {'name': 'a', 'value': 'old', 'mine': 1}, "
                           "{'name': 'a', 'value': 'last'}, {'name': 'b', 'value': 'c'}]}}"}) {
    const ObjectProperties record = document(json);
    std::string id;
    client.insert("experiment", "records", &record, id);
  }
  std::vector<std::string> reasons;
  ChangeOptions options;
  options.onFailure = [&](const FailedChange& one) { reasons.push_back(one.reason); };
  EXPECT_EQ(shown(plots.update({}, Changes().category("a", "new").unset("b"), options)), "2 0 0 2");
  EXPECT_EQ(reasons, (std::vector<std::string>{"\"recordInfo\" of the record is no group",
                                               "\"category\" of the record is no array"}));
  std::string found;
  client.findEach("experiment", "records", {}, {}, 0, 0, [&](ObjectProperties& record) {
    found += text(record) + "\n";
    return true;
  });
  EXPECT_EQ(found,
            "{'_id':1,'recordInfo':5}\n{'_id':2,'recordInfo':{'category':'x','description':null}}\n"
            "{'_id':3,'z':1,'recordInfo':{'category':[{'name':'a','value':'new'}]}}\n"
            "{'_id':4,'recordInfo':{'category':[7,{'name':'a','value':'new','mine':1}]}}\n");
}

TEST_P(ChangesContract, ARecordThatHoldsNaNIsChanged) {
  const std::string id = plots.insert(NewRecord().description("v", std::nan("")).description("n", 1));
  EXPECT_EQ(shown(plots.update({}, Changes().description("n", 2).compute("w", "v * 2"))), "1 0 0 0");
  EXPECT_EQ(shown(id), "v:8=nan n:6=2 w:8=nan");
  EXPECT_EQ(shown(plots.update({}, Changes().compute("w", "v * 2"))), "0 1 0 0");
}

TEST_P(ChangesContract, ADeepOrLargeRecordIsChangedBesideWhatTheUserPutThere) {
  ObjectProperties deep;
  for (int i = 0; i < 90; ++i) deep.beginGroup("d");
  for (int i = 0; i < 90; ++i) deep.endGroup();
  deep.setValueString("large", std::string(9'000'000, 'x'));
  const std::string id = plots.insert(NewRecord().category("site", "Waseca").data(deep));
  EXPECT_EQ(shown(plots.update({}, Changes().category("site", "Morris").description("n", 1))), "1 0 0 0");
  EXPECT_EQ(shown(id), "site=Morris n:6=1");
  EXPECT_EQ(plots.read(id)->data().toBson(), deep.toBson());
}

TEST_P(ChangesContract, RenamesANameWhereverItStands) {
  givenPlots();
  const std::unique_ptr<ExperimentDatabaseInterface> provider(createExperimentDatabase());
  provider->setDatabaseClient(&client);
  provider->setCategoriesNames({"variety", "site", "soil"});
  EXPECT_EQ(shown(plots.rename({"site", "place"})), "2 0 0 0");
  EXPECT_EQ(shown(ids[1]), "place=Morris variety=Trebi yield:6=30 note:4=dry");
  std::list<std::string> names;
  provider->enumCategoriesNames(names);
  EXPECT_EQ(names, (std::list<std::string>{"variety", "place", "soil"}));
  EXPECT_EQ(plots.count(where("place=Morris")), 1);
  EXPECT_EQ(plots.count(where("has site")), 0);
  EXPECT_EQ(shown(plots.rename({"yield", "crop"})), "2 0 0 0");
  EXPECT_EQ(shown(ids[0]), "place=Waseca crop:8=48.5 year:6=1931");
  EXPECT_EQ(shown(plots.rename({"nosuch", "other"})), "0 0 0 0");
}

TEST_P(ChangesContract, RenamesWithoutLosingAValue) {
  givenPlots();
  const std::vector<std::string> before = stored();
  EXPECT_EQ(refusal([&] {
              plots.rename({"variety", "site"});
            }),
            "2 records have a category \"site\" already: " + ids[0] + ", " + ids[1]);
  EXPECT_EQ(refusal([&] {
              plots.rename({"variety", "site", true});
            }),
            "1 record has both names, with different values: " + ids[1]);
  EXPECT_EQ(refusal([&] {
              plots.rename({"variety", "note", true});
            }),
            "1 record has a description \"note\": " + ids[1]);
  EXPECT_EQ(refusal([&] { plots.rename({"site", "site"}); }), "the new name is the old one");
  EXPECT_EQ(stored(), before);
  const std::string both = plots.insert(NewRecord().category("variety", "same").category("kind", "same"));
  EXPECT_EQ(shown(plots.rename({"kind", "variety", true})), "1 0 0 0");
  EXPECT_EQ(shown(both), "variety=same");
}

TEST_P(ChangesContract, ANameThatIsACategoryAndADescriptionHasToBeSaidMorePrecisely) {
  const std::string id = plots.insert(NewRecord().category("n", "x").description("n", 1));
  EXPECT_EQ(refusal([&] { plots.rename({"n", "m"}); }), "\"n\" is a category and a description; say which is meant");
  EXPECT_EQ(shown(plots.rename({"n", "m", false, NameInUse::Kind::description})), "1 0 0 0");
  EXPECT_EQ(shown(id), "n=x m:6=1");
}

TEST_P(ChangesContract, MergesAConfiguredNameIntoAnother) {
  givenPlots();
  const std::unique_ptr<ExperimentDatabaseInterface> provider(createExperimentDatabase());
  provider->setDatabaseClient(&client);
  provider->setCategoriesNames({"Site", "site", "soil"});
  plots.insert(NewRecord().category("Site", "Duluth"));
  EXPECT_EQ(shown(plots.rename({"Site", "site", true})), "1 0 0 0");
  std::list<std::string> names;
  provider->enumCategoriesNames(names);
  EXPECT_EQ(names, (std::list<std::string>{"site", "soil"}));
  EXPECT_EQ(plots.facets("site").size(), 3u);
}

TEST_P(ChangesContract, RenamesTheValuesOfACategoryAllAtOnce) {
  givenPlots();
  const std::string third = plots.insert(NewRecord().category("site", "waseca").category("other", "Morris"));
  EXPECT_EQ(shown(plots.renameValues("site", {{"Waseca", "Morris"}, {"Morris", "Waseca"}, {"waseca", "Waseca"}})),
            "3 0 0 0");
  EXPECT_EQ(shown(ids[0]), "site=Morris yield:8=48.5 year:6=1931");
  EXPECT_EQ(plots.read(ids[1])->category("site"), "Waseca");
  EXPECT_EQ(shown(third), "site=Waseca other=Morris");
  EXPECT_EQ(plots.facets("site").size(), 2u);
  EXPECT_EQ(outcome([&] { plots.renameValues("site", {{"a", "b"}, {"a", "c"}}); }), "query");
  EXPECT_EQ(outcome([&] { plots.renameValues("site", {{"a", ""}}); }), "document");
}

TEST_P(ChangesContract, ConvertsADescriptionInAllRecords) {
  const auto convertedTo = [&](const Value& value, PropertyType type) -> std::string {
    plots.remove({});
    const std::string id = plots.insert(NewRecord().description("a", 1).description("v", value).description("z", 1));
    try {
      plots.convert("v", type);
    } catch (const Error&) {
      return "refused";
    }
    return shown(id).substr(6, shown(id).size() - 12);
  };
  const auto of = [](const char* text) { return Value(std::string(text)); };
  EXPECT_EQ(convertedTo(of("30"), PropertyType::int32), "v:6=30");
  EXPECT_EQ(convertedTo(of("30.0"), PropertyType::int64), "v:7=30");
  EXPECT_EQ(convertedTo(of("-2.5e1"), PropertyType::real), "v:8=-25");
  EXPECT_EQ(convertedTo(of("true"), PropertyType::boolean), "v:5=true");
  EXPECT_EQ(convertedTo(of("1970-01-01T00:00:01Z"), PropertyType::time), "v:9=@1000");
  EXPECT_EQ(convertedTo(std::int32_t{5}, PropertyType::real), "v:8=5");
  EXPECT_EQ(convertedTo(5.0, PropertyType::int32), "v:6=5");
  EXPECT_EQ(convertedTo(std::int64_t{1} << 60, PropertyType::real), "v:8=1.15292e+18");
  EXPECT_EQ(convertedTo(1.5, PropertyType::string), "v:4=1.5");
  EXPECT_EQ(convertedTo(false, PropertyType::string), "v:4=false");
  EXPECT_EQ(convertedTo(Time{1000}, PropertyType::string), "v:4=1970-01-01T00:00:01Z");
  for (const auto& [value, type] :
       std::vector<std::pair<Value, PropertyType>>{{of("30x"), PropertyType::real},
                                                   {of("2.5"), PropertyType::int32},
                                                   {of("3000000000"), PropertyType::int32},
                                                   {of("yes"), PropertyType::boolean},
                                                   {of("1932"), PropertyType::time},
                                                   {2.5, PropertyType::int64},
                                                   {-0.0, PropertyType::int32},
                                                   {1e300, PropertyType::int64},
                                                   {std::int64_t{9007199254740993}, PropertyType::real},
                                                   {true, PropertyType::int32},
                                                   {Time{1}, PropertyType::int64}})
    EXPECT_EQ(convertedTo(value, type), "refused") << kindName(value);
}

TEST_P(ChangesContract, ConvertsNothingWhereOneValueCannotBe) {
  std::vector<NewRecord> many;
  for (int i = 0; i < 25; ++i) many.push_back(NewRecord().description("v", "x" + std::to_string(i)));
  many.push_back(NewRecord().description("v", "5"));
  ids = plots.insertMany(many);
  const std::string message = refusal([&] { plots.convert("v", PropertyType::int32); });
  EXPECT_EQ(message.find("25 records have a \"v\" that cannot become an integer of 32 bits: "), 0u) << message;
  EXPECT_NE(message.find(" and 5 more"), std::string::npos) << message;
  EXPECT_EQ(plots.count(where("v=5")), 0);
  EXPECT_EQ(outcome([&] { plots.convert("v", PropertyType::group); }), "query");
}

/// Two who count in the same records at the same time.
TEST_P(ChangesContract, NoUpdateIsLostBetweenTwoWriters) {
  std::vector<NewRecord> many;
  for (int i = 0; i < 10; ++i) many.push_back(NewRecord().description("n", 0));
  plots.insertMany(many);
  constexpr int times = 10;
  std::atomic<long long> counted{0};
  const auto count = [&] {
    database_client::DataBaseClient mine;
    connect(mine);
    const Records records(mine, RecordKind::experiment);
    for (int i = 0; i < times; ++i) counted += records.update({}, Changes().compute("n", "n + 1")).changed;
  };
  std::thread other(count);
  count();
  other.join();
  EXPECT_EQ(sumOf("n"), static_cast<double>(counted.load()));
  EXPECT_GT(counted.load(), times * 10);
}

TEST_P(ChangesContract, AChangeThatIsGivenUpIsUndoneInAFileAndToldOnAServer) {
  std::vector<NewRecord> many;
  for (int i = 0; i < 200; ++i) many.push_back(NewRecord().description("n", 0));
  plots.insertMany(many);
  Interrupted interrupted;
  connect(interrupted);
  const std::string message =
      refusal([&] { Records(interrupted, RecordKind::experiment).update({}, Changes().description("n", 1)); });
  const long long changed = plots.count(where("n=1"));
  if (client.keepsInsertionOrder()) {
    EXPECT_NE(message.find("; nothing was changed"), std::string::npos) << message;
    EXPECT_EQ(changed, 0);
  } else {
    EXPECT_GE(changed, 5);
    EXPECT_LT(changed, 200);
    EXPECT_NE(message.find("; " + std::to_string(changed) + " records were changed before, and stay so"),
              std::string::npos)
        << message;
  }
  EXPECT_EQ(shown(plots.update({}, Changes().description("n", 1))),
            std::to_string(200 - changed) + " " + std::to_string(changed) + " 0 0");
}

TEST_P(ChangesContract, AnOpenTransactionIsNotTakenFromItsOwner) {
  if (!client.keepsInsertionOrder()) GTEST_SKIP() << "a server has none";
  givenPlots();
  const database_client::Transaction transaction(client);
  EXPECT_EQ(refusal([&] { plots.update({}, Changes().description("n", 1)); }),
            "beginTransaction: a transaction is open already");
}

INSTANTIATE_TEST_SUITE_P(Engines, ChangesContract, ::testing::ValuesIn(engineNames()), engineName);
INSTANTIATE_TEST_SUITE_P(Engines, RewritingContract, ::testing::ValuesIn(engineNames()), engineName);

}  // namespace

}  // namespace database_test
