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
#include "tests/client/embedded/support/EngineFixture.h"

namespace database_client {
namespace {

using testing::Client;
using testing::documentOf;
using testing::follow;
using testing::Model;
using testing::Pipe;
using testing::Step;
using testing::TemporaryFolder;

long numberFrom(const char* variable, long usual) {
  const char* text = std::getenv(variable);
  return text == nullptr ? usual : std::atol(text);
}

constexpr int writers = 2;
constexpr std::int32_t idsOfWriter = 40;  // few, so that steps collide

/// A process that changes the store at random and tells before and after each change.
class Writer {
 public:
  Writer(const std::string& path, const Pipe& log, int number, unsigned seed, Model model)
      : client_(path), log_(log), first_(number * 1000), random_(seed), model_(std::move(model)) {}

  [[noreturn]] void run() {
    for (std::int32_t version = nextVersion();; ++version) {
      Step step = plan(version);
      log_.send(step);
      perform(step);
      step.phase = Step::Phase::acknowledged;
      log_.send(step);
      follow(model_, step);
    }
  }

 private:
  std::int32_t nextVersion() const {
    std::int32_t highest = 0;
    for (const auto& entry : model_) highest = std::max(highest, entry.second);
    return highest + 1;
  }
  int pick(int below) { return static_cast<int>(random_() % static_cast<unsigned>(below)); }

  /// A step that succeeds: documents are only inserted where there are none.
  Step plan(std::int32_t version) {
    const std::int32_t id = first_ + pick(idsOfWriter);
    const std::int32_t count = 1 + pick(8);
    const bool isTaken = model_.count(id) != 0;
    bool areFree = true;
    for (std::int32_t i = 0; i < count; ++i) areFree = areFree && model_.count(id + i) == 0;
    const auto begun = Step::Phase::begun;
    if (pick(60) == 0) return {Step::Kind::compact, begun, id, 0, version};
    if (areFree) {
      if (pick(3) == 0) return {Step::Kind::transaction, begun, id, count, version};
      return {Step::Kind::insertMany, begun, id, count, version};
    }
    if (!isTaken) return {Step::Kind::insert, begun, id, 1, version};
    const Step::Kind kinds[] = {Step::Kind::replace, Step::Kind::set, Step::Kind::remove};
    return {kinds[pick(3)], begun, id, 1, version};
  }

  void perform(const Step& step) {
    const Namespace where = client_.where();
    Engine& engine = *client_.engine;
    const auto document = ObjectProperties::fromJson(documentOf(step.id, step.version));
    ObjectProperties selector;
    selector.setValueInt32("_id", step.id);
    switch (step.kind) {
      case Step::Kind::insert:
        return engine.insert(where, document);
      case Step::Kind::insertMany:
        return insertAll(step);
      case Step::Kind::replace:
        return engine.update(where, selector, document, UpdateKind::replaceFirst, true);
      case Step::Kind::set:
        return engine.update(where, selector, document, UpdateKind::setInAll, true);
      case Step::Kind::remove:
        return engine.remove(where, selector);
      case Step::Kind::transaction:
        engine.beginTransaction();
        insertAll(step);
        engine.remove(where, selector);
        return engine.commitTransaction();
      case Step::Kind::compact:
        return compact();
    }
  }
  void insertAll(const Step& step) {
    std::vector<ObjectProperties> documents;
    documents.reserve(static_cast<std::size_t>(step.count));
    for (std::int32_t i = 0; i < step.count; ++i) {
      documents.push_back(ObjectProperties::fromJson(documentOf(step.id + i, step.version)));
    }
    if (!client_.engine->insertMany(client_.where(), documents).empty()) _exit(8);
  }
  void compact() const {
    try {
      client_.engine->compact();
    } catch (const Error& error) {
      if (error.kind() != Error::Kind::timeout) throw;  // The other writer was in the way.
    }
  }

  Client client_;
  const Pipe& log_;
  std::int32_t first_;
  std::minstd_rand random_;
  Model model_;
};

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
          Writer(path, *logs.back(), i, seed, models[static_cast<std::size_t>(i)]).run();
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
