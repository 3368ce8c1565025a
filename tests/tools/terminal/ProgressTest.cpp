// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <sstream>

#include "tools/terminal/Progress.h"

namespace database_provider::recordctl {
namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

class ProgressTest : public ::testing::Test {
 protected:
  Progress progress(std::uint64_t total, bool isTerminal) {
    return Progress(total, out, isTerminal, [this] { return now; });
  }
  /// What an update writes when so much time has passed.
  std::string after(milliseconds time, Progress& progress, std::uint64_t position, std::uint64_t records) {
    now += time;
    out.str("");
    progress.update(position, records);
    return out.str();
  }

  std::ostringstream out{};
  Progress::Clock::time_point now{};
};

TEST_F(ProgressTest, OnATerminalIsABarWithRateAndTimeLeft) {
  Progress shown = progress(4000, true);
  EXPECT_EQ(after(seconds(10), shown, 1000, 500),
            "\r\x1b[K[#######                       ] 25 %, 50 records/s, 0:30 left");
  EXPECT_EQ(after(seconds(90), shown, 2000, 1000),
            "\r\x1b[K[###############               ] 50 %, 10 records/s, 1:40 left");
}

TEST_F(ProgressTest, WithoutAKnownEndIsTheRateAlone) {
  Progress shown = progress(0, true);
  EXPECT_EQ(after(seconds(2), shown, 1000, 500), "\r\x1b[K250 records/s");
}

TEST_F(ProgressTest, OnATerminalIsDrawnFiveTimesASecondAtMost) {
  Progress shown = progress(100, true);
  EXPECT_EQ(after(milliseconds(199), shown, 10, 10), "");
  EXPECT_NE(after(milliseconds(1), shown, 10, 10), "");
  EXPECT_EQ(after(milliseconds(199), shown, 10, 10), "");
}

TEST_F(ProgressTest, ElsewhereIsALineEveryTenSeconds) {
  Progress shown = progress(4000, false);
  EXPECT_EQ(after(milliseconds(9999), shown, 1000, 500), "");
  EXPECT_EQ(after(milliseconds(1), shown, 1000, 500), "recordctl: 500 records, 25 %, 50 records/s\n");
  EXPECT_EQ(after(milliseconds(9999), shown, 2000, 1000), "");
  EXPECT_EQ(after(milliseconds(1), shown, 2000, 1000), "recordctl: 1000 records, 50 %, 50 records/s\n");
}

TEST_F(ProgressTest, IsTakenAwayForOtherLinesAndAtTheEnd) {
  {
    Progress shown = progress(100, true);
    after(seconds(1), shown, 10, 10);
    out.str("");
    shown.hide();
    EXPECT_EQ(out.str(), "\r\x1b[K");
    shown.hide();
    EXPECT_EQ(out.str(), "\r\x1b[K");
    after(seconds(1), shown, 10, 10);
    out.str("");
  }
  EXPECT_EQ(out.str(), "\r\x1b[K");
}

}  // namespace
}  // namespace database_provider::recordctl
