// SPDX-License-Identifier: Apache-2.0
#include "values/Time.h"

#include <date/date.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <locale>
#include <sstream>

namespace database_provider::values {

namespace {

using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;

constexpr long long millisecondsOfDay = 86'400'000;

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

/// Reads a text from its front; every step says whether it found what it asked for.
class Scanner {
 public:
  explicit Scanner(std::string_view text) : rest_(text) {}

  bool atEnd() const { return rest_.empty(); }

  bool take(char c) {
    if (rest_.empty() || rest_.front() != c) return false;
    rest_.remove_prefix(1);
    return true;
  }

  bool takeOneOf(std::string_view choices, char& taken) {
    if (rest_.empty() || choices.find(rest_.front()) == std::string_view::npos) return false;
    taken = rest_.front();
    rest_.remove_prefix(1);
    return true;
  }

  bool number(std::size_t digits, int& value) {
    if (rest_.size() < digits) return false;
    int result = 0;
    for (std::size_t i = 0; i < digits; ++i) {
      if (!isDigit(rest_[i])) return false;
      result = result * 10 + (rest_[i] - '0');
    }
    rest_.remove_prefix(digits);
    value = result;
    return true;
  }

  /// The digits of a fraction, as thousandths.
  bool thousandths(int& value) {
    int result = 0;
    std::size_t count = 0;
    for (; !rest_.empty() && isDigit(rest_.front()); rest_.remove_prefix(1), ++count) {
      if (count < 3) result = result * 10 + (rest_.front() - '0');
    }
    for (std::size_t i = count; i < 3; ++i) result *= 10;
    value = result;
    return count > 0;
  }

 private:
  std::string_view rest_;
};

std::optional<date::sys_days> readDate(Scanner& scanner) {
  int year = 0;
  int month = 0;
  int day = 0;
  if (!scanner.number(4, year) || !scanner.take('-') || !scanner.number(2, month) || !scanner.take('-') ||
      !scanner.number(2, day))
    return std::nullopt;
  const auto result = date::year{year} / month / day;
  if (!result.ok()) return std::nullopt;
  return date::sys_days(result);
}

std::optional<milliseconds> readClock(Scanner& scanner) {
  int hour = 0;
  int minute = 0;
  int second = 0;
  int fraction = 0;
  char separator = 0;
  if (!scanner.number(2, hour) || !scanner.take(':') || !scanner.number(2, minute)) return std::nullopt;
  if (scanner.take(':')) {
    if (!scanner.number(2, second)) return std::nullopt;
    if (scanner.takeOneOf(".,", separator) && !scanner.thousandths(fraction)) return std::nullopt;
  }
  if (hour > 23 || minute > 59 || second > 59) return std::nullopt;
  return hours(hour) + minutes(minute) + seconds(second) + milliseconds(fraction);
}

/// "Z", "+02", "+0200", "+02:00" or nothing.
std::optional<minutes> readOffset(Scanner& scanner) {
  char sign = 0;
  if (scanner.atEnd()) return minutes(0);
  if (scanner.takeOneOf("Zz", sign)) return minutes(0);
  int hour = 0;
  int minute = 0;
  if (!scanner.takeOneOf("+-", sign) || !scanner.number(2, hour)) return std::nullopt;
  const bool separated = scanner.take(':');
  if ((separated || !scanner.atEnd()) && !scanner.number(2, minute)) return std::nullopt;
  if (hour > 23 || minute > 59) return std::nullopt;
  const minutes offset = hours(hour) + minutes(minute);
  return sign == '-' ? -offset : offset;
}

/// How many milliseconds a letter behind a number stands for.
std::optional<long long> unitOf(char letter) {
  switch (letter) {
    case 's':
      return 1000;
    case 'm':
      return 60'000;
    case 'h':
      return 3'600'000;
    case 'd':
      return millisecondsOfDay;
    case 'w':
      return 7 * millisecondsOfDay;
    default:
      return std::nullopt;
  }
}

}  // namespace

std::optional<long long> parseTime(std::string_view text) {
  Scanner scanner(text);
  const auto day = readDate(scanner);
  if (!day) return std::nullopt;
  milliseconds result = day->time_since_epoch();
  char separator = 0;
  if (scanner.takeOneOf("Tt ", separator)) {
    const auto clock = readClock(scanner);
    if (!clock) return std::nullopt;
    const auto offset = readOffset(scanner);
    if (!offset) return std::nullopt;
    result += *clock - *offset;
  }
  if (!scanner.atEnd()) return std::nullopt;
  return result.count();
}

std::optional<long long> parseTime(std::string_view text, const std::string& format) {
  std::istringstream stream{std::string(text)};
  stream.imbue(std::locale::classic());
  date::sys_time<milliseconds> result;
  date::from_stream(stream, format.c_str(), result);
  if (stream.fail() || stream.peek() != std::istringstream::traits_type::eof()) return std::nullopt;
  return result.time_since_epoch().count();
}

Time currentTime() {
  const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
  return {std::chrono::duration_cast<milliseconds>(sinceEpoch).count()};
}

std::optional<Time> parseRelativeTime(std::string_view text, Time now) {
  constexpr std::string_view word = "now";
  constexpr std::size_t mostDigits = 9;  // of which weeks stay within 64 bits
  if (text.substr(0, word.size()) != word) return std::nullopt;
  text.remove_prefix(word.size());
  if (text.empty()) return now;
  if (text.size() < 3 || text.size() > mostDigits + 2 || text.front() != '-') return std::nullopt;
  const std::string_view digits = text.substr(1, text.size() - 2);
  const auto unit = unitOf(text.back());
  if (!unit || !std::all_of(digits.begin(), digits.end(), isDigit)) return std::nullopt;
  long long count = 0;
  for (const char digit : digits) count = count * 10 + (digit - '0');
  return Time{now.milliseconds - count * *unit};
}

std::string formatTime(long long count) {
  constexpr long long first = -62'167'219'200'000;  // 0000-01-01
  constexpr long long last = 253'402'300'799'999;   // the end of 9999-12-31
  if (count < first || count > last) return std::to_string(count);
  const long long dayNumber = (count - first) / millisecondsOfDay;
  const date::year_month_day day = date::sys_days(date::days(dayNumber + first / millisecondsOfDay));
  const auto rest = static_cast<int>((count - first) % millisecondsOfDay);
  char text[40];
  const int length = std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d", static_cast<int>(day.year()),
                                   static_cast<unsigned>(day.month()), static_cast<unsigned>(day.day()),
                                   rest / 3'600'000, rest / 60'000 % 60, rest / 1000 % 60);
  std::string result(text, static_cast<std::size_t>(length));
  if (rest % 1000 != 0) {
    const int fraction = std::snprintf(text, sizeof text, ".%03d", rest % 1000);
    result.append(text, static_cast<std::size_t>(fraction));
  }
  return result + "Z";
}

}  // namespace database_provider::values
