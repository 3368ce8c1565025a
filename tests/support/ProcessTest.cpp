// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <thread>

#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/Terminal.h"

namespace database_test {
namespace {

// Does as the driver does, and then waits to be killed.
const char* const markAndWait = ": > /dev/shm/mongoc-$$; echo $$; while :; do sleep 0.05; done";

std::string sharedMemoryOf(pid_t process) {
  return "/dev/shm/mongoc-" + std::to_string(process);
}

bool comesTrue(const std::function<bool()>& condition) {
  for (int i = 0; i < 1000 && !condition(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
  return condition();
}

TEST(Process, LeavesNothingInSharedMemoryWhenItIsKilled) {
  const TemporaryFolder folder;
  for (const int signal : {SIGKILL, SIGTERM}) {
    Process process({"/bin/sh", "-c", markAndWait}, folder.path());
    const std::string file = sharedMemoryOf(process.id());
    ASSERT_TRUE(comesTrue([&] { return std::filesystem::exists(file); }));
    kill(process.id(), signal);
    ASSERT_TRUE(comesTrue([&] { return !process.isRunning(); }));
    EXPECT_FALSE(std::filesystem::exists(file)) << "signal " << signal;
  }
}

TEST(Process, OnATerminalLeavesNothingInSharedMemoryWhenItIsKilled) {
  for (const bool isKilledFirst : {true, false}) {
    std::string file;
    {
      Terminal terminal({"/bin/sh", "-c", markAndWait}, {"PATH=/usr/bin:/bin"});
      const std::string number = terminal.readUntil("\n");
      file = sharedMemoryOf(std::stoi(number));
      ASSERT_TRUE(std::filesystem::exists(file));
      if (isKilledFirst) {
        kill(std::stoi(number), SIGKILL);
        EXPECT_EQ(terminal.finish(), 128 + SIGKILL);
      }
    }
    EXPECT_FALSE(std::filesystem::exists(file)) << isKilledFirst;
  }
}

}  // namespace
}  // namespace database_test
