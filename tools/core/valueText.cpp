// SPDX-License-Identifier: Apache-2.0
#include "tools/core/valueText.h"

#include <array>
#include <charconv>
#include <cmath>

#include "values/Number.h"
#include "values/Time.h"

namespace database_provider::recordctl {

std::string valueText(const std::optional<Value>& value) {
  struct Text {
    std::string operator()(const std::string& text) const { return text; }
    std::string operator()(bool boolean) const { return boolean ? "true" : "false"; }
    std::string operator()(std::int32_t integer) const { return std::to_string(integer); }
    std::string operator()(std::int64_t integer) const { return std::to_string(integer); }
    std::string operator()(double real) const { return values::formatReal(real); }
    std::string operator()(Time time) const { return values::formatTime(time.milliseconds); }
  };
  return value ? std::visit(Text(), *value) : std::string();
}

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

void putValue(ObjectProperties& document, const std::string& key, const std::optional<Value>& value) {
  struct Put {
    ObjectProperties& document;
    const std::string& key;
    void operator()(const std::string& text) const { document.setValueString(key, text); }
    void operator()(bool boolean) const { document.setValueBool(key, boolean); }
    void operator()(std::int32_t integer) const { document.setValueInt32(key, integer); }
    void operator()(std::int64_t integer) const { document.setValueInt64(key, integer); }
    void operator()(double real) const { document.setValueDouble(key, real); }
    void operator()(Time time) const { document.setValueTime(key, time.milliseconds); }
  };
  if (!value) return document.setValueNull(key);
  std::visit(Put{document, key}, *value);
}

void putText(ObjectProperties& document, const std::string& key, const std::optional<std::string>& text) {
  putValue(document, key, text ? std::optional<Value>(*text) : std::nullopt);
}

void putNumber(ObjectProperties& document, const std::string& key, const std::optional<double>& number) {
  putValue(document, key, number ? std::optional<Value>(*number) : std::nullopt);
}

}  // namespace database_provider::recordctl
