// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/TemporaryFile.h"
#include "tests/support/TemporaryFolder.h"
#include "tools/input/SumoConfig.h"
#include "tools/values/Errors.h"
#include "values/Number.h"

namespace database_provider::recordctl {

using database_provider::values::formatReal;

namespace {

std::string shown(const std::optional<double>& number) {
  return number ? formatReal(*number) : "-";
}

std::string shown(const std::vector<std::string>& paths) {
  std::string result;
  for (const std::string& path : paths) result += "[" + path + "]";
  return result;
}

/// "begin end step-length [networks] | [routes] | [additionals]", or what is wrong.
std::string read(const std::string& inner) {
  const TemporaryFile file("<configuration>" + inner + "</configuration>", ".sumocfg");
  try {
    const SumoConfig config = readSumoConfig(file.path());
    return shown(config.begin) + " " + shown(config.end) + " " + shown(config.stepLength) + " " +
           shown(config.networks) + "|" + shown(config.routes) + "|" + shown(config.additionals);
  } catch (const SumoError& error) {
    return error.option() + "! " + error.what();
  }
}

namespace fs = std::filesystem;

/// A folder of configurations for the length of a test.
class SumoFolder : public ::testing::Test {
 protected:
  fs::path add(const std::string& name) const {
    const fs::path file = folder_ / name;
    fs::create_directories(file.parent_path());
    std::ofstream(file) << "<configuration/>";
    return file;
  }

  /// What is found, each on a line, with a reason where it is refused.
  std::string found() const {
    std::string result;
    forEachSumoConfig(folder_,
                      {[&](const fs::path& file) { result += file.lexically_relative(folder_).string() + "\n"; },
                       [&](const fs::path& path, const std::string& reason) {
                         result += path.lexically_relative(folder_).string() + "! " + reason + "\n";
                       }});
    return result;
  }

  const database_test::TemporaryFolder temporary_{};
  const fs::path folder_ = temporary_.path();
};

}  // namespace

TEST_F(SumoFolder, ConfigurationsComeInTheOrderOfTheirPaths) {
  for (const char* name : {"b.sumocfg", "a/z.sumocfg", "a.sumocfg", "c/d/e.sumocfg", "c/other.xml"}) add(name);
  EXPECT_EQ(found(), "a/z.sumocfg\na.sumocfg\nb.sumocfg\nc/d/e.sumocfg\n");
}

TEST_F(SumoFolder, ALinkThatLeadsNowhereIsRefusedAndTheOthersAreFound) {
  add("z.sumocfg");
  fs::create_symlink(folder_ / "self.sumocfg", folder_ / "self.sumocfg");
  fs::create_symlink("gone", folder_ / "gone.sumocfg");
  fs::create_directory_symlink(folder_, folder_ / "again");
  EXPECT_EQ(found(),
            "gone.sumocfg! No such file or directory\nself.sumocfg! Too many levels of symbolic links\nz.sumocfg\n");
}

TEST_F(SumoFolder, ALargeFolderIsReadInParts) {
  constexpr std::size_t files = 25'000;
  for (std::size_t i = 0; i < files; ++i) add(std::to_string(i) + ".sumocfg");
  std::size_t count = 0;
  const auto clear = [&] {
    if (count++ == 0) fs::remove_all(folder_);
  };
  forEachSumoConfig(folder_,
                    {[&](const fs::path&) { clear(); }, [&](const fs::path&, const std::string&) { clear(); }});
  EXPECT_LT(count, files) << "all were listed before the first was handed over";
}

TEST(SumoConfig, AFileOfMoreThan16MiBIsRefused) {
  const std::string blanks(16U << 20U, ' ');
  const TemporaryFile file("<configuration>" + blanks + "</configuration>", ".sumocfg");
  try {
    readSumoConfig(file.path());
    FAIL() << "nothing was thrown";
  } catch (const SumoError& error) {
    EXPECT_STREQ(error.what(), "larger than 16 MiB");
  }
}

TEST(SumoConfig, WhatIsNotGivenIsAbsent) {
  EXPECT_EQ(read(""), "- - - ||");
}

TEST(SumoConfig, TimesAreSecondsOrClocks) {
  EXPECT_EQ(read(R"(<time><begin value="0"/><end value="400"/><step-length value=".2"/></time>)"), "0 400 0.2 ||");
  EXPECT_EQ(read(R"(<begin value="01:00:30"/><end value="1:02:00:00"/>)"), "3630 93600 - ||");
  EXPECT_EQ(read(R"(<begin value="-00:30:00"/><end value="-1"/>)"), "-1800 -1 - ||");
  EXPECT_EQ(read(R"(<begin value="--1:00:00"/>)").substr(0, 6), "begin!");
  EXPECT_EQ(read(R"(<begin value="0:-30:00"/>)").substr(0, 6), "begin!");
  EXPECT_EQ(read(R"(<begin value="soon"/>)"), "begin! expected seconds or hours:minutes:seconds, found \"soon\"");
}

TEST(SumoConfig, PathsAreRelativeToTheFolderOfTheFile) {
  EXPECT_EQ(read(R"(<input><net-file value="n/a.net.xml"/><route-files value="r1.xml, ../r2.xml"/>)"
                 R"(<additional-files value="/abs/x.xml,,y.xml"/></input>)"),
            "- - - [/tmp/n/a.net.xml]|[/tmp/r1.xml][/r2.xml]|[/abs/x.xml][/tmp/y.xml]");
}

TEST(SumoConfig, OptionsAreFoundUnderTheirOtherNamesToo) {
  EXPECT_EQ(read(R"(<b v="1"/><e v="2"/><n v="a.xml"/>)"), "1 2 - [/tmp/a.xml]||");
}

TEST(SumoConfig, OtherFilesAreRefused) {
  const TemporaryFile broken("<configuration>", ".sumocfg");
  EXPECT_THROW(readSumoConfig(broken.path()), SumoError);
  const TemporaryFile other("<net/>", ".sumocfg");
  EXPECT_THROW(readSumoConfig(other.path()), SumoError);
  try {
    readSumoConfig("/nowhere.sumocfg");
    ADD_FAILURE() << "nothing was thrown";
  } catch (const SumoError& error) {
    EXPECT_STREQ(error.what(), "No such file or directory");
  }
}

TEST(SumoConfig, AFolderThatIsNotThereIsNamed) {
  EXPECT_THROW(forEachSumoConfig("/nowhere", {}), UsageError);
}

}  // namespace database_provider::recordctl
