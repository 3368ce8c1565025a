// SPDX-License-Identifier: Apache-2.0
#include "importing/RecordMaker.h"

#include <algorithm>
#include <chrono>
#include <set>
#include <string_view>
#include <utility>

#include "database_provider/database_provider_creator.h"
#include "database_provider/descriptions.h"
#include "records/layout.h"
#include "values/Text.h"

namespace database_provider::importing {

namespace {

using values::Cell;
using values::Time;

std::string kindName(PropertyType type) {
  switch (type) {
    case PropertyType::group:
      return "an object";
    case PropertyType::array:
      return "an array";
    case PropertyType::id:
      return "an object id";
    default:
      return "a value of another kind";
  }
}

bool isNumber(PropertyType type) {
  return type == PropertyType::int32 || type == PropertyType::int64 || type == PropertyType::real;
}

void setConverted(DatabaseRecordInterface& record, const std::string& name, const values::Converted& value) {
  struct Set {
    DatabaseRecordInterface& record;
    const std::string& name;
    void operator()(Time time) const { setDescription(record, name, std::chrono::milliseconds(time.milliseconds)); }
    void operator()(const std::string& text) const { setDescription(record, name, text); }
    void operator()(bool boolean) const { setDescription(record, name, boolean); }
    void operator()(int integer) const { setDescription(record, name, integer); }
    void operator()(std::int64_t integer) const { setDescription(record, name, static_cast<long long>(integer)); }
    void operator()(double real) const { setDescription(record, name, real); }
  };
  std::visit(Set{record, name}, value);
}

/// Removes what `findPath` finds, and the groups that are empty without it.
void removePath(ObjectProperties& document, std::string_view path) {
  const std::string whole(path);
  if (document.contains(whole)) return document.removeKey(whole);
  for (const std::string& key : document.childGroups()) {
    if (path.size() <= key.size() || path[key.size()] != '.' || path.substr(0, key.size()) != key) continue;
    bool isEmpty = false;
    {
      const database_client::GroupScope group(document, key);
      removePath(document, path.substr(key.size() + 1));
      isEmpty = document.size() == 0;
    }
    if (isEmpty) document.removeKey(key);
  }
}

values::TimeUnit unitOf(const ImportPlan& plan) {
  if (!plan.timeUnit) return values::TimeUnit::undecided;
  if (*plan.timeUnit == std::chrono::milliseconds(1)) return values::TimeUnit::milliseconds;
  if (*plan.timeUnit == std::chrono::seconds(1)) return values::TimeUnit::seconds;
  throw ImportError("the unit of times is a second or a millisecond");
}

values::CellForms formsOf(const ImportPlan& plan) {
  return {plan.decimal == '\0' ? '.' : plan.decimal, plan.thousands, plan.absent, plan.timeFormats, unitOf(plan)};
}

}  // namespace

std::optional<ElementReader> findPath(ElementReader level, std::string_view path) {
  while (level.next()) {
    const std::string_view key = level.key();
    if (key == path) return level;
    const bool isOnTheWay = level.type() == PropertyType::group && path.size() > key.size() &&
                            path[key.size()] == '.' && path.substr(0, key.size()) == key;
    if (!isOnTheWay) continue;
    if (auto found = findPath(level.children(), path.substr(key.size() + 1))) return found;
  }
  return std::nullopt;
}

Cell cellOf(const ElementReader& value) {
  switch (value.type()) {
    case PropertyType::undefined:
    case PropertyType::null:
      return {};
    case PropertyType::boolean:
      return {value.asBool(false)};
    case PropertyType::string:
      return {std::string(value.asString())};
    case PropertyType::time:
      return {Time{value.asTime(0)}};
    case PropertyType::int32:
      return {std::int64_t{value.asInt32(0)}};
    case PropertyType::int64:
      return {value.asInt64(0)};
    case PropertyType::real:
      return {value.asDouble(0)};
    default:
      return {Cell::Other{kindName(value.type())}};
  }
}

std::vector<std::string> columnNames(const ImportPlan& plan) {
  std::vector<std::string> result;
  std::set<std::string> seen;
  const auto add = [&](const std::string& name) {
    if (seen.insert(name).second) result.push_back(name);
  };
  for (const std::string& name : plan.categories) add(name);
  for (const ImportPlan::Description& column : plan.descriptions) add(column.name);
  for (const ImportPlan::File& column : plan.files) add(column.name);
  return result;
}

RecordMaker::RecordMaker(RecordKind kind, ImportPlan plan, StoreColumns inStore)
    : kind_(kind),
      plan_(std::move(plan)),
      inStore_(std::move(inStore)),
      forms_(formsOf(plan_)),
      columns_(columnNames(plan_)) {
  for (const std::string& name : columns_) names_.emplace(name, names_.size());
}

std::unique_ptr<DatabaseRecordInterface> RecordMaker::newRecord() const {
  if (kind_ == RecordKind::scenario) return std::unique_ptr<DatabaseRecordInterface>(createScenarioDatabaseRecord());
  std::unique_ptr<ExperimentDatabaseRecordInterface> result(createExperimentDatabaseRecord());
  if (!plan_.sourceHost.empty()) {
    std::unique_ptr<DataServerSourceInfoInterface> source(createDataServerSourceInfo());
    source->setHost(plan_.sourceHost);
    result->setDataServerSourceInfo(source.release());
  }
  return result;
}

/// The header of a CSV file has each name once; a row of JSON may have a name twice.
void RecordMaker::checkKeys(const Row& row) const {
  for (const char* key : {"_id", layout::key::recordInfo}) {
    if (std::find(row.keys.begin(), row.keys.end(), key) != row.keys.end())
      throw RowError(key, "a plain row cannot have this key; records that were exported are --format records");
  }
  if (!row.cells.empty()) return;
  std::vector<std::size_t> counts(names_.size());
  std::set<const StoreColumn*> seen;
  for (const std::string& key : row.keys) {
    const auto name = names_.find(key);
    const StoreColumn* inStore = name == names_.end() ? inStore_.find(key) : nullptr;
    const bool isTwice =
        name != names_.end() ? ++counts[name->second] > 1 : inStore != nullptr && !seen.insert(inStore).second;
    if (isTwice) throw RowError(key, "stands twice in the row");
  }
}

RecordMaker::NamedCells RecordMaker::cellsOf(const ObjectProperties& document, const Row& row) const {
  NamedCells result;
  result.planned.resize(names_.size());
  std::vector<std::string_view> typed;
  std::size_t place = 0;
  for (ElementReader value(document); value.next(); ++place) {
    const auto name = names_.find(value.key());
    const StoreColumn* inStore = name == names_.end() ? inStore_.find(value.key()) : nullptr;
    if (name == names_.end() && inStore == nullptr) continue;
    Cell cell = cellOf(value);
    if (isNumber(value.type()) && !row.json.empty()) {
      if (typed.empty()) typed = row.typedNumbers();
      cell.typed = typed[place];
    }
    if (inStore == nullptr)
      result.planned[name->second] = std::move(cell);
    else
      result.inStore.emplace_back(inStore, std::move(cell));
  }
  if (row.cells.empty()) findNested(document, result);
  return result;
}

/// A name with dots that is no key of the row may be a path into it.
void RecordMaker::findNested(const ObjectProperties& document, NamedCells& cells) const {
  for (const auto& [name, place] : names_) {
    Cell& cell = cells.planned[place];
    if (name.find('.') == std::string::npos || !std::holds_alternative<std::monostate>(cell.value)) continue;
    if (const auto found = findPath(ElementReader(document), name)) cell = cellOf(*found);
  }
}

void RecordMaker::describe(DatabaseRecordInterface& record, const std::string& name, const Cell& cell,
                           const std::vector<PropertyType>& types) const {
  try {
    setConverted(record, name, convertToOneOf(cell, types, forms_));
  } catch (const values::ConversionError&) {
    if (!plan_.surpriseAsText || std::holds_alternative<Cell::Other>(cell.value)) throw;
    setConverted(record, name, values::textOf(cell));
  }
}

void RecordMaker::fill(DatabaseRecordInterface& record, const Row& row, ObjectProperties document) const {
  const NamedCells cells = cellsOf(document, row);
  const auto withCell = [this](const std::string& name, const Cell& cell, const auto& step) {
    try {
      const auto* text = std::get_if<std::string>(&cell.value);
      if (!cell.isAbsent() && (text == nullptr || !forms_.isAbsent(*text))) step(cell);
    } catch (const values::ConversionError& error) {
      throw RowError(name, error.what());
    } catch (const database_client::Error& error) {
      throw RowError(name, error.what());
    }
  };
  const auto planned = [&](const std::string& name, const auto& step) {
    withCell(name, cells.planned[names_.find(name)->second], step);
  };
  for (const std::string& name : plan_.categories)
    planned(name, [&](const Cell& cell) { record.setCategory(name, values::textOf(cell)); });
  for (const ImportPlan::Description& column : plan_.descriptions) {
    planned(column.name, [&](const Cell& cell) { describe(record, column.name, cell, {column.type}); });
  }
  for (const ImportPlan::File& column : plan_.files) {
    planned(column.name, [&](const Cell& cell) {
      std::string fileId;
      record.addFileInfo(column.kind, column.host, values::textOf(cell), fileId);
    });
  }
  for (const auto& entry : cells.inStore) {
    const StoreColumn& column = *entry.first;
    withCell(column.name, entry.second, [&](const Cell& cell) {
      if (column.kind == StoreColumn::Kind::ambiguous)
        throw RowError(column.name,
                       "the store has a category and a description of this name; which of them the column is has to "
                       "be said");
      if (column.kind == StoreColumn::Kind::category) record.setCategory(column.name, values::textOf(cell));
      if (column.kind == StoreColumn::Kind::description) describe(record, column.name, cell, column.types);
    });
  }
  for (const auto& [name, place] : names_) {
    if (row.cells.empty() && name.find('.') != std::string::npos)
      removePath(document, name);
    else
      document.removeKey(name);
  }
  if (!cells.inStore.empty()) {
    for (const std::string& key : row.keys) {
      if (inStore_.find(key) != nullptr) document.removeKey(key);
    }
  }
  if (!document.isEmpty()) record.setUserRecrod(document);
}

std::unique_ptr<DatabaseRecordInterface> RecordMaker::make(const Row& row) const {
  if (!row.problem.empty()) throw RowError("", row.problem);
  checkKeys(row);
  auto record = newRecord();
  try {
    fill(*record, row, row.document());
    record->getD();
  } catch (const database_client::Error& error) {
    throw RowError(error.where(), error.what());
  }
  return record;
}

}  // namespace database_provider::importing
