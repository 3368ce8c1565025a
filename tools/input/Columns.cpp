// SPDX-License-Identifier: Apache-2.0
#include "tools/input/Columns.h"

#include <algorithm>
#include <array>
#include <set>
#include <utility>

#include "tools/values/Errors.h"
#include "values/Cell.h"
#include "values/Text.h"

namespace database_provider::recordctl {

namespace {

using values::inQuotes;
using values::lowered;
using values::splitEscaped;
using values::unescaped;

constexpr std::array<std::pair<const char*, ObjectType>, 5> kinds = {{{"xml", ObjectType::xmlObject},
                                                                      {"media", ObjectType::mediaObject},
                                                                      {"archive", ObjectType::archiveObject},
                                                                      {"document", ObjectType::documentObject},
                                                                      {"extraXml", ObjectType::extraXmlObject}}};

bool isBlank(const std::string& name) {
  return name.find_first_not_of(" \t\r\n") == std::string::npos;
}

/// The pieces of all texts, still escaped.
std::vector<std::string> pieces(const std::vector<std::string>& texts) {
  std::vector<std::string> result;
  for (const std::string& text : texts) {
    for (std::string& piece : splitEscaped(text, ',')) result.push_back(std::move(piece));
  }
  return result;
}

void requireNamesOnce(const std::vector<std::string>& names, const std::string& option) {
  std::set<std::string> seen;
  for (const std::string& name : names) {
    if (name.empty()) throw UsageError(option + ": a name is empty");
    if (!seen.insert(name).second) throw UsageError(option + ": " + inQuotes(name) + " stands twice");
  }
}

ImportPlan::Description parseDescription(const std::string& text) {
  const auto parts = splitEscaped(text, ':');
  if (parts.size() != 2)
    throw UsageError("--description: expected NAME:TYPE, found " + inQuotes(text) + "; types are " +
                     values::columnTypeNames());
  const auto type = values::columnType(parts.back());
  if (!type)
    throw UsageError("--description: unknown type " + inQuotes(parts.back()) + " of " + inQuotes(unescaped(parts[0])) +
                     "; types are " + values::columnTypeNames());
  return {unescaped(parts.front()), *type};
}

ImportPlan::File parseFile(const std::string& text) {
  const auto parts = splitEscaped(text, ':');
  if (parts.size() != 3) throw UsageError("--file: expected KIND:HOST:COLUMN, found " + inQuotes(text));
  return {parseObjectType(parts[0]), unescaped(parts[1]), unescaped(parts[2])};
}

template <class Items>
std::vector<std::string> namesOf(const Items& items) {
  std::vector<std::string> result;
  result.reserve(items.size());
  for (const auto& item : items) result.push_back(item.name);
  return result;
}

}  // namespace

std::vector<std::string> parseNames(const std::vector<std::string>& texts, const std::string& option) {
  std::vector<std::string> result = pieces(texts);
  for (std::string& name : result) {
    name = unescaped(name);
    if (!name.empty() && isBlank(name)) throw UsageError(option + ": the name " + inQuotes(name) + " is blank");
  }
  requireNamesOnce(result, option);
  return result;
}

ImportPlan parseColumns(const std::vector<std::string>& categories, const std::vector<std::string>& descriptions,
                        const std::vector<std::string>& files) {
  ImportPlan result;
  result.categories = parseNames(categories, "--category");
  for (const std::string& piece : pieces(descriptions)) result.descriptions.push_back(parseDescription(piece));
  requireNamesOnce(namesOf(result.descriptions), "--description");
  for (const std::string& text : files) result.files.push_back(parseFile(text));
  requireNamesOnce(namesOf(result.files), "--file");
  if (result.categories.size() + result.descriptions.size() + result.files.size() > maximalColumns)
    throw UsageError("--category, --description and --file name more than " + std::to_string(maximalColumns) +
                     " columns");
  return result;
}

ObjectType parseObjectType(const std::string& name) {
  for (const auto& [known, kind] : kinds) {
    if (lowered(known) == lowered(name)) return kind;
  }
  throw UsageError("--file: unknown kind " + inQuotes(name) + "; xml, media, archive, document and extraXml are known");
}

std::string objectTypeName(ObjectType type) {
  for (const auto& [name, kind] : kinds) {
    if (kind == type) return name;
  }
  return std::to_string(static_cast<int>(type));
}

}  // namespace database_provider::recordctl
