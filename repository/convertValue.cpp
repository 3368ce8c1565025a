// SPDX-License-Identifier: Apache-2.0
#include "repository/convertValue.h"

#include <cmath>

#include "repository/documentValue.h"
#include "repository/valueText.h"
#include "values/Number.h"
#include "values/Time.h"

namespace database_provider::repository {

namespace {

/// The number, boolean or time that a text stands for.
std::optional<Value> parsed(const std::string& text, PropertyType type) {
  if (type == PropertyType::boolean) {
    if (text == "true") return true;
    if (text == "false") return false;
    return std::nullopt;
  }
  if (type == PropertyType::time) {
    const std::optional<long long> time = values::parseTime(text);
    return time ? std::optional<Value>(Time{*time}) : std::nullopt;
  }
  if (const auto integer = values::parseInteger(text)) return *integer;
  if (const auto real = values::parseReal(text)) return *real;
  if (const auto real = values::parseNonFinite(text)) return *real;
  return std::nullopt;
}

bool isNegativeZero(const Value& value) {
  const auto* real = std::get_if<double>(&value);
  return real != nullptr && *real == 0 && std::signbit(*real);
}

}  // namespace

std::optional<std::int64_t> exactInteger(const Value& value) {
  if (const auto* narrow = std::get_if<std::int32_t>(&value)) return *narrow;
  if (const auto* wide = std::get_if<std::int64_t>(&value)) return *wide;
  const auto* real = std::get_if<double>(&value);
  return real != nullptr ? values::wholeNumber(*real) : std::nullopt;
}

std::optional<Value> converted(const Value& value, PropertyType type) {
  if (typeOf(value) == type) return value;
  if (type == PropertyType::string) return valueText(value);
  if (const auto* text = std::get_if<std::string>(&value)) {
    const std::optional<Value> result = parsed(*text, type);
    return result ? converted(*result, type) : std::nullopt;
  }
  const std::optional<std::int64_t> integer = isNegativeZero(value) ? std::nullopt : exactInteger(value);
  if (!integer) return std::nullopt;
  switch (type) {
    case PropertyType::int32: {
      const auto narrow = static_cast<std::int32_t>(*integer);
      return narrow == *integer ? std::optional<Value>(narrow) : std::nullopt;
    }
    case PropertyType::int64:
      return *integer;
    case PropertyType::real: {
      const auto real = static_cast<double>(*integer);
      return values::wholeNumber(real) == integer ? std::optional<Value>(real) : std::nullopt;
    }
    default:
      return std::nullopt;
  }
}

std::string kindNameOf(PropertyType type) {
  switch (type) {
    case PropertyType::string:
      return kindName(std::string());
    case PropertyType::boolean:
      return kindName(false);
    case PropertyType::int32:
      return kindName(std::int32_t{});
    case PropertyType::int64:
      return kindName(std::int64_t{});
    case PropertyType::real:
      return kindName(double{});
    case PropertyType::time:
      return kindName(Time{});
    default:
      return "a value of no kind that descriptions have";
  }
}

}  // namespace database_provider::repository
