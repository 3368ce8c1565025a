// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

/// Times as text, "2012-12-24T12:15:30.501Z": milliseconds since 1970 in UTC, in the proleptic Gregorian calendar.
namespace database_client::bson {

/// Takes the whole text or nothing. In place of "Z" there may be an offset ("+01:00", "+0100", "+01"); of any number of
/// decimals those beyond milliseconds are 0. Years are those from 0 to 9999.
std::optional<std::int64_t> parseIso8601(std::string_view text);

constexpr std::size_t longestIso8601 = 24;
/// Writes a time from 1970 to 9999, with decimals where there are any, to where there is room for `longestIso8601`
/// characters, and returns its end.
char* writeIso8601(std::int64_t milliseconds, char* at);

}  // namespace database_client::bson
