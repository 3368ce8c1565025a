// SPDX-License-Identifier: Apache-2.0
#include "client/bson/iso8601.h"

namespace database_client::bson {

namespace {

constexpr std::int64_t millisecondsOfDay = 86400000;

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

/// Takes parts off the front of a text; the first that does not fit makes it bad for good.
class Cursor {
 public:
  explicit Cursor(std::string_view text) : rest_(text) {}

  bool isBad() const { return bad_; }
  bool atEnd() const { return rest_.empty(); }
  char peek() const { return rest_.empty() ? '\0' : rest_.front(); }

  bool skip(char c) {
    if (peek() != c || rest_.empty()) return false;
    rest_.remove_prefix(1);
    return true;
  }
  void expect(char c) { bad_ = !skip(c) || bad_; }

  /// Exactly `width` digits, for a number from `least` to `most`.
  int digits(std::size_t width, int least, int most) {
    int value = 0;
    for (std::size_t i = 0; i < width; ++i) {
      if (!isDigit(peek())) return bad_ = true, 0;
      value = value * 10 + (rest_.front() - '0');
      rest_.remove_prefix(1);
    }
    bad_ = bad_ || value < least || value > most;
    return value;
  }

 private:
  std::string_view rest_;
  bool bad_ = false;
};

int daysOfMonth(int year, int month) {
  constexpr int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool isLeap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
  return month == 2 && isLeap ? 29 : days[month - 1];
}

/// Days from 1970-01-01. Years begin in March here, so that a leap day is the last of its year.
std::int64_t dayNumber(int year, int month, int day) {
  const int y = (month <= 2 ? year - 1 : year) + 400;
  const int yearOfEra = y % 400;
  const int dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
  const int dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return std::int64_t{y / 400 - 1} * 146097 + dayOfEra - 719468;
}

std::int64_t parseDay(Cursor& cursor) {
  const int year = cursor.digits(4, 0, 9999);
  cursor.expect('-');
  const int month = cursor.digits(2, 1, 12);
  cursor.expect('-');
  if (cursor.isBad()) return 0;
  return dayNumber(year, month, cursor.digits(2, 1, daysOfMonth(year, month)));
}

int parseDecimals(Cursor& cursor) {
  if (!cursor.skip('.')) return 0;
  int milliseconds = cursor.digits(1, 0, 9) * 100;
  if (isDigit(cursor.peek())) milliseconds += cursor.digits(1, 0, 9) * 10;
  if (isDigit(cursor.peek())) milliseconds += cursor.digits(1, 0, 9);
  while (isDigit(cursor.peek())) cursor.digits(1, 0, 0);
  return milliseconds;
}

std::int64_t parseClock(Cursor& cursor) {
  const int hour = cursor.digits(2, 0, 23);
  cursor.expect(':');
  const int minute = cursor.digits(2, 0, 59);
  cursor.expect(':');
  const int second = cursor.digits(2, 0, 59);
  return ((hour * 60 + minute) * 60 + second) * 1000 + parseDecimals(cursor);
}

/// In minutes to the east.
int parseOffset(Cursor& cursor) {
  if (cursor.skip('Z')) return 0;
  const bool west = cursor.skip('-');
  if (!west) cursor.expect('+');
  int minutes = cursor.digits(2, 0, 23) * 60;
  if (cursor.skip(':') || !cursor.atEnd()) minutes += cursor.digits(2, 0, 59);
  return west ? -minutes : minutes;
}

char* writeDigits(unsigned value, std::size_t width, char* at) {
  for (std::size_t i = width; i-- > 0; value /= 10) at[i] = static_cast<char>('0' + value % 10);
  return at + width;
}

/// The date of a day counted from 1970-01-01: the way back from `dayNumber`.
char* writeDay(unsigned day, char* at) {
  const unsigned shifted = day + 719468;
  const unsigned era = shifted / 146097;
  const unsigned dayOfEra = shifted % 146097;
  const unsigned yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const unsigned dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const unsigned march = (5 * dayOfYear + 2) / 153;
  const unsigned month = march < 10 ? march + 3 : march - 9;
  at = writeDigits(era * 400 + yearOfEra + (month <= 2 ? 1 : 0), 4, at);
  *at++ = '-';
  at = writeDigits(month, 2, at);
  *at++ = '-';
  return writeDigits(dayOfYear - (153 * march + 2) / 5 + 1, 2, at);
}

}  // namespace

std::optional<std::int64_t> parseIso8601(std::string_view text) {
  Cursor cursor(text);
  const std::int64_t day = parseDay(cursor);
  cursor.expect('T');
  const std::int64_t clock = parseClock(cursor);
  const int offset = parseOffset(cursor);
  if (cursor.isBad() || !cursor.atEnd()) return std::nullopt;
  return day * millisecondsOfDay + clock - std::int64_t{offset} * 60000;
}

char* writeIso8601(std::int64_t milliseconds, char* at) {
  at = writeDay(static_cast<unsigned>(milliseconds / millisecondsOfDay), at);
  const auto clock = static_cast<unsigned>(milliseconds % millisecondsOfDay);
  *at++ = 'T';
  at = writeDigits(clock / 3600000, 2, at);
  *at++ = ':';
  at = writeDigits(clock / 60000 % 60, 2, at);
  *at++ = ':';
  at = writeDigits(clock / 1000 % 60, 2, at);
  if (clock % 1000 != 0) {
    *at++ = '.';
    at = writeDigits(clock % 1000, 3, at);
  }
  *at++ = 'Z';
  return at;
}

}  // namespace database_client::bson
