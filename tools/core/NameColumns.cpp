// SPDX-License-Identifier: Apache-2.0
#include "tools/core/NameColumns.h"

#include "tools/core/valueText.h"
#include "tools/values/Errors.h"
#include "values/Text.h"

namespace database_provider::recordctl {

using values::splitEscaped;

Name parseName(const std::string& text, const std::string& option) {
  try {
    return exporting::parseColumn(text);
  } catch (const database_client::Error& error) {
    throw UsageError(option + ": " + error.what());
  }
}

std::optional<NameInUse::Kind> kindOf(Field field) {
  if (field == Field::category) return NameInUse::Kind::category;
  if (field == Field::description) return NameInUse::Kind::description;
  return std::nullopt;
}

NameColumns NameColumns::parse(const std::string& text) {
  NameColumns result;
  for (const std::string& piece : splitEscaped(text, ',')) result.append(parseName(piece, "--columns"));
  return result;
}

NameColumns NameColumns::ofNames(const std::vector<std::string>& firstCategories) {
  return NameColumns(firstCategories);
}

void NameColumns::addNamesOf(const std::vector<NameInUse>& names) {
  for (const NameInUse& name : names) {
    const Field field = name.kind == NameInUse::Kind::category ? Field::category : Field::description;
    if (!has(field, name.name)) add(field, name.name);
  }
}

std::vector<Table::Column> NameColumns::headings() const {
  std::vector<Table::Column> result;
  for (const std::string& heading : RecordColumns::headings())
    result.push_back({heading, columns()[result.size()].name.field == Field::id});
  return result;
}

Table::Row NameColumns::rowOf(const Record& record) const {
  Table::Row result;
  for (const auto& value : valuesOf(record)) result.push_back(valueCell(value));
  return result;
}

}  // namespace database_provider::recordctl
