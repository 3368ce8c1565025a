#include <gtest/gtest.h>

#include <string>

#include "tests/tools/input/TemporaryFile.h"
#include "tools/core/Errors.h"
#include "tools/input/SumoConfig.h"
#include "tools/values/Number.h"

using namespace database_provider::recordctl;

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

}  // namespace

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
  EXPECT_THROW(findSumoConfigs("/nowhere"), UsageError);
}
