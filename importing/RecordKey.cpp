// SPDX-License-Identifier: Apache-2.0
#include "importing/RecordKey.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <utility>

#include "records/layout.h"
#include "repository/documentValue.h"
#include "repository/valueText.h"
#include "values/Number.h"
#include "values/Text.h"

namespace database_provider::importing {

namespace {

using database_client::ArrayScope;
using database_client::GroupScope;
using Kind = StoreColumn::Kind;
using values::inQuotes;

bool makesCategory(const ImportPlan& plan, const std::string& name) {
  return std::find(plan.categories.begin(), plan.categories.end(), name) != plan.categories.end();
}

bool makesDescription(const ImportPlan& plan, const std::string& name) {
  return std::any_of(plan.descriptions.begin(), plan.descriptions.end(),
                     [&](const ImportPlan::Description& column) { return column.name == name; });
}

RecordKey::Field fieldOf(const std::string& text, const ImportPlan& plan, const StoreColumns& inStore) {
  if (text == "id") return {Kind::id, "id"};
  const std::vector<std::string> parts = values::splitEscaped(text, ':');
  const std::string name = values::unescaped(parts.back());
  if (name.empty()) throw ImportError("key: a name is empty");
  if (parts.size() == 2 && parts.front() == "category") return {Kind::category, name};
  if (parts.size() == 2 && parts.front() == "description") return {Kind::description, name};
  if (parts.size() != 1)
    throw ImportError("key: before a colon stands category or description, found " + inQuotes(text));
  const bool isCategory = makesCategory(plan, name);
  const bool isDescription = makesDescription(plan, name);
  if (isCategory != isDescription) return {isCategory ? Kind::category : Kind::description, name};
  const StoreColumn* column = inStore.find(name);
  if ((isCategory && isDescription) || (column != nullptr && column->kind == Kind::ambiguous))
    throw ImportError("key: " + inQuotes(name) + " is a category and a description; category: or description: before " +
                      "it tells which");
  if (column == nullptr || column->name != name)
    throw ImportError("key: " + inQuotes(name) + " is no category or description of the rows, and no record has one");
  return {column->kind, name};
}

std::string textOfNumber(const Value& value) {
  const auto* wide = std::get_if<std::int64_t>(&value);
  if (wide != nullptr) return std::to_string(*wide);
  const double number = *numberOf(value);
  if (const auto whole = values::wholeNumber(number)) return std::to_string(*whole);
  if (std::isnan(number)) return "nan";
  char text[40];
  static_cast<void>(std::snprintf(text, sizeof text, "%a", number));
  return text;
}

std::string textOfValue(const Value& value) {
  struct {
    std::string operator()(const std::string& text) const { return "s" + text; }
    std::string operator()(bool boolean) const { return boolean ? "b1" : "b0"; }
    std::string operator()(Time time) const { return "t" + std::to_string(time.milliseconds); }
    std::string operator()(std::int32_t number) const { return "n" + textOfNumber(number); }
    std::string operator()(std::int64_t number) const { return "n" + textOfNumber(number); }
    std::string operator()(double number) const { return "n" + textOfNumber(number); }
  } text;
  return std::visit(text, value);
}

const char* pathOf(Kind kind) {
  return kind == Kind::category ? layout::path::category : layout::path::description;
}

}  // namespace

RecordKey::RecordKey(const ImportPlan& plan, const StoreColumns& inStore) {
  for (const std::string& text : plan.key) {
    Field field = fieldOf(text, plan, inStore);
    const bool isTwice = std::any_of(fields_.begin(), fields_.end(), [&](const Field& other) {
      return other.kind == field.kind && other.name == field.name;
    });
    if (isTwice) throw ImportError("key: " + inQuotes(field.name) + " stands twice");
    fields_.push_back(std::move(field));
  }
}

bool RecordKey::hasId() const {
  return std::any_of(fields_.begin(), fields_.end(), [](const Field& field) { return field.kind == Kind::id; });
}

RecordKey::Values RecordKey::valuesOf(const Record& record, const std::string& id) const {
  Values result;
  for (const Field& field : fields_) {
    if (field.kind == Kind::id)
      result.push_back(id.empty() ? std::nullopt : std::optional<Value>(id));
    else if (field.kind == Kind::description)
      result.push_back(record.description(field.name));
    else if (const auto text = record.category(field.name))
      result.emplace_back(*text);
    else
      result.emplace_back();
  }
  return result;
}

std::string RecordKey::textOf(const Values& values) {
  std::string result;
  for (const auto& value : values) {
    const std::string text = value ? textOfValue(*value) : "";
    result += std::to_string(text.size()) + ":" + text;
  }
  return result;
}

std::string RecordKey::shown(const Values& values) const {
  std::string result;
  for (std::size_t i = 0; i < fields_.size(); ++i)
    result += (i == 0 ? "" : ", ") + values::excerpt(fields_[i].name) + "=" +
              values::excerpt(repository::valueText(values[i]));
  return result;
}

const RecordKey::Field* RecordKey::missing(const Values& values) const {
  const auto found = std::find(values.begin(), values.end(), std::nullopt);
  return found == values.end() ? nullptr : &fields_[static_cast<std::size_t>(found - values.begin())];
}

Selection RecordKey::selectAny(const std::vector<const Values*>& keys) const {
  Selection result;
  for (std::size_t i = 0; i < fields_.size(); ++i) {
    std::map<std::string, const Value*> different;
    for (const Values* key : keys) different.emplace(textOfValue(*(*key)[i]), &*(*key)[i]);
    if (fields_[i].kind == Kind::id) {
      std::vector<std::string> ids;
      ids.reserve(different.size());
      for (const auto& entry : different) ids.push_back(std::get<std::string>(*entry.second));
      result = result && Selection::ofIds(ids);
      continue;
    }
    ObjectProperties query;
    {
      const GroupScope items(query, pathOf(fields_[i].kind));
      const GroupScope item(query, "$elemMatch");
      query.setValueString("name", fields_[i].name);
      const GroupScope value(query, "value");
      const ArrayScope any(query, "$in");
      std::size_t place = 0;
      for (const auto& entry : different) repository::putValue(query, std::to_string(place++), *entry.second);
    }
    result = result && Selection::ofQuery(query);
  }
  return result;
}

}  // namespace database_provider::importing
