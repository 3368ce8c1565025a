// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/plan/PipelineTemplate.h"

#include <algorithm>

#include "client/json/json.h"

namespace database_client::embedded::index {

namespace {

using bson::Type;
using bson::Value;

bool isSame(const Value& a, const Value& b) {
  return a.type == b.type && a.size == b.size && std::equal(a.data, a.data + a.size, b.data);
}

bool isPlaceholder(const Value& value) {
  return value.type == Type::string && !value.asString().empty() && value.asString().front() == '?';
}

bool fitsValue(const Value& expected, const Value& given, Bindings& bindings) {
  if (isPlaceholder(expected)) return bindings.bind(expected.asString().substr(1), given);
  if (expected.type != given.type) return false;
  if (!expected.isDocument() && !expected.isArray()) return isSame(expected, given);
  const bson::View level = given.asDocument();
  auto at = level.begin();
  for (const bson::Element& part : expected.asDocument()) {
    if (at == level.end() || at->key != part.key || !fitsValue(part.value, at->value, bindings)) return false;
    ++at;
  }
  return at == level.end();
}

}  // namespace

bool Bindings::bind(std::string_view placeholder, const Value& value) {
  const Value known = (*this)[placeholder];
  if (known.data != nullptr) return isSame(known, value);
  values_.emplace_back(placeholder, value);
  return true;
}

Value Bindings::operator[](std::string_view placeholder) const {
  for (const auto& [name, value] : values_) {
    if (name == placeholder) return value;
  }
  return {};
}

PipelineTemplate::PipelineTemplate(std::string_view json) : bytes_(json::read(json)) {}

bool PipelineTemplate::fits(const Value& value, Bindings& bindings) const {
  return fitsValue({Type::document, bytes_.data(), bytes_.size()}, value, bindings);
}

}  // namespace database_client::embedded::index
