// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "database_provider/files.h"

namespace database_provider {

namespace {

namespace fs = std::filesystem;

/// A folder with "root/data/a.pdf", and "secret" beside the root.
class FileRootsTest : public ::testing::Test {
 protected:
  FileRootsTest() {
    std::string name = (fs::temp_directory_path() / "file_roots_test_XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder");
    folder = name;
    fs::create_directories(folder / "root/data");
    std::ofstream(folder / "root/data/a.pdf") << "x";
    std::ofstream(folder / "secret") << "x";
    roots.add("NAS", folder / "root");
  }
  ~FileRootsTest() override { fs::remove_all(folder); }

  std::string state(const std::string& host, const std::string& path) const {
    return fileStateName(roots.look({"1", ObjectType::documentObject, host, path}).state);
  }

  fs::path folder{};
  FileRoots roots{};
};

TEST_F(FileRootsTest, OwnFilesAreLookedAtAsTheyAreNamed) {
  const std::string there = folder / "root/data/a.pdf";
  for (const char* host : {"", "localhost", "LocalHost", "127.0.0.1", "::1"})
    EXPECT_EQ(state(host, there), "ok") << host;
  char own[256] = {};
  ASSERT_EQ(::gethostname(own, sizeof own - 1), 0);
  EXPECT_EQ(state(own, there), "ok");
  EXPECT_EQ(state("", folder / "nothing"), "missing");
  EXPECT_EQ(state("", there + "/below"), "missing");
  EXPECT_EQ(state("", folder), "ok") << "a folder";
  EXPECT_EQ(state("another", there), "elsewhere");
}

TEST_F(FileRootsTest, FilesOfAnotherHostAreLookedAtBelowItsRoot) {
  for (const char* path : {"data/a.pdf", "/data/a.pdf", "//data//a.pdf", "/data/./a.pdf", "data/../data/a.pdf"})
    EXPECT_EQ(state("nas", path), "ok") << path;
  EXPECT_EQ(state("nas", "data/b.pdf"), "missing");
  EXPECT_EQ(state("nas.example.org", "data/a.pdf"), "elsewhere") << "another name is another host";
}

TEST_F(FileRootsTest, AStepUpOutOfTheRootIsNotFollowed) {
  for (const char* path :
       {"../secret", "/../secret", "data/../../secret", "nothing/../../secret", "..", "data/../.."}) {
    const FileLook look = roots.look({"1", ObjectType::documentObject, "nas", path});
    EXPECT_STREQ(fileStateName(look.state), "unreadable") << path;
    EXPECT_EQ(look.path, "") << path;
    EXPECT_NE(look.reason.find("leads out of"), std::string::npos) << look.reason;
  }
  fs::create_directory_symlink(folder, folder / "root/up");
  EXPECT_EQ(state("nas", "up/../secret"), "unreadable") << "behind a link";
  EXPECT_EQ(state("nas", "up/secret"), "ok") << "whoever made the root made the link";
}

TEST_F(FileRootsTest, OddPathsAreMissing) {
  EXPECT_EQ(state("", ""), "missing");
  EXPECT_EQ(state("nas", ""), "missing");
  EXPECT_EQ(state("", std::string("/etc/passwd\0.pdf", 16)), "missing");
  EXPECT_EQ(state("nas", std::string("data/a.pdf\0.pdf", 15)), "missing");
  EXPECT_EQ(state("nas", std::string(100'000, 'x')), "unreadable");
}

TEST_F(FileRootsTest, APipeIsNotWaitedFor) {
  const fs::path pipe = folder / "pipe";
  ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(state("", pipe), "ok");
}

TEST_F(FileRootsTest, TheRootGivenLastHolds) {
  roots.add("nas", folder / "root/data").add("localhost", folder / "root");
  EXPECT_EQ(state("NAS", "a.pdf"), "ok");
  EXPECT_EQ(state("localhost", "/data/a.pdf"), "ok");
}

}  // namespace

}  // namespace database_provider
