// SPDX-License-Identifier: Apache-2.0
#include "importing/ToolRows.h"

#include <utility>

#include "importing/InputFile.h"
#include "importing/JsonReader.h"

namespace database_provider::importing {

bool ToolRows::next(Row& row) {
  row = Row();
  if (!fill(row)) return false;
  row.number = ++rows_;
  row.json.clear();  // the document is another one now
  row.keys.clear();
  for (ElementReader value(row.parsed); value.next();) row.keys.emplace_back(value.key());
  return true;
}

bool ToolRows::rewind() {
  rows_ = 0;
  restart();
  return true;
}

std::string wholeFile(const std::string& path) {
  InputFile file(path);
  std::string result;
  while (file.hasMore()) {
    result.append(file.takeChunk());
    if (result.size() > maximalRowSize) throw ImportError(path + ": longer than " + maximalRowSizeText);
  }
  return result;
}

JsonDocumentRows::JsonDocumentRows(const std::string& path, std::string rowsKey) : ToolRows(path, false) {
  InputFile file(path);
  try {
    common_ = ObjectProperties::fromJson(JsonScanner(file).membersBut(rowsKey));
  } catch (const database_client::Error& error) {
    throw ImportError(path + ": what stands beside \"" + rowsKey + "\" cannot be read: " + error.what());
  }
  rows_ = std::make_unique<JsonArrayReader>(std::make_unique<InputFile>(path), std::move(rowsKey));
}

bool JsonDocumentRows::fill(Row& row) {
  if (!rows_->next(row)) return false;
  if (row.problem.empty() && !row.refusal) arrange(row.parsed, common_);
  return true;
}

}  // namespace database_provider::importing
