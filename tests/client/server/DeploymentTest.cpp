// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <sys/socket.h>

#include <array>
#include <functional>
#include <thread>

#include "tests/client/server/ServerTest.h"
#include "tests/support/Socket.h"

// Replica sets, sharded clusters, and what an address says about them.

namespace database_client {
namespace {

using database_test::answer;
using database_test::batch;
using database_test::failing;
using database_test::Pose;
using database_test::refusal;
using database_test::ScriptedServer;
using database_test::Step;
using ::testing::HasSubstr;

constexpr int members = 3;

class ReplicaSet : public ClientTest {
 protected:
  ReplicaSet() {
    for (const ScriptedServer& member : server) hosts.push_back(member.host());
    elect(0);
  }

  /// Makes one the primary, or none for -1.
  void elect(int primary) {
    ++election;
    for (int i = 0; i < members; ++i) {
      const Pose::Role role = i == primary ? Pose::Role::primary : Pose::Role::secondary;
      const std::string known = primary < 0 ? "" : hosts[static_cast<std::size_t>(primary)];
      at(i).pose({role, "set", hosts, known, election});
    }
  }
  ScriptedServer& at(int i) { return server[static_cast<std::size_t>(i)]; }
  std::string address(const std::string& options = "") const {
    return "mongodb://" + hosts[0] + "," + hosts[1] + "," + hosts[2] + "/?replicaSet=set" + options;
  }
  /// How often each member was sent this command.
  std::string received(const std::string& command) const {
    std::string text;
    for (const ScriptedServer& member : server) text += std::to_string(member.received(command).size());
    return text;
  }

  std::array<ScriptedServer, members> server{};
  std::vector<std::string> hosts{};
  int election = 0;
};

TEST_F(ReplicaSet, MembersThatDoNotAnswerAreWaitedForAtOnce) {
  constexpr int timeout = 2000;  // in milliseconds
  int ports[3] = {};
  std::vector<int> sockets;
  std::string dead;
  for (int& port : ports) {
    sockets.push_back(database_test::listenOn(port));
    ::listen(sockets.back(), 0);
    sockets.push_back(database_test::connectTo(port));  // fills the queue; later attempts get no answer
    dead += "127.0.0.1:" + std::to_string(port) + ",";
  }
  const std::string times = "&connectTimeoutMS=" + std::to_string(timeout);
  EXPECT_EQ(connect("mongodb://" + dead + hosts[0] + "/?replicaSet=set" + times), "true");
  EXPECT_LT(elapsed, 2 * timeout + timeout / 2);  // one after the other takes three times the limit
  for (const int socket : sockets) database_test::closeSocket(socket);
}

TEST_F(ReplicaSet, WritesGoToThePrimaryOnly) {
  EXPECT_EQ(connect(address()), "true");
  EXPECT_EQ(insert(), "ok");
  EXPECT_EQ(received("insert"), "100");
}

TEST_F(ReplicaSet, OneMemberIsEnoughToFindTheOthers) {
  elect(2);
  EXPECT_EQ(connect("mongodb://" + hosts[0] + "/?replicaSet=set"), "true");
  EXPECT_EQ(insert(), "ok");
  EXPECT_EQ(received("insert"), "001");
}

TEST_F(ReplicaSet, WrongNameOfTheSetIsRefused) {
  EXPECT_EQ(connect("mongodb://" + hosts[0] + "/?replicaSet=other&serverSelectionTimeoutMS=700"), "false");
  EXPECT_LT(elapsed, 3000);
}

TEST_F(ReplicaSet, ElectionBetweenTwoWritesIsNotSeen) {
  EXPECT_EQ(connect(address()), "true");
  EXPECT_EQ(insert(), "ok");
  at(0).always("insert", refusal(10107, "not primary", R"(, "errorLabels": ["RetryableWriteError"])"));
  elect(1);
  EXPECT_EQ(insert(), "ok");
  EXPECT_EQ(received("insert"), "210");
}

TEST_F(ReplicaSet, PrimaryThatDiesDuringAWriteIsReplacedWithoutADoubledWrite) {
  EXPECT_EQ(connect(address()), "true");
  at(0).script("insert", {failing(Step::Fate::close)});
  at(0).always("hello", failing(Step::Fate::close));
  elect(1);
  EXPECT_EQ(insert(), "ok");
  EXPECT_EQ(received("insert"), "110");
  EXPECT_THAT(at(1).received("insert").back().json, HasSubstr("txnNumber"));
}

TEST_F(ReplicaSet, WriteWaitsForTheEndOfAnElection) {
  EXPECT_EQ(connect(address()), "true");
  at(0).always("insert", refusal(10107, "not primary", R"(, "errorLabels": ["RetryableWriteError"])"));
  elect(-1);
  std::thread later([this] {
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    elect(2);
  });
  EXPECT_EQ(insert(), "ok");
  later.join();
  EXPECT_EQ(received("insert"), "101");
}

TEST_F(ReplicaSet, ReadWaitsForTheEndOfAnElection) {
  EXPECT_EQ(connect(address()), "true");
  at(0).always("find", refusal(13435, "not primary and secondaryOk=false"));
  at(1).always("find", batch(R"({"_id": 1})"));
  elect(-1);
  std::thread later([this] {
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    elect(1);
  });
  EXPECT_EQ(find(), "1");
  later.join();
}

TEST_F(ReplicaSet, SetWithoutAPrimaryIsGivenUpInTime) {
  EXPECT_EQ(connect(address("&serverSelectionTimeoutMS=1200")), "true");
  at(0).always("insert", refusal(10107, "not primary", R"(, "errorLabels": ["RetryableWriteError"])"));
  elect(-1);
  insert();
  EXPECT_LT(elapsed, 4000);
  EXPECT_TRUE(error && error->retryable() && !error->outcomeUnknown()) << message();
  elect(1);
  EXPECT_EQ(insert(), "ok");
}

TEST_F(ReplicaSet, RefusalAfterALostAnswerDoesNotHideThatTheOutcomeIsUnknown) {
  EXPECT_EQ(connect(address("&serverSelectionTimeoutMS=1200")), "true");
  at(0).script("insert", {failing(Step::Fate::close), refusal(10107, "not primary")});
  EXPECT_EQ(insert(), "server 10107 retryable outcomeUnknown");
  EXPECT_EQ(insert(), "ok");
}

// What a server does not tell the repetition of, and nobody needs it to.

TEST_F(ReplicaSet, RemovalIsRepeatedAfterAnElection) {
  for (const int code : {10107, 189, 91, 11600, 11602, 13435}) {
    elect(0);
    EXPECT_EQ(connect(address()), "true");
    at(0).script("delete", {refusal(code, "not now")});
    at(1).script("delete", {answer(R"({"ok": 1, "n": 1})")});
    elect(1);
    EXPECT_EQ(remove(), "ok") << code << ' ' << message();
  }
}

TEST_F(ReplicaSet, RemovalIsRepeatedWhenThePrimaryDies) {
  EXPECT_EQ(connect(address()), "true");
  at(0).script("delete", {failing(Step::Fate::close)});
  at(0).always("hello", failing(Step::Fate::close));
  elect(1);
  EXPECT_EQ(remove(), "ok");
  EXPECT_EQ(received("delete"), "110");
}

TEST_F(ReplicaSet, RemovalThatIsCountedIsNotRepeated) {
  EXPECT_EQ(connect(address()), "true");
  at(0).script("delete", {failing(Step::Fate::close)});
  EXPECT_EQ(removeCounted(), "connection retryable outcomeUnknown");
  EXPECT_EQ(received("delete"), "100");
  at(0).script("delete", {refusal(189, "primary stepped down")});
  EXPECT_EQ(removeCounted(), "server 189 retryable outcomeUnknown");
  EXPECT_EQ(received("delete"), "200");
}

TEST_F(ReplicaSet, RemovalIsRepeatedOnlyOnceAndSaysThatItsOutcomeIsUnknown) {
  EXPECT_EQ(connect(address()), "true");
  at(0).script("delete", {failing(Step::Fate::close), refusal(13, "not authorized")});
  EXPECT_EQ(remove(), "authorization 13 outcomeUnknown");
  EXPECT_EQ(received("delete"), "200");
}

TEST_F(ReplicaSet, UpdateOfManyIsNotRepeatedAfterAnElection) {
  EXPECT_EQ(connect(address()), "true");
  at(0).script("update", {refusal(189, "primary stepped down"), refusal(10107, "not primary")});
  EXPECT_EQ(update(9), "server 189 retryable outcomeUnknown");
  EXPECT_EQ(update(9), "server 10107 retryable outcomeUnknown");
  EXPECT_EQ(received("update"), "200");
}

TEST_F(ReplicaSet, UserCommandsAreRepeatedAfterAnElection) {
  const std::vector<std::pair<std::string, std::function<void()>>> uses{
      {"createUser", [this] { client.createUser("d", "anna", "pw", ObjectProperties(), ObjectProperties()); }},
      {"updateUser", [this] { client.modifyUser("d", "anna", ObjectProperties(), ObjectProperties()); }},
      {"updateUser", [this] { client.changePassword("d", "anna", "pw"); }},
      {"dropUser", [this] { client.dropUser("d", "anna"); }}};
  for (const auto& [command, use] : uses) {
    for (const Step& step : {refusal(10107, "not primary"), refusal(189, "stepped down"), failing(Step::Fate::close)}) {
      elect(0);
      EXPECT_EQ(connect(address()), "true");
      at(0).script(command, {step});
      elect(2);
      const auto& useIt = use;
      EXPECT_EQ(outcome([&] {
                  useIt();
                  return "ok";
                }),
                "ok")
          << command << ' ' << message();
      EXPECT_EQ(at(2).received(command).empty(), false) << command;
    }
  }
}

TEST_F(ReplicaSet, UserWhomTheLostCommandRemovedIsGone) {
  EXPECT_EQ(connect(address()), "true");
  const auto drop = [this] {
    client.dropUser("d", "anna");
    return "ok";
  };
  at(0).script("dropUser", {failing(Step::Fate::close), refusal(11, "User 'anna@d' not found")});
  EXPECT_EQ(outcome(drop), "ok");
  at(0).script("dropUser", {refusal(11, "User 'anna@d' not found")});
  EXPECT_EQ(outcome(drop), "server 11");
}

TEST_F(ReplicaSet, UserWhoIsThereAfterALostCommandMayBeAnother) {
  EXPECT_EQ(connect(address()), "true");
  const auto create = [this] {
    client.createUser("d", "anna", "pw", document(R"({"0": {"role": "read", "db": "e"}})"), ObjectProperties());
    return "ok";
  };
  at(0).script("createUser", {failing(Step::Fate::close), refusal(51003, "User anna@d already exists")});
  EXPECT_EQ(outcome(create), "server 51003 outcomeUnknown");  // other roles
  at(0).script("createUser", {failing(Step::Fate::close), refusal(51003, "User anna@d already exists")});
  at(0).script("usersInfo", {answer(R"({"ok": 1, "users": [{"roles": [{"role": "read", "db": "e"}]}]})")});
  EXPECT_EQ(outcome(create), "server 51003 outcomeUnknown");  // the scripted server knows no login
  at(0).script("createUser", {refusal(51003, "User anna@d already exists")});
  EXPECT_EQ(outcome(create), "server 51003");
}

TEST_F(ReplicaSet, WriteToASilentPrimaryIsGivenUpInTime) {
  EXPECT_EQ(connect(address("&socketTimeoutMS=400&connectTimeoutMS=400&serverSelectionTimeoutMS=900")), "true");
  for (int i = 0; i < members; ++i) {
    at(i).always("insert", failing(Step::Fate::silence));
    at(i).always("hello", failing(Step::Fate::silence));
  }
  EXPECT_EQ(insert(), "timeout retryable outcomeUnknown");
  EXPECT_GE(elapsed, 390);
  EXPECT_LT(elapsed, 400 + 900 + 2000);
}

TEST_F(ReplicaSet, RemovalFromASilentPrimaryIsGivenUpInTime) {
  EXPECT_EQ(connect(address("&socketTimeoutMS=400")), "true");
  at(0).always("delete", failing(Step::Fate::silence));
  EXPECT_EQ(remove(), "timeout retryable outcomeUnknown");
  EXPECT_LT(elapsed, 400 + 2000);
  EXPECT_EQ(received("delete"), "100");
}

// A server that does not tell a repetition, after the driver repeated.

TEST_F(ReplicaSet, DocumentsOfThisVeryInsertAreNoDuplicates) {
  EXPECT_EQ(connect(address()), "true");
  at(0).script("insert", {failing(Step::Fate::close), answer(R"({"ok": 1, "n": 1, "writeErrors": [
      {"index": 0, "code": 11000, "errmsg": "E11000"}, {"index": 1, "code": 11000, "errmsg": "E11000"}]})")});
  at(0).script("find", {batch(R"({"_id": 0}, {"_id": 1, "other": true})")});
  EXPECT_EQ(insertMany(3), "ok 1:duplicateKey 11000");
  EXPECT_THAT(at(0).received("find").back().json, HasSubstr(R"("$in" : [ { "$numberInt" : "0" }, )"));
}

TEST_F(ReplicaSet, DocumentOfThisVeryInsertIsNoDuplicate) {
  const std::string duplicate =
      R"({"ok": 1, "n": 0, "writeErrors": [{"index": 0, "code": 11000, "errmsg": "E11000"}]})";
  EXPECT_EQ(connect(address()), "true");
  at(0).script("insert", {failing(Step::Fate::close), answer(duplicate)});
  at(0).script("find", {batch(R"({"_id": 1})")});
  EXPECT_EQ(insert(), "ok");
  at(0).script("insert", {failing(Step::Fate::close), answer(duplicate)});
  at(0).script("find", {batch(R"({"_id": 1, "other": true})")});
  EXPECT_EQ(insert(), "duplicateKey 11000");
  at(0).script("insert", {answer(duplicate)});
  EXPECT_EQ(insert(), "duplicateKey 11000");
  EXPECT_EQ(received("find"), "200");
}

TEST_F(ReplicaSet, DuplicatesThatCannotBeLookedAtMayBeOnesOwn) {
  EXPECT_EQ(connect(address()), "true");
  at(0).script("insert", {failing(Step::Fate::close), answer(R"({"ok": 1, "n": 0, "writeErrors": [
      {"index": 0, "code": 11000, "errmsg": "E11000"}]})")});
  at(0).script("find", {refusal(13, "not authorized")});
  EXPECT_EQ(insertMany(1), "ok 0:duplicateKey 11000 outcomeUnknown");
}

TEST_F(ReplicaSet, WritesWithoutRetryAreSentOnce) {
  EXPECT_EQ(connect(address("&retryWrites=false")), "true");
  at(0).script("insert", {failing(Step::Fate::close)});
  at(0).script("delete", {refusal(10107, "not primary")});
  EXPECT_EQ(insert(), "connection retryable outcomeUnknown");
  EXPECT_EQ(remove(), "server 10107 retryable outcomeUnknown");
  EXPECT_EQ(received("insert") + received("delete"), "100100");
}

TEST_F(ReplicaSet, ReadPreferenceOfTheAddressIsFollowed) {
  EXPECT_EQ(connect(address("&readPreference=secondary")), "true");
  EXPECT_EQ(find(), "0");
  EXPECT_EQ(find(1), "0");
  EXPECT_EQ(received("find")[0], '0');
  EXPECT_EQ(insert(), "ok");
  EXPECT_EQ(received("insert"), "100");
}

TEST_F(ReplicaSet, WriteConcernOfTheAddressGoesWithEveryWrite) {
  EXPECT_EQ(connect(address("&w=majority&wtimeoutMS=1234&journal=true")), "true");
  EXPECT_EQ(insert(), "ok");
  EXPECT_EQ(update(1), "ok");
  EXPECT_EQ(remove(), "ok");
  client.dropUser("d", "u");
  for (const char* command : {"insert", "update", "delete", "dropUser"}) {
    const std::string json = at(0).received(command).back().json;
    EXPECT_THAT(json, HasSubstr(R"("w" : "majority")")) << command;
    EXPECT_THAT(json, HasSubstr("1234")) << command;
  }
}

TEST_F(ReplicaSet, ReadConcernOfTheAddressGoesWithReads) {
  EXPECT_EQ(connect(address("&readConcernLevel=majority")), "true");
  for (const int limit : {0, 1}) {
    EXPECT_EQ(find(limit), "0");
    EXPECT_THAT(at(0).received("find").back().json, HasSubstr(R"("readConcern" : { "level" : "majority" })")) << limit;
  }
}

class Router : public ServerTest {
 protected:
  void SetUp() override {
    server.pose({Pose::Role::router});
    ASSERT_EQ(connect(), "true");
  }
};

TEST_F(Router, WritesCarryANumberSoThatARepetitionIsTold) {
  server.script("insert", {failing(Step::Fate::close)});
  EXPECT_EQ(insert(), "ok");
  EXPECT_EQ(timesSent("insert"), 2U);
  EXPECT_THAT(sent("insert"), HasSubstr("txnNumber"));
}

TEST_F(Router, ShardThatIsOutOfReachLeavesAWriteUnknown) {
  const Step step = refusal(6, "connection to shard closed");
  server.script("delete", {step, step});
  EXPECT_EQ(remove(), "server 6 retryable outcomeUnknown");
}

TEST_F(Router, ShardWithoutAPrimaryIsATransientError) {
  const Step step = refusal(133, "could not find host matching read preference { mode: primary } for set s1");
  server.script("update", {step, step});
  EXPECT_EQ(update(1), "server 133 retryable");
  EXPECT_EQ(update(3), "server 133 retryable outcomeUnknown");  // of many, some may have been changed
}

TEST_F(Router, ReadOfAStaleShardIsAskedForAgain) {
  server.script("find", {refusal(189, "primary stepped down"), batch(R"({"_id": 1})")});
  EXPECT_EQ(find(), "1");
}

TEST_F(Router, ShardThatRefusesAnIndexIsToldByTheRouter) {
  server.script("createIndexes", {answer(R"({"ok": 0, "code": 85, "errmsg": "index exists with another name", "raw": {
      "s1/a:1": {"ok": 1}, "s2/b:1": {"ok": 0, "code": 85, "errmsg": "index exists with another name"}}})")});
  DeploymentPlan plan;
  plan.indexes.push_back({"experiment", "records", {"a.name"}});
  EXPECT_EQ(outcome([&] {
              client.setUpDeployment(plan);
              return "ok";
            }),
            "server 85");
  EXPECT_THAT(message(), HasSubstr("another name"));
}

TEST_F(Router, UpdateOfSeveralShardsIsCountedAsOne) {
  server.script("update", {answer(R"({"ok": 1, "n": 5, "nModified": 4, "electionId": null})")});
  EXPECT_EQ(update(3), "ok");
}

TEST_F(Router, OtherRouterIsUsedWhenOneDies) {
  ScriptedServer other(Pose{Pose::Role::router});
  EXPECT_EQ(connect("mongodb://" + server.host() + "," + other.host() + "/"), "true");
  server.stop();
  EXPECT_EQ(insert(), "ok");
  EXPECT_EQ(insert(), "ok");
  EXPECT_GE(other.received("insert").size(), 2U);
}

TEST_F(Router, ExplanationOfSeveralShardsNamesTheIndex) {
  server.script("explain", {answer(R"({"ok": 1, "queryPlanner": {"winningPlan": {"stage": "SHARD_MERGE", "shards": [
      {"winningPlan": {"stage": "FETCH", "inputStage": {"stage": "IXSCAN", "indexName": "a_1"}}}]}},
      "executionStats": {"nReturned": 3, "totalDocsExamined": 5}})")});
  const ObjectProperties told = client.explain("d", "c", document("{}"));
  EXPECT_EQ(told.valueAsString("index", "?"), "a_1");
  EXPECT_EQ(told.valueAsInt64("examined", -1), 5);
  EXPECT_EQ(told.valueAsInt64("returned", -1), 3);
}

class Options : public ServerTest {};

TEST_F(Options, CompressorsAreOffered) {
  EXPECT_EQ(connectWith("compressors=zstd,snappy,zlib"), "true");
  EXPECT_THAT(sent("hello"), HasSubstr(R"("compression" : [ "zstd", "snappy", "zlib" ])"));
}

TEST_F(Options, CompressorThatTheServerTakesIsUsed) {
  Pose pose;
  pose.takesZlib = true;
  server.pose(pose);
  EXPECT_EQ(connectWith("compressors=zlib&zlibCompressionLevel=9"), "true");
  EXPECT_EQ(insert(), "ok");
  EXPECT_TRUE(server.received("insert").back().compressed);
}

TEST_F(Options, CompressorThatTheServerDoesNotTakeIsNotUsed) {
  EXPECT_EQ(connectWith("compressors=zlib"), "true");
  EXPECT_EQ(insert(), "ok");
  EXPECT_FALSE(server.received("insert").back().compressed);
}

TEST_F(Options, ReadPreferenceGoesWithEveryReadThroughARouter) {
  server.pose({Pose::Role::router});
  EXPECT_EQ(connectWith("readPreference=secondaryPreferred&readPreferenceTags=dc:ny,rack:1&readPreferenceTags="
                        "&maxStalenessSeconds=120"),
            "true");
  EXPECT_EQ(find(), "0");
  std::list<ObjectProperties*> none;
  client.aggregate("d", "c", document(R"({"pipeline": []})"), none);
  client.collectionNames("d");
  for (const char* command : {"find", "aggregate"}) {
    const std::string json = sent(command);
    EXPECT_THAT(json, HasSubstr(R"("$readPreference" : { "mode" : "secondaryPreferred")")) << command;
    EXPECT_THAT(json, HasSubstr(R"("tags" : [ { "dc" : "ny", "rack" : "1" }, {  } ])")) << command;
    EXPECT_THAT(json, HasSubstr(R"("maxStalenessSeconds")")) << command;
  }
  EXPECT_EQ(insert(), "ok");
  EXPECT_THAT(sent("insert"), ::testing::Not(HasSubstr("$readPreference")));
}

TEST_F(Options, WriteConcernGoesWithEveryWrite) {
  EXPECT_EQ(connectWith("w=2&wtimeoutMS=77&journal=true"), "true");
  EXPECT_EQ(insert(), "ok");
  EXPECT_EQ(insertMany(2), "ok");
  EXPECT_EQ(update(1), "ok");
  EXPECT_EQ(remove(), "ok");
  client.createUser("d", "anna", "pw", ObjectProperties(), ObjectProperties());
  for (const char* command : {"insert", "update", "delete", "createUser"}) {
    for (const database_test::Request& request : server.received(command)) {
      EXPECT_THAT(request.json, HasSubstr(R"("writeConcern" : { "w" : { "$numberInt" : "2" }, "j" : true, "wtimeout")"))
          << command;
    }
  }
}

TEST_F(Options, ReadConcernGoesWithEveryRead) {
  EXPECT_EQ(connectWith("readConcernLevel=local"), "true");
  EXPECT_EQ(find(), "0");
  std::list<ObjectProperties*> none;
  client.aggregate("d", "c", document(R"({"pipeline": []})"), none);
  server.script("aggregate", {batch(R"({"_id": 1, "n": 4})")});
  EXPECT_EQ(client.count("d", "c", ObjectProperties()), 4);
  for (const char* command : {"find", "aggregate"}) {
    for (const database_test::Request& request : server.received(command)) {
      EXPECT_THAT(request.json, HasSubstr(R"("readConcern" : { "level" : "local" })")) << command;
    }
  }
}

TEST_F(Options, MechanismsOfTheUserAreAskedFor) {
  connect("mongodb://anna:pw@" + server.host() + "/?authSource=staff");
  EXPECT_THAT(sent("hello"), HasSubstr(R"("saslSupportedMechs" : "staff.anna")"));
}

TEST_F(Options, MechanismOfTheAddressIsTaken) {
  connect("mongodb://anna:pw@" + server.host() + "/?authMechanism=SCRAM-SHA-1&authSource=staff");
  const database_test::Request start = server.received("saslStart").back();
  EXPECT_THAT(start.json, HasSubstr(R"("mechanism" : "SCRAM-SHA-1")"));
  EXPECT_EQ(start.database, "staff");
}

TEST_F(Options, CertificateOfTheUserIsItsLogin) {
  EXPECT_EQ(connect("mongodb://CN=anna@" + server.host() + "/?authMechanism=MONGODB-X509"), "true");
  EXPECT_THAT(sent("authenticate"), HasSubstr(R"("mechanism" : "MONGODB-X509")"));
  EXPECT_EQ(server.received("authenticate").back().database, "$external");
}

TEST_F(Options, DirectConnectionStaysWithASecondary) {
  const std::string elsewhere = "127.0.0.1:1";
  server.pose({Pose::Role::secondary, "set", {server.host(), elsewhere}, elsewhere});
  EXPECT_EQ(connectWith("directConnection=true&readPreference=secondaryPreferred"), "true");
  EXPECT_EQ(find(), "0");
}

TEST_F(Options, RepeatedWritesAreLeftOutWhereTheAddressSaysSo) {
  server.pose({Pose::Role::router});
  EXPECT_EQ(connectWith("retryWrites=false"), "true");
  EXPECT_EQ(insert(), "ok");
  EXPECT_THAT(sent("insert"), ::testing::Not(HasSubstr("txnNumber")));
  EXPECT_EQ(connectWith("retryWrites=true"), "true");
  EXPECT_EQ(insert(), "ok");
  EXPECT_THAT(sent("insert"), HasSubstr("txnNumber"));
}

TEST_F(Options, RepeatedReadsAreThoseOfTheDriverWhereTheAddressSaysSo) {
  server.pose({Pose::Role::router});
  EXPECT_EQ(connectWith("retryReads=true"), "true");
  server.script("find", {failing(Step::Fate::close), batch(R"({"_id": 1})")});
  EXPECT_EQ(find(), "1");
  EXPECT_EQ(timesSent("find"), 2U);
}

TEST_F(Options, SelectionTimeoutIsKept) {
  server.pose({Pose::Role::secondary, "set", {server.host()}});
  EXPECT_EQ(connectWith("replicaSet=set&serverSelectionTimeoutMS=900"), "false");
  EXPECT_GE(elapsed, 500);
  EXPECT_LT(elapsed, 3000);
}

TEST_F(Options, NameOfTheApplicationIsTold) {
  EXPECT_EQ(connectWith("appName=harvest"), "true");
  EXPECT_THAT(server.received("hello").front().json, HasSubstr("harvest"));
}

TEST_F(Options, SocketTimeoutIsKept) {
  EXPECT_EQ(connectWith("socketTimeoutMS=250"), "true");
  server.script("find", {failing(Step::Fate::silence)});
  EXPECT_EQ(find(), "timeout retryable");
  EXPECT_GE(elapsed, 240);
  EXPECT_LT(elapsed, 2000);
}

TEST_F(Options, ConnectTimeoutIsKept) {
  server.always("hello", failing(Step::Fate::silence));
  EXPECT_EQ(connectWith("connectTimeoutMS=250"), "false");
  EXPECT_GE(elapsed, 240);
  EXPECT_LT(elapsed, 2000);
}

TEST_F(Options, WritesWithoutAcknowledgementAreNotCounted) {
  EXPECT_EQ(connectWith("w=0"), "true");
  EXPECT_EQ(insert(), "ok");
  EXPECT_EQ(update(1), "ok");
  EXPECT_EQ(remove(), "ok");
  EXPECT_EQ(updateCounted(3), "0 0 0");
  EXPECT_EQ(removeCounted(), "0");
}

TEST_F(Options, ServerThatCannotExplainLeavesOutWhatItExamined) {
  EXPECT_EQ(connect(), "true");
  server.script("explain", {refusal(59, "no such command: 'explain'")});
  server.script("aggregate", {batch(R"({"_id": 1, "n": 4})")});
  const ObjectProperties told = client.explain("d", "c", document("{}"));
  EXPECT_EQ(told.valueAsString("index", "?"), "");
  EXPECT_FALSE(told.contains("examined"));
  EXPECT_EQ(told.valueAsInt64("returned", -1), 4);
}

}  // namespace
}  // namespace database_client
