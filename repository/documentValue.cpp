// SPDX-License-Identifier: Apache-2.0
#include "repository/documentValue.h"

#include <array>

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

std::optional<Value> valueAt(const ObjectProperties& document, const std::string& key) {
  for (ElementReader element(document); element.next();) {
    if (element.key() == key) return valueOf(element);
  }
  return std::nullopt;
}

PropertyType typeOf(const Value& value) {
  constexpr std::array types = {PropertyType::string, PropertyType::boolean, PropertyType::int32,
                                PropertyType::int64,  PropertyType::real,    PropertyType::time};
  static_assert(types.size() == std::variant_size_v<Value>);
  return types.at(value.index());
}

}  // namespace database_provider::repository
