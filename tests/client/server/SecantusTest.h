// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <unistd.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/client/server/ServerTest.h"
#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

namespace database_client {

/// A SecantusDB of its own for each test, which keeps its data when it is started again.
class SecantusTest : public ClientTest {
 protected:
  static std::string program() { return DATABASE_TEST_SERVERS "/secantus/bin/secantusd-py"; }
  static bool isInstalled() { return access(program().c_str(), X_OK) == 0; }

  void SetUp() override {
    if (!isInstalled()) GTEST_SKIP() << "SecantusDB is not installed; see scripts/setup";
  }

  void start(const std::vector<std::string>& options = {}) {
    if (port == 0) port = database_test::freePort();
    std::vector<std::string> command{
        program(),        "--host",      "127.0.0.1",        "--port",      std::to_string(port),
        "--storage-path", folder.path(), "--sync-on-commit", "--log-level", "WARNING"};
    command.insert(command.end(), options.begin(), options.end());
    process = std::make_unique<database_test::Process>(command, folder.path());
    for (int i = 0; i < 600 && !database_test::accepts(port); ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    if (!database_test::accepts(port)) throw std::runtime_error("SecantusDB does not answer");
  }
  void restart(const std::vector<std::string>& options = {}) {
    process.reset();
    start(options);
  }
  using ClientTest::connect;
  std::string connect(const std::string& user = "", const std::string& password = "",
                      const std::string& authDatabase = "databaseManager") {
    return connect("127.0.0.1", port, user, password, authDatabase);
  }

  database_test::TemporaryFolder folder{};
  int port = 0;
  std::unique_ptr<database_test::Process> process{};
};

}  // namespace database_client
