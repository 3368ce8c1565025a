// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <list>
#include <memory>
#include <string>
#include <vector>

#include "tests/contract/Contract.h"

namespace database_test {

using database_client::BulkFailure;
using database_client::ObjectProperties;

// Insert.

TEST_P(StoreContract, ADocumentComesBackAsItWasStored) {
  const char* const everything =
      "{'_id':1,'s':'téxt','b':true,'i':{'$numberInt':'-7'},'l':{'$numberLong':'9007199254740993'},'d':0.1,'t':{'$date'"
      ":{"
      "'$numberLong':'-1'}},'n':null,'g':{'x':{'y':1}},'a':[1,[2],{'z':3}],'e':{},'f':[],'o':{'$oid':"
      "'5f5f5f5f5f5f5f5f5f5f5f5f'}}";
  given({everything});
  std::list<ObjectProperties*> list;
  client.find("experiment", "contract", ObjectProperties{}, ObjectProperties{}, list, 0, 0);
  ASSERT_EQ(list.size(), 1U);
  const std::unique_ptr<ObjectProperties> stored(list.front());
  EXPECT_EQ(stored->toJson(database_client::JsonMode::canonical),
            document(everything).toJson(database_client::JsonMode::canonical));
}

TEST_P(StoreContract, KindsWithoutAnAccessorComeBackUnchanged) {
  const char* const rare =
      "{'_id':1,'bin':{'$binary':{'base64':'AQI=','subType':'80'}},'re':{'$regularExpression':{'pattern':'a','options':"
      "'i'}"
      "},'ts':{'$timestamp':{'t':1,'i':2}},'dec':{'$numberDecimal':'1.50'},'min':{'$minKey':1},'max':{'$maxKey':1},'c':"
      "{'"
      "$code':'f()'}}";
  given({rare});
  EXPECT_EQ(all(), text(document(rare)));
}

TEST_P(StoreContract, KeysAreKeptVerbatim) {
  given({"{'_id':1,'a':{'x.y':1,'':2,'ü':3}}"});
  EXPECT_EQ(all(), "{'_id':1,'a':{'x.y':1,'':2,'ü':3}}");
}

TEST_P(StoreContract, AnIdIsMadeWhereThereIsNone) {
  const ObjectProperties stored = document("{'a':1}");
  std::string id;
  EXPECT_TRUE(client.insert("experiment", "contract", &stored, id));
  EXPECT_THAT(id, ::testing::MatchesRegex("[0-9a-f]{24}"));
  EXPECT_EQ(text(stored), "{'a':1}");
  EXPECT_EQ(all(), "{'_id':{'$oid':'" + id + "'},'a':1}");
}

TEST_P(StoreContract, AnIdIsMovedToTheFront) {
  given({"{'a':1,'_id':7}"});
  EXPECT_EQ(all(), "{'_id':7,'a':1}");
}

TEST_P(StoreContract, TheIdThatWasGivenComesBack) {
  const ObjectProperties stored = document("{'_id':'mine'}");
  std::string id;
  client.insert("experiment", "contract", &stored, id);
  EXPECT_EQ(id, "mine");
}

TEST_P(StoreContract, ASecondDocumentOfAnIdIsRefused) {
  given({"{'_id':1,'a':1}"});
  EXPECT_EQ(inserted("{'_id':1,'a':2}"), "error 11000");
  EXPECT_EQ(all(), "{'_id':1,'a':1}");
}

TEST_P(StoreContract, IdsAreUniqueByComparison) {
  given({"{'_id':{'$numberInt':'1'}}", "{'_id':{'$numberDouble':'-0.0'}}"});
  EXPECT_EQ(inserted("{'_id':{'$numberLong':'1'}}"), "error 11000");
  EXPECT_EQ(inserted("{'_id':{'$numberDouble':'1.0'}}"), "error 11000");
  EXPECT_EQ(inserted("{'_id':0}"), "error 11000");
  EXPECT_EQ(inserted("{'_id':'1'}"), "ok");
}

TEST_P(StoreContract, AnIdMayBeAnObjectOrNull) {
  given({"{'_id':{'a':1,'b':2}}", "{'_id':null}"});
  EXPECT_EQ(inserted("{'_id':{'a':1,'b':2}}"), "error 11000");
  EXPECT_EQ(inserted("{'_id':{'b':2,'a':1}}"), "ok");
  EXPECT_EQ(found("{'_id':{'a':1,'b':2}}"), "{'a':1,'b':2}");
}

TEST_P(StoreContract, AnArrayPatternOrUndefinedIsNoId) {
  for (const char* id : {"[1]", "{'$regularExpression':{'pattern':'a','options':''}}", "{'$undefined':true}"}) {
    EXPECT_EQ(inserted("{'_id':" + std::string(id) + "}"), "error 2") << id;
  }
}

TEST_P(StoreContract, ADocumentOfOneHundredLevelsIsTaken) {
  std::string inner = "1";
  for (int i = 0; i < 99; ++i) inner = "{'a':" + inner + "}";
  EXPECT_EQ(inserted("{'_id':1,'a':" + inner + "}"), "ok");
}

TEST_P(StoreContract, ADocumentOfMoreLevelsIsRefused) {
  ObjectProperties deep;
  EXPECT_EQ(outcome([&] {
              for (int i = 0; i < 101; ++i) deep.beginGroup("a");
              deep.setValueInt32("a", 1);
              std::string id;
              client.insert("experiment", "contract", &deep, id);
            }),
            "document");
  EXPECT_EQ(counted("{}"), "0");
}

TEST_P(StoreContract, ADocumentAbove16MiBIsRefusedBeforeItIsSent) {
  ObjectProperties large;
  large.setValueString("a", std::string(8 * 1024 * 1024, 'x'));
  ObjectProperties query;
  query.setValueString("a", std::string(16 * 1024 * 1024 - 20, 'x'));
  std::string id;
  EXPECT_EQ(outcome([&] { client.insert("experiment", "contract", &large, id); }), "ok");
  EXPECT_EQ(outcome([&] { client.insert("experiment", "contract", &query, id); }), "document");
  EXPECT_EQ(counted("{}"), "1");
}

TEST_P(StoreContract, ANullDocumentIsRefused) {
  std::string id = "before";
  EXPECT_EQ(outcome([&] { client.insert("experiment", "contract", nullptr, id); }), "query");
  EXPECT_EQ(id, "before");
}

// Bulk insert.

TEST_P(StoreContract, ABulkInsertReportsWhatFailedAndStoresTheRest) {
  const ObjectProperties first = document("{'_id':1}");
  const ObjectProperties again = document("{'_id':1,'a':2}");
  const ObjectProperties other = document("{'_id':'two'}");
  std::vector<std::string> ids{"before"};
  const std::list<BulkFailure> failures = client.insertMany("experiment", "contract", {&first, &again, &other}, ids);
  ASSERT_EQ(failures.size(), 1U);
  EXPECT_EQ(failures.front().index, 1U);
  EXPECT_EQ(failures.front().error.code(), 11000);
  EXPECT_THAT(ids, ::testing::ElementsAre("before", "", "", "two"));
  EXPECT_EQ(all(), "{'_id':'two'}\n{'_id':1}");
}

TEST_P(StoreContract, ABulkInsertOfNothingDoesNothing) {
  std::vector<std::string> ids;
  EXPECT_TRUE(client.insertMany("experiment", "contract", {}, ids).empty());
  EXPECT_TRUE(ids.empty());
}

// Replace.

TEST_P(StoreContract, AReplacementKeepsTheId) {
  given({"{'_id':1,'a':1,'b':2}"});
  EXPECT_EQ(replaced("{'_id':1}", "{'c':3}"), "ok");
  EXPECT_EQ(all(), "{'_id':1,'c':3}");
}

TEST_P(StoreContract, OnlyOneOfSeveralMatchesIsReplaced) {
  given({"{'_id':1,'a':1}", "{'_id':2,'a':1}"});
  EXPECT_EQ(replaced("{'a':1}", "{'b':1}"), "ok");
  EXPECT_EQ(counted("{'b':1}"), "1");
  EXPECT_EQ(counted("{'a':1}"), "1");
}

TEST_P(StoreContract, AReplacementByAnEmptyDocumentLeavesTheIdAlone) {
  given({"{'_id':1,'a':1}"});
  EXPECT_EQ(replaced("{'_id':1}", "{}"), "ok");
  EXPECT_EQ(all(), "{'_id':1}");
}

TEST_P(StoreContract, AReplacementMayRepeatTheIdButNotChangeIt) {
  given({"{'_id':1,'a':1}"});
  EXPECT_EQ(replaced("{'a':1}", "{'_id':1,'a':2}"), "ok");
  EXPECT_EQ(replaced("{'a':2}", "{'_id':9,'a':3}"), "error 66");
  EXPECT_EQ(all(), "{'_id':1,'a':2}");
}

TEST_P(StoreContract, OperatorsAreNoReplacement) {
  given({"{'_id':1,'a':1}"});
  EXPECT_NE(replaced("{'_id':1}", "{'$set':{'a':2}}"), "ok");
  EXPECT_EQ(all(), "{'_id':1,'a':1}");
}

TEST_P(StoreContract, AReplacementWithoutAMatchDoesNothing) {
  given({"{'_id':1}"});
  EXPECT_EQ(replaced("{'_id':9}", "{'a':1}"), "ok");
  EXPECT_EQ(all(), "{'_id':1}");
}

TEST_P(StoreContract, AReplacementWithoutAMatchMayInsert) {
  EXPECT_EQ(replaced("{'_id':9,'b':5}", "{'a':1}", 1), "ok");
  EXPECT_EQ(all(), "{'_id':9,'a':1}");
}

TEST_P(StoreContract, AnInsertingReplacementWithoutAnIdIsGivenOne) {
  EXPECT_EQ(replaced("{'b':5}", "{'a':1}", 1), "ok");
  EXPECT_EQ(counted("{'_id':{'$type':'objectId'},'a':1,'b':{'$exists':false}}"), "1");
}

// Set.

TEST_P(StoreContract, SetChangesTheKeysInEveryMatch) {
  given({"{'_id':1,'a':1,'b':1}", "{'_id':2,'a':1}", "{'_id':3,'a':2}"});
  EXPECT_EQ(set("{'a':1}", "{'b':7,'c':8}"), "ok");
  EXPECT_EQ(all(), "{'_id':1,'a':1,'b':7,'c':8}\n{'_id':2,'a':1,'b':7,'c':8}\n{'_id':3,'a':2}");
}

TEST_P(StoreContract, SetCreatesMissingParents) {
  given({"{'_id':1}"});
  EXPECT_EQ(set("{'_id':1}", "{'a.b.c':1}"), "ok");
  EXPECT_EQ(all(), "{'_id':1,'a':{'b':{'c':1}}}");
}

TEST_P(StoreContract, SetRefusesAScalarOrNullInTheWay) {
  given({"{'_id':1,'a':5}", "{'_id':2,'a':null}"});
  EXPECT_EQ(set("{'_id':1}", "{'a.b':1}"), "error 28");
  EXPECT_EQ(set("{'_id':2}", "{'a.b':1}"), "error 28");
}

TEST_P(StoreContract, SetReachesIntoAnArrayByIndexAndPadsWithNull) {
  given({"{'_id':1,'a':[1]}"});
  EXPECT_EQ(set("{'_id':1}", "{'a.0':7,'a.3':9}"), "ok");
  EXPECT_EQ(all(), "{'_id':1,'a':[7,null,null,9]}");
}

TEST_P(StoreContract, SetRefusesAKeyOnAnArray) {
  given({"{'_id':1,'a':[1]}"});
  EXPECT_EQ(set("{'_id':1}", "{'a.b':7}"), "error 28");
}

TEST_P(StoreContract, SetRefusesAPathBesideItsPrefix) {
  given({"{'_id':1}"});
  EXPECT_EQ(set("{'_id':1}", "{'a':1,'a.b':2}"), "error 40");
}

TEST_P(StoreContract, SetMayRepeatTheIdButNotChangeIt) {
  given({"{'_id':1,'a':1}"});
  EXPECT_EQ(set("{'_id':1}", "{'_id':1,'a':2}"), "ok");
  EXPECT_EQ(set("{'_id':1}", "{'_id':2}"), "error 66");
  EXPECT_EQ(all(), "{'_id':1,'a':2}");
}

TEST_P(StoreContract, SetRefusesAnEmptyPartOfAPath) {
  given({"{'_id':1}"});
  EXPECT_EQ(set("{'_id':1}", "{'a..b':1}"), "error 56");
}

TEST_P(StoreContract, SetWithoutAMatchMayInsertWithTheSelectorsEqualities) {
  EXPECT_EQ(set("{'_id':9,'b':5,'c.d':6,'e':{'$gt':3},'$and':[{'f':7},{'g':{'$eq':8}}]}", "{'a':1}", 1), "ok");
  EXPECT_EQ(documents("{}", "{'a':1}"), "{'_id':9,'a':1}");
  EXPECT_EQ(counted("{'_id':9,'b':5,'c':{'d':6},'e':{'$exists':false},'f':7,'g':8}"), "1");
}

TEST_P(StoreContract, ADocumentThatSetInsertsHasTheSelectorsKeysInOrder) {
  EXPECT_EQ(set("{'_id':9,'b.x':1,'$and':[{'Z':5}],'a':2}", "{'c':3}", 1), "ok");
  EXPECT_EQ(all(), "{'_id':9,'Z':5,'a':2,'b':{'x':1},'c':3}");
}

TEST_P(StoreContract, ASelectorThatDemandsTwoValuesOfOneFieldInsertsNothing) {
  EXPECT_EQ(set("{'a.b':1,'$and':[{'a':2}]}", "{'c':3}", 1), "error 54");
  EXPECT_EQ(set("{'a':1,'$and':[{'a':2}]}", "{'c':3}", 1), "error 54");
  EXPECT_EQ(all(), "");
}

TEST_P(StoreContract, SetAddsNewKeysInTheOrderOfTheirNames) {
  given({"{'_id':1,'m':1}"});
  EXPECT_EQ(set("{'_id':1}", "{'z':1,'b.y':2,'a':3,'b.c':4}"), "ok");
  EXPECT_EQ(all(), "{'_id':1,'m':1,'a':3,'b':{'c':4,'y':2},'z':1}");
}

TEST_P(StoreContract, SetKeepsAnExistingKeysPlace) {
  given({"{'_id':1,'a':1,'b':2}"});
  EXPECT_EQ(set("{'_id':1}", "{'a':{'x':1}}"), "ok");
  EXPECT_EQ(all(), "{'_id':1,'a':{'x':1},'b':2}");
}

// Append.

TEST_P(StoreContract, AppendAddsToTheArrayInEveryMatch) {
  given({"{'_id':1,'g':1,'list':[{'a':1}]}", "{'_id':2,'g':1}", "{'_id':3,'g':2}"});
  EXPECT_EQ(appended("{'g':1}", "{'list':{'b':2}}"), "ok");
  EXPECT_EQ(all(), "{'_id':1,'g':1,'list':[{'a':1},{'b':2}]}\n{'_id':2,'g':1,'list':[{'b':2}]}\n{'_id':3,'g':2}");
}

TEST_P(StoreContract, AppendRefusesWhatIsNoArray) {
  given({"{'_id':1,'list':5}", "{'_id':2,'list':null}"});
  EXPECT_EQ(appended("{'_id':1}", "{'list':{'b':2}}"), "error 2");
  EXPECT_EQ(appended("{'_id':2}", "{'list':{'b':2}}"), "error 2");
}

TEST_P(StoreContract, AnAppendedArrayIsOneElement) {
  given({"{'_id':1,'list':[]}"});
  EXPECT_EQ(appended("{'_id':1}", "{'list':[1,2]}"), "ok");
  EXPECT_EQ(all(), "{'_id':1,'list':[[1,2]]}");
}

TEST_P(StoreContract, AppendWithoutAMatchMayInsert) {
  EXPECT_EQ(appended("{'_id':9}", "{'list':{'b':2}}", 1), "ok");
  EXPECT_EQ(all(), "{'_id':9,'list':[{'b':2}]}");
}

// Flags.

TEST_P(StoreContract, OtherFlagsAndOperationsAreRefused) {
  given({"{'_id':1}"});
  for (const int operation : {0, 2, 4, 8, 10, -1}) EXPECT_EQ(updated("{}", "{'a':1}", operation), "query") << operation;
  for (const int flags : {2, -1, 3}) EXPECT_EQ(updated("{}", "{'a':1}", 1, flags), "query") << flags;
  EXPECT_EQ(all(), "{'_id':1}");
}

// Remove.

TEST_P(StoreContract, RemoveTakesEveryMatch) {
  given({"{'_id':1,'a':1}", "{'_id':2,'a':1}", "{'_id':3,'a':2}"});
  EXPECT_EQ(removed("{'a':1}"), "ok");
  EXPECT_EQ(all(), "{'_id':3,'a':2}");
}

TEST_P(StoreContract, RemovingAnAbsentRecordLeavesTheOthers) {
  given({"{'_id':1}"});
  EXPECT_EQ(removed("{'_id':9}"), "ok");
  EXPECT_EQ(all(), "{'_id':1}");
}

TEST_P(StoreContract, AnEmptyQueryRemovesEverything) {
  given({"{'_id':1}", "{'_id':2}"});
  EXPECT_EQ(removed("{}"), "ok");
  EXPECT_EQ(all(), "");
}

TEST_P(StoreContract, ARefusedRemovalTakesNothing) {
  given({"{'_id':1}"});
  EXPECT_EQ(removed("{'a':{'$nope':1}}"), "error 2");
  EXPECT_EQ(all(), "{'_id':1}");
}

// Between clients.

TEST_P(StoreContract, WhatOneClientWroteAnotherReads) {
  given({"{'_id':1}"});
  database_client::DataBaseClient other;
  connect(other);
  EXPECT_EQ(other.count("experiment", "contract", ObjectProperties{}), 1);
  other.remove("experiment", "contract", ObjectProperties{});
  EXPECT_EQ(counted("{}"), "0");
}

TEST_P(StoreContract, CollectionsAndDatabasesAreApart) {
  given({"{'_id':1}"});
  const ObjectProperties one = document("{'_id':1}");
  std::string id;
  EXPECT_EQ(outcome([&] { client.insert("experiment", "contract.other", &one, id); }), "ok");
  EXPECT_EQ(outcome([&] { client.insert("base", "contract", &one, id); }), "ok");
  EXPECT_EQ(removed("{}"), "ok");
  EXPECT_EQ(client.count("experiment", "contract.other", ObjectProperties{}), 1);
  EXPECT_EQ(client.count("base", "contract", ObjectProperties{}), 1);
}

TEST_P(StoreContract, IdsOfTheClientAreNeverTheSame) {
  const std::string first = client.createId();
  EXPECT_THAT(first, ::testing::MatchesRegex("[0-9a-f]{24}"));
  EXPECT_NE(first, client.createId());
}

}  // namespace database_test
