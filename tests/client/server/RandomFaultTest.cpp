#include <gmock/gmock.h>

#include <array>
#include <cstdlib>
#include <iostream>
#include <map>
#include <random>

#include "tests/client/server/SecantusTest.h"
#include "tests/support/FaultProxy.h"

// What a caller is told of a write is true, whatever the network does: an acknowledged write is there exactly once, any
// other is not, unless its outcome was said to be unknown.

namespace database_client {
namespace {

using database_test::FaultProxy;

int operations() {
  const char* chosen = std::getenv("DATABASE_TEST_FAULTS");
  return chosen == nullptr ? 600 : std::atoi(chosen);
}

enum class Told { done, notDone, unknown };

struct Counts {
  int acknowledged = 0;
  int unknown = 0;
  int refused = 0;
  int lost = 0;     ///< acknowledged and absent
  int doubled = 0;  ///< there more than once
  int strayed = 0;  ///< there, though the caller was told that it is not

  std::string text() const {
    return std::to_string(lost) + " lost, " + std::to_string(doubled) + " doubled, " + std::to_string(strayed) +
           " strayed";
  }
};

class RandomFault : public SecantusTest, public ::testing::WithParamInterface<bool> {
 protected:
  void run() {
    FaultProxy proxy(port);
    ASSERT_EQ(connect("127.0.0.1", proxy.port()), "true") << client.failure();
    for (int i = 0; i < operations(); ++i) {
      if (i % 50 == 49) proxy.arm(pick());
      step(i);
    }
    proxy.arm(FaultProxy::Fault::none);
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
    switch (random() % 4) {
      case 0:
        note(i, [&] {
          std::string id;
          client.insert("d", "inserted", &one, id);
        });
        break;
      case 1:
        note(i, [&] { client.update("d", "pushed", ofId(i / 100), entry, 1, 9); });
        break;
      case 2:
        note(i, [&] { client.update("d", "inserted", ofId(i), one, 1, 1); });
        break;
      default:
        read();
    }
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

  // A read is repeated; only two faults in a row would show.
  void read() {
    std::list<ObjectProperties*> documents;
    client.find("d", "inserted", document("{}"), ObjectProperties(), documents, 3, 0);
    for (const ObjectProperties* one : documents) delete one;
  }

  /// How often each number is in the store.
  std::map<int, int> stored() {
    std::map<int, int> times;
    DataBaseClient direct;
    EXPECT_TRUE(direct.connect("", "127.0.0.1", port, "", "")) << direct.failure();
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
    return times;
  }

  Counts compare() {
    const std::map<int, int> times = stored();
    Counts counts;
    for (const auto& [i, what] : told) {
      const auto place = times.find(i);
      const int number = place == times.end() ? 0 : place->second;
      counts.acknowledged += what == Told::done ? 1 : 0;
      counts.unknown += what == Told::unknown ? 1 : 0;
      counts.refused += what == Told::notDone ? 1 : 0;
      counts.lost += what == Told::done && number == 0 ? 1 : 0;
      counts.doubled += number > 1 ? 1 : 0;
      counts.strayed += what == Told::notDone && number > 0 ? 1 : 0;
    }
    return counts;
  }

  unsigned seed = std::random_device()();
  std::mt19937 random{seed};
  std::map<int, Told> told{};
};

TEST_P(RandomFault, EveryAcknowledgedWriteIsThereExactlyOnce) {
  start(GetParam() ? std::vector<std::string>{"--standalone"} : std::vector<std::string>{});
  run();
  std::this_thread::sleep_for(std::chrono::milliseconds(500));  // what was on its way has arrived
  const Counts counts = compare();
  std::cout << operations() << " operations, seed " << seed << ": " << counts.acknowledged << " acknowledged, "
            << counts.unknown << " unknown, " << counts.refused << " refused\n";
  EXPECT_EQ(counts.text(), "0 lost, 0 doubled, 0 strayed");
  EXPECT_GT(counts.acknowledged, operations() / 2);
}

INSTANTIATE_TEST_SUITE_P(Servers, RandomFault, ::testing::Bool(), [](const ::testing::TestParamInfo<bool>& standalone) {
  return standalone.param ? "Standalone" : "ReplicaSet";
});

}  // namespace
}  // namespace database_client
