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

Cell cellOf(const ObjectProperties& document, const Row& row, const std::string& name) {
  switch (document.type(name)) {
    case PropertyType::undefined:
    case PropertyType::null:
      return {};
    case PropertyType::boolean:
      return {document.valueAsBool(name, false)};
    case PropertyType::string:
      return {document.valueAsString(name, "")};
    case PropertyType::time:
      return {Time{document.valueAsTime(name, 0)}};
    case PropertyType::int32:
    case PropertyType::int64:
    case PropertyType::real:
      break;
    default:
      return {Cell::Other{kindName(document.type(name))}};
  }
  const auto typed = row.numbers.find(name);
  Cell result;
  if (document.type(name) == PropertyType::real)
    result.value = document.valueAsDouble(name, 0);
  else
    result.value = std::int64_t{document.valueAsInt64(name, 0)};
  if (typed != row.numbers.end()) result.typed = typed->second;
  return result;
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

/// Calls `step` and names the column of what it finds wrong.
template <class Step>
void forColumn(const std::string& name, const Step& step) {
  try {
    step();
  } catch (const ConversionError& error) {
    throw BadRow(name, error.what());
  } catch (const database_client::Error& error) {
    throw BadRow(name, error.what());
  }
}

}  // namespace

RecordMaker::RecordMaker(RecordKind kind, Columns columns, std::string sourceHost)
    : kind_(kind), columns_(std::move(columns)), names_(columns_.names()), sourceHost_(std::move(sourceHost)) {}

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
  std::vector<std::string_view> keys(row.keys.begin(), row.keys.end());
  std::sort(keys.begin(), keys.end());
  for (const std::string& name : names_) {
    const auto [first, last] = std::equal_range(keys.begin(), keys.end(), std::string_view(name));
    if (last - first > 1) throw BadRow(name, "stands twice in the row");
  }
}

void RecordMaker::fill(DatabaseRecordInterface& record, const Row& row, ObjectProperties document) const {
  for (const std::string& name : columns_.categories) {
    forColumn(name, [&] {
      const Cell cell = cellOf(document, row, name);
      if (!cell.isAbsent()) record.setCategory(name, textOf(cell));
    });
  }
  for (const Columns::Description& column : columns_.descriptions) {
    forColumn(column.name, [&] {
      const Cell cell = cellOf(document, row, column.name);
      if (!cell.isAbsent()) setConverted(record, column.name, convert(cell, column.type, columns_.timeUnit));
    });
  }
  for (const Columns::File& column : columns_.files) {
    forColumn(column.name, [&] {
      const Cell cell = cellOf(document, row, column.name);
      std::string fileId;
      if (!cell.isAbsent()) record.addFileInfo(column.kind, column.host, textOf(cell), fileId);
    });
  }
  for (const std::string& name : names_) document.removeKey(name);
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
