// SPDX-License-Identifier: Apache-2.0
#include "database_provider/changes.h"

#include <algorithm>

#include "repository/Formula.h"
#include "values/Text.h"

namespace database_provider {

using database_client::Error;
using Kind = NameInUse::Kind;

namespace {

void refuse(bool isWrong, const std::string& name, const std::string& reason) {
  if (isWrong) throw Error(Error::Kind::document, reason, {name});
}

}  // namespace

Changes& Changes::put(Step step) {
  refuse(step.name.empty(), step.name,
         step.kind == Kind::category ? "a category has an empty name" : "a description has an empty name");
  const auto known = std::find_if(steps_.begin(), steps_.end(), [&step](const Step& other) {
    return other.kind == step.kind && other.name == step.name;
  });
  if (known == steps_.end())
    steps_.push_back(std::move(step));
  else
    *known = std::move(step);
  return *this;
}

Changes& Changes::category(const std::string& name, const std::string& value) {
  refuse(value.empty(), name, "category \"" + name + "\" has an empty value");
  return put({Kind::category, name, Value(value)});
}

Changes& Changes::description(const std::string& name, const Value& value) {
  const auto* text = std::get_if<std::string>(&value);
  refuse(text != nullptr && text->empty(), name, "description \"" + name + "\" has an empty text");
  return put({Kind::description, name, value});
}

Changes& Changes::compute(const std::string& name, const std::string& formula, PropertyType type) {
  const bool isNumber = type == PropertyType::int32 || type == PropertyType::int64 || type == PropertyType::real;
  refuse(!isNumber && type != PropertyType::undefined, name,
         "description \"" + name + "\" is computed as a number or not at all");
  // Which names there are only a store knows; what cannot be read in any store is refused here.
  const repository::Formula checked(formula, [](const std::string&) { return true; });
  return put({Kind::description, name, Computation{formula, type}});
}

Changes& Changes::unset(const std::string& name) {
  return unset(Kind::category, name).unset(Kind::description, name);
}

Changes& Changes::unset(NameInUse::Kind kind, const std::string& name) {
  return put({kind, name, std::monostate()});
}

Changes& Changes::file(ObjectType type, const std::string& host, const std::string& path) {
  files_.push_back({"", type, host, path});
  return *this;
}

FormulaError::FormulaError(const std::string& reason, const std::string& formula, std::size_t position)
    : std::invalid_argument("in the formula: " + reason + "\n" + values::marked(formula, position)),
      reason_(reason),
      position_(position) {}

FormulaError::~FormulaError() = default;
FormulaError::FormulaError(const FormulaError&) = default;
FormulaError& FormulaError::operator=(const FormulaError&) = default;

const std::string& FormulaError::reason() const noexcept {
  return reason_;
}

std::size_t FormulaError::position() const noexcept {
  return position_;
}

}  // namespace database_provider
