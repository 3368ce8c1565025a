// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <sys/socket.h>

#include <vector>

#include "tests/client/server/ServerTest.h"
#include "tests/support/FaultProxy.h"
#include "tests/support/Socket.h"

// Each way in which a server or the way to it can fail: what the caller sees, how soon, and that the next call works.

namespace database_client {
namespace {

using database_test::answer;
using database_test::batch;
using database_test::failing;
using database_test::FaultProxy;
using database_test::refusal;
using database_test::Step;
using ::testing::HasSubstr;

const std::string lost = "connection retryable";
const std::string lostWrite = "connection retryable outcomeUnknown";
const std::string slow = "timeout retryable";
const std::string slowWrite = "timeout retryable outcomeUnknown";
const std::string shortTimes = "connectTimeoutMS=300&socketTimeoutMS=300&serverSelectionTimeoutMS=300";
constexpr long long soon = 2000;  // milliseconds

class Failure : public ServerTest {};

// The server is not there.

TEST_F(Failure, ServerThatIsDownIsNamedWithTheCause) {
  server.stop();
  EXPECT_EQ(connect(), "false");
  EXPECT_FALSE(client.isConnected());
  EXPECT_THAT(client.failure(), HasSubstr(server.host()));
  EXPECT_THAT(client.failure(), HasSubstr("refused"));
  EXPECT_LT(elapsed, soon);
}

TEST_F(Failure, CauseIsNotHiddenByASecondAttemptSoonAfter) {
  server.stop();
  EXPECT_EQ(connect(), "false");
  const std::string first = client.failure();
  EXPECT_EQ(connect(), "false");
  EXPECT_EQ(client.failure(), first);
}

TEST_F(Failure, EveryOperationRepeatsWhyTheClientIsNotConnected) {
  server.stop();
  EXPECT_EQ(connect(), "false");
  EXPECT_EQ(insert(), lost);
  EXPECT_EQ(message(), client.failure());
  EXPECT_EQ(find(), lost);
  EXPECT_EQ(message(), client.failure());
}

TEST_F(Failure, ConnectWorksOnceTheServerIsBack) {
  server.stop();
  EXPECT_EQ(connect(), "false");
  server.start();
  EXPECT_EQ(connect(), "true");
  EXPECT_EQ(client.failure(), "");
  EXPECT_EQ(insert(), "ok");
}

TEST_F(Failure, ClientThatWasConnectedFindsTheServerAgain) {
  EXPECT_EQ(connect(), "true");
  server.stop();
  EXPECT_EQ(find(), lost);
  EXPECT_FALSE(client.isConnected());
  EXPECT_THAT(message(), HasSubstr("refused"));
  server.start();
  EXPECT_EQ(find(), "0");
  EXPECT_TRUE(client.isConnected());
}

TEST_F(Failure, WriteThatWasNeverSentSaysSo) {
  EXPECT_EQ(connect(), "true");
  server.stop();
  find();
  EXPECT_EQ(insert(), lost);  // not "outcome unknown"
  server.start();
  EXPECT_EQ(insert(), "ok");
}

TEST_F(Failure, CallWhileNotConnectedIsAConnectionError) {
  EXPECT_EQ(insert(), "connection");
  EXPECT_EQ(find(), "connection");
  EXPECT_EQ(connect(), "true");
  client.disconnect();
  EXPECT_EQ(remove(), "connection");
}

TEST_F(Failure, NameThatDoesNotResolveIsToldInTime) {
  EXPECT_EQ(connect("no-such-host.invalid", server.port()), "false");
  EXPECT_THAT(client.failure(), HasSubstr("no-such-host.invalid"));
  EXPECT_LT(elapsed, 12000);
}

TEST_F(Failure, ServerThatAcceptsNoConnectionIsGivenUpInTime) {
  int port = 0;
  const int listener = database_test::listenOn(port);
  ::listen(listener, 0);
  std::vector<int> waiting{database_test::connectTo(port)};  // fills the queue; later attempts get no answer
  EXPECT_EQ(connect("mongodb://127.0.0.1:" + std::to_string(port) + "/?" + shortTimes), "false");
  EXPECT_LT(elapsed, soon);
  EXPECT_THAT(client.failure(), HasSubstr("timeout"));
  EXPECT_EQ(find(), lost);
  for (const int connection : waiting) database_test::closeSocket(connection);
  database_test::closeSocket(listener);
}

TEST_F(Failure, NextAddressOfAHostIsTriedWhenOneRefuses) {
  EXPECT_EQ(connect("localhost", server.port()), "true");  // ::1 as well, where nobody listens
  EXPECT_EQ(insert(), "ok");
}

TEST_F(Failure, ServerThatDoesNotGreetIsGivenUpInTime) {
  server.always("hello", failing(Step::Fate::silence));
  EXPECT_EQ(connectWith(shortTimes), "false");
  EXPECT_LT(elapsed, soon);
  EXPECT_THAT(client.failure(), HasSubstr(server.host()));
  EXPECT_EQ(find(), lost);
}

TEST_F(Failure, ServerThatGreetsWithGarbageIsNoDatabase) {
  server.always("hello", failing(Step::Fate::garbage));
  EXPECT_EQ(connectWith(shortTimes), "false");
  EXPECT_LT(elapsed, soon);
}

TEST_F(Failure, ServerThatIsTooOldIsRefused) {
  server.always("hello", answer(R"({"ok": 1, "ismaster": true, "minWireVersion": 0, "maxWireVersion": 2})"));
  EXPECT_EQ(connect(), "false");
  EXPECT_THAT(client.failure(), HasSubstr("wire version"));
}

// The server dies at work.

TEST_F(Failure, ServerThatDiesDuringAWriteLeavesItsOutcomeUnknown) {
  EXPECT_EQ(connect(), "true");
  server.script("insert", {failing(Step::Fate::close)});
  EXPECT_EQ(insert(), lostWrite);
  EXPECT_THAT(message(), HasSubstr("outcome unknown"));
  EXPECT_EQ(error->where(), server.host());
  EXPECT_EQ(timesSent("insert"), 1U);  // a single server does not tell a repetition, so there is none
  EXPECT_EQ(insert(), "ok");
}

TEST_F(Failure, ResetDuringAWriteIsNoSignal) {
  EXPECT_EQ(connect(), "true");
  server.script("insert", {failing(Step::Fate::reset)});
  server.script("update", {failing(Step::Fate::reset)});
  server.script("delete", {failing(Step::Fate::reset)});
  EXPECT_EQ(insert(), lostWrite);
  EXPECT_EQ(update(1), lostWrite);
  EXPECT_EQ(remove(), lostWrite);
  EXPECT_EQ(insert(), "ok");
}

TEST_F(Failure, AnswerThatBreaksOffLeavesAWriteUnknown) {
  EXPECT_EQ(connect(), "true");
  server.script("insert", {failing(Step::Fate::cut)});
  EXPECT_EQ(insertMany(10), lostWrite);
  EXPECT_EQ(insertMany(10), "ok");
}

TEST_F(Failure, WriteIsRepeatedWhereTheServerTellsARepetition) {
  server.pose({database_test::Pose::Role::primary, "set", {server.host()}, server.host()});
  EXPECT_EQ(connect(), "true");
  server.script("insert", {failing(Step::Fate::close)});
  EXPECT_EQ(insert(), "ok");
  ASSERT_EQ(timesSent("insert"), 2U);
  EXPECT_THAT(sent("insert"), HasSubstr("txnNumber"));
}

TEST_F(Failure, ServerThatDiesDuringAReadIsAskedAgain) {
  EXPECT_EQ(connect(), "true");
  server.script("find", {failing(Step::Fate::close), batch(R"({"_id": 1})")});
  EXPECT_EQ(find(), "1");
  EXPECT_EQ(timesSent("find"), 2U);
}

TEST_F(Failure, ServerThatDiesDuringAReadOfOneDocumentIsAskedAgain) {
  EXPECT_EQ(connect(), "true");
  server.script("find", {failing(Step::Fate::close), batch(R"({"_id": 1})"), failing(Step::Fate::close),
                         failing(Step::Fate::reset), refusal(8000, "odd")});
  EXPECT_EQ(find(1), "1");
  EXPECT_EQ(find(1), lost);
  EXPECT_EQ(find(1), "server 8000");
  EXPECT_EQ(timesSent("find"), 5U);
}

TEST_F(Failure, ReadIsRepeatedOnlyOnce) {
  EXPECT_EQ(connect(), "true");
  server.script("find", {failing(Step::Fate::close), failing(Step::Fate::reset), batch("")});
  EXPECT_EQ(find(), lost);
  EXPECT_EQ(timesSent("find"), 2U);
  EXPECT_EQ(find(), "0");
}

TEST_F(Failure, ReadIsNotRepeatedWhereTheAddressSaysSo) {
  EXPECT_EQ(connectWith("retryReads=false"), "true");
  server.script("find", {failing(Step::Fate::close)});
  EXPECT_EQ(find(), lost);
  EXPECT_EQ(timesSent("find"), 1U);
}

TEST_F(Failure, CommandsThatOnlyReadAreRepeatedToo) {
  EXPECT_EQ(connect(), "true");
  server.script("listDatabases", {failing(Step::Fate::close), answer(R"({"ok": 1, "databases": [{"name": "b"}]})")});
  EXPECT_EQ(client.databaseNames(), std::list<std::string>{"b"});
}

TEST_F(Failure, ServerThatGoesWhileFetchingLeavesTheListAlone) {
  EXPECT_EQ(connect(), "true");
  const Step first =
      answer(R"({"ok": 1, "cursor": {"id": {"$numberLong": "7"}, "ns": "d.c", "firstBatch": [{"_id": 1}]}})");
  server.script("find", {first});
  server.script("getMore", {failing(Step::Fate::close)});
  EXPECT_EQ(find(), lost);
  EXPECT_EQ(find(), "0");
}

TEST_F(Failure, CursorThatTheServerKilledIsAnError) {
  EXPECT_EQ(connect(), "true");
  const Step first =
      answer(R"({"ok": 1, "cursor": {"id": {"$numberLong": "7"}, "ns": "d.c", "firstBatch": [{"_id": 1}]}})");
  server.script("find", {first});
  server.script("getMore", {refusal(43, "cursor id 7 not found")});
  EXPECT_EQ(find(), "server 43");
  EXPECT_TRUE(client.isConnected());
}

TEST_F(Failure, CursorThatIsNotReadToItsEndIsKilled) {
  EXPECT_EQ(connect(), "true");
  server.script(
      "find",
      {answer(R"({"ok": 1, "cursor": {"id": {"$numberLong": "7"}, "ns": "d.c", "firstBatch": [{"_id": 1}]}})")});
  client.findEach("d", "c", document("{}"), document("{}"), 0, 0, [](ObjectProperties&) { return false; });
  EXPECT_EQ(timesSent("killCursors"), 1U);
}

TEST_F(Failure, CollectionsThatAreUsedInTurnAreNotMixedUp) {
  EXPECT_EQ(connect(), "true");
  const auto counted = [this](const char* database, const char* collection) {
    std::string id;
    const ObjectProperties one = document("{}");
    client.insert(database, collection, &one, id);
    const database_test::Request request = server.received("insert").back();
    return request.database + " " + request.json.substr(0, request.json.find(','));
  };
  EXPECT_EQ(counted("d", "c"), R"(d { "insert" : "c")");
  EXPECT_EQ(counted("d", "e"), R"(d { "insert" : "e")");
  EXPECT_EQ(counted("f", "e"), R"(f { "insert" : "e")");
  EXPECT_EQ(counted("d", "c"), R"(d { "insert" : "c")");
}

TEST_F(Failure, ReceiverThatThrowsEndsTheReadAndNothingElse) {
  EXPECT_EQ(connect(), "true");
  server.script(
      "find",
      {answer(R"({"ok": 1, "cursor": {"id": {"$numberLong": "7"}, "ns": "d.c", "firstBatch": [{"_id": 1}]}})")});
  const auto read = [&] {
    client.findEach("d", "c", document("{}"), document("{}"), 0, 0,
                    [](ObjectProperties&) -> bool { throw std::runtime_error("enough"); });
  };
  EXPECT_THROW(read(), std::runtime_error);
  EXPECT_EQ(timesSent("killCursors"), 1U);
  EXPECT_EQ(find(), "0");
}

TEST_F(Failure, ClientLostWhileItsDocumentsAreReadIsLeftInPeace) {
  EXPECT_EQ(connect(), "true");
  server.script("find", {batch(R"({"_id": 1}, {"_id": 2}, {"_id": 3})")});
  server.script("insert", {failing(Step::Fate::close)});
  std::string seen;
  client.findEach("d", "c", document("{}"), document("{}"), 0, 0, [&](ObjectProperties& one) {
    seen += std::to_string(one.valueAsInt32("_id", 0)) + (insert() == "ok" ? "+" : "-");
    return true;
  });
  EXPECT_EQ(seen, "1-2+3+");
}

// The server is slow.

TEST_F(Failure, SlowServerIsATimeoutAndTheNextCallConnectsAgain) {
  EXPECT_EQ(connectWith(shortTimes), "true");
  server.script("find", {failing(Step::Fate::silence)});
  EXPECT_EQ(find(), slow);
  EXPECT_LT(elapsed, soon);
  EXPECT_FALSE(client.isConnected());
  EXPECT_EQ(find(), "0");
}

TEST_F(Failure, SlowWriteIsUnknown) {
  EXPECT_EQ(connectWith(shortTimes), "true");
  server.script("insert", {failing(Step::Fate::silence)});
  EXPECT_EQ(insert(), slowWrite);
  EXPECT_LT(elapsed, soon);
  EXPECT_EQ(timesSent("insert"), 1U);
  EXPECT_EQ(insert(), "ok");
}

// The caller gives up.

TEST_F(Failure, ReadThatIsGivenUpEndsBeforeItsAnswerAndTheNextCallConnectsAgain) {
  EXPECT_EQ(connect(), "true");
  server.script("find", {failing(Step::Fate::silence)});
  int left = 3;
  client.setCancellation([&left] { return left-- > 0; });
  EXPECT_EQ(find(), "cancelled");
  EXPECT_LT(elapsed, soon);
  EXPECT_EQ(timesSent("find"), 1U);
  client.setCancellation({});
  EXPECT_EQ(find(), "0");
}

TEST_F(Failure, WriteThatIsGivenUpIsUnknown) {
  EXPECT_EQ(connect(), "true");
  server.script("insert", {failing(Step::Fate::silence)});
  int left = 3;
  client.setCancellation([&left] { return left-- > 0; });
  EXPECT_EQ(insert(), "cancelled outcomeUnknown");
  EXPECT_LT(elapsed, soon);
  client.setCancellation({});
  EXPECT_EQ(insert(), "ok");
}

TEST_F(Failure, ConnectThatIsGivenUpSaysSo) {
  client.setCancellation([] { return false; });
  server.always("hello", failing(Step::Fate::silence));
  EXPECT_EQ(connect(), "false");
  EXPECT_LT(elapsed, soon);
}

TEST_F(Failure, AnswerThatComesTooLateIsNotTakenForTheNext) {
  EXPECT_EQ(connectWith(shortTimes), "true");
  Step late = batch(R"({"_id": "late"})");
  late.delay = 600;
  server.script("find", {late});
  EXPECT_EQ(find(), slow);
  EXPECT_EQ(find(), "0");
}

TEST_F(Failure, PartitionIsATimeoutUntilItHeals) {
  FaultProxy proxy(server.port());
  const std::string address = "mongodb://127.0.0.1:" + std::to_string(proxy.port()) + "/?" + shortTimes;
  EXPECT_EQ(connect(address), "true");
  proxy.hold(true);
  EXPECT_EQ(insert(), slowWrite);
  EXPECT_EQ(insert(), slow);  // not even greeted, so nothing was sent
  EXPECT_LT(elapsed, soon);
  proxy.hold(false);
  EXPECT_EQ(insert(), "ok");
}

TEST_F(Failure, TrafficInSmallPiecesIsPutTogether) {
  FaultProxy proxy(server.port());
  proxy.slice(3);
  EXPECT_EQ(connect("127.0.0.1", proxy.port()), "true");
  EXPECT_EQ(insertMany(20), "ok");
  EXPECT_EQ(find(), "0");
}

// The server says no.

TEST_F(Failure, MissingRightIsAnAuthorizationError) {
  EXPECT_EQ(connect(), "true");
  server.script("find", {refusal(13, "not authorized on d to execute command")});
  server.script("insert", {refusal(13, "not authorized on d to execute command")});
  EXPECT_EQ(find(), "authorization 13");
  EXPECT_EQ(insert(), "authorization 13");
  EXPECT_TRUE(client.isConnected());
}

TEST_F(Failure, SecondDocumentWithOneIdIsADuplicateKey) {
  EXPECT_EQ(connect(), "true");
  server.script("insert",
                {answer(R"({"ok": 1, "n": 0, "writeErrors": [{"index": 0, "code": 11000, "errmsg": "E11000"}]})")});
  EXPECT_EQ(insert(), "duplicateKey 11000");
}

TEST_F(Failure, WriteThatIsNotReplicatedInTimeWasApplied) {
  EXPECT_EQ(connect(), "true");
  const Step step = answer(R"({"ok": 1, "n": 1, "nModified": 1, "writeConcernError": {"code": 64,
      "codeName": "WriteConcernFailed", "errmsg": "waiting for replication timed out"}})");
  server.script("insert", {step});
  server.script("update", {step});
  server.script("delete", {step});
  EXPECT_EQ(insert(), "server 64");
  EXPECT_THAT(message(), HasSubstr("applied, but not replicated"));
  EXPECT_EQ(update(1), "server 64");
  EXPECT_EQ(remove(), "server 64");
}

TEST_F(Failure, BulkInsertThatIsNotReplicatedInTimeWasApplied) {
  EXPECT_EQ(connect(), "true");
  server.script("insert", {answer(R"({"ok": 1, "n": 1, "writeErrors": [{"index": 0, "code": 11000, "errmsg": "E11000"}],
      "writeConcernError": {"code": 64, "errmsg": "waiting for replication timed out"}})")});
  EXPECT_EQ(insertMany(2), "server 64");
}

TEST_F(Failure, ServerThatIsAboutToStopIsATransientServerError) {
  EXPECT_EQ(connect(), "true");
  for (const int code : {10107, 189, 91, 13435}) {
    server.script("insert", {refusal(code, "not now")});
    EXPECT_EQ(insert(), "server " + std::to_string(code) + " retryable");
    EXPECT_EQ(insert(), "ok");
  }
}

TEST_F(Failure, WriteThatTheServerInterruptedIsUnknown) {
  EXPECT_EQ(connect(), "true");
  server.script("delete", {refusal(11602, "interrupted due to replication state change")});
  EXPECT_EQ(remove(), "server 11602 retryable outcomeUnknown");
}

TEST_F(Failure, WriteOfManyThatBreaksOffIsUnknown) {
  EXPECT_EQ(connect(), "true");
  for (const int code : {7, 112, 133, 134, 262}) {
    const std::string seen = "server " + std::to_string(code) + " retryable outcomeUnknown";
    const Step step = refusal(code, "not any more");
    server.script("update", {step, step});
    server.script("delete", {step});
    server.script("insert", {step, step});
    EXPECT_EQ(update(3), seen);
    EXPECT_EQ(update(9), seen);
    EXPECT_EQ(remove(), seen);
    EXPECT_EQ(insertMany(2), seen);
    EXPECT_EQ(insert(), "server " + std::to_string(code) + " retryable");  // one document is in or not
  }
  EXPECT_EQ(timesSent("update"), 10U);
}

TEST_F(Failure, WriteOfManyThatOneDocumentEndsIsUnknown) {
  EXPECT_EQ(connect(), "true");
  server.script("update", {refusal(11000, "E11000"), refusal(17419, "too large"), refusal(14031, "disk full"),
                           refusal(50, "time limit"), refusal(2, "unknown operator: $foo"), refusal(13, "no right")});
  EXPECT_EQ(update(3), "duplicateKey 11000 outcomeUnknown");
  EXPECT_EQ(update(3), "document 17419 outcomeUnknown");
  EXPECT_EQ(update(3), "server 14031 outcomeUnknown");
  EXPECT_EQ(update(3), "timeout 50 retryable outcomeUnknown");
  EXPECT_EQ(update(3), "query 2");  // found out before any document is touched
  EXPECT_EQ(update(3), "authorization 13");
}

TEST_F(Failure, WriteOfManyThatMeetsAValueItCannotChangeIsUnknown) {
  EXPECT_EQ(connect(), "true");
  server.script("update", {refusal(2, "must be an array but is of type int"), refusal(28, "cannot create field"),
                           refusal(66, "would modify the immutable field '_id'"), refusal(28, "cannot create field")});
  EXPECT_EQ(update(9), "query 2 outcomeUnknown");
  EXPECT_EQ(update(3), "query 28 outcomeUnknown");
  EXPECT_EQ(update(3), "query 66 outcomeUnknown");
  EXPECT_EQ(update(1), "query 28");  // one document is replaced or not
}

TEST_F(Failure, WriteOfManyTellsHowManyWereWritten) {
  EXPECT_EQ(connect(), "true");
  server.script("delete", {refusal(112, "conflict", R"(, "n": 3)")});
  EXPECT_EQ(remove(), "server 112 retryable outcomeUnknown");
  EXPECT_THAT(message(), HasSubstr("3 documents were written, others may have been"));
  server.script("update", {refusal(112, "conflict", R"(, "n": 4, "nModified": 1)")});
  EXPECT_EQ(update(9), "server 112 retryable outcomeUnknown");
  EXPECT_THAT(message(), HasSubstr("1 document was written, others may have been"));
  server.script("update", {refusal(13, "no right any more", R"(, "n": 4, "nModified": 4)")});
  EXPECT_EQ(update(9), "authorization 13 outcomeUnknown");
}

class Split : public Failure {
 protected:
  void SetUp() override {
    database_test::Pose pose;
    pose.maxWriteBatchSize = 2;
    server.pose(pose);
    ASSERT_EQ(connect(), "true");
  }
  const Step done = answer(R"({"ok": 1, "n": 2})");
};

TEST_F(Split, InsertThatBreaksOffIsUnknownAndTellsHowManyAreIn) {
  server.script("insert", {done, done, refusal(112, "conflict")});
  EXPECT_EQ(insertMany(6), "server 112 retryable outcomeUnknown");
  EXPECT_THAT(message(), HasSubstr("4 documents were written, others may have been"));
}

TEST_F(Split, InsertOfWhichOnlyAMiddlePartFailsTellsWhy) {
  server.script("insert", {done, refusal(262, "no time left"), done});
  EXPECT_EQ(insertMany(6), "server 262 retryable outcomeUnknown");
  EXPECT_THAT(message(), HasSubstr("no time left"));
}

TEST_F(Split, InsertWithARefusalAndABreakTellsOfTheBreak) {
  const Step refused = answer(R"({"ok": 1, "n": 1, "writeErrors": [{"index": 1, "code": 11000, "errmsg": "E11000"}]})");
  server.script("insert", {refused, refusal(112, "conflict"), done});
  EXPECT_EQ(insertMany(6), "server 112 retryable outcomeUnknown");
  server.script("insert", {refused, done, done});
  EXPECT_EQ(insertMany(6), "ok 1:duplicateKey 11000");
}

TEST_F(Split, InsertWhoseServerDiesIsUnknown) {
  server.script("insert", {done, failing(Step::Fate::close)});
  EXPECT_EQ(insertMany(6), lostWrite);
  EXPECT_EQ(insert(), "ok");
}

TEST_F(Split, InsertWhoseServerIsSilentIsUnknown) {
  ASSERT_EQ(connectWith(shortTimes), "true");
  server.script("insert", {done, failing(Step::Fate::silence)});
  EXPECT_EQ(insertMany(6), slowWrite);
  EXPECT_LT(elapsed, soon);
}

TEST_F(Failure, TroubleOfTheServerIsNotTheCallersQuery) {
  EXPECT_EQ(connect(), "true");
  for (const int code : {14031, 11601, 12586, 12587, 13388, 46841}) {
    server.script("find", {refusal(code, "odd")});
    server.script("insert", {refusal(code, "odd")});
    EXPECT_EQ(find(), "server " + std::to_string(code));
    EXPECT_EQ(insert(), "server " + std::to_string(code));
  }
}

TEST_F(Failure, DocumentThatTheCollectionsRulesRefuseIsADocumentError) {
  EXPECT_EQ(connect(), "true");
  server.script("insert", {answer(R"({"ok": 1, "n": 0, "writeErrors": [{"index": 0, "code": 121,
      "errmsg": "Document failed validation"}]})")});
  EXPECT_EQ(insert(), "document 121");
}

TEST_F(Failure, RouterThatGotNoAnswerInTimeLeavesAWriteUnknown) {
  EXPECT_EQ(connect(), "true");
  server.script("insert", {refusal(202, "request timed out")});
  EXPECT_EQ(insert(), "server 202 retryable outcomeUnknown");
}

TEST_F(Failure, ReadIsRepeatedAfterAStepDown) {
  EXPECT_EQ(connect(), "true");
  server.script("find", {refusal(189, "primary stepped down"), batch(R"({"_id": 1})")});
  EXPECT_EQ(find(), "1");
}

// What never gets as far as the network.

TEST_F(Failure, DocumentOverTheLimitIsNotSent) {
  EXPECT_EQ(connect(), "true");
  ObjectProperties large;
  std::string id;
  const std::string half(9 * 1024 * 1024, 'x');
  EXPECT_EQ(outcome([&] {
              large.setValueString("a", half);
              large.setValueString("b", half);
              client.insert("d", "c", &large, id);
              return "ok";
            }),
            "document");
  EXPECT_EQ(timesSent("insert"), 0U);
}

TEST_F(Failure, DocumentAtTheLimitIsSent) {
  EXPECT_EQ(connect(), "true");
  ObjectProperties large;
  std::string id;
  large.setValueInt32("_id", 1);
  large.setValueString("a", std::string(16 * 1024 * 1024 - 64, 'x'));
  EXPECT_EQ(outcome([&] { return client.insert("d", "c", &large, id) ? "ok" : "false"; }), "ok");
  EXPECT_EQ(outcome([&] {
              client.update("d", "c", document(R"({"_id": 1})"), large, 1, 1);
              return "ok";
            }),
            "ok");
}

TEST_F(Failure, FilterStageOrChangeOverTheLimitIsNotSent) {
  EXPECT_EQ(connect(), "true");
  const std::string half(9 * 1024 * 1024, 'x');
  const ObjectProperties none;
  std::list<ObjectProperties*> documents;
  using Use = std::function<void(const ObjectProperties&)>;
  const std::vector<Use> uses{
      [&](const ObjectProperties& large) { client.find("d", "c", large, none, documents, 0, 0); },
      [&](const ObjectProperties& large) { client.aggregate("d", "c", large, documents); },
      [&](const ObjectProperties& large) { client.count("d", "c", large); },
      [&](const ObjectProperties& large) { client.remove("d", "c", large); },
      [&](const ObjectProperties& large) { client.update("d", "c", large, none, 0, 1); },
      [&](const ObjectProperties& large) { client.update("d", "c", none, large, 0, 3); },
  };
  for (const Use& use : uses) {
    EXPECT_EQ(outcome([&] {
                ObjectProperties large;
                large.beginArray("pipeline");
                large.setValueString("0", half);
                large.setValueString("1", half);
                large.endArray();
                use(large);
                return "ok";
              }),
              "document");
  }
  for (const char* command : {"find", "aggregate", "delete", "update"}) EXPECT_EQ(timesSent(command), 0U) << command;
}

TEST_F(Failure, SelectorAndChangeThatAreTooLargeTogetherAreNotSent) {
  EXPECT_EQ(connect(), "true");
  ObjectProperties large;
  large.setValueString("a", std::string(9 * 1024 * 1024, 'x'));
  EXPECT_EQ(outcome([&] {
              client.update("d", "c", large, large, 0, 3);
              return "ok";
            }),
            "document");
  EXPECT_EQ(timesSent("update"), 0U);
  EXPECT_EQ(insert(), "ok");
}

TEST_F(Failure, NameThatNoStoreAcceptsIsNotSent) {
  EXPECT_EQ(connect(), "true");
  const ObjectProperties empty;
  std::list<ObjectProperties*> documents;
  const std::vector<std::pair<std::string, std::string>> names{{"", "c"},
                                                               {"d", ""},
                                                               {std::string("d\0x", 3), "c"},
                                                               {"d", std::string("c\0x", 3)},
                                                               {"d.d", "c"},
                                                               {"d d", "c"},
                                                               {"d$d", "c"},
                                                               {"d/d", "c"},
                                                               {std::string(64, 'd'), "c"},
                                                               {"d", "$c"},
                                                               {"d", std::string(256, 'c')}};
  for (const auto& name : names) {
    const auto search = [&] {
      client.find(name.first, name.second, empty, empty, documents, 0, 0);
      return "ok";
    };
    EXPECT_EQ(outcome(search), "query") << name.first << "." << name.second;
  }
  EXPECT_EQ(timesSent("find"), 0U);
}

}  // namespace
}  // namespace database_client
