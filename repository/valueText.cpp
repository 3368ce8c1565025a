// SPDX-License-Identifier: Apache-2.0
#include "repository/valueText.h"

#include "values/Number.h"
#include "values/Time.h"

namespace database_provider::repository {

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

}  // namespace database_provider::repository
