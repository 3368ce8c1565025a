// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "client/server/AnswerForm.h"
#include "tests/support/ScriptedServer.h"

namespace database_client::server {
namespace {

using database_test::bsonOf;
using ::testing::HasSubstr;

/// "sound", or the message of the refusal.
std::string judgement(const std::string& json, Purpose purpose = Purpose::command) {
  const std::vector<std::uint8_t> bytes = bsonOf(json);
  try {
    checkForm(bson::viewOf(bytes), purpose);
    return "sound";
  } catch (const DamagedAnswer& damage) {
    return damage.what();
  }
}

TEST(AnswerForm, WhatTheDriverTakesForGrantedIsLookedAt) {
  for (const char* fields : {R"("code": 0)",
                             R"("code": "x")",
                             R"("code": {"$numberLong": "4294967296"})",
                             R"("code": {"$numberDouble": "NaN"})",
                             R"("errmsg": 7)",
                             R"("errorLabels": "x")",
                             R"("errorLabels": [7])",
                             R"("writeConcernError": 7)",
                             R"("writeConcernError": {"code": 0})",
                             R"("writeConcernError": {"errorLabels": 7})",
                             R"("writeErrors": [7])",
                             R"("writeErrors": [{"index": 0, "code": 0}])",
                             R"("cursor": {"ns": "d"})",
                             R"("cursor": {"ns": 7})",
                             R"("cursor": {"id": "7"})",
                             R"("cursor": {"firstBatch": 7})",
                             R"("cursor": {"nextBatch": {}})",
                             R"("topologyVersion": {})",
                             R"("topologyVersion": 7)",
                             R"("$clusterTime": 7)",
                             R"("$clusterTime": {})",
                             R"("operationTime": 7)"}) {
    EXPECT_NE(judgement(std::string(R"({"ok": 1, )") + fields + "}"), "sound") << fields;
  }
}

TEST(AnswerForm, UsualAnswersAreSound) {
  for (const char* json :
       {R"({"ok": 1})", R"({"ok": 0, "code": 11000, "errmsg": "x", "codeName": "y", "errorLabels": ["a"]})",
        R"({"n": 1, "ok": 1, "writeErrors": [{"index": 0, "code": 11000, "errmsg": "x", "keyValue": {"_id": 1}}]})",
        R"({"n": 1, "ok": 1, "writeConcernError": {"code": 64, "errmsg": "x", "errInfo": {}}})",
        R"({"cursor": {"firstBatch": [], "id": {"$numberLong": "7"}, "ns": "d.c.e"}, "ok": 1})",
        R"({"ok": 1, "operationTime": {"$timestamp": {"t": 1, "i": 1}},
            "$clusterTime": {"clusterTime": {"$timestamp": {"t": 1, "i": 1}}}})",
        R"({"ok": 0, "code": 91, "errmsg": "x",
            "topologyVersion": {"processId": {"$oid": "0123456789abcdef01234567"}, "counter": {"$numberLong": "1"}}})",
        R"({"maxWireVersion": "only a greeting says this", "payload": 7, "ok": 1})"}) {
    EXPECT_EQ(judgement(json), "sound") << json;
  }
}

TEST(AnswerForm, FieldIsNamed) {
  EXPECT_THAT(judgement(R"({"cursor": {"ns": "d"}})"), HasSubstr(R"("cursor.ns" is not database.collection)"));
}

TEST(AnswerForm, GreetingHasNumbersWhereNumbersBelong) {
  for (const char* field : {R"("maxWireVersion": "17")", R"("minWireVersion": -1)", R"("maxBsonObjectSize": 0)",
                            R"("maxMessageSizeBytes": {"$numberLong": "1"})", R"("maxWriteBatchSize": null)",
                            R"("ismaster": 1)", R"("hosts": ["a", 7])", R"("tags": {"a": 7})", R"("lastWrite": {})",
                            R"("electionId": "x")", R"("logicalSessionTimeoutMinutes": "x")", R"("compression": [7])",
                            R"("speculativeAuthenticate": 7)", R"("saslSupportedMechs": 7)"}) {
    EXPECT_NE(judgement(std::string(R"({"ok": 1, )") + field + "}", Purpose::greeting), "sound") << field;
  }
  EXPECT_EQ(judgement(R"({"ok": 1, "ismaster": true, "maxWireVersion": 17, "minWireVersion": 0, "hosts": ["h:1"],
      "logicalSessionTimeoutMinutes": null, "tags": {"dc": "ny"}})",
                      Purpose::greeting),
            "sound");
}

std::string login(const std::string& payload, Purpose purpose = Purpose::login) {
  const std::string step = R"({"conversationId": 1, "done": false, "payload": ")" + payload + R"(")";
  return purpose == Purpose::login ? judgement(step + R"(, "ok": 1})", purpose)
                                   : judgement(R"({"ok": 1, "speculativeAuthenticate": )" + step + "}}", purpose);
}

TEST(AnswerForm, MoreIterationsThanAreBearableAreRefused) {
  for (const Purpose purpose : {Purpose::login, Purpose::greeting}) {
    EXPECT_EQ(login("r=x,s=AAAA,i=15000", purpose), "sound");
    EXPECT_EQ(login("r=x,s=AAAA,i=" + std::to_string(mostIterations), purpose), "sound");
    EXPECT_THAT(login("r=x,s=AAAA,i=" + std::to_string(mostIterations + 1), purpose), HasSubstr("iterations"));
    for (const char* number : {"2000000000", "99999999999999999999", "-1", "", "1e9", "0x10"}) {
      EXPECT_THAT(login("r=x,s=AAAA,i=" + std::string(number), purpose), HasSubstr("iterations")) << number;
    }
    EXPECT_THAT(login("i=15000,i=2000000000", purpose), HasSubstr("iterations"));
  }
  EXPECT_EQ(login("v=AAAA"), "sound");
  EXPECT_THAT(login(std::string(5000, 'x')), HasSubstr("payload"));
}

}  // namespace
}  // namespace database_client::server
