// SPDX-License-Identifier: Apache-2.0
#include "tools/core/NameColumns.h"

#include <algorithm>

#include "tools/core/valueText.h"
#include "tools/values/Errors.h"
#include "values/Text.h"

namespace database_provider::recordctl {

namespace {

using values::inQuotes;
using values::splitEscaped;
using values::unescaped;

Name parseName(const std::string& text) {
  const auto parts = splitEscaped(text, ':');
  if (parts.size() == 1 && text == "id") return {Field::id, ""};
  Name result{Field::any, unescaped(parts.back())};
  if (parts.size() == 2 && parts.front() == "category")
    result.field = Field::category;
  else if (parts.size() == 2 && parts.front() == "description")
    result.field = Field::description;
  else if (parts.size() != 1)
    throw UsageError("--columns: before a colon stands category or description, found " + inQuotes(text));
  if (result.text.empty()) throw UsageError("--columns: a name is empty");
  return result;
}

Table::Cell cellOf(const Record& record, const Name& name) {
  if (name.field == Field::id) return {record.id()};
  if (name.field == Field::description) return valueCell(record.description(name.text));
  std::string category = record.category(name.text).value_or("");
  if (!category.empty() || name.field == Field::category) return {std::move(category)};
  return valueCell(record.description(name.text));
}

}  // namespace

NameColumns NameColumns::parse(const std::string& text) {
  NameColumns result;
  for (const std::string& piece : splitEscaped(text, ',')) result.columns_.push_back({parseName(piece), true});
  return result;
}

NameColumns NameColumns::ofNames(const std::vector<std::string>& firstCategories) {
  NameColumns result;
  result.columns_.push_back({{Field::id, ""}, true});
  for (const std::string& name : firstCategories) result.columns_.push_back({{Field::category, name}, false});
  return result;
}

bool NameColumns::has(Field field, const std::string& name) const {
  return std::any_of(columns_.begin(), columns_.end(), [&](const Column& column) {
    return column.name.text == name && (column.name.field == field || column.name.field == Field::any);
  });
}

/// Categories stand before descriptions.
void NameColumns::add(Field field, const std::string& name) {
  auto place = columns_.end();
  if (field == Field::category) {
    place = std::find_if(columns_.begin(), columns_.end(),
                         [](const Column& column) { return column.name.field == Field::description; });
  }
  columns_.insert(place, {{field, name}, true});
}

void NameColumns::addNamesOf(const Record& record) {
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

void NameColumns::addUsed(Field field, const std::string& name) {
  if (!has(field, name)) return add(field, name);
  for (Column& column : columns_) {
    if (column.name.field == field && column.name.text == name) column.isUsed = true;
  }
}

void NameColumns::addNamesOf(const Catalogue& catalogue) {
  for (const std::string& name : catalogue.categories) {
    if (!has(Field::category, name)) add(Field::category, name);
  }
  for (const auto& description : catalogue.descriptions) {
    if (!has(Field::description, description.name)) add(Field::description, description.name);
  }
}

std::vector<Name> NameColumns::names() const {
  std::vector<Name> result;
  for (const Column& column : columns_) {
    if (column.name.field != Field::id) result.push_back(column.name);
  }
  return result;
}

void NameColumns::drop(const Name& name) {
  columns_.erase(std::remove_if(columns_.begin(), columns_.end(),
                                [&](const Column& column) {
                                  return column.name.field == name.field && column.name.text == name.text;
                                }),
                 columns_.end());
}

bool NameColumns::cover(const Record& record) const {
  const auto categories = record.categoryNames();
  const auto descriptions = record.descriptionNames();
  return std::all_of(categories.begin(), categories.end(),
                     [this](const std::string& name) { return has(Field::category, name); }) &&
         std::all_of(descriptions.begin(), descriptions.end(),
                     [this](const std::string& name) { return has(Field::description, name); });
}

void NameColumns::dropUnused() {
  columns_.erase(std::remove_if(columns_.begin(), columns_.end(), [](const Column& column) { return !column.isUsed; }),
                 columns_.end());
}

/// A name that is both a category and a description, or the word for the id, is shown with its prefix.
std::vector<Table::Column> NameColumns::headings() const {
  const auto headingOf = [](const Name& name) { return name.field == Field::id ? "id" : name.text; };
  std::vector<Table::Column> result;
  for (const Column& column : columns_) {
    const Name& name = column.name;
    std::string heading = headingOf(name);
    const bool isTwice = std::count_if(columns_.begin(), columns_.end(),
                                       [&](const Column& other) { return headingOf(other.name) == heading; }) > 1;
    if (name.field == Field::category && isTwice) heading.insert(0, "category:");
    if (name.field == Field::description && isTwice) heading.insert(0, "description:");
    result.push_back({heading, name.field == Field::id});
  }
  return result;
}

Table::Row NameColumns::rowOf(const Record& record) const {
  Table::Row result;
  for (const Column& column : columns_) result.push_back(cellOf(record, column.name));
  return result;
}

}  // namespace database_provider::recordctl
