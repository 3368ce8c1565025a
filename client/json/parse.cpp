// SPDX-License-Identifier: Apache-2.0
#include "client/json/parse.h"

#include <bson/bson.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>

namespace database_client::json {

namespace {

using bson::Byte;

template <class Number>
std::optional<Number> parseNumber(std::string_view text) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

int hexDigit(char c) {
  if (isDigit(c)) return c - '0';
  const char lower = static_cast<char>(c | 0x20);
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
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

/// Days from 1970-01-01, with years that begin in March.
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

}  // namespace

std::optional<std::int32_t> parseInt32(std::string_view text) {
  return parseNumber<std::int32_t>(text);
}

std::optional<std::int64_t> parseInt64(std::string_view text) {
  return parseNumber<std::int64_t>(text);
}

std::optional<std::uint32_t> parseUint32(std::string_view text) {
  return parseNumber<std::uint32_t>(text);
}

std::optional<double> parseDouble(std::string_view text) {
  if (text == "NaN") return std::numeric_limits<double>::quiet_NaN();
  if (text == "Infinity") return std::numeric_limits<double>::infinity();
  if (text == "-Infinity") return -std::numeric_limits<double>::infinity();
  // The conversion knows more names for what is not finite, in any case.
  const auto value = parseNumber<double>(text);
  return value && std::isfinite(*value) ? value : std::nullopt;
}

std::optional<std::array<Byte, 16>> parseDecimal(std::string_view text) {
  bson_decimal128_t decimal;
  if (text.size() > std::numeric_limits<int>::max() ||
      !bson_decimal128_from_string_w_len(text.data(), static_cast<int>(text.size()), &decimal)) {
    return std::nullopt;
  }
  std::array<Byte, 16> bytes{};
  bson::store(bytes.data(), decimal.low);
  bson::store(bytes.data() + 8, decimal.high);
  return bytes;
}

bool parseHex(std::string_view text, Byte* bytes, std::size_t size) {
  if (text.size() != 2 * size) return false;
  int seen = 0;
  for (std::size_t i = 0; i < size; ++i) {
    const int high = hexDigit(text[2 * i]);
    const int low = hexDigit(text[2 * i + 1]);
    seen |= high | low;
    bytes[i] = static_cast<Byte>((high & 15) << 4 | (low & 15));
  }
  return seen >= 0;
}

std::optional<std::array<Byte, 16>> parseUuid(std::string_view text) {
  if (text.size() != 36) return std::nullopt;
  std::string digits;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isHyphen = i == 8 || i == 13 || i == 18 || i == 23;
    if (!isHyphen) digits.push_back(text[i]);
    if (isHyphen && text[i] != '-') return std::nullopt;
  }
  std::array<Byte, 16> bytes{};
  if (!parseHex(digits, bytes.data(), bytes.size())) return std::nullopt;
  return bytes;
}

std::optional<std::int64_t> parseTime(std::string_view text) {
  Cursor cursor(text);
  const std::int64_t day = parseDay(cursor);
  cursor.expect('T');
  const std::int64_t clock = parseClock(cursor);
  const int offset = parseOffset(cursor);
  if (cursor.isBad() || !cursor.atEnd()) return std::nullopt;
  return day * 86400000 + clock - std::int64_t{offset} * 60000;
}

}  // namespace database_client::json
