// SPDX-License-Identifier: Apache-2.0
#include "tools/commands/assignments.h"

#include <algorithm>
#include <array>
#include <set>

#include "importing/StoreColumns.h"
#include "tools/commands/changes.h"
#include "tools/core/NameColumns.h"
#include "tools/input/Columns.h"
#include "tools/values/Errors.h"
#include "values/Cell.h"
#include "values/Text.h"

namespace database_provider::recordctl {

namespace {

using values::columnType;
using values::columnTypeName;
using values::columnTypeNames;
using values::inQuotes;
using values::splitEscaped;
using values::unescaped;

constexpr std::array types = {PropertyType::string, PropertyType::boolean, PropertyType::int32,
                              PropertyType::int64,  PropertyType::real,    PropertyType::time};

std::string nameOf(const std::string& escaped, const std::string& option) {
  std::string name = unescaped(escaped);
  if (name.empty()) throw UsageError(option + ": a name is empty");
  return name;
}

Assignments::Category parseCategory(const std::string& text) {
  const auto assignment = splitAtEquals(text);
  if (!assignment) throw UsageError("--category: expected NAME=VALUE, found " + inQuotes(text));
  Assignments::Category result{nameOf(assignment->left, "--category"), assignment->right};
  if (result.value.empty()) throw UsageError("--category: the value of " + inQuotes(result.name) + " is empty");
  return result;
}

Assignments::Description parseDescription(const std::string& text) {
  const auto assignment = splitAtEquals(text);
  const auto parts = splitEscaped(assignment ? assignment->left : "", ':');
  if (!assignment || parts.size() > 2)
    throw UsageError("--description: expected NAME=VALUE or NAME:TYPE=VALUE, found " + inQuotes(text) + "; types are " +
                     columnTypeNames());
  Assignments::Description result{nameOf(parts.front(), "--description"), {}, assignment->right, false};
  if (parts.size() == 2) {
    result.type = columnType(parts.back());
    if (!result.type)
      throw UsageError("--description: unknown type " + inQuotes(parts.back()) + " of " + inQuotes(result.name) +
                       "; types are " + columnTypeNames());
  }
  if (!result.text.empty() && result.text.front() == '=') {
    result.isFormula = true;
    result.text.erase(0, 1);
  }
  if (result.text.empty()) throw UsageError("--description: the value of " + inQuotes(result.name) + " is empty");
  return result;
}

/// A path may hold colons, with backslashes before them or not.
FileReference parseFile(const std::string& text, RecordKind kind) {
  const auto parts = splitEscaped(text, ':');
  if (parts.size() < 3) throw UsageError("--file: expected KIND:HOST:PATH, found " + inQuotes(text));
  const std::string path = text.substr(parts[0].size() + 1 + parts[1].size() + 1);
  FileReference result{"", parseObjectType(parts[0]), unescaped(parts[1]), unescaped(path)};
  const std::list<ObjectType> supported = newRecordOf(kind)->supportedObjectTypes();
  if (std::find(supported.begin(), supported.end(), result.type) == supported.end())
    throw UsageError("--file: records of this kind have no " + objectTypeName(result.type) + " files");
  if (result.path.empty()) throw UsageError("--file: the path in " + inQuotes(text) + " is empty");
  return result;
}

template <class Items>
void requireNamesOnce(const Items& items, const std::string& option) {
  std::set<std::string> seen;
  for (const auto& item : items) {
    if (!seen.insert(item.name).second) throw UsageError(option + ": " + inQuotes(item.name) + " stands twice");
  }
}

/// The one type that a description has in all records that have it.
std::optional<PropertyType> typeInStore(const Records* records, const std::string& name) {
  ObjectProperties query;
  query.setValueString(layout::path::descriptionName, name);
  std::set<PropertyType> known;
  if (records == nullptr) return std::nullopt;
  for (const NameInUse& used : records->names(Selection::ofQuery(query))) {
    if (used.kind == NameInUse::Kind::description && used.name == name) known.insert(used.type);
  }
  for (const PropertyType type : types) {
    if (known.size() == 1 && type == *known.begin()) return type;
  }
  return std::nullopt;
}

void addFormula(Changes& changes, const Assignments::Description& description) {
  try {
    changes.compute(description.name, description.text, description.type.value_or(PropertyType::undefined));
  } catch (const std::exception& error) {
    throw UsageError("--description: " + std::string(error.what()));
  }
}

void takeAway(Changes& changes, const Name& name) {
  if (name.field == Field::id) throw UsageError("--unset: a record keeps its id");
  const auto kind = kindOf(name.field);
  kind ? changes.unset(*kind, name.text) : changes.unset(name.text);
}

/// Names that no record has are mistyped, since nothing would become of them.
void refuseUnknownNames(const Records& records, const std::vector<Name>& unset, const Changes& changes) {
  std::vector<std::string> sentences;
  for (const Name& name : unset) {
    if (const auto remark = records.remarkOn(name.text, kindOf(name.field)))
      sentences.push_back("--unset: " + sentenceOf(*remark, records.kind()));
  }
  for (const std::string& name : records.unknownOperands(changes)) {
    if (const auto remark = records.remarkOn(name, NameInUse::Kind::description))
      sentences.push_back("--description: " + sentenceOf(*remark, records.kind()));
  }
  refuseUnknown(sentences);
}

}  // namespace

std::optional<Assignment> splitAtEquals(const std::string& text) {
  Assignment result;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '=') {
      result.right = text.substr(i + 1);
      return result;
    }
    if (text[i] == '\\' && i + 1 < text.size()) {
      if (text[i + 1] != '=') result.left += text[i];
      ++i;
    }
    result.left += text[i];
  }
  return std::nullopt;
}

void AssignmentOptions::addTo(const Command& command) {
  command.option("--category", "N=V", categories, "a category: site=Waseca; may stand more than once");
  command.option("--description", "N[:TYPE]=V", descriptions,
                 "a description, with a type (string, bool, int, long, double, time) or without: yield:double=48.5");
  command.option("--file", "KIND:HOST:PATH", files,
                 "a reference to a file (xml, media, archive, document, extraXml): archive:nas:/run.zip");
}

Assignments Assignments::parse(const AssignmentOptions& options, RecordKind kind) {
  Assignments result;
  for (const std::string& text : options.categories) result.categories.push_back(parseCategory(text));
  for (const std::string& text : options.descriptions) result.descriptions.push_back(parseDescription(text));
  for (const std::string& text : options.files) result.files.push_back(parseFile(text, kind));
  requireNamesOnce(result.categories, "--category");
  requireNamesOnce(result.descriptions, "--description");
  return result;
}

Value valueOf(const Assignments::Description& description, const Records* records) {
  std::optional<PropertyType> inStore;
  if (!description.type) inStore = typeInStore(records, description.name);
  const PropertyType type = description.type.value_or(inStore.value_or(values::apparentType(description.text)));
  const std::string option = "--description: " + inQuotes(description.name) + ": ";
  const std::string hint =
      inStore ? "; in the store it is " + columnTypeName(*inStore) + ", and NAME:TYPE=VALUE gives it another type" : "";
  // Whoever types one value means a number of milliseconds as seldom as a year; a time is written out.
  if (type == PropertyType::time) {
    const auto time = values::parseTime(description.text);
    if (!time) throw UsageError(option + "expected time (ISO 8601), found " + inQuotes(description.text) + hint);
    return Time{*time};
  }
  try {
    return importing::toValue(values::convert({description.text}, type));
  } catch (const values::ConversionError& error) {
    throw UsageError(option + error.what() + hint);
  }
}

Changes changesOf(const Assignments& assignments, const std::vector<std::string>& unset) {
  Changes changes;
  for (const std::string& text : unset) takeAway(changes, parseName(text, "--unset"));
  for (const auto& [name, value] : assignments.categories) changes.category(name, value);
  for (const FileReference& file : assignments.files) changes.file(file.type, file.host, file.path);
  for (const Assignments::Description& description : assignments.descriptions) {
    if (description.isFormula) addFormula(changes, description);
  }
  return changes;
}

void completeChanges(Changes& changes, const Assignments& assignments, const std::vector<std::string>& unset,
                     const Records& records) {
  for (const Assignments::Description& description : assignments.descriptions) {
    if (!description.isFormula) changes.description(description.name, valueOf(description, &records));
  }
  std::vector<Name> names;
  names.reserve(unset.size());
  for (const std::string& text : unset) names.push_back(parseName(text, "--unset"));
  refuseUnknownNames(records, names, changes);
}

}  // namespace database_provider::recordctl
