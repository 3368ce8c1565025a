// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "tests/client/embedded/durability/LogOfSteps.h"
#include "tests/client/embedded/durability/RandomWriter.h"
#include "tests/client/embedded/support/EngineFixture.h"

namespace database_client {
namespace {

constexpr int writers = 4;
/// What the log of one writer says: what is certain, and what may have happened.
struct Account {
  Model certain{};
  std::optional<Model> possible{};
  long acknowledged = 0;
};

Account readLog(const Pipe& log, Model model) {
  Account account;
  Step step{};
  while (log.receive(step)) {
    account.possible.reset();
    if (step.phase == Step::Phase::acknowledged) {
      follow(model, step);
      ++account.acknowledged;
    } else {
      account.possible = model;
      follow(*account.possible, step);
    }
  }
  account.certain = std::move(model);
  return account;
}

class EmbeddedKill : public ::testing::Test {
 protected:
  /// Starts the writers, kills them together after a random time, and reads what they said.
  std::vector<Account> killWriters() {
    std::vector<std::unique_ptr<Pipe>> logs;
    std::vector<pid_t> children;
    for (int i = 0; i < writers; ++i) {
      logs.push_back(std::make_unique<Pipe>());
      const auto seed = static_cast<unsigned>(random());
      const pid_t child = fork();
      if (child == 0) {
        logs.back()->keepWriting();
        try {
          const Pipe& log = *logs.back();
          Writer(
              path, [&log](const Step& step) { log.send(step); }, i, seed, models[static_cast<std::size_t>(i)])
              .run();
        } catch (const std::exception& error) {
          std::cerr << "writer: " << error.what() << std::endl;
          _exit(7);
        }
      }
      children.push_back(child);
      logs.back()->keepReading();
    }
    usleep(static_cast<useconds_t>(20'000 + random() % 180'000));
    for (const pid_t child : children) kill(child, SIGKILL);
    std::vector<Account> accounts;
    for (std::size_t i = 0; i < children.size(); ++i) {
      int status = 0;
      waitpid(children[i], &status, 0);
      EXPECT_TRUE(WIFSIGNALED(status)) << "the writer ended by itself with " << WEXITSTATUS(status);
      accounts.push_back(readLog(*logs[i], models[i]));
    }
    return accounts;
  }

  /// The versions in the store of one writer's documents, each of which has to be whole.
  static Model stored(Client& client, int writer) {
    Model found;
    client.engine->find(client.where(), {{}, {}, 0, 0}, [&](ObjectProperties&& document) {
      const int id = document.valueAsInt32("_id", -1);
      if (id / 1000 != writer) return true;
      found[id] = document.valueAsInt32("version", -1);
      EXPECT_EQ(document.toJson(), ObjectProperties::fromJson(documentOf(id, found[id])).toJson());
      return true;
    });
    return found;
  }

  void compare(std::vector<Account>& accounts) {
    Client client(path);
    EXPECT_EQ(client.check().find(';'), std::string::npos) << client.check();
    for (std::size_t i = 0; i < accounts.size(); ++i) {
      const Model found = stored(client, static_cast<int>(i));
      EXPECT_TRUE(found == accounts[i].certain || (accounts[i].possible && found == *accounts[i].possible))
          << "writer " << i << " after " << accounts[i].acknowledged << " steps";
      models[i] = found;
    }
  }

  TemporaryFolder folder{};
  std::string path = folder / "store";
  std::mt19937 random{};
  std::vector<Model> models = std::vector<Model>(writers);
};

TEST_F(EmbeddedKill, LosesNothingThatWasAcknowledgedAndLeavesNothingHalf) {
  const auto seed = static_cast<unsigned>(numberFrom("DATABASE_TEST_SEED", static_cast<long>(std::random_device()())));
  const long rounds = numberFrom("DATABASE_TEST_KILL_ROUNDS", 8);
  SCOPED_TRACE("DATABASE_TEST_SEED=" + std::to_string(seed));
  random.seed(seed);
  long acknowledged = 0;
  for (long round = 0; round < rounds && !HasFailure(); ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    std::vector<Account> accounts = killWriters();
    compare(accounts);
    for (const Account& account : accounts) acknowledged += account.acknowledged;
  }
  EXPECT_GT(acknowledged, 0);
  std::printf("seed %u: %ld rounds, %ld writes acknowledged\n", seed, rounds, acknowledged);
}

}  // namespace
}  // namespace database_client
