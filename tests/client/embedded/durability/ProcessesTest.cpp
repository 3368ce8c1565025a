// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "client/embedded/storage/StoreFile.h"
#include "database_client/Error.h"
#include "tests/client/embedded/durability/FaultyFiles.h"
#include "tests/client/embedded/durability/LogOfSteps.h"
#include "tests/client/embedded/support/EngineFixture.h"

namespace database_client {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int writers = 4;
constexpr int readers = 2;

/// What a process did before it ended: the pairs it wrote, or the times it looked.
struct Report {
  std::int32_t done = 0;
  std::int32_t timeouts = 0;
  std::int32_t wrong = 0;
};

/// Every write adds two documents at once, so that whoever sees an odd number has seen half a write.
Report write(const std::string& path, int number, Clock::time_point end) {
  Client client(path);
  Report report;
  for (std::int32_t i = 0; Clock::now() < end; ++i) {
    std::vector<ObjectProperties> pair;
    for (const std::int32_t id : {number * 1'000'000 + 2 * i, number * 1'000'000 + 2 * i + 1}) {
      pair.push_back(ObjectProperties::fromJson(documentOf(id, number)));
    }
    try {
      report.wrong += client.engine->insertMany(client.where(), pair).empty() ? 0 : 1;
      ++report.done;
    } catch (const Error& error) {
      if (error.kind() != Error::Kind::timeout) throw;
      ++report.timeouts;
    }
  }
  return report;
}

Report read(const std::string& path, Clock::time_point end) {
  Client client(path);
  Report report;
  long long before = 0;
  for (; Clock::now() < end; ++report.done) {
    long long documents = 0;
    client.engine->find(client.where(), {{}, {}, 0, 0}, [&documents](ObjectProperties&&) { return ++documents > 0; });
    const long long byIndex = client.engine->count(
        client.where(), ObjectProperties::fromJson(R"({"items": {"$elemMatch": {"name": "version", "value": 2}}})"));
    if (documents % 2 != 0 || documents < before || byIndex % 2 != 0) ++report.wrong;
    before = documents;
  }
  return report;
}

class EmbeddedProcesses : public ::testing::Test {
 protected:
  struct Child {
    pid_t process = 0;
    std::unique_ptr<Pipe> pipe = std::make_unique<Pipe>();
  };

  template <class Work>
  void start(const Work& work) {
    Child child;
    child.process = fork();
    if (child.process == 0) {
      child.pipe->keepWriting();
      try {
        child.pipe->send(work());
      } catch (const std::exception& error) {
        std::cerr << "child: " << error.what() << std::endl;
        _exit(1);
      }
      _exit(0);
    }
    child.pipe->keepReading();
    children.push_back(std::move(child));
  }
  std::vector<Report> finish() {
    std::vector<Report> reports;
    for (const Child& child : children) {
      Report report;
      EXPECT_TRUE(child.pipe->receive(report));
      int status = -1;
      waitpid(child.process, &status, 0);
      EXPECT_EQ(status, 0);
      reports.push_back(report);
    }
    return reports;
  }

  TemporaryFolder folder{};
  std::string path = folder / "store";
  std::vector<Child> children{};
};

TEST_F(EmbeddedProcesses, WriteAndReadOneStoreAtOnceAndLoseNothing) {
  const char* seconds = std::getenv("DATABASE_TEST_PROCESS_SECONDS");
  const auto end = Clock::now() + std::chrono::seconds(seconds == nullptr ? 2 : std::atol(seconds));
  for (int i = 0; i < writers; ++i) start([this, i, end] { return write(path, i, end); });
  for (int i = 0; i < readers; ++i) start([this, end] { return read(path, end); });
  const std::vector<Report> reports = finish();
  long pairs = 0;
  long looks = 0;
  long timeouts = 0;
  for (std::size_t i = 0; i < reports.size(); ++i) {
    EXPECT_EQ(reports[i].wrong, 0);
    EXPECT_GT(reports[i].done, 0);
    (i < writers ? pairs : looks) += reports[i].done;
    timeouts += reports[i].timeouts;
  }
  Client client(path);
  EXPECT_EQ(client.count("{}"), std::to_string(2 * pairs));
  EXPECT_EQ(client.check(), std::to_string(2 * pairs + 1));
  std::printf("%ld writes, %ld looks, %ld timeouts\n", pairs, looks, timeouts);
}

TEST_F(EmbeddedProcesses, WaitForALockNoLongerThanStated) {
  { Client client(path); }
  Pipe ready;
  start([&] {
    Client client(path);
    client.engine->beginTransaction();
    client.insert(R"({"_id": 1})");
    ready.send('x');
    usleep(1'500'000);
    client.engine->rollbackTransaction();
    return Report{};
  });
  char mark = 0;
  ASSERT_TRUE(ready.receive(mark));
  Client client(path + "?timeout=300");
  const auto begun = Clock::now();
  EXPECT_EQ(client.insert(R"({"_id": 2})"), "timeout 0");
  const auto waited = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - begun).count();
  EXPECT_GE(waited, 290);
  EXPECT_LT(waited, 1300);
  EXPECT_EQ(client.count("{}"), "0");
  finish();
  EXPECT_EQ(client.insert(R"({"_id": 2})"), "ok");
}

TEST_F(EmbeddedProcesses, MayMakeOneStoreAtTheSameTime) {
  for (int i = 0; i < 6; ++i) {
    start([this, i] {
      Report report;
      Client client(path);
      report.wrong = client.insert("{\"_id\": " + std::to_string(i) + "}") == "ok" ? 0 : 1;
      return report;
    });
  }
  for (const Report& report : finish()) EXPECT_EQ(report.wrong, 0);
  EXPECT_EQ(Client(path).check(), "7");
}

/// The log goes with the last client, so that the file alone has to tell whether it is whole.
TEST_F(EmbeddedProcesses, OpenASoundStoreAlsoWhileAnotherMakesItGrow) {
  { Client client(path); }
  Pipe go;
  Pipe grown;
  start([&] {
    char mark = 0;
    go.receive(mark);
    {
      Client client(path);
      ObjectProperties document;
      document.setValueInt32("_id", 1);
      document.setValueString("text", std::string(100'000, 'x'));
      client.engine->insert(client.where(), document);
    }
    grown.send('x');
    return Report{};
  });
  const FaultyFiles files;
  FaultyFiles::afterNextSize([&] {
    char mark = 'x';
    go.send(mark);
    grown.receive(mark);
  });
  EXPECT_EQ(Client::outcome([this] { embedded::openStore(embedded::StoreAddress::parse(path)); }), "ok");
  finish();
  EXPECT_EQ(Client(path).check(), "2");
}

TEST_F(EmbeddedProcesses, CannotUseAStoreThatOneHoldsAlone) {
  auto holder = std::make_unique<Client>(path + "?exclusive=true");
  holder->insert(R"({"_id": 1})");
  start([this] {
    Report report;
    report.wrong = Client::outcome([this] { Client(path + "?timeout=50"); }) == "timeout 0" ? 0 : 1;
    return report;
  });
  for (const Report& report : finish()) EXPECT_EQ(report.wrong, 0);
  holder.reset();
  EXPECT_EQ(Client(path).count("{}"), "1");
}

}  // namespace
}  // namespace database_client
