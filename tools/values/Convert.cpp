#include "tools/values/Convert.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include "tools/core/Text.h"
#include "tools/values/Number.h"
#include "tools/values/Time.h"

namespace database_provider::recordctl {

namespace {

constexpr std::array<std::pair<const char*, ColumnType>, 6> types = {{{"string", ColumnType::string},
                                                                      {"bool", ColumnType::boolean},
                                                                      {"int", ColumnType::int32},
                                                                      {"long", ColumnType::int64},
                                                                      {"double", ColumnType::real},
                                                                      {"time", ColumnType::time}}};

constexpr std::size_t longestShown = 60;

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
  const auto real = text == nullptr ? std::nullopt : parseReal(*text);
  if (!real) fail("double (a number)", cell);
  return *real;
}

bool toBool(const Cell& cell) {
  if (const auto* held = std::get_if<bool>(&cell.value)) return *held;
  if (const auto* text = std::get_if<std::string>(&cell.value)) {
    if (*text == "true" || *text == "True" || *text == "TRUE") return true;
    if (*text == "false" || *text == "False" || *text == "FALSE") return false;
  }
  fail("bool (true or false)", cell);
}

Time toTime(const Cell& cell) {
  if (const auto* held = std::get_if<Time>(&cell.value)) return *held;
  if (const auto* text = std::get_if<std::string>(&cell.value)) {
    if (const auto time = parseTime(*text)) return {*time};
  }
  return {wholeOf(cell, "time (ISO 8601, or whole milliseconds since 1970)")};
}

}  // namespace

std::optional<ColumnType> columnType(const std::string& name) {
  for (const auto& [known, type] : types) {
    if (name == known) return type;
  }
  return std::nullopt;
}

std::string columnTypeName(ColumnType type) {
  return std::find_if(types.begin(), types.end(), [type](const auto& entry) { return entry.second == type; })->first;
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

Converted convert(const Cell& cell, ColumnType type) {
  switch (type) {
    case ColumnType::boolean:
      return toBool(cell);
    case ColumnType::int32:
      return toInt32(cell);
    case ColumnType::int64:
      return wholeOf(cell, "long (a whole number of 64 bits)");
    case ColumnType::real:
      return toReal(cell);
    case ColumnType::time:
      return toTime(cell);
    case ColumnType::string:
      break;
  }
  return textOf(cell);
}

std::string textOf(const Cell& cell) {
  if (const auto* text = std::get_if<std::string>(&cell.value)) return *text;
  if (std::holds_alternative<Cell::Other>(cell.value)) fail("a text, a number or a boolean", cell);
  return shown(cell);
}

}  // namespace database_provider::recordctl
