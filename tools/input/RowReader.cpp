#include "tools/input/RowReader.h"

#include <array>
#include <utility>

#include "tools/core/Errors.h"
#include "tools/input/CsvReader.h"
#include "tools/input/JsonReader.h"

namespace database_provider::recordctl {

namespace {

constexpr std::array<std::pair<const char*, RowFormat>, 4> formats = {
    {{"json", RowFormat::json}, {"jsonl", RowFormat::jsonl}, {"csv", RowFormat::csv}, {"records", RowFormat::records}}};

constexpr std::array<std::pair<const char*, RowFormat>, 4> endings = {{{".json", RowFormat::json},
                                                                       {".jsonl", RowFormat::jsonl},
                                                                       {".ndjson", RowFormat::jsonl},
                                                                       {".csv", RowFormat::csv}}};

bool endsWith(const std::string& text, const std::string& ending) {
  return text.size() > ending.size() && text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

}  // namespace

RowFormat rowFormat(const std::string& name, const std::string& path) {
  for (const auto& [known, format] : formats) {
    if (name == known) return format;
  }
  if (!name.empty()) throw UsageError("unknown format \"" + name + "\"; json, jsonl, csv and records are known");
  for (const auto& [ending, format] : endings) {
    if (endsWith(path, ending)) return format;
  }
  throw UsageError(path + ": the name does not tell the format; give --format json, jsonl, csv or records");
}

std::unique_ptr<RowReader> openRows(const std::string& path, RowFormat format) {
  if (format == RowFormat::csv) return std::make_unique<CsvReader>(path);
  if (format == RowFormat::json) return std::make_unique<JsonArrayReader>(path);
  return std::make_unique<JsonLinesReader>(path);
}

}  // namespace database_provider::recordctl
