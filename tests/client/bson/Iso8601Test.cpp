// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "client/bson/iso8601.h"

namespace database_client::bson {
namespace {

std::string written(std::int64_t milliseconds) {
  std::string text(longestIso8601, '?');
  text.resize(static_cast<std::size_t>(writeIso8601(milliseconds, text.data()) - text.data()));
  return text;
}

TEST(Iso8601, WritesWhatItReads) {
  const std::pair<std::int64_t, const char*> times[] = {
      {0, "1970-01-01T00:00:00Z"},
      {1, "1970-01-01T00:00:00.001Z"},
      {951782399999, "2000-02-28T23:59:59.999Z"},
      {951782400000, "2000-02-29T00:00:00Z"},
      {951868800000, "2000-03-01T00:00:00Z"},
      {1356351330501, "2012-12-24T12:15:30.501Z"},
      {4107542399000, "2100-02-28T23:59:59Z"},
      {4107542400000, "2100-03-01T00:00:00Z"},
      {253402300799999, "9999-12-31T23:59:59.999Z"},
  };
  for (const auto& [milliseconds, text] : times) {
    EXPECT_EQ(written(milliseconds), text);
    EXPECT_EQ(parseIso8601(text), milliseconds) << text;
  }
}

TEST(Iso8601, GoesThroughEveryDay) {
  for (std::int64_t day = 0; day < 2932897; day += 11) {
    const std::string text = written(day * 86400000 + 86399000);
    ASSERT_EQ(parseIso8601(text), day * 86400000 + 86399000) << text;
  }
}

TEST(Iso8601, ReadsOffsetsDecimalsAndTheYearsBefore) {
  EXPECT_EQ(parseIso8601("1970-01-01T01:00:00+01:00"), 0);
  EXPECT_EQ(parseIso8601("1970-01-01T01:30:00+0130"), 0);
  EXPECT_EQ(parseIso8601("1969-12-31T19:00:00-05"), 0);
  EXPECT_EQ(parseIso8601("1970-01-01T00:00:00.5Z"), 500);
  EXPECT_EQ(parseIso8601("1970-01-01T00:00:00.12300000Z"), 123);
  EXPECT_EQ(parseIso8601("1969-12-31T23:59:59.999Z"), -1);
  EXPECT_EQ(parseIso8601("0000-03-01T00:00:00Z"), -62162035200000);
}

TEST(Iso8601, RefusesWhatIsNoTime) {
  for (const char* text : {"",
                           "1970-01-01",
                           "1970-01-01T00:00:00",
                           "1970-01-01 00:00:00Z",
                           "1970-1-01T00:00:00Z",
                           "1970-00-01T00:00:00Z",
                           "1970-13-01T00:00:00Z",
                           "1970-01-32T00:00:00Z",
                           "1900-02-29T00:00:00Z",
                           "2001-02-29T00:00:00Z",
                           "1970-01-01T24:00:00Z",
                           "1970-01-01T00:60:00Z",
                           "1970-01-01T00:00:60Z",
                           "1970-01-01T00:00:00.Z",
                           "1970-01-01T00:00:00.1234Z",
                           "1970-01-01T00:00:00z",
                           "1970-01-01T00:00:00Z ",
                           "1970-01-01T00:00:00+1",
                           "1970-01-01T00:00:00+24:00",
                           "+1970-01-01T00:00:00Z",
                           "12345-01-01T00:00:00Z"}) {
    EXPECT_EQ(parseIso8601(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace database_client::bson
