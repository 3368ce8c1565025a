// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace database_provider::values {

/// Milliseconds since the epoch, UTC.
struct Time {
  long long milliseconds;
};

/// The milliseconds since the epoch, UTC, that an ISO 8601 text names: a date, which is midnight UTC, or a date and a
/// time behind a "T" or a blank, with seconds, a fraction and an offset where they are given. Without an offset a time
/// is UTC; what is finer than a millisecond is cut off. Nothing for any other text, and for days that no calendar has.
std::optional<long long> parseTime(std::string_view text);

/// The time that a text in this form names. The form is that of strftime, in English: %Y-%m-%d, %d/%m/%y %H:%M:%S, %b
/// for the name of a month, %z for an offset. Nothing for any other text, and where the form names no day.
std::optional<long long> parseTime(std::string_view text, const std::string& format);

/// The current time.
Time currentTime();

/// The time that "now" names, or a text such as "now-30d": so many seconds (s), minutes (m), hours (h), days (d) or
/// weeks (w) before it, in up to nine digits. Nothing for any other text.
std::optional<Time> parseRelativeTime(std::string_view text, Time now);

/// The text that `parseTime` reads as this count of milliseconds; beyond the years 0 to 9999 it stays a number.
std::string formatTime(long long count);

}  // namespace database_provider::values
