// SPDX-License-Identifier: Apache-2.0
#include "repository/RecordChange.h"

#include <algorithm>

#include "records/layout.h"
#include "repository/convertValue.h"
#include "repository/documentValue.h"
#include "repository/items.h"
#include "values/Number.h"

namespace database_provider::repository {

using database_client::ArrayScope;
using database_client::Error;
using database_client::GroupScope;
using Kind = NameInUse::Kind;

namespace {

bool isNumeric(PropertyType type) {
  return type == PropertyType::int32 || type == PropertyType::int64 || type == PropertyType::real;
}

std::optional<Value> descriptionOf(const ObjectProperties& document, const std::string& name) {
  const std::optional<ElementReader> value = findItem(itemsOf(document, layout::key::description), name);
  return value ? valueOf(*value) : std::nullopt;
}

Selection hasDescription(const std::string& name) {
  ObjectProperties query;
  query.setValueString(layout::path::descriptionName, name);
  return Selection::ofQuery(query);
}

/// The one type of number that a description has in a store; a double where there are several, or none.
PropertyType usualTypeOf(const Records& records, const std::string& name) {
  PropertyType result = PropertyType::undefined;
  for (const NameInUse& used : records.names(hasDescription(name))) {
    if (used.kind != Kind::description || used.name != name) continue;
    if (result != PropertyType::undefined) return PropertyType::real;
    result = used.type;
  }
  return isNumeric(result) ? result : PropertyType::real;
}

void writeDescription(ObjectProperties& document, const std::string& name, const Value& value) {
  writeItem(document, layout::key::description, name, [&value](ObjectProperties& item) {
    putValue(item, "value", value);
    item.setValueInt32("type", static_cast<int>(typeOf(value)));
  });
}

}  // namespace

RecordChange::RecordChange(const Records& records, const Changes& changes)
    : kind_(records.kind()), files_(changes.files_) {
  const auto isName = [&records](const std::string& name) {
    FindOptions one;
    one.limit = 1;
    return !records.ids(hasDescription(name), one).empty();
  };
  for (const Changes::Step& step : changes.steps_) {
    Step ready{step.kind, step.name};
    if (const auto* value = std::get_if<Value>(&step.becomes)) ready.value = *value;
    if (const auto* computation = std::get_if<Changes::Computation>(&step.becomes)) {
      ready.formula.emplace(computation->formula, isName);
      ready.type = computation->type;
      if (ready.type == PropertyType::undefined) ready.usualType = usualTypeOf(records, step.name);
    }
    steps_.push_back(std::move(ready));
  }
}

std::vector<std::string> RecordChange::operands() const {
  std::vector<std::string> result;
  for (const Step& step : steps_) {
    if (!step.formula) continue;
    for (const std::string& name : step.formula->names()) {
      if (std::find(result.begin(), result.end(), name) == result.end()) result.push_back(name);
    }
  }
  return result;
}

std::optional<Value> RecordChange::computed(const Step& step, const ObjectProperties& document) {
  const std::optional<double> result = step.formula->result([&document](const std::string& name) {
    const std::optional<Value> value = descriptionOf(document, name);
    return value ? numberOf(*value) : std::nullopt;
  });
  if (!result) return std::nullopt;
  PropertyType type = step.type;
  if (type == PropertyType::undefined) {
    const std::optional<Value> former = descriptionOf(document, step.name);
    type = former && isNumeric(typeOf(*former)) ? typeOf(*former) : step.usualType;
  }
  if (type == PropertyType::real) return *result;
  // A zero has no sign among integers: that of -n is one like any other.
  std::optional<Value> integer = converted(*result == 0 ? 0.0 : *result, type);
  if (integer) return integer;
  if (step.type == PropertyType::undefined) return *result;
  throw Error(Error::Kind::document,
              "\"" + step.name + "\" becomes " + values::formatReal(*result) + ", which is not " + kindNameOf(type),
              {step.name});
}

bool RecordChange::apply(ObjectProperties& document) const {
  std::vector<std::optional<Value>> values;
  for (const Step& step : steps_) {
    values.push_back(step.formula ? computed(step, document) : step.value);
    if (step.formula && !values.back()) return false;
  }
  for (std::size_t i = 0; i < steps_.size(); ++i) {
    const Step& step = steps_[i];
    const char* section = step.kind == Kind::category ? layout::key::category : layout::key::description;
    if (!values[i]) {
      removeItems(document, section, step.name);
    } else if (step.kind == Kind::description) {
      writeDescription(document, step.name, *values[i]);
    } else {
      writeItem(document, section, step.name, [&](ObjectProperties& item) { putValue(item, "value", *values[i]); });
    }
  }
  for (const FileReference& file : files_) addFile(document, file);
  return true;
}

void RecordChange::addFile(ObjectProperties& document, const FileReference& file) const {
  const Record record(kind_, document);
  const std::vector<FileReference> files = record.files();
  const bool isThere = std::any_of(files.begin(), files.end(), [&file](const FileReference& other) {
    return other.type == file.type && other.host == file.host && other.path == file.path;
  });
  if (isThere) return;
  const std::unique_ptr<DatabaseRecordInterface> other = record.toInterface();
  std::string id;
  other->addFileInfo(file.type, file.host, file.path, id);
  requireKind(document, layout::key::recordInfo, PropertyType::group);
  const GroupScope info(document, layout::key::recordInfo);
  requireKind(document, layout::key::additionalData, PropertyType::group);
  const GroupScope additionalData(document, layout::key::additionalData);
  requireKind(document, layout::key::files, PropertyType::array);
  const ArrayScope items(document, layout::key::files);
  const GroupScope item(document, std::to_string(document.size()));
  document.setValueString("fileId", id);
  document.setValueInt32("type", static_cast<int>(file.type));
  document.setValueString("host", file.host);
  document.setValueString("path", file.path);
}

}  // namespace database_provider::repository
