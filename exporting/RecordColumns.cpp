// SPDX-License-Identifier: Apache-2.0
#include "exporting/RecordColumns.h"

#include <algorithm>
#include <utility>

#include "values/Text.h"

namespace database_provider::exporting {

using database_client::Error;

Name parseColumn(const std::string& text) {
  const auto parts = values::splitEscaped(text, ':');
  if (parts.size() == 1 && text == "id") return {Field::id, ""};
  Name result{Field::any, values::unescaped(parts.back())};
  if (parts.size() == 2 && parts.front() == "category")
    result.field = Field::category;
  else if (parts.size() == 2 && parts.front() == "description")
    result.field = Field::description;
  else if (parts.size() != 1)
    throw Error(Error::Kind::query, "before a colon stands category or description, found " + values::inQuotes(text),
                {"columns"});
  if (result.text.empty()) throw Error(Error::Kind::query, "a name is empty", {"columns"});
  return result;
}

RecordColumns RecordColumns::ofTexts(const std::vector<std::string>& texts) {
  RecordColumns result;
  for (const std::string& text : texts) result.append(parseColumn(text));
  return result;
}

RecordColumns::RecordColumns(const std::vector<std::string>& firstCategories) {
  columns_.push_back({{Field::id, ""}, true});
  for (const std::string& name : firstCategories) columns_.push_back({{Field::category, name}, false});
}

bool RecordColumns::has(Field field, const std::string& name) const {
  return std::any_of(columns_.begin(), columns_.end(), [&](const Column& column) {
    return column.name.text == name && (column.name.field == field || column.name.field == Field::any);
  });
}

/// Categories stand before descriptions.
void RecordColumns::add(Field field, const std::string& name) {
  auto place = columns_.end();
  if (field == Field::category) {
    place = std::find_if(columns_.begin(), columns_.end(),
                         [](const Column& column) { return column.name.field == Field::description; });
  }
  columns_.insert(place, {{field, name}, true});
}

void RecordColumns::addNamesOf(const Record& record) {
  for (const std::string& name : record.categoryNames()) {
    if (!has(Field::category, name)) add(Field::category, name);
  }
  for (const std::string& name : record.descriptionNames()) {
    if (!has(Field::description, name)) add(Field::description, name);
  }
  for (Column& column : columns_) {
    if (column.name.field == Field::category && !record.category(column.name.text).value_or("").empty())
      column.isUsed = true;
  }
}

void RecordColumns::addUsed(Field field, const std::string& name) {
  if (!has(field, name)) return add(field, name);
  for (Column& column : columns_) {
    if (column.name.field == field && column.name.text == name) column.isUsed = true;
  }
}

std::vector<Name> RecordColumns::names() const {
  std::vector<Name> result;
  for (const Column& column : columns_) {
    if (column.name.field != Field::id) result.push_back(column.name);
  }
  return result;
}

void RecordColumns::drop(const Name& name) {
  columns_.erase(std::remove_if(columns_.begin(), columns_.end(),
                                [&](const Column& column) {
                                  return column.name.field == name.field && column.name.text == name.text;
                                }),
                 columns_.end());
}

bool RecordColumns::cover(const Record& record) const {
  const auto categories = record.categoryNames();
  const auto descriptions = record.descriptionNames();
  return std::all_of(categories.begin(), categories.end(),
                     [this](const std::string& name) { return has(Field::category, name); }) &&
         std::all_of(descriptions.begin(), descriptions.end(),
                     [this](const std::string& name) { return has(Field::description, name); });
}

void RecordColumns::dropUnused() {
  columns_.erase(std::remove_if(columns_.begin(), columns_.end(), [](const Column& column) { return !column.isUsed; }),
                 columns_.end());
}

std::vector<std::string> RecordColumns::headings() const {
  const auto headingOf = [](const Name& name) { return name.field == Field::id ? "id" : name.text; };
  std::vector<std::string> result;
  for (const Column& column : columns_) {
    const Name& name = column.name;
    std::string heading = headingOf(name);
    const bool isTwice = std::count_if(columns_.begin(), columns_.end(),
                                       [&](const Column& other) { return headingOf(other.name) == heading; }) > 1;
    if (name.field == Field::category && isTwice) heading.insert(0, "category:");
    if (name.field == Field::description && isTwice) heading.insert(0, "description:");
    result.push_back(std::move(heading));
  }
  return result;
}

std::vector<std::optional<Value>> RecordColumns::valuesOf(const Record& record) const {
  const auto valueOf = [&record](const Name& name) -> std::optional<Value> {
    if (name.field == Field::id) return record.id();
    if (name.field == Field::description) return record.description(name.text);
    std::string category = record.category(name.text).value_or("");
    if (!category.empty() || name.field == Field::category) return category;
    return record.description(name.text);
  };
  std::vector<std::optional<Value>> result;
  result.reserve(columns_.size());
  for (const Column& column : columns_) result.push_back(valueOf(column.name));
  return result;
}

}  // namespace database_provider::exporting
