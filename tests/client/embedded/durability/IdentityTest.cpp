// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "tests/client/embedded/durability/LogOfSteps.h"
#include "tests/client/embedded/support/EngineFixture.h"

namespace database_client {
namespace {

/// The number of documents written.
int fill(const Client& client, int first, int count) {
  int written = 0;
  for (int id = first; id < first + count; ++id) written += client.insert(documentOf(id, 1)) == "ok" ? 1 : 0;
  return written;
}

std::string refusalOf(const std::string& path) {
  try {
    Client client(path);
    return "open";
  } catch (const Error& error) {
    return toString(error.kind()) + std::string(": ") + error.what();
  }
}

/// Lets a child process stop until its parent has done something.
class Turns {
 public:
  /// In the child.
  void pause() const {
    ready_.send('x');
    char mark = 0;
    go_.receive(mark);
  }
  /// In the parent: whether the child has come so far.
  bool awaitPause() {
    ready_.keepReading();
    char mark = 0;
    return ready_.receive(mark);
  }
  void goOn() const { go_.send('x'); }

 private:
  Pipe ready_{};
  Pipe go_{};
};

class EmbeddedIdentity : public ::testing::Test {
 protected:
  /// Runs `work` in a process that then dies: nothing is closed in order. `work` gives the number of its failures.
  template <class Work>
  static pid_t start(const Work& work) {
    const pid_t child = fork();
    if (child == 0) {
      int failures = 100;
      try {
        failures = work();
      } catch (const std::exception& error) {
        std::fprintf(stderr, "child: %s\n", error.what());
      }
      _exit(failures);
    }
    return child;
  }
  static int failuresOf(pid_t child) {
    int status = -1;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  template <class Work>
  static int failuresIn(const Work& work) {
    return failuresOf(start(work));
  }
  static int missing(int written, int wanted) { return wanted - written; }
  /// Whether a process wrote so many documents before it ended with its client open.
  bool writeAndDie(int first, int count) const {
    return failuresIn([&] {
             auto* client = new Client(path);
             return missing(fill(*client, first, count), count);
           }) == 0;
  }

  void removeSides() const {
    removeFile(path + "-wal");
    removeFile(path + "-shm");
  }
  void putBack(const std::string& copy) const { ASSERT_EQ(std::rename(copy.c_str(), path.c_str()), 0); }
  /// The documents and the users, and what is wrong.
  std::string checked() const { return Client(path).check(); }
  /// Whether the log that lies there is refused, and left as it is with the file.
  void expectLogRefused() const {
    const std::string file = contentOf(path);
    const std::string log = contentOf(path + "-wal");
    ASSERT_FALSE(log.empty());
    const std::string refusal = refusalOf(path);
    EXPECT_EQ(refusal.substr(0, 8), "storage:") << refusal;
    EXPECT_NE(refusal.find("store-wal"), std::string::npos) << refusal;
    EXPECT_TRUE(contentOf(path) == file);
    EXPECT_TRUE(contentOf(path + "-wal") == log);
  }

  TemporaryFolder folder{};
  std::string path = folder / "store";
  std::string saved = folder / "saved";
};

TEST_F(EmbeddedIdentity, OfARestoredBackupIsNotThatOfTheLogBesideIt) {
  {
    Client client(path);
    fill(client, 0, 100);
    client.engine->backup(saved);
  }
  { fill(Client(path), 100, 50); }
  { Client(path).engine->compact(); }
  ASSERT_TRUE(writeAndDie(150, 50));
  putBack(saved);
  expectLogRefused();
  removeSides();
  EXPECT_EQ(checked(), "101");
}

TEST_F(EmbeddedIdentity, OfABackupIsItsOwnAlsoWhileTheLogGoesOn) {
  ASSERT_EQ(failuresIn([this] {
              auto* client = new Client(path);
              const int first = fill(*client, 0, 100);
              client->engine->backup(saved);
              return missing(first + fill(*client, 100, 50), 150);
            }),
            0);
  putBack(saved);
  expectLogRefused();
  removeSides();
  EXPECT_EQ(checked(), "101");
}

TEST_F(EmbeddedIdentity, OfAnOlderCopyIsNotThatOfALaterLog) {
  { fill(Client(path), 0, 100); }
  writeFile(saved, contentOf(path));
  { fill(Client(path), 100, 20); }
  ASSERT_TRUE(writeAndDie(120, 20));
  putBack(saved);
  expectLogRefused();
  removeSides();
  EXPECT_EQ(checked(), "101");
}

TEST_F(EmbeddedIdentity, OfAnotherStoreIsNotThatOfTheLogBesideIt) {
  { fill(Client(saved), 0, 7); }
  ASSERT_TRUE(writeAndDie(0, 20));
  putBack(saved);
  expectLogRefused();
}

TEST_F(EmbeddedIdentity, IsSharedByAFileAndTheLogOfAProcessThatDied) {
  for (int round = 0; round < 5; ++round) {
    ASSERT_EQ(failuresIn([this, round] {
                auto* client = new Client(path);
                int written = fill(*client, 100 * round, 20);
                if (round % 2 == 1) client->engine->compact();
                return missing(written + fill(*client, 100 * round + 20, 20), 40);
              }),
              0);
    const std::string moved = folder / ("moved" + std::to_string(round));
    writeFile(moved, contentOf(path));
    writeFile(moved + "-wal", contentOf(path + "-wal"));
    EXPECT_EQ(Client(moved).check(), std::to_string(40 * (round + 1) + 1));
  }
  EXPECT_EQ(checked(), "201");
}

TEST_F(EmbeddedIdentity, IsLookedAtWhereTheLogIsRemovedAndNothingAcknowledgedIsLost) {
  for (const bool withIndex : {false, true}) {
    removeFile(path);
    removeSides();
    EXPECT_EQ(failuresIn([this, withIndex] {
                auto* client = new Client(path);
                int failures = missing(fill(*client, 0, 21), 21);
                if (withIndex) removeFile(path + "-shm");
                removeFile(path + "-wal");
                failures += client->insert(documentOf(21, 1)) == "storage 0" ? 0 : 1;
                failures += client->insert(documentOf(22, 1)) == "storage 0" ? 0 : 1;
                failures += client->count("{}") == "storage 0" ? 0 : 1;
                return failures;
              }),
              0);
    EXPECT_EQ(checked(), "22");
  }
}

TEST_F(EmbeddedIdentity, OfALogThatAnotherMadeAnewIsNotTheOldOne) {
  Turns turns;
  const pid_t first = start([&] {
    auto* client = new Client(path);
    client->engine->compact();
    int failures = missing(fill(*client, 0, 5), 5);
    removeSides();
    turns.pause();
    return failures + (client->insert(documentOf(5, 1)) == "storage 0" ? 0 : 1);
  });
  ASSERT_TRUE(turns.awaitPause());
  ASSERT_TRUE(writeAndDie(100, 5));
  turns.goOn();
  EXPECT_EQ(failuresOf(first), 0);
  EXPECT_EQ(checked().find(';'), std::string::npos) << checked();
  for (int id = 100; id < 105; ++id) EXPECT_EQ(Client(path).count("{\"_id\": " + std::to_string(id) + "}"), "1");
}

TEST_F(EmbeddedIdentity, OfAFileWithTwoNamesIsRefused) {
  { fill(Client(path), 0, 5); }
  const std::string second = folder / "second";
  ASSERT_EQ(link(path.c_str(), second.c_str()), 0);
  for (const std::string& name : {path, second}) {
    const std::string refusal = refusalOf(name);
    EXPECT_NE(refusal.find("hard link"), std::string::npos) << refusal;
    EXPECT_EQ(refusal.substr(0, 8), "storage:");
    EXPECT_FALSE(isThere(name + "-wal"));
  }
  removeFile(second);
  EXPECT_EQ(checked(), "6");
}

TEST_F(EmbeddedIdentity, IsRefusedWhileASecondNameIsThere) {
  Client client(path);
  fill(client, 0, 5);
  const std::string second = folder / "second";
  ASSERT_EQ(link(path.c_str(), second.c_str()), 0);
  EXPECT_EQ(client.insert(documentOf(5, 1)), "storage 0");
  removeFile(second);
  EXPECT_EQ(client.insert(documentOf(5, 1)), "ok");
}

TEST_F(EmbeddedIdentity, OfAChildProcessIsNotItsParents) {
  auto client = std::make_unique<Client>(path);
  fill(*client, 0, 5);
  EXPECT_EQ(failuresIn([&] {
              int failures = 0;
              for (int i = 0; i < 2; ++i) {
                failures += client->insert(documentOf(5, 1)) == "storage 0" ? 0 : 1;
                failures += client->count("{}") == "storage 0" ? 0 : 1;
              }
              failures += Client::outcome([&] { client->engine->beginTransaction(); }) == "storage 0" ? 0 : 1;
              failures += Client::outcome([&] { client->engine->compact(); }) == "storage 0" ? 0 : 1;
              client.reset();
              return failures;
            }),
            0);
  EXPECT_TRUE(isThere(path + "-wal"));
  EXPECT_EQ(fill(*client, 5, 5), 5);
  client.reset();
  EXPECT_EQ(checked(), "11");
}

TEST_F(EmbeddedIdentity, OfATransactionStaysWithTheProcessThatBeganIt) {
  Client client(path);
  client.engine->beginTransaction();
  // More than fits into the cache of a transaction that stays in memory.
  EXPECT_EQ(fill(client, 0, 50), 50);
  EXPECT_EQ(failuresIn([&] {
              int failures = Client::outcome([&] { client.engine->commitTransaction(); }) == "storage 0" ? 0 : 1;
              failures += Client::outcome([&] { client.engine->rollbackTransaction(); }) == "storage 0" ? 0 : 1;
              client.engine.reset();
              return failures;
            }),
            0);
  EXPECT_EQ(fill(client, 50, 5), 5);
  client.engine->commitTransaction();
  EXPECT_EQ(client.check(), "56");
}

/// A daemon that connects and then leaves its parent: what it was refused it was not told to be done.
TEST_F(EmbeddedIdentity, OfADaemonIsNotThatOfTheProcessThatConnected) {
  Pipe ready;
  ASSERT_EQ(failuresIn([&] {
              auto* client = new Client(path);
              const int failures = missing(fill(*client, 0, 5), 5);
              if (fork() == 0) {
                const std::string refused = client->insert(documentOf(5, 1));
                delete client;
                Client other(path);
                const bool isDone = other.insert(documentOf(6, 1)) == "ok";
                ready.send(refused == "storage 0" && isDone ? 'y' : 'n');
                kill(getpid(), SIGKILL);
              }
              return failures;
            }),
            0);
  ready.keepReading();
  char mark = 0;
  ASSERT_TRUE(ready.receive(mark));
  EXPECT_EQ(mark, 'y');
  EXPECT_EQ(checked(), "7");
}

TEST_F(EmbeddedIdentity, OfAClientThatAChildOpensForItselfIsGuardedAgainstItsParent) {
  auto client = std::make_unique<Client>(path);
  fill(*client, 0, 5);
  Turns turns;
  const pid_t child = start([&] {
    auto* own = new Client(path);
    int written = fill(*own, 100, 5);
    turns.pause();
    written += fill(*own, 105, 20);
    return missing(written, 25);
  });
  ASSERT_TRUE(turns.awaitPause());
  client.reset();
  turns.goOn();
  EXPECT_EQ(failuresOf(child), 0);
  EXPECT_EQ(checked(), "31");
}

/// SQLite goes on with what it had open before the fork.
TEST_F(EmbeddedIdentity, OfAClientThatAChildOpensIsRefusedWhereItsParentHasClosedTheStoreSince) {
  auto client = std::make_unique<Client>(path);
  fill(*client, 0, 5);
  Turns turns;
  const pid_t child = start([&] {
    turns.pause();
    return refusalOf(path).substr(0, 8) == "storage:" ? 0 : 1;
  });
  client.reset();
  client = std::make_unique<Client>(path);
  turns.goOn();
  EXPECT_EQ(failuresOf(child), 0);
  EXPECT_EQ(fill(*client, 5, 5), 5);
  client.reset();
  EXPECT_EQ(checked(), "11");
}

TEST_F(EmbeddedIdentity, IsLookedAtForASecondClientWhereTheFirstHasLostItsIndex) {
  Client first(path);
  fill(first, 0, 5);
  removeSides();
  EXPECT_EQ(refusalOf(path).substr(0, 8), "storage:");
  EXPECT_EQ(first.insert(documentOf(5, 1)), "storage 0");
  first.engine.reset();
  EXPECT_EQ(checked(), "6");
}

/// Closing any descriptor of a file drops the locks that the process holds on it.
TEST_F(EmbeddedIdentity, IsGuardedWhereTheProgramItselfOpensAndClosesTheFiles) {
  Turns turns;
  const pid_t holder = start([&] {
    auto* client = new Client(path);
    int written = fill(*client, 0, 10);
    for (const char* side : {"", "-wal", "-shm"}) std::ifstream(path + side).get();
    turns.pause();
    written += fill(*client, 10, 40);
    return missing(written, 50);
  });
  ASSERT_TRUE(turns.awaitPause());
  EXPECT_EQ(failuresIn([this] {
              Client client(path);
              return missing(fill(client, 100, 10), 10);
            }),
            0);
  EXPECT_EQ(failuresIn([this] {
              const auto client = std::make_unique<Client>(path);
              return missing(fill(*client, 110, 10), 10);
            }),
            0);
  turns.goOn();
  EXPECT_EQ(failuresOf(holder), 0);
  EXPECT_EQ(checked(), "71");
}

TEST_F(EmbeddedIdentity, OfAStoreHeldAloneIsGuardedWhereTheProgramItselfOpensAndClosesTheFile) {
  Turns turns;
  const pid_t holder = start([&] {
    auto* client = new Client(path + "?exclusive=true");
    const int written = fill(*client, 0, 10);
    std::ifstream(path).get();
    turns.pause();
    return missing(written + fill(*client, 10, 10), 20);
  });
  ASSERT_TRUE(turns.awaitPause());
  EXPECT_EQ(refusalOf(path + "?timeout=50").substr(0, 8), "timeout:");
  turns.goOn();
  EXPECT_EQ(failuresOf(holder), 0);
  EXPECT_EQ(checked(), "21");
}

/// Closing one client must not drop the locks of the other.
TEST_F(EmbeddedIdentity, IsGuardedForEachOfSeveralClientsOfAProcess) {
  Turns turns;
  const pid_t holder = start([&] {
    auto* client = new Client(path);
    int written = fill(*client, 0, 10);
    for (int i = 0; i < 3; ++i) Client(path).count("{}");
    turns.pause();
    return missing(written + fill(*client, 10, 10), 20);
  });
  ASSERT_TRUE(turns.awaitPause());
  EXPECT_EQ(failuresIn([this] { return missing(fill(Client(path), 100, 10), 10); }), 0);
  turns.goOn();
  EXPECT_EQ(failuresOf(holder), 0);
  EXPECT_EQ(checked(), "31");
}

}  // namespace
}  // namespace database_client
