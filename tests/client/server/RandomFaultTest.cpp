// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <array>
#include <cstdlib>
#include <iostream>
#include <map>
#include <random>
#include <set>

#include "tests/client/server/SecantusTest.h"
#include "tests/support/FaultProxy.h"
#include "tests/support/Relay.h"

// What a caller is told of a write is true, whatever the network does: an acknowledged write is there exactly once, any
// other is not, unless its outcome was said to be unknown.

namespace database_client {
namespace {

using database_test::FaultProxy;
using database_test::Relay;
using database_test::Shape;

/// What is between the client and the server, and breaks connections.
enum class Between { proxyOfStandalone, proxyOfSet, elections };

int operations() {
  const char* chosen = std::getenv("DATABASE_TEST_FAULTS");
  return chosen == nullptr ? 600 : std::atoi(chosen);
}

enum class Told { done, notDone, unknown };

struct Counts {
  int acknowledged = 0;
  int unknown = 0;
  int refused = 0;
  int lost = 0;     ///< acknowledged and absent, be it in part
  int doubled = 0;  ///< there more than once
  int strayed = 0;  ///< there, though the caller was told that it is not

  std::string text() const {
    return std::to_string(lost) + " lost, " + std::to_string(doubled) + " doubled, " + std::to_string(strayed) +
           " strayed";
  }
};

class RandomFault : public SecantusTest, public ::testing::WithParamInterface<Between> {
 protected:
  void run() {
    prepare();
    GetParam() == Between::elections ? runThroughElections() : runThroughProxy();
    client.disconnect();
  }

  void runThroughProxy() {
    FaultProxy proxy(port);
    ASSERT_EQ(connect("127.0.0.1", proxy.port()), "true") << client.failure();
    for (int i = 0; i < operations(); ++i) {
      if (i % 50 == 49) proxy.arm(pick());
      step(i);
    }
    proxy.arm(FaultProxy::Fault::none);
  }

  void runThroughElections() {
    const std::array<Relay::Moment, 3> moments{Relay::Moment::refused, Relay::Moment::unsent,
                                               Relay::Moment::unanswered};
    const std::array<const char*, 4> commands{"insert", "update", "delete", "find"};
    Shape shape;
    shape.victims = Shape::Victims::all;
    Relay relay(port, shape);
    ASSERT_EQ(ClientTest::connect(relay.uri()), "true") << client.failure();
    for (int i = 0; i < operations(); ++i) {
      if (i % 50 == 25) relay.elect(moments[random() % moments.size()], commands[random() % commands.size()]);
      step(i);
    }
    std::cout << relay.elections() << " elections\n";
    EXPECT_GE(relay.elections(), operations() / 60);
  }

  /// Each operation has documents of its own to change or remove.
  void prepare() {
    DataBaseClient direct;
    ASSERT_TRUE(direct.connect("", "127.0.0.1", port, "", "")) << direct.failure();
    std::vector<ObjectProperties> documents;
    for (int i = 0; i < operations() * documentsOfOne; ++i) {
      documents.push_back(
          document(R"({"_id": )" + std::to_string(i) + R"(, "of": )" + std::to_string(i / documentsOfOne) + "}"));
    }
    std::vector<const ObjectProperties*> pointers;
    pointers.reserve(documents.size());
    for (const ObjectProperties& one : documents) pointers.push_back(&one);
    std::vector<std::string> ids;
    ASSERT_TRUE(direct.insertMany("d", "many", pointers, ids).empty());
  }

  FaultProxy::Fault pick() {
    const std::array<FaultProxy::Fault, 5> faults{FaultProxy::Fault::cutRequest, FaultProxy::Fault::halveRequest,
                                                  FaultProxy::Fault::cutReply, FaultProxy::Fault::resetReply,
                                                  FaultProxy::Fault::halveReply};
    return faults[random() % faults.size()];
  }

  void step(int i) {
    const ObjectProperties one = document(R"({"n": )" + std::to_string(i) + "}");
    const ObjectProperties entry = document(R"({"log": {"n": )" + std::to_string(i) + "}}");
    switch (random() % 7) {
      case 0:
        note(i, [&] {
          std::string id;
          client.insert("d", "inserted", &one, id);
        });
        break;
      case 1:
        note(i, [&] { client.update("d", "pushed", ofId(i / 100), entry, 1, UpdateOperation::append); });
        break;
      case 2:
        note(i, [&] { client.update("d", "inserted", ofId(i), one, 1, UpdateOperation::replace); });
        break;
      case 3:
        noteMany(i, [&] { client.remove("d", "many", of(i)); });
        break;
      case 4:
        noteMany(i, [&] { client.update("d", "many", of(i), one, 0, UpdateOperation::set); });
        break;
      case 5:
        noteMany(i, [&] { client.update("d", "many", of(i), entry, 0, UpdateOperation::append); });
        break;
      default:
        read();
    }
  }

  static ObjectProperties of(int i) {
    std::string ids;
    for (int k = 0; k < documentsOfOne; ++k) ids += (k == 0 ? "" : ", ") + std::to_string(i * documentsOfOne + k);
    return document(R"({"_id": {"$in": [)" + ids + "]}}");
  }
  static ObjectProperties ofId(int i) { return document(R"({"_id": )" + std::to_string(i) + "}"); }

  template <class Action>
  void note(int i, Action action) {
    try {
      action();
      told[i] = Told::done;
    } catch (const Error& thrown) {
      told[i] = thrown.outcomeUnknown() ? Told::unknown : Told::notDone;
      EXPECT_TRUE(thrown.retryable()) << thrown.what();
    }
  }

  template <class Action>
  void noteMany(int i, Action action) {
    note(i, action);
    ofMany.insert(i);
  }

  // A read is repeated; only two faults in a row would show.
  void read() {
    std::list<ObjectProperties*> documents;
    client.find("d", "inserted", document("{}"), ObjectProperties(), documents, 3, 0);
    for (const ObjectProperties* one : documents) delete one;
  }

  /// What an operation left in the store.
  struct Trace {
    bool isWhole = false;  ///< all that it should have done
    bool isThere = false;  ///< anything of it
    bool isDoubled = false;
  };

  static int sizeOfLog(ObjectProperties& document) {
    const Entered log = Entered::array(document, "log");
    return log ? document.size() : 0;
  }

  /// Of operations on one document.
  std::map<int, Trace> tracesOfOne(DataBaseClient& direct) {
    std::map<int, int> times;
    const auto count = [&](ObjectProperties& one) {
      ++times[one.valueAsInt32("n", -1)];
      return true;
    };
    direct.findEach("d", "inserted", document("{}"), document("{}"), 0, 0, count);
    direct.findEach("d", "pushed", document("{}"), document("{}"), 0, 0, [&](ObjectProperties& all) {
      const Entered log = Entered::array(all, "log");
      for (int i = 0; log && i < all.size(); ++i) {
        const Entered entry = Entered::at(all, i);
        count(all);
      }
      return true;
    });
    std::map<int, Trace> traces;
    for (const auto& [i, number] : times) traces[i] = {number > 0, number > 0, number > 1};
    return traces;
  }

  /// Of operations on many documents: one that was touched is gone, was set, or has something appended.
  std::map<int, Trace> tracesOfMany(DataBaseClient& direct) {
    std::map<int, int> untouched;
    std::map<int, Trace> traces;
    direct.findEach("d", "many", document("{}"), document("{}"), 0, 0, [&](ObjectProperties& one) {
      const int i = one.valueAsInt32("of", -1);
      const int entries = sizeOfLog(one);
      if (entries == 0 && !one.contains("n")) ++untouched[i];
      if (entries > 1) traces[i].isDoubled = true;
      return true;
    });
    for (const int i : ofMany) {
      traces[i].isWhole = untouched[i] == 0;
      traces[i].isThere = untouched[i] < documentsOfOne;
    }
    return traces;
  }

  Counts compare() {
    DataBaseClient direct;
    EXPECT_TRUE(direct.connect("", "127.0.0.1", port, "", "")) << direct.failure();
    std::map<int, Trace> traces = tracesOfOne(direct);
    for (const auto& [i, trace] : tracesOfMany(direct)) traces[i] = trace;
    Counts counts;
    for (const auto& [i, what] : told) {
      const Trace& trace = traces[i];
      counts.acknowledged += what == Told::done ? 1 : 0;
      counts.unknown += what == Told::unknown ? 1 : 0;
      counts.refused += what == Told::notDone ? 1 : 0;
      counts.lost += what == Told::done && !trace.isWhole ? 1 : 0;
      counts.doubled += trace.isDoubled ? 1 : 0;
      counts.strayed += what == Told::notDone && trace.isThere ? 1 : 0;
    }
    return counts;
  }

  static constexpr int documentsOfOne = 3;
  unsigned seed = std::random_device()();
  std::mt19937 random{seed};
  std::map<int, Told> told{};
  std::set<int> ofMany{};  ///< the operations on many documents
};

TEST_P(RandomFault, EveryAcknowledgedWriteIsThereExactlyOnce) {
  const bool isStandalone = GetParam() == Between::proxyOfStandalone;
  start(isStandalone ? std::vector<std::string>{"--standalone"} : std::vector<std::string>{});
  run();
  std::this_thread::sleep_for(std::chrono::milliseconds(500));  // what was on its way has arrived
  const Counts counts = compare();
  std::cout << operations() << " operations, seed " << seed << ": " << counts.acknowledged << " acknowledged, "
            << counts.unknown << " unknown, " << counts.refused << " refused\n";
  EXPECT_EQ(counts.text(), "0 lost, 0 doubled, 0 strayed");
  EXPECT_GT(counts.acknowledged, operations() / 2);
}

std::string nameOf(const ::testing::TestParamInfo<Between>& between) {
  if (between.param == Between::elections) return "Elections";
  return between.param == Between::proxyOfStandalone ? "Standalone" : "ReplicaSet";
}

INSTANTIATE_TEST_SUITE_P(Servers, RandomFault,
                         ::testing::Values(Between::proxyOfStandalone, Between::proxyOfSet, Between::elections),
                         nameOf);

}  // namespace
}  // namespace database_client
