// SPDX-License-Identifier: Apache-2.0
#include "importing.h"

#include <algorithm>
#include <array>

#include "RecordObject.h"
#include "RecordsCore.h"
#include "bson.h"
#include "values.h"

namespace database_provider::python {

namespace {

std::vector<std::string> textsOf(nb::handle sequence, const std::string& what) {
  std::vector<std::string> result;
  for (const nb::handle text : sequence) result.push_back(textFromPython(text, what));
  return result;
}

const char* formatName(RowFormat format) {
  constexpr std::array<const char*, 4> names = {"json", "jsonl", "csv", "records"};
  return names.at(static_cast<std::size_t>(format));
}

}  // namespace

OnMatch onMatchFromName(const std::string& name) {
  if (name == "update") return OnMatch::update;
  if (name == "replace") return OnMatch::replace;
  if (name == "skip") return OnMatch::skip;
  if (name == "fail") return OnMatch::fail;
  throw nb::value_error(R"(on_match is "update", "replace", "skip" or "fail")");
}

RowFormat formatFromName(const std::optional<std::string>& name, const std::string& path) {
  if (!name) {
    if (const std::optional<RowFormat> format = rowFormatOf(path)) return *format;
    throw nb::value_error(R"(the ending of the file tells no format; give format="json", "jsonl", "csv" or "records")");
  }
  for (const RowFormat format : {RowFormat::json, RowFormat::jsonl, RowFormat::csv, RowFormat::records}) {
    if (*name == formatName(format)) return format;
  }
  throw nb::value_error(R"(format is "json", "jsonl", "csv" or "records")");
}

ImportPlan importPlanFromPython(nb::handle dict) {
  ImportPlan plan;
  plan.categories = textsOf(dict["categories"], "a category");
  for (const auto& [name, type] : itemsOf(dict["descriptions"], "descriptions"))
    plan.descriptions.push_back({nameFromPython(name, "a description"), typeFromName(textFromPython(type, "a type"))});
  for (const auto& [column, place] : itemsOf(dict["files"], "files")) {
    const std::string name = nameFromPython(column, "a column of files");
    const nb::object reference = nb::make_tuple(place[0], place[1], "");
    const FileReference file = fileFromPython(reference, name);
    plan.files.push_back({file.type, file.host, name});
  }
  if (!nb::object(dict["time_unit"]).is_none())
    plan.timeUnit = std::chrono::milliseconds(nb::cast<std::int64_t>(dict["time_unit"]));
  plan.sourceHost = textFromPython(dict["source_host"], "the source's host");
  plan.keepIds = nb::cast<bool>(dict["keep_ids"]);
  plan.allOrNothing = nb::cast<bool>(dict["all_or_nothing"]);
  plan.key = textsOf(dict["key"], "a name of the key");
  plan.onMatch = onMatchFromName(textFromPython(dict["on_match"], "on_match"));
  return plan;
}

nb::dict importResultToPython(const ImportResult& result) {
  nb::list bad;
  for (const BadRow& row : result.badRows)
    bad.append(nb::make_tuple(row.origin.row, row.origin.line, textToPython(row.column), textToPython(row.reason)));
  nb::dict dict;
  dict["imported"] = result.imported;
  dict["updated"] = result.updated;
  dict["unchanged"] = result.unchanged;
  dict["failed"] = result.failed;
  dict["bad_rows"] = bad;
  return dict;
}

ColumnRows::ColumnRows(nb::handle columns) : columns_(itemsOf(columns, "columns")) {
  for (const auto& [name, values] : columns_) rows_ = std::max(rows_, nb::len(values));
}

void ColumnRows::fill() {
  constexpr std::size_t most = 1024;
  buffer_.clear();
  next_ = 0;
  for (; at_ < rows_ && buffer_.size() < most; ++at_) {
    nb::dict row;
    for (const auto& [name, values] : columns_) {
      const nb::object value = values[at_];
      if (!value.is_none()) row[name] = value;
    }
    buffer_.push_back(documentFromPython(row, "row " + std::to_string(at_ + 1)));
  }
}

bool ColumnRows::take(ObjectProperties& row) {
  if (next_ == buffer_.size()) return false;
  row = std::move(buffer_[next_++]);
  return true;
}

void ColumnRows::restart() {
  at_ = 0;
  next_ = 0;
  buffer_.clear();
}

}  // namespace database_provider::python
