// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "database_provider/backup.h"

namespace database_provider {

using database_client::Error;

namespace {

namespace fs = std::filesystem;

class BackupTest : public ::testing::Test {
 protected:
  BackupTest() {
    std::string name = (fs::temp_directory_path() / "backup_test_XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder");
    folder = name;
  }
  ~BackupTest() override { fs::remove_all(folder); }

  std::string path(const std::string& name) const { return folder / name; }
  std::string address(const std::string& name) const { return "file:" + path(name); }
  static std::string outcome(const std::function<void()>& call) {
    try {
      call();
      return "done";
    } catch (const Error& error) {
      return toString(error.kind());
    }
  }

  fs::path folder{};
};

/// Record n is written before record n + 1, so that the state of one moment holds the first of them and no others.
TEST_F(BackupTest, IsTheStateOfOneMomentWhileOthersWrite) {
  const auto store = open(address("store.db"));
  Records(*store, RecordKind::experiment).insert(NewRecord().description("n", Value(0)));
  std::atomic<bool> isDone{false};
  std::thread writer([&] {
    const auto other = open(address("store.db"));
    const Records records(*other, RecordKind::experiment);
    for (int n = 1; !isDone; ++n) records.insert(NewRecord().description("n", n));
  });
  for (int i = 0; i < 5; ++i) {
    const std::string name = "backup" + std::to_string(i) + ".db";
    const BackupReport report = backUp(*store, path(name));
    EXPECT_TRUE(report.isOneMoment);
    const auto copy = open(address(name));
    EXPECT_TRUE(copy->check().problems.empty());
    const Records records(*copy, RecordKind::experiment);
    EXPECT_EQ(records.count(), report.records);
    EXPECT_EQ(records.count(where("n<" + std::to_string(report.records))), report.records);
  }
  isDone = true;
  writer.join();
}

TEST_F(BackupTest, TakesNoPlaceThatIsTaken) {
  const auto store = open(address("store.db"));
  std::ofstream(path("taken")) << "x";
  fs::create_symlink(path("nowhere"), path("link"));
  EXPECT_EQ(outcome([&] { backUp(*store, path("taken")); }), "storage");
  EXPECT_EQ(outcome([&] { backUp(*store, path("link")); }), "storage");
  EXPECT_EQ(outcome([&] { backUp(*store, path("store.db")); }), "storage");
  EXPECT_EQ(outcome([&] { backUp(*store, path("no/folder/b.db")); }), "storage");
  EXPECT_EQ(outcome([&] { backUp(*store, path("b.db?create=true")); }), "query");
  EXPECT_EQ(fs::file_size(path("taken")), 1U);
}

TEST_F(BackupTest, IsNotPutBackWhileSomebodyHasTheStoreOpen) {
  const auto store = open(address("store.db"));
  Records(*store, RecordKind::experiment).insert(NewRecord().description("n", 1));
  backUp(*store, path("b.db"));
  RestoreOptions replacing;
  replacing.replace = true;
  EXPECT_NE(outcome([&] { restore(path("b.db"), address("store.db") + "?timeout=100", replacing); }), "done");
  EXPECT_EQ(Records(*store, RecordKind::experiment).count(), 1);
  store->disconnect();
  fs::permissions(path("store.db"), fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
  EXPECT_EQ(restore(path("b.db"), address("store.db"), replacing).replaced, 1);
  EXPECT_EQ(fs::status(path("store.db")).permissions(),
            fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read);
  EXPECT_EQ(outcome([&] { restore(path("b.db"), address("store.db")); }), "query");
  EXPECT_EQ(outcome([&] { restore(path("b.db"), address("b.db"), replacing); }), "query");
  EXPECT_EQ(restore(path("b.db"), address("new.db")).records, 1);
}

TEST_F(BackupTest, IsPutBackIntoAStoreInMemoryDocumentByDocument) {
  const auto store = open(address("store.db"));
  Records(*store, RecordKind::scenario).insert(NewRecord().category("network", "ring"));
  backUp(*store, path("b.db"));
  EXPECT_EQ(restore(path("b.db"), "file::memory:").records, 1);
}

}  // namespace

}  // namespace database_provider
