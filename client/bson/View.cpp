// SPDX-License-Identifier: Apache-2.0
#include "client/bson/View.h"

#include <algorithm>

namespace database_client::bson {

std::size_t regexSize(const Byte* value) {
  const std::size_t pattern = cString(value).size() + 1;
  return pattern + cString(value + pattern).size() + 1;
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
    if (element.value.isLevel()) {
      deepest = std::max(deepest, 1 + depth(element.value.asDocument()));
    } else if (element.value.type == Type::codeWithScope) {
      deepest = std::max(deepest, 1 + depth(element.value.scope()));
    }
  }
  return deepest;
}

}  // namespace database_client::bson
