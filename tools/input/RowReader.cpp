// SPDX-License-Identifier: Apache-2.0
#include "tools/input/RowReader.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "tools/input/CsvReader.h"
#include "tools/input/JsonReader.h"
#include "tools/values/Errors.h"

namespace database_provider::recordctl {

namespace {

constexpr std::array<std::pair<const char*, RowFormat>, 4> formats = {
    {{"json", RowFormat::json}, {"jsonl", RowFormat::jsonl}, {"csv", RowFormat::csv}, {"records", RowFormat::records}}};

constexpr std::array<std::pair<const char*, RowFormat>, 5> endings = {{{".json", RowFormat::json},
                                                                       {".jsonl", RowFormat::jsonl},
                                                                       {".ndjson", RowFormat::jsonl},
                                                                       {".csv", RowFormat::csv},
                                                                       {".records", RowFormat::records}}};

/// In either case.
bool endsWith(const std::string& text, std::string_view ending) {
  return text.size() > ending.size() &&
         std::equal(ending.rbegin(), ending.rend(), text.rbegin(), [](char expected, char c) {
           return expected == (c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c);
         });
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
