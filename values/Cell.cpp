// SPDX-License-Identifier: Apache-2.0
#include "values/Cell.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <utility>

#include "values/Number.h"
#include "values/Text.h"
#include "values/Time.h"

namespace database_provider::values {

namespace {

constexpr std::array<std::pair<const char*, PropertyType>, 6> types = {{{"string", PropertyType::string},
                                                                        {"bool", PropertyType::boolean},
                                                                        {"int", PropertyType::int32},
                                                                        {"long", PropertyType::int64},
                                                                        {"double", PropertyType::real},
                                                                        {"time", PropertyType::time}}};

constexpr std::size_t longestShown = 60;
constexpr std::int64_t millisecondsOfSecond = 1000;

std::string shown(const Cell& cell) {
  struct {
    std::string operator()(std::monostate) const { return "nothing"; }
    std::string operator()(bool value) const { return value ? "true" : "false"; }
    std::string operator()(std::int64_t value) const { return std::to_string(value); }
    std::string operator()(double value) const { return formatReal(value); }
    std::string operator()(Time value) const { return formatTime(value.milliseconds); }
    std::string operator()(const std::string& value) const {
      return inQuotes(shortened(printable(value), longestShown));
    }
    std::string operator()(const Cell::Other& value) const { return value.kind; }
  } show;
  return cell.typed.empty() ? std::visit(show, cell.value) : cell.typed;
}

[[noreturn]] void fail(const std::string& expected, const Cell& cell) {
  throw ConversionError("expected " + expected + ", found " + shown(cell));
}

/// The number that a cell holds, as a whole one where that is exact; a text is read as one.
std::variant<std::monostate, std::int64_t, double> numberOf(const Cell& cell) {
  if (const auto* integer = std::get_if<std::int64_t>(&cell.value)) return *integer;
  const auto* text = std::get_if<std::string>(&cell.value);
  if (text != nullptr) {
    if (const auto integer = parseInteger(*text)) return *integer;
  }
  const auto* held = std::get_if<double>(&cell.value);
  const auto real = text != nullptr ? parseReal(*text) : held != nullptr ? std::optional(*held) : std::nullopt;
  if (!real) return {};
  if (const auto whole = wholeNumber(*real)) return *whole;
  return *real;
}

std::int64_t wholeOf(const Cell& cell, const std::string& expected) {
  const auto number = numberOf(cell);
  if (const auto* integer = std::get_if<std::int64_t>(&number)) return *integer;
  fail(expected, cell);
}

int toInt32(const Cell& cell) {
  const std::string expected = "int (a whole number of 32 bits)";
  const std::int64_t value = wholeOf(cell, expected);
  if (value < std::numeric_limits<int>::min() || value > std::numeric_limits<int>::max()) fail(expected, cell);
  return static_cast<int>(value);
}

double toReal(const Cell& cell) {
  if (const auto* held = std::get_if<double>(&cell.value)) return *held;
  if (const auto* integer = std::get_if<std::int64_t>(&cell.value)) return static_cast<double>(*integer);
  const auto* text = std::get_if<std::string>(&cell.value);
  if (text == nullptr) fail("double (a number)", cell);
  if (const auto real = parseReal(*text)) return *real;
  if (const auto real = parseNonFinite(*text)) return *real;
  fail("double (a number)", cell);
}

bool toBool(const Cell& cell) {
  if (const auto* held = std::get_if<bool>(&cell.value)) return *held;
  if (const auto* text = std::get_if<std::string>(&cell.value)) {
    if (*text == "true" || *text == "True" || *text == "TRUE") return true;
    if (*text == "false" || *text == "False" || *text == "FALSE") return false;
  }
  fail("bool (true or false)", cell);
}

/// Whole or not: fractions of a second are common.
Time ofSeconds(const Cell& cell) {
  const std::string expected = "time (ISO 8601, or seconds since 1970)";
  constexpr double most = 9.2e15;  // milliseconds within 64 bits, and exact to one of them for a thousand centuries
  const auto number = numberOf(cell);
  const auto* whole = std::get_if<std::int64_t>(&number);
  const auto* real = std::get_if<double>(&number);
  const double seconds = whole != nullptr ? static_cast<double>(*whole) : real != nullptr ? *real : most;
  if (!(std::fabs(seconds) < most)) fail(expected, cell);
  return {whole != nullptr ? *whole * millisecondsOfSecond : std::llround(seconds * millisecondsOfSecond)};
}

Time ofMilliseconds(const Cell& cell, TimeUnit unit) {
  // As seconds, what is smaller reaches to the year 5138; as milliseconds, it does not leave March 1973.
  constexpr std::int64_t leastCertain = 100'000'000'000;
  const std::int64_t count = wholeOf(cell, "time (ISO 8601, or whole milliseconds since 1970)");
  if (unit == TimeUnit::undecided && count > -leastCertain && count < leastCertain)
    throw ConversionError("expected time, found " + shown(cell) +
                          ", which could be a year, seconds or milliseconds; --time-unit s or ms says which");
  return {count};
}

Time toTime(const Cell& cell, TimeUnit unit) {
  if (const auto* held = std::get_if<Time>(&cell.value)) return *held;
  if (const auto* text = std::get_if<std::string>(&cell.value)) {
    if (const auto time = parseTime(*text)) return {*time};
  }
  return unit == TimeUnit::seconds ? ofSeconds(cell) : ofMilliseconds(cell, unit);
}

}  // namespace

std::optional<PropertyType> columnType(const std::string& name) {
  for (const auto& [known, type] : types) {
    if (name == known) return type;
  }
  return std::nullopt;
}

std::string columnTypeName(PropertyType type) {
  return std::find_if(types.begin(), types.end(), [type](const auto& entry) { return entry.second == type; })->first;
}

PropertyType apparentType(const std::string& text) {
  if (text == "true" || text == "false") return PropertyType::boolean;
  if (const auto integer = parseInteger(text)) {
    const bool isNarrow = *integer >= std::numeric_limits<int>::min() && *integer <= std::numeric_limits<int>::max();
    return isNarrow ? PropertyType::int32 : PropertyType::int64;
  }
  if (parseReal(text) || parseNonFinite(text)) return PropertyType::real;
  return parseTime(text) ? PropertyType::time : PropertyType::string;
}

std::string columnTypeNames() {
  std::string result;
  for (const auto& [name, type] : types) result += (result.empty() ? "" : ", ") + std::string(name);
  return result;
}

bool Cell::isAbsent() const {
  const auto* text = std::get_if<std::string>(&value);
  return std::holds_alternative<std::monostate>(value) || (text != nullptr && text->empty());
}

Converted convert(const Cell& cell, PropertyType type, TimeUnit unit) {
  switch (type) {
    case PropertyType::boolean:
      return toBool(cell);
    case PropertyType::int32:
      return toInt32(cell);
    case PropertyType::int64:
      return wholeOf(cell, "long (a whole number of 64 bits)");
    case PropertyType::real:
      return toReal(cell);
    case PropertyType::time:
      return toTime(cell, unit);
    default:
      break;
  }
  return textOf(cell);
}

bool CellForms::isAbsent(const std::string& text) const {
  return std::find(absent.begin(), absent.end(), text) != absent.end();
}

Converted convert(const Cell& cell, PropertyType type, const CellForms& forms) {
  const auto* text = std::get_if<std::string>(&cell.value);
  if (text == nullptr || type == PropertyType::string) return convert(cell, type, forms.timeUnit);
  const std::string_view plain = trimmed(*text);
  if (type == PropertyType::time) {
    for (const std::string& format : forms.timeFormats) {
      if (const auto time = parseTime(plain, format)) return Time{*time};
    }
  }
  const bool isNumber = type == PropertyType::int32 || type == PropertyType::int64 || type == PropertyType::real;
  if (isNumber && (forms.decimal != '.' || forms.thousands != '\0')) {
    const auto number = plainNumber(plain, forms.decimal, forms.thousands);
    if (number) return convert({*number}, type, forms.timeUnit);
    // What another sign would make of it is not what is meant.
    if (parseReal(plain)) fail(std::string("a number with \"") + forms.decimal + "\" before its fraction", cell);
  }
  if (plain.size() == text->size()) return convert(cell, type, forms.timeUnit);
  return convert({std::string(plain)}, type, forms.timeUnit);
}

std::string textOf(const Cell& cell) {
  if (const auto* text = std::get_if<std::string>(&cell.value)) return *text;
  if (std::holds_alternative<Cell::Other>(cell.value)) fail("a text, a number or a boolean", cell);
  return shown(cell);
}

}  // namespace database_provider::values
