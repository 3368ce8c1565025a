// SPDX-License-Identifier: Apache-2.0
#include "exporting/TypedColumns.h"

#include <algorithm>
#include <set>
#include <utility>

#include "values/Cell.h"
#include "values/Text.h"

namespace database_provider::exporting {

namespace {

using database_client::Error;
using Source = TypedColumn::Source;

bool isOfDescriptions(PropertyType type) {
  return type == PropertyType::string || type == PropertyType::boolean || type == PropertyType::int32 ||
         type == PropertyType::int64 || type == PropertyType::real || type == PropertyType::time;
}

/// One for each kind that the values of a description have, the most frequent first; a text where no record has one.
std::vector<TypedColumn> ofDescription(const std::string& name, const std::vector<NameInUse>& inUse) {
  std::vector<const NameInUse*> kinds;
  for (const NameInUse& other : inUse) {
    if (other.kind == NameInUse::Kind::description && other.name == name && isOfDescriptions(other.type))
      kinds.push_back(&other);
  }
  std::stable_sort(kinds.begin(), kinds.end(),
                   [](const NameInUse* left, const NameInUse* right) { return left->count > right->count; });
  if (kinds.empty()) return {{Source::description, name, PropertyType::string}};
  std::vector<TypedColumn> result;
  result.reserve(kinds.size());
  for (const NameInUse* kind : kinds) result.push_back({Source::description, name, kind->type});
  return result;
}

bool isInUse(const std::vector<NameInUse>& inUse, NameInUse::Kind kind, const std::string& name) {
  return std::any_of(inUse.begin(), inUse.end(),
                     [&](const NameInUse& other) { return other.kind == kind && other.name == name; });
}

void add(std::vector<TypedColumn>& columns, std::vector<TypedColumn> more) {
  for (TypedColumn& column : more) columns.push_back(std::move(column));
}

std::vector<TypedColumn> parse(const std::string& text, const std::vector<NameInUse>& inUse) {
  if (text == "id") return {{Source::id, "", PropertyType::string}};
  if (text == "created") return {{Source::created, "", PropertyType::time}};
  const std::vector<std::string> parts = values::splitEscaped(text, ':');
  const bool isCategory = parts.size() == 2 && parts.front() == "category";
  const bool isDescription = parts.size() == 2 && parts.front() == "description";
  if (parts.size() != 1 && !isCategory && !isDescription)
    throw Error(Error::Kind::query,
                "column " + values::inQuotes(text) + ": before a colon stands category or description", {"columns"});
  const std::string name = values::unescaped(parts.back());
  if (name.empty()) throw Error(Error::Kind::query, "a column has an empty name", {"columns"});
  std::vector<TypedColumn> result;
  if (isCategory || (!isDescription && isInUse(inUse, NameInUse::Kind::category, name)))
    result.push_back({Source::category, name, PropertyType::string});
  if (isDescription || result.empty() || (!isCategory && isInUse(inUse, NameInUse::Kind::description, name)))
    add(result, ofDescription(name, inUse));
  return result;
}

std::string plainHeading(const TypedColumn& column) {
  if (column.source == Source::id) return "id";
  return column.source == Source::created ? "created" : column.name;
}

/// A name stands bare where no other column has it, be it that of the id or of a category.
void giveHeadings(std::vector<TypedColumn>& columns) {
  std::set<std::pair<Source, std::string>> seen;
  for (TypedColumn& column : columns) {
    column.heading = plainHeading(column);
    const bool isShared = std::any_of(columns.begin(), columns.end(), [&](const TypedColumn& other) {
      return other.source != column.source && plainHeading(other) == plainHeading(column);
    });
    if (isShared && column.source == Source::category) column.heading.insert(0, "category:");
    if (isShared && column.source == Source::description) column.heading.insert(0, "description:");
    const bool isFirstKind = seen.emplace(column.source, column.name).second;
    if (!isFirstKind) column.heading += ":" + values::columnTypeName(column.type);
  }
}

}  // namespace

std::vector<TypedColumn> typedColumns(const std::vector<std::string>& wanted, const std::vector<NameInUse>& inUse) {
  std::vector<TypedColumn> result;
  for (const std::string& text : wanted) add(result, parse(text, inUse));
  if (wanted.empty()) {
    result = {{Source::id, "", PropertyType::string}, {Source::created, "", PropertyType::time}};
    std::set<std::string> descriptions;
    for (const NameInUse& name : inUse) {
      if (name.kind == NameInUse::Kind::category)
        result.push_back({Source::category, name.name, PropertyType::string});
      else if (isOfDescriptions(name.type) && descriptions.insert(name.name).second)
        add(result, ofDescription(name.name, inUse));
    }
  }
  giveHeadings(result);
  return result;
}

}  // namespace database_provider::exporting
