// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <csignal>
#include <thread>

#include "database_client/DataBaseClient.h"
#include "tests/tools/commands/Recordctl.h"

namespace {

using database_client::DataBaseClient;
using database_client::ObjectProperties;

constexpr int records = 20'000;

/// A store that a filter takes long to go through.
class RecordctlInterrupt : public Recordctl {
 protected:
  void SetUp() override {
    DataBaseClient client;
    ASSERT_TRUE(client.connect("", "file:" + path("store.db") + "?synchronous=normal", 0, "", "")) << client.failure();
    const ObjectProperties record = ObjectProperties::fromJson(
        R"({"recordInfo": {"category": [{"name": "site", "value": "Waseca"}], "description": [], "additionalData": {}}})");
    const std::vector<const ObjectProperties*> all(records, &record);
    std::vector<std::string> ids;
    ASSERT_TRUE(client.insertMany("experiment", "records", all, ids).empty());
  }

  /// Each record is compared with all of these, for seconds altogether, and none passes.
  static std::string slowFilter() {
    std::string result = "not (site~x0";
    for (int i = 1; i < 900; ++i) result += " or site~x" + std::to_string(i);
    return result + " or site~Was)";
  }

  /// A run that is asked to stop once it is under way.
  Outcome interrupted(const std::vector<std::string>& arguments) const {
    const pid_t process = start(arguments);
    std::this_thread::sleep_for(std::chrono::seconds(2));  // by then it reads records, for long
    ::kill(process, SIGINT);
    const auto asked = std::chrono::steady_clock::now();
    Outcome outcome = finish(process);
    EXPECT_LT(std::chrono::steady_clock::now() - asked, std::chrono::seconds(5)) << arguments.front();
    return outcome;
  }
};

TEST_F(RecordctlInterrupt, ALongScanEndsAtOnce) {
  const std::string filter = slowFilter();
  for (const std::vector<std::string>& command :
       std::vector<std::vector<std::string>>{{"list", "--where", filter},
                                             {"facets", "site", "--where", filter},
                                             {"export", "--where", filter},
                                             {"explain", "--where", filter},
                                             {"remove", "--where", filter, "--dry-run"},
                                             {"remove", "--where", filter, "--yes"},
                                             {"set", "--where", filter, "--unset", "site", "--yes"}}) {
    const Outcome outcome = interrupted(command);
    EXPECT_EQ(outcome.status, 130) << command.front() << ": " << outcome.err;
    EXPECT_EQ(outcome.out, "") << command.front();
    EXPECT_EQ(outcome.err, "recordctl: interrupted\n") << command.front();
  }
}

TEST_F(RecordctlInterrupt, AChangeThatIsUnderWayIsUndone) {
  std::string slow = "n==1";
  for (int i = 0; i < 30'000; ++i) slow += "+1";
  const Outcome outcome = interrupted({"set", "--all", "--description", slow, "--yes"});
  EXPECT_EQ(outcome.status, 130);
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(outcome.err, "recordctl: nothing was changed\nrecordctl: interrupted\n");
  EXPECT_EQ(output({"count", "--where", "has n"}), "0\n");
}

TEST_F(RecordctlInterrupt, ASignalThatIsIgnoredAtTheStartStaysSo) {
  ignored = {SIGINT, SIGTERM};
  const pid_t process = start({"export", "--format", "csv"});
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  ::kill(process, SIGINT);
  ::kill(process, SIGTERM);
  const Outcome outcome = finish(process);
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(countLines(outcome.out), records + 1);
}

}  // namespace
