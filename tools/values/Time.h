#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace database_provider::recordctl {

/// The milliseconds since the epoch, UTC, that an ISO 8601 text names: a date, which is midnight UTC, or a date and a
/// time behind a "T" or a blank, with seconds, a fraction and an offset where they are given. Without an offset a time
/// is UTC; what is finer than a millisecond is cut off. Nothing for any other text, and for days that no calendar has.
std::optional<long long> parseTime(std::string_view text);

/// The text of a time that `parseTime` reads back; a count of milliseconds beyond the years 0 to 9999 stays a number.
std::string formatTime(long long milliseconds);

}  // namespace database_provider::recordctl
