// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "database_provider/import.h"
#include "importing/ArrayRows.h"
#include "importing/CsvReader.h"
#include "importing/InputFile.h"
#include "importing/JsonReader.h"
#include "importing/Row.h"
#include "importing/toolFormats.h"

namespace database_provider {

using importing::InputFile;
using importing::Row;

namespace {

constexpr std::array<std::pair<const char*, RowFormat>, 7> endings = {{{".json", RowFormat::json},
                                                                       {".geojson", RowFormat::json},
                                                                       {".jsonl", RowFormat::jsonl},
                                                                       {".ndjson", RowFormat::jsonl},
                                                                       {".csv", RowFormat::csv},
                                                                       {".tsv", RowFormat::csv},
                                                                       {".records", RowFormat::records}}};

/// In either case.
bool endsWith(const std::string& text, std::string_view ending) {
  return text.size() > ending.size() &&
         std::equal(ending.rbegin(), ending.rend(), text.rbegin(), [](char expected, char c) {
           return expected == (c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c);
         });
}

/// The name without the ending of a compressed file.
std::string unpackedName(const std::string& path) {
  for (const char* ending : {".gz", ".zst"}) {
    if (endsWith(path, ending)) return path.substr(0, path.size() - std::string_view(ending).size());
  }
  return path;
}

std::unique_ptr<RowReader> readerOf(std::unique_ptr<InputFile> file, RowFormat format, const RowOptions& options) {
  const std::string name = unpackedName(file->path());
  std::unique_ptr<RowReader> result;
  if (format == RowFormat::csv) {
    const char delimiter = options.delimiter == '\0' && endsWith(name, ".tsv") ? '\t' : options.delimiter;
    return std::make_unique<importing::CsvReader>(std::move(file), delimiter);
  }
  if (format == RowFormat::json)
    result = std::make_unique<importing::JsonArrayReader>(
        std::move(file), options.rows.empty() && endsWith(name, ".geojson") ? "features" : options.rows);
  else
    result = std::make_unique<importing::JsonLinesReader>(std::move(file), format == RowFormat::records);
  if (options.arraysAsText.empty() && options.arrayAsRows.empty()) return result;
  return std::make_unique<importing::ArrayRows>(std::move(result), options.arraysAsText, options.arrayAsRows);
}

/// The rows of a program.
class ProgramRows : public RowReader {
 public:
  ProgramRows(std::function<bool(ObjectProperties&)> next, std::function<void()> restart)
      : RowReader("", false), next_(std::move(next)), restart_(std::move(restart)) {}

  bool next(Row& row) override {
    row = Row();
    if (!next_(row.parsed)) return false;
    row.number = ++rows_;
    for (ElementReader value(row.parsed); value.next();) row.keys.emplace_back(value.key());
    return true;
  }
  const std::vector<std::string>& header() const override { return header_; }
  std::uint64_t position() const override { return 0; }
  std::uint64_t size() const override { return 0; }
  bool rewind() override {
    if (!restart_) return false;
    restart_();
    rows_ = 0;
    return true;
  }

 private:
  std::function<bool(ObjectProperties&)> next_;
  std::function<void()> restart_;
  std::vector<std::string> header_{};
  std::size_t rows_ = 0;
};

}  // namespace

ImportError::ImportError(const std::string& message) : std::runtime_error(message) {}
ImportError::~ImportError() = default;
ImportError::ImportError(const ImportError&) = default;
ImportError& ImportError::operator=(const ImportError&) = default;

RowReader::~RowReader() = default;

std::optional<RowFormat> rowFormatOf(const std::string& path) {
  const std::string name = unpackedName(path);
  for (const auto& [ending, format] : endings) {
    if (endsWith(name, ending)) return format;
  }
  return std::nullopt;
}

std::unique_ptr<RowReader> openRows(const std::string& path, RowFormat format) {
  return openRows(path, format, {});
}

std::unique_ptr<RowReader> openRows(const std::string& path, RowFormat format, const RowOptions& options) {
  if (const importing::ToolFormat* tool = importing::findToolFormat(format)) return tool->open(path);
  return readerOf(std::make_unique<InputFile>(path, options.encoding), format, options);
}

std::unique_ptr<RowReader> readRows(const std::string& name, RowFormat format, ByteReader read) {
  return readRows(name, format, std::move(read), {});
}

std::unique_ptr<RowReader> readRows(const std::string& name, RowFormat format, ByteReader read,
                                    const RowOptions& options) {
  if (importing::findToolFormat(format) != nullptr)
    throw ImportError(name + ": what tools write is read from files, not from a pipe");
  return readerOf(std::make_unique<InputFile>(name, std::move(read), options.encoding), format, options);
}

std::unique_ptr<RowReader> rowsOf(std::function<bool(ObjectProperties& row)> next, std::function<void()> restart) {
  return std::make_unique<ProgramRows>(std::move(next), std::move(restart));
}

}  // namespace database_provider
