// SPDX-License-Identifier: Apache-2.0
#include "values/Number.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

namespace database_provider::values {

namespace {

template <class Number>
std::optional<Number> parseWhole(std::string_view text) {
  Number result{};
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, result);
  if (error != std::errc() || stop != end) return std::nullopt;
  return result;
}

/// Leaves out the words that the standard reads as numbers too, such as "nan(1)".
bool hasOnlyNumberBytes(std::string_view text) {
  return text.find_first_not_of("0123456789.eE+-") == std::string_view::npos;
}

bool isWord(std::string_view text, std::string_view lower) {
  return text.size() == lower.size() && std::equal(text.begin(), text.end(), lower.begin(), [](char c, char expected) {
           return c == expected || c == expected - 'a' + 'A';
         });
}

}  // namespace

std::optional<std::int64_t> parseInteger(std::string_view text) {
  return parseWhole<std::int64_t>(text);
}

std::optional<double> parseReal(std::string_view text) {
  if (!hasOnlyNumberBytes(text)) return std::nullopt;
  return parseWhole<double>(text);
}

std::optional<double> parseNonFinite(std::string_view text) {
  const bool isNegative = !text.empty() && text.front() == '-';
  if (!text.empty() && (text.front() == '-' || text.front() == '+')) text.remove_prefix(1);
  if (isWord(text, "nan")) return std::numeric_limits<double>::quiet_NaN();
  if (!isWord(text, "inf") && !isWord(text, "infinity")) return std::nullopt;
  return isNegative ? -std::numeric_limits<double>::infinity() : std::numeric_limits<double>::infinity();
}

std::optional<std::string> plainNumber(std::string_view text, char decimal, char thousands) {
  constexpr std::size_t sizeOfGroup = 3;
  const auto isDigit = [&](std::size_t at) { return at < text.size() && text[at] >= '0' && text[at] <= '9'; };
  std::string result;
  std::size_t at = 0;
  if (!text.empty() && text.front() == '-') result += text[at++];
  const std::size_t begin = at;
  while (isDigit(at)) result += text[at++];
  if (thousands != '\0' && at > begin && at - begin <= sizeOfGroup) {
    while (at < text.size() && text[at] == thousands && isDigit(at + 1) && isDigit(at + 2) && isDigit(at + 3)) {
      result.append(text, at + 1, sizeOfGroup);
      at += 1 + sizeOfGroup;
    }
    if (isDigit(at)) return std::nullopt;
  }
  bool hasDigits = at > begin;
  if (at < text.size() && text[at] == decimal) {
    result += '.';
    for (++at; isDigit(at); ++at) {
      result += text[at];
      hasDigits = true;
    }
  }
  if (!hasDigits) return std::nullopt;
  if (at < text.size() && (text[at] == 'e' || text[at] == 'E')) {
    result.append(text, at, std::string_view::npos);
    at = text.size();
  }
  if (at != text.size() || !parseReal(result)) return std::nullopt;
  return result;
}

std::string formatReal(double value) {
  if (std::isnan(value)) return "NaN";
  if (std::isinf(value)) return value < 0 ? "-Infinity" : "Infinity";
  constexpr double leastFixed = 1e-6;
  constexpr double leastScientific = 1e21;
  const double size = std::fabs(value);
  const bool isFixed = size == 0 || (size >= leastFixed && size < leastScientific);
  char text[40];
  const auto [end, error] = std::to_chars(text, text + sizeof text, value,
                                          isFixed ? std::chars_format::fixed : std::chars_format::scientific);
  return {text, end};
}

std::optional<std::int64_t> wholeNumber(double value) {
  constexpr double limit = 9223372036854775808.0;
  if (!(value >= -limit && value < limit) || std::trunc(value) != value) return std::nullopt;
  return static_cast<std::int64_t>(value);
}

}  // namespace database_provider::values
