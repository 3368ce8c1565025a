// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>
#include <functional>

#include "client/bson/base64.h"
#include "tests/client/server/ServerTest.h"

// What a server answers is believed only as far as it goes.

namespace database_client {
namespace {

using database_test::answer;
using database_test::answerOf;
using database_test::batch;
using database_test::bsonOf;
using database_test::failing;
using database_test::lastBatch;
using database_test::nextBatch;
using database_test::openBatch;
using database_test::refusal;
using database_test::Step;
using ::testing::HasSubstr;

const std::string lost = "connection retryable";
const std::string lostWrite = "connection retryable outcomeUnknown";

using Bytes = std::vector<std::uint8_t>;

class Answer : public ServerTest {
 protected:
  void SetUp() override { ASSERT_EQ(connect(), "true"); }

  /// The bytes, with another byte so far behind the first place of `mark`.
  static Bytes damaged(Bytes bytes, const std::string& mark, int behind, std::uint8_t byte) {
    const auto at = std::search(bytes.begin(), bytes.end(), mark.begin(), mark.end());
    EXPECT_NE(at, bytes.end());
    *(at + behind) = byte;
    return bytes;
  }
  /// An answer to a request that was never made.
  static Step foreign(const std::string& json) {
    Step step = answer(json);
    step.fate = Step::Fate::foreignResponse;
    return step;
  }
};

TEST_F(Answer, WhatOnlyAFileStoreDoesIsRefusedByName) {
  const auto refused = [this](const std::function<void()>& operation) {
    const std::string kind = outcome([&] {
      operation();
      return "done";
    });
    return kind + ": " + message();
  };
  const std::string rest = " is not possible on this kind of store";
  EXPECT_EQ(refused([this] { client.beginTransaction(); }), "unsupported: beginTransaction" + rest);
  EXPECT_EQ(refused([this] { client.commitTransaction(); }), "unsupported: commitTransaction" + rest);
  EXPECT_EQ(refused([this] { client.rollbackTransaction(); }), "unsupported: rollbackTransaction" + rest);
  EXPECT_EQ(refused([this] { client.check(); }), "unsupported: check" + rest);
  EXPECT_EQ(refused([this] { client.compact(); }), "unsupported: compact" + rest);
  EXPECT_EQ(refused([this] { client.backup("copy.db"); }), "unsupported: backup" + rest);
  EXPECT_EQ(refused([this] { client.repair("copy.db"); }), "unsupported: repair" + rest);
  EXPECT_EQ(insert(), "ok");
}

TEST_F(Answer, InsertWithoutACountIsNoSuccess) {
  server.script("insert", {answer(R"({"ok": 1})")});
  EXPECT_EQ(insert(), lostWrite);
  EXPECT_EQ(insert(), "ok");
}

TEST_F(Answer, InsertThatCountsNothingIsNoSuccess) {
  server.script("insert", {answer(R"({"ok": 1, "n": 0})")});
  EXPECT_EQ(insert(), lostWrite);
  EXPECT_THAT(message(), HasSubstr("0 documents instead of 1"));
}

TEST_F(Answer, InsertThatCountsTooManyIsNoSuccess) {
  server.script("insert", {answer(R"({"ok": 1, "n": 2})")});
  EXPECT_EQ(insert(), lostWrite);
}

TEST_F(Answer, DamagedInsertIsNoSuccess) {
  const Bytes bytes = bsonOf(R"({"ok": 1, "n": 1, "more": "text"})");
  server.script("insert", {answerOf(damaged(bytes, "more", 5, 0x7F))});  // the length of the text
  EXPECT_EQ(insert(), lostWrite);
  EXPECT_EQ(insert(), "ok");
}

TEST_F(Answer, BulkInsertThatCountsTooFewIsNoSuccess) {
  server.script("insert", {answer(R"({"ok": 1, "n": 2})")});
  EXPECT_EQ(insertMany(3), lostWrite);
}

TEST_F(Answer, BulkInsertReportsEachRefusedDocument) {
  server.script("insert",
                {answer(R"({"ok": 1, "n": 2, "writeErrors": [{"index": 1, "code": 11000, "errmsg": "dup"}]})")});
  EXPECT_EQ(insertMany(3), "ok 1:duplicateKey 11000");
}

TEST_F(Answer, RefusalOfADocumentThatWasNotSentIsNoAnswer) {
  server.script("insert",
                {answer(R"({"ok": 1, "n": 2, "writeErrors": [{"index": 7, "code": 11000, "errmsg": "dup"}]})")});
  EXPECT_EQ(insertMany(3), lostWrite);
}

TEST_F(Answer, AnswerToAnotherRequestIsNotTakenForThisOne) {
  server.script("insert", {foreign(R"({"ok": 1, "n": 1})")});
  server.script("find", {foreign(batch(R"({"_id": 1})").answer), foreign(batch(R"({"_id": 1})").answer)});
  EXPECT_EQ(insert(), lostWrite);
  EXPECT_THAT(message(), HasSubstr("it answers request"));
  EXPECT_EQ(insert(), "ok");
  EXPECT_EQ(find(), lost);
  EXPECT_EQ(find(), "0");
}

TEST_F(Answer, ReplacementWithoutACountIsNoSuccess) {
  server.script("update", {answer(R"({"ok": 1})")});
  EXPECT_EQ(update(1), lostWrite);
  EXPECT_EQ(update(1), "ok");
}

TEST_F(Answer, UpsertThatNeitherMatchedNorInsertedIsNoSuccess) {
  server.script("update", {answer(R"({"ok": 1, "n": 0, "nModified": 0})")});
  EXPECT_EQ(update(3), lostWrite);
}

TEST_F(Answer, UpdateWithoutUpsertMayMatchNothing) {
  server.script("update", {answer(R"({"ok": 1, "n": 0, "nModified": 0})")});
  EXPECT_EQ(update(3, 0), "ok");
}

TEST_F(Answer, UpdateWithoutUpsertThatDoesNotCountIsNoSuccess) {
  server.script("update", {answer(R"({"ok": 1})")});
  EXPECT_EQ(update(9, 0), lostWrite);
}

TEST_F(Answer, ReplacementOfSeveralIsNoSuccess) {
  server.script("update", {answer(R"({"ok": 1, "n": 2, "nModified": 2})")});
  EXPECT_EQ(update(1), lostWrite);
}

TEST_F(Answer, RemovalWithoutACountIsNoSuccess) {
  server.script("delete", {answer(R"({"ok": 1})")});
  EXPECT_EQ(remove(), lostWrite);
  EXPECT_EQ(remove(), "ok");
}

TEST_F(Answer, WritesTellWhatTheServerCounted) {
  server.script("update",
                {answer(R"({"ok": 1, "n": 5, "nModified": 3})"), answer(R"({"ok": 1, "n": 1, "nModified": 0})"),
                 answer(R"({"ok": 1, "n": 1, "nModified": 0, "upserted": [{"index": 0, "_id": 1}]})")});
  EXPECT_EQ(updateCounted(3), "5 3 0");
  EXPECT_EQ(updateCounted(1), "1 0 0");
  EXPECT_EQ(updateCounted(1), "0 0 1");
  server.script("delete", {answer(R"({"ok": 1, "n": 4})"), answer(R"({"ok": 1})")});
  EXPECT_EQ(removeCounted(), "4");
  EXPECT_EQ(removeCounted(), lostWrite);
}

TEST_F(Answer, PageBehindARecordIsAskedForInTheOrderOfIds) {
  FindOptions options;
  options.after = "b";
  const auto ask = [&] {
    return outcome([&] {
      client.findEach("d", "c", document(R"({"n": 1})"), options, [](ObjectProperties&) { return true; });
      return "ok";
    });
  };
  for (const int limit : {0, 1}) {  // A limit of 1 is a command of its own.
    options.limit = limit;
    options.sort = ObjectProperties();
    EXPECT_EQ(ask(), "ok");
    EXPECT_THAT(sent("find"), HasSubstr(R"("sort" : { "_id" : { "$numberInt" : "1" } })"));
    EXPECT_THAT(sent("find"),
                HasSubstr(R"("filter" : { "$and" : [ { "n" : { "$numberInt" : "1" } }, { "$or" : [ )"
                          R"({ "_id" : { "$gt" : "b" } }, { "_id" : { "$type" : [ { "$numberInt" : "3" }, )"));
    options.sort = document(R"({"_id": -1})");
    EXPECT_EQ(ask(), "ok");
    EXPECT_THAT(sent("find"), HasSubstr(R"("sort" : { "_id" : { "$numberInt" : "-1" } })"));
    EXPECT_THAT(sent("find"), HasSubstr(R"({ "_id" : { "$lt" : "b" } }, )"
                                        R"({ "_id" : { "$type" : [ { "$numberInt" : "-1" }, )"));
  }
}

TEST_F(Answer, DamagedLengthInABatchLeavesTheListAlone) {
  const Bytes bytes = bsonOf(R"({"cursor": {"firstBatch": [{"_id": 1}, {"_id": 2}, {"_id": 3}],
      "id": {"$numberLong": "0"}, "ns": "d.c"}, "ok": 1})");
  const Step step = answerOf(damaged(bytes, std::string("\x03") + "1" + '\0', 3, 0x70));
  server.script("find", {step, step});
  EXPECT_EQ(find(), lost);
  EXPECT_EQ(find(), "0");
}

TEST_F(Answer, DamagedDocumentLeavesTheListAlone) {
  const Bytes bytes = bsonOf(R"({"cursor": {"firstBatch": [{"_id": 1}, {"text": "MARK"}],
      "id": {"$numberLong": "0"}, "ns": "d.c"}, "ok": 1})");
  const Step step = answerOf(damaged(bytes, "MARK", 0, 0xFF));  // no UTF-8
  server.script("find", {step, step});
  EXPECT_EQ(find(), lost);
  EXPECT_THAT(message(), HasSubstr("text"));
  EXPECT_EQ(find(), "0");
}

TEST_F(Answer, DocumentNestedTenThousandDeepIsRefusedAndNotWalked) {
  constexpr std::size_t levels = 10000;
  Bytes deep;
  for (std::size_t level = 0; level <= levels; ++level) {
    const auto size = static_cast<std::int32_t>(5 + 8 * (levels - level));
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(&size);
    deep.insert(deep.end(), bytes, bytes + sizeof size);
    if (level < levels) deep.insert(deep.end(), {3, 'a', 0});
  }
  deep.insert(deep.end(), levels + 1, 0);
  const Step step = answerOf(database_test::withBatch(deep));
  server.script("find", {step, step});
  EXPECT_EQ(find(), lost);
  EXPECT_EQ(find(), "0");
}

TEST_F(Answer, ReadOfOneDocumentEndsWithItsFirstAnswer) {
  server.script("find", {batch(R"({"_id": 1})")});
  EXPECT_EQ(find(1), "1");
  EXPECT_EQ(found.front()->valueAsInt32("_id", 0), 1);
  const std::string sent = server.received("find").back().json;
  EXPECT_THAT(sent, HasSubstr(R"("limit" : { "$numberLong" : "1" })"));
  EXPECT_THAT(sent, HasSubstr(R"("singleBatch" : true)"));
  EXPECT_EQ(find(1), "0");
}

TEST_F(Answer, MoreDocumentsThanTheLimitAreNoResult) {
  for (const int limit : {1, 2}) {
    server.script("find", {batch(R"({"_id": 1}, {"_id": 2}, {"_id": 3})")});
    EXPECT_EQ(find(limit), "server") << limit;
    EXPECT_THAT(message(), HasSubstr("more than the " + std::to_string(limit)));
  }
  EXPECT_EQ(find(1), "0");
}

TEST_F(Answer, ReadOfOneDocumentWithoutABatchIsAnError) {
  for (const char* json : {R"({"ok": 1})", R"({"ok": 1, "cursor": {}})"}) {
    server.script("find", {answer(json), answer(json)});
    EXPECT_EQ(find(1), lost) << json;
  }
  EXPECT_EQ(find(1), "0");
}

TEST_F(Answer, BatchThatIsNoListOfDocumentsIsNoResult) {
  for (const char* cursor : {"7", R"({"firstBatch": [7]})", R"({"firstBatch": ["text"]})",
                             R"({"firstBatch": [{"_id": 1}, 7, {"_id": 2}]})"}) {
    const Step step = answer(R"({"ok": 1, "cursor": )" + std::string(cursor) + "}");
    for (const int limit : {0, 1}) {
      server.script("find", {step, step});
      EXPECT_EQ(find(limit), "server") << cursor;
    }
  }
  for (const char* cursor : {R"({"firstBatch": 7})", R"({"id": "text", "firstBatch": []})"}) {
    const Step step = answer(R"({"ok": 1, "cursor": )" + std::string(cursor) + "}");
    server.script("find", {step, step});
    EXPECT_EQ(find(), lost) << cursor;
  }
  EXPECT_EQ(find(), "0");
}

TEST_F(Answer, NextBatchThatIsNoListOfDocumentsIsNoEnd) {
  for (const char* documents : {"7", R"("text", {"_id": 2})", "null"}) {
    server.script("find", {openBatch(R"({"_id": 1})")});
    server.script("getMore", {lastBatch(documents)});
    EXPECT_EQ(find(), "server") << documents;
  }
  EXPECT_EQ(find(), "0");
}

TEST_F(Answer, EmptyBatchIsNotTheEndOfAFind) {
  server.script("find", {openBatch("")});
  server.script("getMore", {nextBatch(""), nextBatch(R"({"_id": 1})"), nextBatch(""), nextBatch(""),
                            nextBatch(R"({"_id": 2}, {"_id": 3})"), nextBatch(""), lastBatch(R"({"_id": 4})")});
  EXPECT_EQ(find(), "4");
  server.script("find", {openBatch(R"({"_id": 1})")});
  server.script("getMore", {nextBatch(""), nextBatch(""), lastBatch("")});
  EXPECT_EQ(find(), "1");
}

TEST_F(Answer, EmptyBatchIsNotTheEndOfWhatIsHandedOver) {
  server.script("find", {openBatch("")});
  server.script("getMore", {nextBatch(""), nextBatch(R"({"_id": 1})"), nextBatch(""), lastBatch(R"({"_id": 2})")});
  std::string seen;
  client.findEach("d", "c", document("{}"), document("{}"), 0, 0, [&](ObjectProperties& one) {
    seen += std::to_string(one.valueAsInt32("_id", 0));
    return true;
  });
  EXPECT_EQ(seen, "12");
}

TEST_F(Answer, EmptyBatchIsNotTheEndOfAnAggregation) {
  server.script("aggregate", {openBatch("")});
  server.script("getMore", {nextBatch(""), nextBatch(R"({"_id": 1})"), nextBatch(""), lastBatch(R"({"_id": 2})")});
  std::list<ObjectProperties*> documents;
  client.aggregate("d", "c", document(R"({"pipeline": []})"), documents);
  EXPECT_EQ(documents.size(), 2U);
  for (const ObjectProperties* one : documents) delete one;
}

TEST_F(Answer, EmptyBatchIsNotTheEndOfACount) {
  server.script("aggregate", {openBatch("")});
  server.script("getMore", {nextBatch(""), nextBatch(""), lastBatch(R"({"_id": 1, "n": 4})")});
  EXPECT_EQ(client.count("d", "c", document("{}")), 4);
}

TEST_F(Answer, EmptyBatchIsNotTheEndOfTheCollections) {
  server.script("listCollections", {openBatch("")});
  server.script("getMore",
                {nextBatch(""), nextBatch(R"({"name": "b"})"), nextBatch(""), lastBatch(R"({"name": "a"})")});
  EXPECT_EQ(client.collectionNames("d"), (std::list<std::string>{"a", "b"}));
}

TEST_F(Answer, EmptyBatchIsNotTheEndOfTheIndexes) {
  server.script("listIndexes", {openBatch("")});
  server.script("getMore", {nextBatch(""), nextBatch(""), lastBatch(R"({"key": {"a": 1}, "name": "mine"})")});
  DeploymentPlan plan;
  plan.indexes.push_back({"d", "c", {"a"}});
  client.setUpDeployment(plan);
  EXPECT_EQ(timesSent("createIndexes"), 0U);
}

TEST_F(Answer, EmptyBatchesWithoutEndAreATimeout) {
  ASSERT_EQ(connectWith("socketTimeoutMS=300"), "true");
  server.script("find", {openBatch(R"({"_id": 1})")});
  server.always("getMore", nextBatch(""));
  EXPECT_EQ(find(), "timeout retryable");
  EXPECT_THAT(message(), HasSubstr("one empty batch after the other"));
  EXPECT_GE(elapsed, 290);
  EXPECT_LT(elapsed, 5000);
  EXPECT_EQ(timesSent("find"), 1U);
  EXPECT_EQ(timesSent("killCursors"), 1U);
  EXPECT_EQ(find(), "0");
}

TEST_F(Answer, WriteThatIsNotSaidToBeASuccessIsNone) {
  for (const char* ok : {R"("n": 1)", R"("ok": 0, "n": 1)", R"("ok": "1", "n": 1)", R"("ok": null, "n": 1)",
                         R"("ok": {}, "n": 1)", R"("ok": false, "n": 1)"}) {
    const Step step = answer("{" + std::string(ok) + "}");
    server.script("insert", {step, step});
    server.script("update", {step});
    server.script("delete", {step});
    EXPECT_EQ(insert(), "server outcomeUnknown") << ok;
    EXPECT_EQ(insertMany(1), "server outcomeUnknown") << ok;
    EXPECT_EQ(update(1), "server outcomeUnknown") << ok;
    EXPECT_EQ(remove(), "server outcomeUnknown") << ok;
    EXPECT_EQ(insert(), "ok");
  }
}

TEST_F(Answer, WriteWhoseAnswerMakesNoSenseIsNoSuccess) {
  for (const char* more : {R"("n": -1)", R"("n": "1")", R"("n": null)", R"("n": 0.5)", R"("n": 1, "writeErrors": 7)",
                           R"("n": 1, "writeErrors": {})", R"("n": 0, "writeErrors": [{"index": 0}])",
                           R"("n": 0, "writeErrors": [{"index": -1, "code": 8, "errmsg": "odd"}])",
                           R"("n": 0, "writeErrors": [{"index": 0, "code": 8}])"}) {
    const Step step = answer(R"({"ok": 1, )" + std::string(more) + "}");
    server.script("insert", {step, step});
    server.script("update", {step});
    server.script("delete", {step});
    EXPECT_EQ(insert(), "server outcomeUnknown") << more;
    EXPECT_EQ(insertMany(1), "server outcomeUnknown") << more;
    EXPECT_EQ(update(3), "server outcomeUnknown") << more;
    EXPECT_EQ(remove(), "server outcomeUnknown") << more;
  }
  server.script("update", {answer(R"({"ok": 1, "n": 1, "nModified": -1})")});
  EXPECT_EQ(update(3), "server outcomeUnknown");
  server.script("insert", {answer(R"({"ok": 1, "n": 1, "writeErrors": ["text"]})")});
  EXPECT_EQ(insert(), lostWrite);
  server.script("update", {answer(R"({"ok": 1, "n": 1, "upserted": 7})")});
  EXPECT_EQ(update(3), "server outcomeUnknown");
  EXPECT_EQ(insert(), "ok");
}

TEST_F(Answer, ReadThatIsNotSaidToBeASuccessIsNone) {
  for (const char* ok : {"", R"("ok": 0, )", R"("ok": "1", )", R"("ok": null, )"}) {
    const Step step = answer("{" + std::string(ok) + R"("cursor": {"id": {"$numberLong": "0"}, "ns": "d.c",
        "firstBatch": [{"_id": 1}]}})");
    for (const int limit : {0, 1}) {
      server.script("find", {step, step});
      EXPECT_EQ(find(limit), "server") << ok;
    }
  }
  EXPECT_EQ(find(), "0");
}

TEST_F(Answer, ReadIsRepeatedOnceAfterAnAnswerThatMakesNoSense) {
  const int before = server.connections();
  server.script("find", {answer(R"({"ok": "yes"})"), batch(R"({"_id": 1})")});
  EXPECT_EQ(find(), "1");
  EXPECT_GT(server.connections(), before);
}

TEST_F(Answer, CountThatIsNoneIsNoCount) {
  const auto count = [this] {
    return outcome([this] { return std::to_string(client.count("d", "c", document("{}"))); });
  };
  for (const char* counted : {R"({"_id": 1})", R"({"n": "4"})", R"({"n": -1})", R"({"n": 0.5})", R"({"n": null})",
                              R"({"n": 1}, {"n": 2})", "7"}) {
    server.script("aggregate", {batch(counted), batch(counted)});
    EXPECT_EQ(count(), "server") << counted;
  }
  server.script("aggregate", {batch(R"({"n": 4.0})"), batch("")});
  EXPECT_EQ(count(), "4");
  EXPECT_EQ(count(), "0");
}

TEST_F(Answer, ListThatIsNoneIsNotEmpty) {
  const auto list = [this] { return outcome([this] { return std::to_string(client.databaseNames().size()); }); };
  for (const char* databases : {"", R"(, "databases": 7)", R"(, "databases": {})", R"(, "databases": ["a"])"}) {
    const Step step = answer(R"({"ok": 1)" + std::string(databases) + "}");
    server.script("listDatabases", {step, step});
    EXPECT_EQ(list(), "server") << databases;
  }
  server.script("listDatabases", {answer(R"({"ok": 1, "databases": []})")});
  EXPECT_EQ(list(), "0");
}

TEST_F(Answer, ConnectionIsNotProvedByAnAnswerThatMakesNoSense) {
  server.always("ping", answer(R"({"ok": "yes"})"));
  EXPECT_EQ(connect(), "false");
  EXPECT_THAT(client.failure(), HasSubstr("makes no sense"));
}

TEST_F(Answer, ReasonThatIsNoTextIsShownEscaped) {
  const Bytes plain = bsonOf(R"({"ok": 0, "code": 8, "errmsg": "MARK"})");
  const Bytes bytes = damaged(damaged(plain, "MARK", 0, 0xFF), "ARK", 1, 0x1B);
  server.script("find", {answerOf(bytes)});
  EXPECT_EQ(find(), "server 8");
  EXPECT_THAT(message(), HasSubstr(R"(\xFFA\x1BK)"));
}

TEST_F(Answer, DamageInAReadOfOneDocumentLeavesTheListAlone) {
  const Bytes bytes = bsonOf(R"({"cursor": {"firstBatch": [{"_id": 1, "text": "MARK"}],
      "id": {"$numberLong": "0"}, "ns": "d.c"}, "ok": 1})");
  const Step length = answerOf(damaged(bytes, std::string("\x03") + "0" + '\0', 3, 0x70));
  const Step text = answerOf(damaged(bytes, "MARK", 0, 0xFF));  // no UTF-8
  server.script("find", {length, length, text, text});
  EXPECT_EQ(find(1), lost);
  EXPECT_EQ(find(1), lost);
  EXPECT_THAT(message(), HasSubstr("text"));
  EXPECT_EQ(find(1), "0");
}

TEST_F(Answer, ReadOfOneDocumentMayFindOneOfAHundredLevels) {
  std::string json = "1";
  for (int level = 0; level < 100; ++level) json.insert(0, R"({"a": )").append("}");
  const Bytes deep = ObjectProperties::fromJson(json).toBson();
  server.script("find", {answerOf(database_test::withBatch(deep))});
  EXPECT_EQ(find(1), "1");
}

TEST_F(Answer, KindsWithoutAnAccessorComeBackUnchanged) {
  const std::string json = R"({"_id": 1, "c": {"$code": "a\u0000b"}, "s": {"$code": "z\u0000", "$scope": {"k": 1}},
      "r": {"$regularExpression": {"pattern": "x", "options": "imsx"}}, "m": {"$minKey": 1}})";
  server.script("find", {batch(json)});
  EXPECT_EQ(find(), "1");
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found.front()->toBson(), bsonOf(json));
}

TEST_F(Answer, KindsWithoutAnAccessorAreSentUnchanged) {
  const std::string json = R"({"_id": 1, "c": {"$code": "a\u0000b"}})";
  EXPECT_EQ(insert(json), "ok");
  const Bytes wire = server.received("insert").back().wire;
  const Bytes inserted = bsonOf(json);
  EXPECT_NE(std::search(wire.begin(), wire.end(), inserted.begin(), inserted.end()), wire.end());
}

TEST_F(Answer, AbsurdLengthEndsTheConnection) {
  const int before = server.connections();
  server.script("find", {failing(Step::Fate::absurdLength), failing(Step::Fate::absurdLength)});
  EXPECT_EQ(find(), lost);
  EXPECT_EQ(find(), "0");
  EXPECT_GT(server.connections(), before);
}

TEST_F(Answer, GarbageEndsTheConnection) {
  server.script("insert", {failing(Step::Fate::garbage)});
  EXPECT_EQ(insert(), lostWrite);
  EXPECT_EQ(insert(), "ok");
}

/// The message, as if it had been compressed by none, with this size for what was in it.
Bytes asCompressed(const Bytes& message, std::int32_t size) {
  Bytes bytes(message.begin(), message.begin() + 16);
  const std::int32_t length = static_cast<std::int32_t>(message.size()) + 9;
  const std::int32_t opCode = 2012;
  std::memcpy(bytes.data(), &length, sizeof length);
  bytes.insert(bytes.end(), message.begin() + 12, message.begin() + 16);
  std::memcpy(bytes.data() + 12, &opCode, sizeof opCode);
  const auto* stated = reinterpret_cast<const std::uint8_t*>(&size);
  bytes.insert(bytes.end(), stated, stated + sizeof size);
  bytes.push_back(0);
  bytes.insert(bytes.end(), message.begin() + 16, message.end());
  return bytes;
}

TEST_F(Answer, FalseUncompressedSizeIsDamage) {
  std::int32_t more = 0;
  server.alter([&](const std::string& command, Bytes& message) {
    if (command == "find") message = asCompressed(message, static_cast<std::int32_t>(message.size()) - 16 + more);
  });
  server.always("find", batch(R"({"_id": 1})"));
  EXPECT_EQ(find(), "1");
  for (const std::int32_t difference : {-1, 1, 1000000, 47000000, 0x7FFF0000, -1000}) {
    more = difference;
    EXPECT_EQ(find(), lost) << difference;
    EXPECT_THAT(message(), HasSubstr("uncompressed"));
  }
}

TEST_F(Answer, ErrorWithoutItsCodeIsDamage) {
  const Step odd = answer(R"({"ok": 0, "code": 0, "errmsg": "odd"})");
  for (const char* command : {"find", "insert", "update", "delete", "listDatabases"}) server.always(command, odd);
  EXPECT_EQ(find(), lost);
  EXPECT_THAT(message(), HasSubstr(R"(damaged answer: "code" is not a code)"));
  EXPECT_EQ(insert(), lostWrite);
  EXPECT_EQ(update(1), lostWrite);
  EXPECT_EQ(remove(), lostWrite);
  EXPECT_EQ(outcome([&] { return std::to_string(client.databaseNames().size()); }), lost);
  server.always("hello", odd);
  EXPECT_EQ(connect(), "false");
}

TEST_F(Answer, CursorOfNoCollectionIsDamage) {
  for (const char* name : {R"("d")", R"("")", R"(".c")", R"("d.")", "7"}) {
    const Step step = answer(R"({"ok": 1, "cursor": {"id": {"$numberLong": "7"}, "ns": )" + std::string(name) +
                             R"(, "firstBatch": [{"_id": 1}]}})");
    server.script("find", {step, step});
    EXPECT_EQ(find(), lost) << name;
  }
}

TEST_F(Answer, CountThatTheServerKeepsTheCursorOfIsRead) {
  server.script("aggregate", {answer(R"({"ok": 1, "cursor": {"id": {"$numberLong": "7"}, "ns": "d.c",
      "firstBatch": [{"_id": 1, "n": 3}]}})")});
  server.script("getMore",
                {answer(R"({"ok": 1, "cursor": {"id": {"$numberLong": "0"}, "ns": "d.c", "nextBatch": []}})")});
  EXPECT_EQ(client.count("d", "c", document("{}")), 3);
}

TEST_F(Answer, BytesThatNobodyAskedForEndTheConnection) {
  server.alter([](const std::string& command, Bytes& message) {
    if (command == "insert") message.insert(message.end(), message.begin(), message.end());
  });
  EXPECT_EQ(insert(), lostWrite);
  server.alter({});
  EXPECT_EQ(insert(), "ok");
}

TEST_F(Answer, GreetingOfTheWrongKindsIsNoConnection) {
  for (const char* field :
       {R"("maxWireVersion": "17")", R"("maxBsonObjectSize": "16777216")", R"("ismaster": "yes")", R"("hosts": "h")",
        R"("setName": 7)", R"("hosts": [7])", R"("compression": [7])", R"("maxWriteBatchSize": 0)"}) {
    server.always("hello", answer(R"({"ok": 1, "ismaster": true, "maxWireVersion": 17, )" + std::string(field) + "}"));
    EXPECT_EQ(connect(), "false") << field;
    EXPECT_THAT(client.failure(), HasSubstr("damaged answer")) << field;
  }
}

/// What a server says first in a conversation of SCRAM.
Step challenge(const std::string& iterations) {
  const std::string text = "r=x,s=AAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAAA==,i=" + iterations;
  return answer(R"({"conversationId": 1, "done": false, "payload": {"$binary": {"base64": ")" + bson::toBase64(text) +
                R"(", "subType": "00"}}, "ok": 1})");
}

TEST_F(Answer, ServerThatAsksForTooManyIterationsIsLeft) {
  server.always("saslStart", challenge("2000000000"));
  EXPECT_EQ(connect("127.0.0.1", server.port(), "anna", "pw"), "false");
  EXPECT_THAT(client.failure(), HasSubstr("2000000000 iterations"));
  EXPECT_EQ(timesSent("saslContinue"), 0U);
}

TEST_F(Answer, HandshakeThatDripsIsATimeout) {
  Step slow = challenge("4096");
  slow.drip = 50;
  server.always("saslStart", slow);
  EXPECT_EQ(connect("mongodb://anna:pw@" + server.host() + "/?connectTimeoutMS=500&socketTimeoutMS=60000"), "false");
  EXPECT_THAT(client.failure(), HasSubstr("timeout: no end of the handshake within 500 ms"));
  EXPECT_EQ(find(), lost);
}

TEST_F(Answer, CodesOfTheServerAreNotTakenForThoseOfTheDriver) {
  server.script("find", {refusal(11, "no such thing")});  // the driver's own 11 is a refused user
  EXPECT_EQ(find(), "server 11");
}

TEST_F(Answer, KeysAreSentAsTheyAre) {
  EXPECT_EQ(insert(R"({"_id": 1, "": 2, "$odd": 3, "a.b": 4})"), "ok");
  EXPECT_THAT(sent("insert"), HasSubstr(R"("" : { "$numberInt" : "2" }, "$odd" : { "$numberInt" : "3" }, "a.b")"));
}

TEST_F(Answer, FilterThatMakesNoSenseIsAQueryError) {
  server.script("find", {refusal(2, "unknown operator: $foo")});
  EXPECT_EQ(find(), "query 2");
  EXPECT_EQ(error->where(), server.host());
}

TEST_F(Answer, StageThatTheServerDoesNotKnowIsAQueryError) {
  server.script("aggregate", {refusal(40324, "Unrecognized pipeline stage name: '$nope'")});
  std::list<ObjectProperties*> documents;
  const std::string text = outcome([&] {
    client.aggregate("d", "c", document(R"({"pipeline": [{"$nope": 1}]})"), documents);
    return "ok";
  });
  EXPECT_EQ(text, "query 40324");
}

TEST_F(Answer, AnyOtherRefusalIsAServerErrorAndLeavesTheConnectionOpen) {
  server.script("find", {refusal(8000, "odd")});
  EXPECT_EQ(find(), "server 8000");
  EXPECT_TRUE(client.isConnected());
}

}  // namespace
}  // namespace database_client
