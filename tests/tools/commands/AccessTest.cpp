// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include <chrono>
#include <memory>
#include <thread>

#include "tests/support/Process.h"
#include "tests/tools/commands/Recordctl.h"

// The command and a server that controls access.

namespace {

using database_test::Process;

class RecordctlAccess : public Recordctl {
 protected:
  void SetUp() override {
    if (access(program().c_str(), X_OK) != 0) GTEST_SKIP() << "SecantusDB is not installed; see scripts/setup";
    start({});
    file("admin", "canary-1\n");
    output({"init", "--admin-password-file", path("admin")});
    importPlots();
    output({"users", "add", "ann", "--role", "read:experiment", "--new-password-file", file("ann", "canary-2\n"),
            "--yes"});
    process.reset();
    start({"--auth"});
  }

  static std::string program() { return DATABASE_TEST_SERVERS "/secantus/bin/secantusd-py"; }

  void start(const std::vector<std::string>& options) {
    if (port == 0) port = database_test::freePort();
    std::vector<std::string> command{
        program(),        "--host",     "127.0.0.1",        "--port",      std::to_string(port),
        "--storage-path", path("data"), "--sync-on-commit", "--log-level", "WARNING"};
    command.insert(command.end(), options.begin(), options.end());
    process = std::make_unique<Process>(command, path(""));
    for (int i = 0; i < 1200 && !database_test::accepts(port); ++i)
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    if (!database_test::accepts(port)) throw std::runtime_error("SecantusDB does not answer");
    environment["RECORDCTL_STORE"] = "mongodb://127.0.0.1:" + std::to_string(port) + "/";
  }

  std::vector<std::string> as(const std::string& user, std::vector<std::string> arguments) const {
    for (const std::string& more : {std::string("--user"), user, std::string("--password-file"), path(user)})
      arguments.push_back(more);
    return arguments;
  }

  int port = 0;
  std::unique_ptr<Process> process{};
};

TEST_F(RecordctlAccess, TheAdministratorIsLookedUpInItsOwnDatabase) {
  EXPECT_EQ(countLines(output(as("admin", {"list", "--json"}))), 4U);
  EXPECT_EQ(output(as("admin", {"init"})).find("done: "), std::string::npos);
  EXPECT_EQ(run(as("admin", {"list"})).err, "") << "this server controls access";
  EXPECT_NE(output(as("admin", {"info"})).find("access  controlled\nusers   1\n"), std::string::npos);
  EXPECT_EQ(output(as("admin", {"users", "list", "--json"})),
            "{\"name\": \"ann\", \"roles\": [{\"role\": \"read\", \"db\": \"experiment\"}]}\n");
  environment["RECORDCTL_STORE"] = "127.0.0.1:" + std::to_string(port);
  EXPECT_EQ(countLines(output(as("admin", {"list", "--json"}))), 4U);
}

TEST_F(RecordctlAccess, APersonDoesWhatTheRolesAllow) {
  EXPECT_EQ(countLines(output(as("ann", {"list", "--json"}))), 4U);
  output(as("ann", {"settings", "set", "ann", "layout", "{\"a\": 1}"}));
  EXPECT_EQ(output(as("ann", {"settings", "get", "ann", "layout"})), "{\"a\": 1}\n");
  const Outcome outcome = run(as("ann", {"remove", "--all", "--yes"}));
  EXPECT_EQ(outcome.status, 3);
  EXPECT_NE(outcome.err, "");
  EXPECT_EQ(countLines(output(as("admin", {"list", "--json"}))), 4U);
}

TEST_F(RecordctlAccess, WhoeverIsRefusedIsToldWhyWithStatus3) {
  file("ben", "canary-3\n");
  environment["RECORDCTL_PASSWORD"] = "canary-4";
  for (const auto& command : std::vector<std::vector<std::string>>{
           {"list"}, {"list", "--user", "admin"}, {"list", "--user", "ann"}, as("ben", {"list"})}) {
    const Outcome outcome = run(command);
    EXPECT_EQ(outcome.status, 3) << outcome.err;
    EXPECT_EQ(outcome.out, "");
    EXPECT_NE(outcome.err.find("127.0.0.1:" + std::to_string(port)), std::string::npos) << outcome.err;
    EXPECT_EQ(outcome.err.find("canary"), std::string::npos) << outcome.err;
  }
}

TEST_F(RecordctlAccess, AServerThatIsGoneIsStatus3) {
  process.reset();
  const Outcome outcome = run(as("admin", {"list"}));
  EXPECT_EQ(outcome.status, 3);
  EXPECT_NE(outcome.err.find("127.0.0.1:" + std::to_string(port)), std::string::npos) << outcome.err;
}

}  // namespace
