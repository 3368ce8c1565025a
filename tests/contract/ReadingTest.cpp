// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <list>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/contract/Contract.h"

namespace database_test {

using database_client::Error;
using database_client::ObjectProperties;
using ::testing::SizeIs;

// Projection.

TEST_P(StoreContract, AnInclusionKeepsTheNamedKeysAndTheId) {
  given({"{'_id':1,'a':1,'b':2,'c':3}"});
  EXPECT_EQ(documents("{}", "{'b':1}"), "{'_id':1,'b':2}");
  EXPECT_EQ(documents("{}", "{'b':true}"), "{'_id':1,'b':2}");
}

TEST_P(StoreContract, AnExclusionLeavesOutTheNamedKeys) {
  given({"{'_id':1,'a':1,'b':2,'c':3}"});
  EXPECT_EQ(documents("{}", "{'b':0,'c':false}"), "{'_id':1,'a':1}");
}

TEST_P(StoreContract, TheIdMayBeSwitchedOffInAnInclusion) {
  given({"{'_id':1,'a':1,'b':2}"});
  EXPECT_EQ(documents("{}", "{'a':1,'_id':0}"), "{'a':1}");
}

TEST_P(StoreContract, TheIdAloneIsAnInclusionOrAnExclusion) {
  given({"{'_id':1,'a':1}"});
  EXPECT_EQ(documents("{}", "{'_id':1}"), "{'_id':1}");
  EXPECT_EQ(documents("{}", "{'_id':0}"), "{'a':1}");
}

TEST_P(StoreContract, FalseKeysBesideTrueOnesAreNotSent) {
  given({"{'_id':1,'a':1,'b':2,'c':3}"});
  EXPECT_EQ(documents("{}", "{'a':true,'b':false}"), "{'_id':1,'a':1}");
  EXPECT_EQ(documents("{}", "{'b':false,'a':true,'_id':false}"), "{'a':1}");
}

TEST_P(StoreContract, AKeyThatIsAbsentIsLeftOut) {
  given({"{'_id':1,'a':1}"});
  EXPECT_EQ(documents("{}", "{'b':1}"), "{'_id':1}");
}

TEST_P(StoreContract, KeptKeysStayInTheDocumentsOrder) {
  given({"{'_id':1,'b':2,'a':1}"});
  EXPECT_EQ(documents("{}", "{'a':1,'b':1}"), "{'_id':1,'b':2,'a':1}");
}

TEST_P(StoreContract, ADottedInclusionReducesObjects) {
  given({"{'_id':1,'a':{'b':1,'c':2}}", "{'_id':2,'a':5}"});
  EXPECT_EQ(documents("{}", "{'a.b':1}"), "{'_id':1,'a':{'b':1}}\n{'_id':2}");
}

TEST_P(StoreContract, ADottedInclusionThroughAnArrayDropsScalars) {
  given({"{'_id':1,'a':[{'b':1,'c':2},5,{'c':3}]}"});
  EXPECT_EQ(documents("{}", "{'a.b':1}"), "{'_id':1,'a':[{'b':1},{}]}");
}

TEST_P(StoreContract, ADottedExclusionThroughAnArrayLeavesScalars) {
  given({"{'_id':1,'a':[{'b':1,'c':2},5]}"});
  EXPECT_EQ(documents("{}", "{'a.b':0}"), "{'_id':1,'a':[{'c':2},5]}");
}

TEST_P(StoreContract, APathBesideItsPrefixIsRefused) {
  given({"{'_id':1,'a':{'b':1}}"});
  const std::string answer = documents("{}", "{'a':1,'a.b':1}");
  EXPECT_TRUE(answer == "error 31249" || answer == "error 31250") << answer;
}

// Pages.

namespace {

std::string idsOfPage(database_client::DataBaseClient& client, int limit, int skip) {
  std::list<ObjectProperties*> list;
  client.find("experiment", "contract", ObjectProperties{}, document("{'_id':1}"), list, limit, skip);
  std::string ids;
  for (ObjectProperties* one : list) {
    ids += text(*one);
    delete one;
  }
  return ids;
}

}  // namespace

TEST_P(StoreContract, PagesOfAStoreAddUpToTheWhole) {
  given({"{'_id':1}", "{'_id':2}", "{'_id':3}", "{'_id':4}", "{'_id':5}"});
  EXPECT_EQ(idsOfPage(client, 2, 0) + idsOfPage(client, 2, 2) + idsOfPage(client, 2, 4), idsOfPage(client, 0, 0));
}

TEST_P(StoreContract, AZeroLimitIsNone) {
  given({"{'_id':1}", "{'_id':2}", "{'_id':3}"});
  EXPECT_EQ(idsOfPage(client, 0, 2).size(), std::string("{'_id':3}").size());
}

TEST_P(StoreContract, ASkipBeyondTheEndFindsNothing) {
  given({"{'_id':1}"});
  EXPECT_EQ(idsOfPage(client, 5, 1), "");
}

TEST_P(StoreContract, ANegativeLimitOrSkipIsRefused) {
  given({"{'_id':1}"});
  EXPECT_NE(outcome([&] { idsOfPage(client, -1, 0); }), "ok");
  EXPECT_NE(outcome([&] { idsOfPage(client, 0, -1); }), "ok");
}

TEST_P(StoreContract, AnUpdateKeepsARecordsPlace) {
  given({"{'_id':1}", "{'_id':2}", "{'_id':3}"});
  EXPECT_EQ(replaced("{'_id':1}", "{'a':'" + std::string(5000, 'x') + "'}"), "ok");
  EXPECT_EQ(idsOfPage(client, 1, 0), "{'_id':1}");
}

// Lists.

TEST_P(StoreContract, FindAppendsToTheList) {
  given({"{'_id':1}"});
  ObjectProperties before;
  std::list<ObjectProperties*> list{&before};
  client.find("experiment", "contract", ObjectProperties{}, ObjectProperties{}, list, 0, 0);
  ASSERT_THAT(list, SizeIs(2));
  EXPECT_EQ(list.front(), &before);
  delete list.back();
}

TEST_P(StoreContract, AFailedFindLeavesTheListAsItWas) {
  given({"{'_id':1,'a':'x'}", "{'_id':2,'a':'y'}"});
  ObjectProperties before;
  std::list<ObjectProperties*> list{&before};
  EXPECT_THROW(client.find("experiment", "contract", document("{'a':{'$nope':1}}"), ObjectProperties{}, list, 0, 0),
               Error);
  EXPECT_THROW(client.aggregate("experiment", "contract", document("{'pipeline':[{'$nope':1}]}"), list), Error);
  EXPECT_THAT(list, SizeIs(1));
}

TEST_P(StoreContract, AnAbsentCollectionIsEmpty) {
  std::list<ObjectProperties*> list;
  client.find("experiment", "nothingYet", ObjectProperties{}, ObjectProperties{}, list, 0, 0);
  EXPECT_THAT(list, SizeIs(0));
  EXPECT_EQ(client.count("experiment", "nothingYet", ObjectProperties{}), 0);
}

TEST_P(StoreContract, FindEachStopsWhenToldTo) {
  given({"{'_id':1}", "{'_id':2}", "{'_id':3}"});
  int seen = 0;
  client.findEach("experiment", "contract", ObjectProperties{}, ObjectProperties{}, 0, 0,
                  [&](ObjectProperties& /*one*/) { return ++seen < 2; });
  EXPECT_EQ(seen, 2);
}

TEST_P(StoreContract, AggregateEachStopsWhenToldTo) {
  given({"{'_id':1,'n':1}", "{'_id':2,'n':1}", "{'_id':3,'n':2}"});
  const auto counts = document("{'pipeline':[{'$group':{'_id':'$n','count':{'$sum':1}}},{'$sort':{'_id':1}}]}");
  std::string seen;
  client.aggregateEach("experiment", "contract", counts, [&](ObjectProperties& group) {
    seen += text(group);
    return false;
  });
  EXPECT_EQ(seen, "{'_id':1,'count':2}");
}

TEST_P(StoreContract, FindEachPassesOnWhatItsReceiverThrows) {
  given({"{'_id':1}", "{'_id':2}"});
  EXPECT_THROW(client.findEach("experiment", "contract", ObjectProperties{}, ObjectProperties{}, 0, 0,
                               [](ObjectProperties& /*one*/) -> bool { throw std::runtime_error("enough"); }),
               std::runtime_error);
  EXPECT_EQ(counted("{}"), "2");
}

TEST_P(StoreContract, AFindOfManyDocumentsBringsThemAll) {
  std::vector<ObjectProperties> documents;
  for (int i = 0; i < 2500; ++i) documents.push_back(document("{'_id':" + std::to_string(i) + "}"));
  std::vector<const ObjectProperties*> pointers;
  for (const ObjectProperties& one : documents) pointers.push_back(&one);
  std::vector<std::string> ids;
  EXPECT_THAT(client.insertMany("experiment", "contract", pointers, ids), SizeIs(0));
  int seen = 0;
  client.findEach("experiment", "contract", ObjectProperties{}, ObjectProperties{}, 0, 0,
                  [&](ObjectProperties& /*one*/) { return ++seen > 0; });
  EXPECT_EQ(seen, 2500);
}

// Count.

TEST_P(StoreContract, CountTellsHowManyMatch) {
  given({"{'_id':1,'a':1}", "{'_id':2,'a':2}", "{'_id':3,'a':2}"});
  EXPECT_EQ(counted("{'a':2}"), "2");
  EXPECT_EQ(counted("{}"), "3");
  EXPECT_EQ(counted("{'a':{'$nope':1}}"), "error 2");
}

TEST_P(StoreContract, NamesOfDatabasesAndCollectionsAreListed) {
  given({"{'_id':1}"});
  EXPECT_THAT(client.databaseNames(), ::testing::Contains("experiment"));
  EXPECT_THAT(client.collectionNames("experiment"), ::testing::Contains("contract"));
}

TEST_P(StoreContract, ADatabaseThatIsNotThereHasNoCollections) {
  EXPECT_THAT(client.collectionNames("nothingYet"), SizeIs(0));
}

// Names that no store accepts, before anything is sent.

TEST_P(StoreContract, NamesThatNoStoreAcceptsAreRefused) {
  using namespace std::string_literals;
  const ObjectProperties none;
  std::list<ObjectProperties*> list;
  for (const std::string& database : {""s, "a\0b"s, "a b"s, "a.b"s, "a/b"s, "a$b"s, std::string(64, 'x')}) {
    EXPECT_EQ(outcome([&] { client.find(database, "c", none, none, list, 0, 0); }), "query") << database;
  }
  for (const std::string& collection : {""s, "a\0b"s, "a$b"s, std::string(256, 'x')}) {
    EXPECT_EQ(outcome([&] { client.find("d", collection, none, none, list, 0, 0); }), "query") << collection;
  }
}

}  // namespace database_test
