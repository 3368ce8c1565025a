// SPDX-License-Identifier: Apache-2.0
#include "tools/input/RecordMaker.h"

#include <algorithm>
#include <chrono>
#include <string_view>
#include <utility>

#include "records/layout.h"

namespace database_provider::recordctl {

namespace {

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

Cell cellOf(const database_client::ElementReader& value) {
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

void setConverted(DatabaseRecordInterface& record, const std::string& name, const Converted& value) {
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

}  // namespace

RecordMaker::RecordMaker(RecordKind kind, Columns columns, std::string sourceHost)
    : kind_(kind), columns_(std::move(columns)), sourceHost_(std::move(sourceHost)) {
  for (const std::string& name : columns_.names()) names_.emplace(name, names_.size());
}

std::unique_ptr<DatabaseRecordInterface> RecordMaker::newRecord() const {
  if (kind_ == RecordKind::scenario) return newRecordOf(kind_);
  std::unique_ptr<ExperimentDatabaseRecordInterface> result(createExperimentDatabaseRecord());
  if (!sourceHost_.empty()) {
    std::unique_ptr<DataServerSourceInfoInterface> source(createDataServerSourceInfo());
    source->setHost(sourceHost_);
    result->setDataServerSourceInfo(source.release());
  }
  return result;
}

/// The header of a CSV file has each name once; a row of JSON may have a name twice.
void RecordMaker::checkKeys(const Row& row) const {
  for (const char* key : {"_id", layout::key::recordInfo}) {
    if (std::find(row.keys.begin(), row.keys.end(), key) != row.keys.end())
      throw BadRow(key, "a plain row cannot have this key; records that were exported are --format records");
  }
  if (!row.cells.empty()) return;
  std::vector<std::size_t> counts(names_.size());
  for (const std::string& key : row.keys) {
    const auto name = names_.find(key);
    if (name != names_.end()) ++counts[name->second];
  }
  const auto twice = std::find_if(counts.begin(), counts.end(), [](std::size_t count) { return count > 1; });
  if (twice != counts.end())
    throw BadRow(columns_.names()[static_cast<std::size_t>(twice - counts.begin())], "stands twice in the row");
}

/// The cells of the columns that are named, in the order of their names' places.
std::vector<Cell> RecordMaker::cellsOf(const ObjectProperties& document, const Row& row) const {
  std::vector<Cell> cells(names_.size());
  std::vector<std::string_view> typed;
  std::size_t place = 0;
  for (database_client::ElementReader value(document); value.next(); ++place) {
    const auto name = names_.find(value.key());
    if (name == names_.end()) continue;
    Cell& cell = cells[name->second];
    cell = cellOf(value);
    if (!isNumber(value.type())) continue;
    if (typed.empty()) typed = row.typedNumbers();
    cell.typed = typed[place];
  }
  return cells;
}

void RecordMaker::fill(DatabaseRecordInterface& record, const Row& row, ObjectProperties document) const {
  const std::vector<Cell> cells = cellsOf(document, row);
  const auto withCell = [&](const std::string& name, const auto& step) {
    const Cell& cell = cells[names_.find(name)->second];
    try {
      if (!cell.isAbsent()) step(cell);
    } catch (const ConversionError& error) {
      throw BadRow(name, error.what());
    } catch (const database_client::Error& error) {
      throw BadRow(name, error.what());
    }
  };
  for (const std::string& name : columns_.categories)
    withCell(name, [&](const Cell& cell) { record.setCategory(name, textOf(cell)); });
  for (const Columns::Description& column : columns_.descriptions) {
    withCell(column.name, [&](const Cell& cell) {
      setConverted(record, column.name, convert(cell, column.type, columns_.timeUnit));
    });
  }
  for (const Columns::File& column : columns_.files) {
    withCell(column.name, [&](const Cell& cell) {
      std::string fileId;
      record.addFileInfo(column.kind, column.host, textOf(cell), fileId);
    });
  }
  for (const auto& [name, place] : names_) document.removeKey(name);
  if (!document.isEmpty()) record.setUserRecrod(document);
}

std::unique_ptr<DatabaseRecordInterface> RecordMaker::make(const Row& row) const {
  if (!row.problem.empty()) throw BadRow("", row.problem);
  checkKeys(row);
  auto record = newRecord();
  try {
    fill(*record, row, row.document());
    record->getD();
  } catch (const database_client::Error& error) {
    throw BadRow(error.where(), error.what());
  }
  return record;
}

}  // namespace database_provider::recordctl
