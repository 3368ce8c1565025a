// SPDX-License-Identifier: Apache-2.0
#include "importing/ArrayRows.h"

#include <algorithm>

#include "importing/RecordMaker.h"

namespace database_provider::importing {

namespace {

using database_client::EnteredScope;

bool isNested(PropertyType type) {
  return type == PropertyType::group || type == PropertyType::array;
}

std::string problemOf(const std::string& key) {
  return "the array \"" + key + "\" holds objects or arrays; only single values make a text or rows";
}

/// The text of all values of an array, or what is wrong with it.
std::string joined(const ObjectProperties& document, const std::string& key, std::string& problem) {
  std::string result;
  const EnteredScope array = EnteredScope::array(document, key);
  for (ElementReader value(document); value.next();) {
    if (isNested(value.type())) {
      problem = problemOf(key);
      return {};
    }
    const values::Cell cell = cellOf(value);
    if (!cell.isAbsent()) result += (result.empty() ? "" : "; ") + values::textOf(cell);
  }
  return result;
}

/// What was typed is another document's now.
void noteKeys(Row& row) {
  row.json.clear();
  row.keys.clear();
  for (ElementReader value(row.parsed); value.next();) row.keys.emplace_back(value.key());
}

}  // namespace

bool ArrayRows::rewind() {
  pending_.clear();
  return rows_->rewind();
}

bool ArrayRows::takePending(Row& row) {
  if (pending_.empty()) return false;
  row = whole_;
  row.parsed.removeKey(asRows_);
  const EnteredScope array = EnteredScope::array(whole_.parsed, asRows_);
  row.parsed.copyValue(asRows_, whole_.parsed, pending_.back());
  pending_.pop_back();
  noteKeys(row);
  return true;
}

bool ArrayRows::next(Row& row) {
  if (takePending(row)) return true;
  if (!rows_->next(row)) return false;
  if (!row.problem.empty() || row.refusal) return true;
  for (const std::string& key : asText_) {
    if (row.parsed.type(key) != PropertyType::array) continue;
    const std::string text = joined(row.parsed, key, row.problem);
    if (!row.problem.empty()) return true;
    row.parsed.removeKey(key);
    if (!text.empty()) row.parsed.setValueString(key, text);
    noteKeys(row);
  }
  if (asRows_.empty() || row.parsed.type(asRows_) != PropertyType::array) return true;
  {
    const EnteredScope array = EnteredScope::array(row.parsed, asRows_);
    for (ElementReader value(row.parsed); value.next();) {
      if (isNested(value.type())) row.problem = problemOf(asRows_);
      pending_.emplace_back(value.key());
    }
    std::reverse(pending_.begin(), pending_.end());
  }
  if (!row.problem.empty()) {
    pending_.clear();
    return true;
  }
  if (pending_.empty()) {
    row.parsed.removeKey(asRows_);
    noteKeys(row);
    return true;
  }
  whole_ = std::move(row);
  return takePending(row);
}

}  // namespace database_provider::importing
