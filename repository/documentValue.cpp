// SPDX-License-Identifier: Apache-2.0
#include "repository/documentValue.h"

namespace database_provider::repository {

std::optional<Value> valueOf(const ElementReader& element) {
  switch (element.type()) {
    case PropertyType::string:
      return Value(std::string(element.asString()));
    case PropertyType::boolean:
      return Value(element.asBool(false));
    case PropertyType::int32:
      return Value(element.asInt32(0));
    case PropertyType::int64:
      return Value(element.asInt64(0));
    case PropertyType::real:
      return Value(element.asDouble(0));
    case PropertyType::time:
      return Value(Time{element.asTime(0)});
    default:
      return std::nullopt;
  }
}

std::optional<Value> valueAt(const ObjectProperties& document, const std::string& key) {
  for (ElementReader element(document); element.next();) {
    if (element.key() == key) return valueOf(element);
  }
  return std::nullopt;
}

}  // namespace database_provider::repository
