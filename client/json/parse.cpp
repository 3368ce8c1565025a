// SPDX-License-Identifier: Apache-2.0
#include "client/json/parse.h"

#include <bson/bson.h>

#include <charconv>
#include <cmath>
#include <limits>
#include <string>

#include "client/bson/hex.h"

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

std::optional<std::array<Byte, 16>> parseUuid(std::string_view text) {
  if (text.size() != 36) return std::nullopt;
  std::string digits;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isHyphen = i == 8 || i == 13 || i == 18 || i == 23;
    if (!isHyphen) digits.push_back(text[i]);
    if (isHyphen && text[i] != '-') return std::nullopt;
  }
  std::array<Byte, 16> bytes{};
  if (!bson::parseHex(digits, bytes.data(), bytes.size())) return std::nullopt;
  return bytes;
}

}  // namespace database_client::json
