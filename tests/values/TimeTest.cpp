// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>

#include "values/Time.h"

namespace database_provider::values {
namespace {

/// What a text means, written out again; "-" for a text that is no time.
std::string reread(const std::string& text) {
  const auto time = parseTime(text);
  return time ? formatTime(*time) : "-";
}

constexpr Time now{1'772'704'800'000};  // 2026-03-05T10:00:00Z

/// The time that a text names at `now`; "-" for a text that names none.
std::string relative(const std::string& text) {
  const auto time = parseRelativeTime(text, now);
  return time ? formatTime(time->milliseconds) : "-";
}

}  // namespace

TEST(Time, ADateAloneIsMidnightUtc) {
  EXPECT_EQ(reread("2020-01-31"), "2020-01-31T00:00:00Z");
}

TEST(Time, ATimeHasSecondsAndAFractionWhereTheyAreGiven) {
  EXPECT_EQ(reread("2020-01-31T10:05"), "2020-01-31T10:05:00Z");
  EXPECT_EQ(reread("2020-01-31 10:05:07Z"), "2020-01-31T10:05:07Z");
  EXPECT_EQ(reread("2020-01-31T10:05:07.5Z"), "2020-01-31T10:05:07.500Z");
  EXPECT_EQ(reread("2020-01-31T10:05:07,123456Z"), "2020-01-31T10:05:07.123Z");
}

TEST(Time, AnOffsetIsObeyed) {
  EXPECT_EQ(reread("2020-01-31T00:30:00+02:00"), "2020-01-30T22:30:00Z");
  EXPECT_EQ(reread("2020-01-31T23:30:00-0130"), "2020-02-01T01:00:00Z");
  EXPECT_EQ(reread("2020-01-31T10:00+02"), "2020-01-31T08:00:00Z");
}

TEST(Time, TheCountIsInMilliseconds) {
  EXPECT_EQ(parseTime("1970-01-01"), 0);
  EXPECT_EQ(parseTime("1969-12-31T23:59:59.999Z"), -1);
  EXPECT_EQ(parseTime("2000-03-01"), 951'868'800'000);
}

TEST(Time, DaysThatNoCalendarHasAreRefused) {
  EXPECT_EQ(reread("2019-02-29"), "-");
  EXPECT_EQ(reread("2020-02-29"), "2020-02-29T00:00:00Z");
  EXPECT_EQ(reread("2020-13-01"), "-");
  EXPECT_EQ(reread("2020-00-10"), "-");
  EXPECT_EQ(reread("1900-02-29"), "-");
}

TEST(Time, ClocksThatNoDayHasAreRefused) {
  EXPECT_EQ(reread("2020-01-31T24:00:00"), "-");
  EXPECT_EQ(reread("2020-01-31T10:60:00"), "-");
  EXPECT_EQ(reread("2020-01-31T10:00:60"), "-");
  EXPECT_EQ(reread("2020-01-31T10:00:00+24:00"), "-");
}

TEST(Time, OtherTextsAreNoTimes) {
  for (const char* text : {"", "2020", "2020-1-1", "31.01.2020", "2020-01-31T", "2020-01-31Z", "2020-01-31T10",
                           "2020-01-31T10:00:00.", "2020-01-31T10:00:00Zulu", " 2020-01-31", "2020-01-31 "})
    EXPECT_EQ(reread(text), "-") << text;
}

TEST(Time, TheEdgesOfTheCalendarAreWrittenOut) {
  EXPECT_EQ(formatTime(-62'167'219'200'000), "0000-01-01T00:00:00Z");
  EXPECT_EQ(formatTime(253'402'300'799'999), "9999-12-31T23:59:59.999Z");
  EXPECT_EQ(formatTime(253'402'300'800'000), "253402300800000");
  EXPECT_EQ(formatTime(-1), "1969-12-31T23:59:59.999Z");
}

TEST(Time, NowIsTheTimeThatIsGiven) {
  EXPECT_EQ(relative("now"), "2026-03-05T10:00:00Z");
}

TEST(Time, ATimeAgoCountsBackFromNow) {
  EXPECT_EQ(relative("now-1s"), "2026-03-05T09:59:59Z");
  EXPECT_EQ(relative("now-90m"), "2026-03-05T08:30:00Z");
  EXPECT_EQ(relative("now-24h"), "2026-03-04T10:00:00Z");
  EXPECT_EQ(relative("now-30d"), "2026-02-03T10:00:00Z");
  EXPECT_EQ(relative("now-2w"), "2026-02-19T10:00:00Z");
  EXPECT_EQ(relative("now-0d"), "2026-03-05T10:00:00Z");
}

TEST(Time, TheLongestTimeAgoIsStillATime) {
  EXPECT_EQ(parseRelativeTime("now-999999999w", now)->milliseconds, 1'772'704'800'000 - 999'999'999LL * 604'800'000);
  EXPECT_EQ(relative("now-1000000000s"), "-");
}

TEST(Time, NothingElseIsATimeAgo) {
  for (const char* text : {"", "no", "Now", "nowhere", "now-", "now-d", "now-30", "now-3x", "now-3D", "now--3d",
                           "now+3d", "now-1.5d", "now -3d", "now-3d "})
    EXPECT_EQ(relative(text), "-") << text;
}

TEST(Time, TheCurrentTimeIsBehindThatOfThisTest) {
  EXPECT_GT(currentTime().milliseconds, now.milliseconds - 3 * 365 * 86'400'000LL);
}

}  // namespace database_provider::values
