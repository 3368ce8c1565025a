// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cstdlib>
#include <memory>
#include <set>
#include <string>

#include "database_client/DataBaseClient.h"
#include "tests/support/Engines.h"
#include "tests/support/Relay.h"
#include "tests/tools/commands/Recordctl.h"

// The command against a replica set that elects another primary in the middle of what it does, breaking connections.

namespace {

using database_client::DataBaseClient;
using database_client::ObjectProperties;
using database_test::Relay;

constexpr int rowsOfAnElection = 1000;  // a batch of the import

int elections() {
  const char* chosen = std::getenv("DATABASE_TEST_ELECTIONS");
  return chosen == nullptr ? 3 : std::atoi(chosen);
}

// The value of the only category.
std::string rowOf(const ObjectProperties& record) {
  const std::string json = record.toJson();
  const std::string name = "\"row\"";
  const std::size_t start = json.find("\"r", json.find(name) + name.size()) + 1;
  return json.substr(start, json.find('"', start) - start);
}

class RecordctlElections : public Recordctl {
 protected:
  void SetUp() override {
    try {
      const database_test::Address& server = database_test::startedEngine("secantus");
      database_test::connectTo(direct, server);
      database_test::emptyStore(direct);
      database_test::Shape shape;
      shape.victims = database_test::Shape::Victims::all;
      relay = std::make_unique<Relay>(server.port, shape);
      environment["RECORDCTL_STORE"] = relay->uri();
    } catch (const database_test::EngineMissing& missing) {
      GTEST_SKIP() << missing.what();
    }
  }

  void elect(int times, const std::string& command) const {
    const std::array<Relay::Moment, 3> moments{Relay::Moment::unanswered, Relay::Moment::refused,
                                               Relay::Moment::unsent};
    for (int i = 0; i < times; ++i) relay->elect(moments[static_cast<std::size_t>(i) % moments.size()], command);
  }

  /// A table of rows with the numbers from 0 on.
  std::string rows(int count) const {
    std::string csv = "row\n";
    for (int i = 0; i < count; ++i) csv += "r" + std::to_string(i) + "\n";
    return file("rows.csv", csv);
  }

  /// How many records there are, of how many rows.
  std::string stored() {
    std::set<std::string> rows;
    int records = 0;
    direct.findEach("experiment", "records", ObjectProperties{}, ObjectProperties{}, 0, 0, [&](ObjectProperties& one) {
      rows.insert(rowOf(one));
      ++records;
      return true;
    });
    return std::to_string(records) + " records of " + std::to_string(rows.size()) + " rows";
  }

  static std::string recordsOfRows(int count) {
    return std::to_string(count) + " records of " + std::to_string(count) + " rows";
  }

  DataBaseClient direct{};
  std::unique_ptr<Relay> relay{};
};

TEST_F(RecordctlElections, ImportLosesNoRowAndDoublesNone) {
  const int count = elections() * rowsOfAnElection;
  elect(elections(), "insert");
  const Outcome outcome = run({"import", rows(count), "--category", "row"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.out.substr(0, outcome.out.find(',')), std::to_string(count) + " records imported");
  EXPECT_EQ(relay->elections(), elections());
  EXPECT_EQ(stored(), recordsOfRows(count));
}

TEST_F(RecordctlElections, RemovalRemovesAllOrSaysWhatItDid) {
  constexpr int count = 100;
  output({"import", rows(count), "--category", "row"});
  elect(1, "delete");
  const Outcome outcome = run({"remove", "--all", "--yes"});
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(relay->elections(), 1);
  EXPECT_EQ(stored(), "0 records of 0 rows");
}

}  // namespace
