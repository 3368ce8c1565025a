// SPDX-License-Identifier: Apache-2.0

// How many documents a write met, in which order a find gives its matches, and pages.

#include <algorithm>
#include <string>
#include <vector>

#include "tests/contract/Contract.h"

namespace database_test {

using database_client::DataBaseClient;
using database_client::FindOptions;
using database_client::ObjectProperties;
using database_client::UpdateOperation;
using database_client::UpdateResult;

namespace {

const char* const database = "experiment";
const char* const collection = "contract";

/// "matched modified inserted".
std::string countedUpdate(DataBaseClient& client, const std::string& selector, const std::string& change, int operation,
                          int flags = 0) {
  UpdateResult result;
  const std::string failure = outcome([&] {
    result = client.updateCounted(database, collection, document(selector), document(change), flags, operation);
  });
  if (failure != "ok") return failure;
  return std::to_string(result.matched) + " " + std::to_string(result.modified) + " " + std::to_string(result.inserted);
}

FindOptions options(const std::string& sort, const std::string& after = "", int limit = 0, int skip = 0) {
  FindOptions result;
  result.sort = document(sort);
  result.after = after;
  result.limit = limit;
  result.skip = skip;
  return result;
}

/// The "_id"s in the order in which they come, with a blank behind each.
std::string ids(DataBaseClient& client, const std::string& query, const FindOptions& options) {
  std::string found;
  const std::string failure = outcome([&] {
    client.findEach(database, collection, document(query), options, [&found](ObjectProperties& one) {
      ObjectProperties id;
      id.copyValue("id", one, "_id");
      const std::string shown = text(id);
      constexpr std::size_t before = sizeof("{'id':") - 1;
      found += shown.substr(before, shown.size() - before - 1) + " ";
      return true;
    });
  });
  return failure == "ok" ? found : failure;
}

/// Pages of `limit` one after the other, each behind the last record of the one before, with a bar behind each.
std::string pages(DataBaseClient& client, const std::string& query, const std::string& sort, int limit) {
  std::string found;
  std::string after;
  for (int count = -1; count != 0;) {
    count = 0;
    client.findEach(database, collection, document(query), options(sort, after, limit), [&](ObjectProperties& one) {
      after = one.valueAsId("_id", "");
      found += after + " ";
      return ++count > 0;
    });
    if (count > 0) found += "| ";
  }
  return found;
}

/// Inserts so many documents {n: 0}, {n: 1}, … whose ids the client makes, and gives these.
std::vector<std::string> insertSome(DataBaseClient& client, int number) {
  std::vector<std::string> made;
  for (int n = 0; n < number; ++n) {
    ObjectProperties one;
    made.push_back(client.createId());
    one.setValueId("_id", made.back());
    one.setValueInt32("n", n);
    std::string id;
    client.insert(database, collection, &one, id);
  }
  return made;
}

std::string joined(const std::vector<std::string>& ids, std::size_t from = 0) {
  std::string text;
  for (std::size_t i = from; i < ids.size(); ++i) text += ids[i] + " ";
  return text;
}

void removeById(DataBaseClient& client, const std::string& id) {
  ObjectProperties query;
  query.setValueId("_id", id);
  EXPECT_EQ(client.removeCounted(database, collection, query), 1);
}

std::string withoutBars(std::string text) {
  for (std::size_t at = text.find("| "); at != std::string::npos; at = text.find("| ")) text.erase(at, 2);
  return text;
}

}  // namespace

// Numbers of what was written.

TEST_P(StoreContract, AChangeOfManyTellsHowManyItMetAndHowManyAreOthersNow) {
  given({"{'_id':1,'a':1,'b':7}", "{'_id':2,'a':1,'b':8}", "{'_id':3,'a':2}"});
  EXPECT_EQ(countedUpdate(client, "{'a':1}", "{'b':7}", UpdateOperation::set), "2 1 0");
  EXPECT_EQ(countedUpdate(client, "{'a':1}", "{'b':7}", UpdateOperation::set), "2 0 0");
  EXPECT_EQ(countedUpdate(client, "{'a':1}", "{'list':1}", UpdateOperation::append), "2 2 0");
  EXPECT_EQ(countedUpdate(client, "{'a':9}", "{'b':7}", UpdateOperation::set), "0 0 0");
  EXPECT_EQ(countedUpdate(client, "{'a':{'$nope':1}}", "{'b':7}", UpdateOperation::set), "error 2");
  EXPECT_EQ(all(), "{'_id':1,'a':1,'b':7,'list':[1]}\n{'_id':2,'a':1,'b':7,'list':[1]}\n{'_id':3,'a':2}");
}

TEST_P(StoreContract, AReplacementTellsWhetherAnythingIsOther) {
  given({"{'_id':1,'a':1}", "{'_id':2,'a':1}"});
  EXPECT_EQ(countedUpdate(client, "{'a':1}", "{'a':2}", UpdateOperation::replace), "1 1 0");
  EXPECT_EQ(countedUpdate(client, "{'a':2}", "{'a':2}", UpdateOperation::replace), "1 0 0");
  EXPECT_EQ(countedUpdate(client, "{'a':9}", "{'a':2}", UpdateOperation::replace), "0 0 0");
}

TEST_P(StoreContract, WhatAnUpdateInsertsIsNoMatch) {
  EXPECT_EQ(countedUpdate(client, "{'_id':1}", "{'a':1}", UpdateOperation::replace, 1), "0 0 1");
  EXPECT_EQ(countedUpdate(client, "{'_id':1}", "{'a':2}", UpdateOperation::replace, 1), "1 1 0");
  EXPECT_EQ(countedUpdate(client, "{'_id':2}", "{'a':3}", UpdateOperation::set, 1), "0 0 1");
  EXPECT_EQ(all(), "{'_id':1,'a':2}\n{'_id':2,'a':3}");
}

TEST_P(StoreContract, ARemovalTellsHowManyItTook) {
  given({"{'_id':1,'a':1}", "{'_id':2,'a':1}", "{'_id':3,'a':2}"});
  EXPECT_EQ(outcome([&] { client.removeCounted(database, collection, document("{'a':{'$nope':1}}")); }), "error 2");
  EXPECT_EQ(client.removeCounted(database, collection, document("{'a':1}")), 2);
  EXPECT_EQ(client.removeCounted(database, collection, document("{'a':1}")), 0);
  EXPECT_EQ(client.removeCounted(database, collection, document("{'_id':3}")), 1);
  EXPECT_EQ(client.removeCounted(database, "nothingYet", document("{}")), 0);
}

// Order.

TEST_P(StoreContract, AStoreTellsWhetherItKeepsInsertionOrder) {
  const std::string file = "embedded";
  EXPECT_EQ(client.keepsInsertionOrder(), engine().compare(0, file.size(), file) == 0);
}

TEST_P(StoreContract, ASortGivesItsOrder) {
  given({"{'_id':1,'a':2,'b':{'c':1}}", "{'_id':2,'a':1,'b':{'c':5}}", "{'_id':3,'a':2,'b':{'c':9}}", "{'_id':4}",
         "{'_id':5,'a':'x'}", "{'_id':6,'a':[0,7]}"});
  EXPECT_EQ(ids(client, "{'a':{'$type':'number'}}", options("{'a':1,'b.c':-1}")), "6 2 3 1 ");
  EXPECT_EQ(ids(client, "{}", options("{'a':-1,'_id':1}")), "5 6 1 3 2 4 ");
  EXPECT_EQ(ids(client, "{}", options("{'a':1,'_id':-1}")), "4 6 2 3 1 5 ");
}

TEST_P(StoreContract, ASortIsPagedByLimitAndSkip) {
  given({"{'_id':1,'a':3}", "{'_id':2,'a':5}", "{'_id':3,'a':1}", "{'_id':4,'a':4}", "{'_id':5,'a':2}"});
  EXPECT_EQ(ids(client, "{}", options("{'a':1}", "", 2)), "3 5 ");
  EXPECT_EQ(ids(client, "{}", options("{'a':1}", "", 2, 2)), "1 4 ");
  EXPECT_EQ(ids(client, "{}", options("{'a':1}", "", 0, 3)), "4 2 ");
  EXPECT_EQ(ids(client, "{}", options("{'a':-1}", "", 1)), "2 ");
  EXPECT_EQ(ids(client, "{'a':{'$gt':1}}", options("{'_id':-1}", "", 3, 1)), "4 2 1 ");
  EXPECT_EQ(ids(client, "{}", options("{'_id':-1}", "", 2, 1)), "4 3 ");
}

TEST_P(StoreContract, ASortedFindTakesAProjection) {
  given({"{'_id':1,'a':2,'b':3}", "{'_id':2,'a':1,'b':4}"});
  FindOptions wanted = options("{'a':1}");
  wanted.projection = document("{'b':true}");
  std::string found;
  client.findEach(database, collection, document("{}"), wanted, [&found](ObjectProperties& one) {
    found += text(one);
    return true;
  });
  EXPECT_EQ(found, "{'_id':2,'b':4}{'_id':1,'b':3}");
}

TEST_P(StoreContract, ASortThatMakesNoSenseIsRefusedByItsKey) {
  given({"{'_id':1}"});
  const auto refused = [this](const std::string& sort) -> std::string {
    try {
      client.findEach(database, collection, document("{}"), options(sort), [](ObjectProperties&) { return true; });
    } catch (const database_client::Error& error) {
      return toString(error.kind()) + (" " + error.where());
    }
    return "ok";
  };
  EXPECT_EQ(refused("{'a':1,'b':2}"), "query b");
  EXPECT_EQ(refused("{'a':0}"), "query a");
  EXPECT_EQ(refused("{'a':'x'}"), "query a");
  EXPECT_EQ(refused("{'a':true}"), "query a");
  EXPECT_EQ(refused("{'a':{'$meta':'textScore'}}"), "query a");
  EXPECT_EQ(refused("{'':1}"), "query ");
  EXPECT_EQ(refused("{'a..b':1}"), "query a..b");
  EXPECT_EQ(refused("{'a.':1}"), "query a.");
  EXPECT_EQ(refused("{'$a':1}"), "query $a");
  EXPECT_EQ(refused("{'a':1.0,'b':{'$numberLong':'-1'}}"), "ok");
}

TEST_P(StoreContract, WithoutOptionsAFindIsThatOfAll) {
  given({"{'_id':1}", "{'_id':2}"});
  EXPECT_EQ(ids(client, "{}", {}).size(), std::string("1 2 ").size());
  FindOptions negative;
  negative.limit = -1;
  EXPECT_EQ(ids(client, "{}", negative), "error 51024");
  EXPECT_EQ(ids(client, "{'a':{'$nope':1}}", {}), "error 2");
  EXPECT_EQ(ids(client, "{'a':{'$nope':1}}", options("{'_id':1}")), "error 2");
}

// Pages.

TEST_P(StoreContract, PagesBehindTheirLastRecordsAddUpToTheWhole) {
  const std::vector<std::string> made = insertSome(client, 7);
  const std::vector<std::string> backwards(made.rbegin(), made.rend());
  for (const int limit : {1, 3, 7, 8}) {
    EXPECT_EQ(withoutBars(pages(client, "{}", "{}", limit)), joined(made)) << limit;
    EXPECT_EQ(withoutBars(pages(client, "{}", "{'_id':1}", limit)), joined(made)) << limit;
    EXPECT_EQ(withoutBars(pages(client, "{}", "{'_id':-1}", limit)), joined(backwards)) << limit;
  }
  EXPECT_EQ(pages(client, "{'n':{'$gt':3}}", "{}", 2), made[4] + " " + made[5] + " | " + made[6] + " | ");
  EXPECT_EQ(pages(client, "{'n':{'$lt':3}}", "{'_id':-1}", 2), made[2] + " " + made[1] + " | " + made[0] + " | ");
}

TEST_P(StoreContract, TheRecordBeforeAPageNeedNotMatch) {
  const std::vector<std::string> made = insertSome(client, 5);
  FindOptions behindSecond = options("{}", made[1], 2);
  std::string found;
  const auto note = [&found](ObjectProperties& one) {
    found += std::to_string(one.valueAsInt32("n", -1)) + " ";
    return true;
  };
  client.findEach(database, collection, document("{'n':{'$ne':1}}"), behindSecond, note);
  EXPECT_EQ(found, "2 3 ");
  found.clear();
  behindSecond.skip = 1;
  client.findEach(database, collection, document("{'n':{'$in':[0,2,4]}}"), behindSecond, note);
  EXPECT_EQ(found, "4 ");
}

TEST_P(StoreContract, PagesInTheOrderOfIdsGoThroughEachKindOfId) {
  given({"{'_id':true}", "{'_id':{'$oid':'0000000000000000000000b2'}}", "{'_id':'bb'}", "{'_id':5}",
         "{'_id':{'$oid':'0000000000000000000000a1'}}", "{'_id':'c'}", "{'_id':'b'}", "{'_id':-2.5}"});
  const std::string first = "{'$oid':'0000000000000000000000a1'} ";
  const std::string second = "{'$oid':'0000000000000000000000b2'} ";
  EXPECT_EQ(ids(client, "{}", options("{'_id':1}")), "-2.5 5 'b' 'bb' 'c' " + first + second + "true ");
  EXPECT_EQ(ids(client, "{}", options("{'_id':1}", "b")), "'bb' 'c' " + first + second + "true ");
  EXPECT_EQ(ids(client, "{}", options("{'_id':1}", "0000000000000000000000a1")), second + "true ");
  EXPECT_EQ(ids(client, "{}", options("{'_id':-1}", "0000000000000000000000a1")), "'c' 'bb' 'b' 5 -2.5 ");
  EXPECT_EQ(ids(client, "{}", options("{'_id':-1}", "bb", 2)), "'b' 5 ");
  EXPECT_EQ(ids(client, "{'_id':{'$type':['string','bool']}}", options("{'_id':1}", "b", 2, 1)), "'c' true ");
}

TEST_P(StoreContract, APageMayBeginBehindARecordThatIsGone) {
  const std::vector<std::string> made = insertSome(client, 6);
  removeById(client, made[2]);
  EXPECT_EQ(ids(client, "{}", options("{}", made[2], 1)), "{'$oid':'" + made[3] + "'} ");
  EXPECT_EQ(ids(client, "{}", options("{'_id':1}", made[2], 1)), "{'$oid':'" + made[3] + "'} ");
  EXPECT_EQ(ids(client, "{}", options("{'_id':-1}", made[2], 1)), "{'$oid':'" + made[1] + "'} ");
  removeById(client, made[3]);
  EXPECT_EQ(ids(client, "{}", options("{}", made[2], 1)), "{'$oid':'" + made[4] + "'} ");
  removeById(client, made[5]);
  EXPECT_EQ(ids(client, "{}", options("{}", made[5])), "");
  removeById(client, made[0]);
  EXPECT_EQ(ids(client, "{}", options("{}", made[0], 1)), "{'$oid':'" + made[1] + "'} ");
  given({"{'_id':'b'}", "{'_id':'d'}"});
  EXPECT_EQ(ids(client, "{}", options("{'_id':1}", "c", 1)), "'d' ");
}

TEST_P(StoreContract, InAnotherOrderNoRecordComesBehindAnother) {
  given({"{'_id':'a'}"});
  EXPECT_EQ(ids(client, "{}", options("{'n':1}", "a")), "query");
  EXPECT_EQ(ids(client, "{}", options("{'_id':1,'n':1}", "a")), "query");
  EXPECT_EQ(ids(client, "{}", options("{}", std::string("a\0b", 3))), "query");
}

TEST_P(StoreContract, ACollectionThatIsNotThereHasNoPages) {
  int found = 0;
  const auto count = [&found](ObjectProperties&) { return ++found > 0; };
  for (const char* sort : {"{}", "{'_id':1}", "{'n':1}"}) {
    client.findEach(database, "nothingYet", document("{}"), options(sort), count);
  }
  client.findEach(database, "nothingYet", document("{}"), options("{}", "a"), count);
  client.findEach(database, "nothingYet", document("{}"), options("{'_id':1}", "a"), count);
  EXPECT_EQ(found, 0);
}

}  // namespace database_test
