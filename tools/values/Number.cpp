#include "tools/values/Number.h"

#include <charconv>
#include <cmath>

namespace database_provider::recordctl {

namespace {

template <class Number>
std::optional<Number> parseWhole(std::string_view text) {
  Number result{};
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, result);
  if (error != std::errc() || stop != end) return std::nullopt;
  return result;
}

/// Leaves out the words that the standard reads as numbers too, such as "inf" and "nan".
bool hasOnlyNumberBytes(std::string_view text) {
  return text.find_first_not_of("0123456789.eE+-") == std::string_view::npos;
}

}  // namespace

std::optional<std::int64_t> parseInteger(std::string_view text) {
  return parseWhole<std::int64_t>(text);
}

std::optional<double> parseReal(std::string_view text) {
  if (!hasOnlyNumberBytes(text)) return std::nullopt;
  return parseWhole<double>(text);
}

std::string formatReal(double value) {
  char text[32];
  const auto [end, error] = std::to_chars(text, text + sizeof text, value);
  return {text, end};
}

std::optional<std::int64_t> wholeNumber(double value) {
  constexpr double limit = 9223372036854775808.0;
  if (!(value >= -limit && value < limit) || std::trunc(value) != value) return std::nullopt;
  return static_cast<std::int64_t>(value);
}

}  // namespace database_provider::recordctl
