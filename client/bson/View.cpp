#include "client/bson/View.h"

#include <algorithm>

namespace database_client::bson {

std::size_t valueSize(Type type, const Byte* value) {
  const auto length = [value] { return static_cast<std::size_t>(load<std::int32_t>(value)); };
  switch (type) {
    case Type::int32:
      return 4;
    case Type::real:
    case Type::date:
    case Type::int64:
    case Type::timestamp:
      return 8;
    case Type::string:
    case Type::code:
    case Type::symbol:
      return 4 + length();
    case Type::document:
    case Type::array:
    case Type::codeWithScope:
      return length();
    case Type::boolean:
      return 1;
    case Type::objectId:
      return objectIdSize;
    case Type::undefined:
    case Type::null:
    case Type::minKey:
    case Type::maxKey:
      return 0;
    case Type::binary:
      return 4 + 1 + length();
    case Type::decimal128:
      return 16;
    case Type::dbPointer:
      return 4 + length() + objectIdSize;
    case Type::regex: {
      const std::size_t pattern = cString(value).size() + 1;
      return pattern + cString(value + pattern).size() + 1;
    }
  }
  return 0;
}

View Value::scope() const {
  const auto code = static_cast<std::size_t>(load<std::int32_t>(data + 4));
  return viewAt(data + 8 + code);
}

std::size_t View::count() const {
  std::size_t n = 0;
  for (auto at = begin(); at != end(); ++at) ++n;
  return n;
}

Value View::find(std::string_view key) const {
  for (const Element& element : *this) {
    if (element.key == key) return element.value;
  }
  return {};
}

View emptyDocument() {
  static constexpr Byte bytes[] = {5, 0, 0, 0, 0};
  return {bytes, sizeof bytes};
}

std::size_t depth(View document) {
  std::size_t deepest = 0;
  for (const Element& element : document) {
    const Type type = element.value.type;
    if (type == Type::document || type == Type::array) {
      deepest = std::max(deepest, 1 + depth(element.value.asDocument()));
    } else if (type == Type::codeWithScope) {
      deepest = std::max(deepest, 1 + depth(element.value.scope()));
    }
  }
  return deepest;
}

}  // namespace database_client::bson
