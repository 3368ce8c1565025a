// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "tests/client/server/ServerTest.h"

// What the library does to the program that uses it: each in a process of its own.

namespace database_client {
namespace {

using database_test::refusal;

/// How often something is repeated: a few hundred times, or as DATABASE_TEST_ROUNDS says.
std::string rounds() {
  const char* chosen = std::getenv("DATABASE_TEST_ROUNDS");
  return chosen == nullptr ? "300" : chosen;
}

class Lifetime : public ServerTest {
 protected:
  /// What a program writes, to stdout and stderr.
  static std::string run(const std::string& command) {
    const auto close = [](std::FILE* pipe) { pclose(pipe); };
    const std::unique_ptr<std::FILE, decltype(close)> pipe(popen((command + " 2>&1").c_str(), "r"), close);
    std::string text;
    std::array<char, 256> line{};
    while (std::fgets(line.data(), line.size(), pipe.get()) != nullptr) text += line.data();
    return text;
  }
  std::string probe(const std::string& what, const std::string& environment = "") const {
    const std::string program = DRIVER_PROBE;
    return run(environment + " " + program + " " + what + " mongodb://" + server.host() + "/ " + rounds());
  }
};

TEST_F(Lifetime, NothingIsHeardOfTheDriver) {
  server.always("saslStart", refusal(18, "Authentication failed."));
  EXPECT_EQ(probe("log"), "silent\n");
}

TEST_F(Lifetime, LogOfTheDriverIsLeftAloneOnRequest) {
  server.always("saslStart", refusal(18, "Authentication failed."));
  EXPECT_EQ(probe("log", "DATABASE_CLIENT_KEEP_DRIVER_LOG=1"), "heard\n");
  EXPECT_EQ(probe("log", "DATABASE_CLIENT_KEEP_DRIVER_LOG=0"), "silent\n");
}

TEST_F(Lifetime, NoSignalHandlerNoThreadNoLocaleIsLeft) {
  EXPECT_EQ(probe("surprises"), "threads 1, changed nothing\n");
}

// It would stay behind when the process is killed.
TEST_F(Lifetime, NoFileOfSharedMemoryIsLeft) {
  EXPECT_EQ(probe("counters"), "gone\n");
}

TEST_F(Lifetime, DriverOfTheProgramWorksOn) {
  EXPECT_EQ(probe("own"), "works\n");
}

// The driver, which lives on, would otherwise call code that is gone.
TEST_F(Lifetime, LibraryStaysLoaded) {
  const std::string program = LOADING_PROBE;
  const std::string library = DATABASE_PROVIDER_LIBRARY;
  EXPECT_EQ(run(program + " " + library + " mongodb://" + server.host() + "/ once"), "stays\n");
}

TEST_F(Lifetime, OpeningUsingAndClosingLeavesNothingBehind) {
  EXPECT_EQ(probe("rounds"), "files 0, memory steady\n");
  EXPECT_GE(timesSent("insert"), std::stoul(rounds()));
}

TEST_F(Lifetime, LoadingAndUnloadingLeavesNothingBehind) {
  const std::string program = LOADING_PROBE;
  const std::string library = DATABASE_PROVIDER_LIBRARY;
  EXPECT_EQ(run(program + " " + library + " mongodb://" + server.host() + "/ " + rounds()), "files 0, memory steady\n");
  EXPECT_GE(timesSent("ping"), std::stoul(rounds()));
}

}  // namespace
}  // namespace database_client
