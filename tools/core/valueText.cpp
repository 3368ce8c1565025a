// SPDX-License-Identifier: Apache-2.0
#include "tools/core/valueText.h"

#include <array>
#include <charconv>
#include <cmath>

#include "values/Number.h"
#include "values/Time.h"

namespace database_provider::recordctl {

Table::Cell valueCell(const std::optional<Value>& value) {
  return {valueText(value), value && numberOf(*value)};
}

std::string figureText(double figure) {
  constexpr int digits = 6;
  std::array<char, 32> text{};
  const auto end = std::to_chars(text.data(), text.data() + text.size(), figure, std::chars_format::general, digits);
  const auto rounded = values::parseReal({text.data(), static_cast<std::size_t>(end.ptr - text.data())});
  return values::formatReal(rounded.value_or(figure));
}

Table::Cell figureCell(const std::optional<double>& figure) {
  return {figure ? figureText(*figure) : "", true};
}

void putText(ObjectProperties& document, const std::string& key, const std::optional<std::string>& text) {
  putValue(document, key, text ? std::optional<Value>(*text) : std::nullopt);
}

void putNumber(ObjectProperties& document, const std::string& key, const std::optional<double>& number) {
  putValue(document, key, number ? std::optional<Value>(*number) : std::nullopt);
}

}  // namespace database_provider::recordctl
