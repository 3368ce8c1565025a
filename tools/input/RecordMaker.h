// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_provider/database_provider.h>

#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "tools/core/Records.h"
#include "tools/input/Columns.h"
#include "tools/input/Row.h"

namespace database_provider::recordctl {

/// A row of which no record can be made.
class BadRow : public std::runtime_error {
 public:
  BadRow(std::string column, const std::string& reason) : std::runtime_error(reason), column_(std::move(column)) {}

  /// Empty where the row as a whole is bad.
  const std::string& column() const noexcept { return column_; }

 private:
  std::string column_;
};

/// Makes records of plain rows.
class RecordMaker {
 public:
  /// A source is set on experiments only, and only when its host is not empty.
  RecordMaker(RecordKind kind, Columns columns, std::string sourceHost);

  const Columns& columns() const { return columns_; }
  /// A new record of a row. Throws `BadRow`.
  std::unique_ptr<DatabaseRecordInterface> make(const Row& row) const;

 private:
  std::unique_ptr<DatabaseRecordInterface> newRecord() const;
  void checkKeys(const Row& row) const;
  std::vector<Cell> cellsOf(const ObjectProperties& document, const Row& row) const;
  void fill(DatabaseRecordInterface& record, const Row& row, ObjectProperties document) const;

  RecordKind kind_;
  Columns columns_;
  std::map<std::string, std::size_t, std::less<>> names_{};  ///< of the columns, each with its place among the cells
  std::string sourceHost_;
};

}  // namespace database_provider::recordctl
