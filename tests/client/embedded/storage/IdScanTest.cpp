// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "client/embedded/sqlite/Connection.h"
#include "tests/client/embedded/support/EngineFixture.h"

namespace database_client {
namespace {

/// One of each kind and form that an "_id" can have, and several where their order is not that of their keys.
const std::vector<std::string>& idsOfAllKinds() {
  static const std::vector<std::string> ids{R"({"$oid": "00000000000000000000000a"})",
                                            R"({"$oid": "ff0000000000000000000000"})",
                                            R"({"$oid": "000000000000000000000009"})",
                                            R"("b")",
                                            R"("")",
                                            R"("aa")",
                                            R"("a")",
                                            R"("é")",
                                            R"({"$symbol": "ab"})",
                                            "256",
                                            "1",
                                            "-1",
                                            "2.5",
                                            R"({"$numberLong": "4294967296"})",
                                            R"({"$numberDecimal": "2.75"})",
                                            R"({"$numberDecimal": "1E+400"})",
                                            R"({"$numberDouble": "NaN"})",
                                            R"({"$numberDouble": "-Infinity"})",
                                            "true",
                                            "false",
                                            "null",
                                            R"({"$minKey": 1})",
                                            R"({"$maxKey": 1})",
                                            R"({"b": 1})",
                                            R"({"a": 2.5, "c": [1]})",
                                            R"({"a": 1})",
                                            "{}",
                                            R"({"$binary": {"base64": "AQI=", "subType": "00"}})",
                                            R"({"$binary": {"base64": "Ag==", "subType": "00"}})",
                                            R"({"$date": {"$numberLong": "-1"}})",
                                            R"({"$date": {"$numberLong": "256"}})",
                                            R"({"$date": {"$numberLong": "1"}})",
                                            R"({"$timestamp": {"t": 1, "i": 2}})",
                                            R"({"$timestamp": {"t": 0, "i": 300}})",
                                            R"({"$code": "f"})",
                                            R"({"$code": "e", "$scope": {"x": 1}})",
                                            R"({"$code": "e", "$scope": {}})"};
  return ids;
}

class IdScan : public ::testing::Test {
 protected:
  IdScan() {
    for (const std::string& id : idsOfAllKinds()) EXPECT_EQ(client.insert("{\"_id\": " + id + "}"), "ok") << id;
  }
  /// What the stage $sort makes of them.
  std::string sorted(const char* direction) const {
    std::string text = client.aggregate(std::string(R"([{"$sort": {"_id": )") + direction + "}}]");
    const std::string between = R"(}{"_id": )";
    for (std::size_t at = text.find(between); at != std::string::npos; at = text.find(between)) {
      text.replace(at, between.size(), " ");
    }
    constexpr std::size_t before = sizeof(R"({"_id": )") - 1;
    return text.substr(before, text.size() - before - 1) + " ";
  }

  Client client{":memory:"};
};

TEST_F(IdScan, GivesTheOrderOfAStageThatSorts) {
  EXPECT_EQ(client.ids("{}", R"({"_id": 1})"), sorted("1"));
  EXPECT_EQ(client.ids("{}", R"({"_id": -1})"), sorted("-1"));
}

TEST_F(IdScan, BeginsBehindAnyId) {
  for (const char* direction : {"1", "-1"}) {
    const std::string sort = std::string(R"({"_id": )") + direction + "}";
    const std::string all = sorted(direction);
    for (const std::string& id : idsOfAllKinds()) {
      const std::string after = "{\"_id\": " + id + "}";
      const std::string rest = client.ids("{}", sort, after);
      // A query that everything matches and is not known to: it is sorted as the stage does it.
      EXPECT_EQ(rest, client.ids(R"({"none": null})", sort, after)) << after;
      ASSERT_LT(rest.size(), all.size());
      EXPECT_EQ(all.substr(all.size() - rest.size()), rest) << after;
      EXPECT_EQ(client.ids("{}", sort, after, 2, 1), client.ids(R"({"none": null})", sort, after, 2, 1)) << after;
    }
  }
}

TEST_F(IdScan, BeginsBehindAnIdThatIsNotThere) {
  const std::string sort = R"({"_id": 1})";
  EXPECT_EQ(client.ids("{}", sort, R"({"_id": "abc"})", 2), R"("b" "é" )");
  EXPECT_EQ(client.ids("{}", sort, R"({"_id": 2.6})", 1), R"({"$numberDecimal": "2.75"} )");
  EXPECT_EQ(client.ids("{}", sort, R"({"_id": {"$oid": "00000000000000000000000b"}})", 2),
            R"({"$oid": "ff0000000000000000000000"} false )");
  EXPECT_EQ(client.ids("{}", R"({"_id": -1})", R"({"_id": {"$oid": "00000000000000000000000b"}})", 1),
            R"({"$oid": "00000000000000000000000a"} )");
}

TEST(IdScanOfADamagedFile, RefusesADocumentOfAnotherId) {
  const TemporaryFolder folder;
  const std::string path = folder / "store";
  {
    Client client(path);
    client.insert(R"({"_id": {"$oid": "00000000000000000000000a"}})");
    client.insert(R"({"_id": {"$oid": "00000000000000000000000b"}})");
  }
  embedded::sqlite::Connection::openFile(path, 0).execute(
      "UPDATE documents_2 SET id = x'2300000000000000000000000c' WHERE rid = 1");
  Client client(path);
  EXPECT_EQ(client.ids("{}", R"({"_id": 1})"), "storage 0");
  client.engine->setUnreadableHandler([](const ObjectProperties&, const Error&) { return true; });
  EXPECT_EQ(client.ids("{}", R"({"_id": 1})"),
            R"({"$oid": "00000000000000000000000a"} {"$oid": "00000000000000000000000b"} )");
}

}  // namespace
}  // namespace database_client
