// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "database_provider/Record.h"
#include "database_provider/import.h"
#include "importing/Row.h"
#include "importing/StoreColumns.h"
#include "values/Cell.h"

namespace database_provider::importing {

/// A row of which no record can be made.
class RowError : public std::runtime_error {
 public:
  RowError(std::string column, const std::string& reason) : std::runtime_error(reason), column_(std::move(column)) {}

  /// Empty where the row as a whole is bad.
  const std::string& column() const noexcept { return column_; }

 private:
  std::string column_;
};

/// Makes records of plain rows.
class DATABASE_PROVIDER_EXPORT RecordMaker {
 public:
  /// `inStore` are the columns that mean what the store has under their names; none for rows that need no store. A
  /// source is set on experiments only, and only when its host is not empty.
  RecordMaker(RecordKind kind, ImportPlan plan, StoreColumns inStore = {});

  /// A new record of a row. Throws `RowError`.
  std::unique_ptr<DatabaseRecordInterface> make(const Row& row) const;

 private:
  struct NamedCells {
    std::vector<values::Cell> planned{};  ///< in the order of their names' places
    std::vector<std::pair<const StoreColumn*, values::Cell>> inStore{};
  };

  std::unique_ptr<DatabaseRecordInterface> newRecord() const;
  void checkKeys(const Row& row) const;
  NamedCells cellsOf(const ObjectProperties& document, const Row& row) const;
  void fill(DatabaseRecordInterface& record, const Row& row, ObjectProperties document) const;

  RecordKind kind_;
  ImportPlan plan_;
  StoreColumns inStore_;
  values::TimeUnit timeUnit_;
  std::vector<std::string> columns_;
  std::map<std::string, std::size_t, std::less<>> names_{};  ///< of the columns, each with its place among the cells
};

/// Every column that a plan names, each once.
DATABASE_PROVIDER_EXPORT std::vector<std::string> columnNames(const ImportPlan& plan);

}  // namespace database_provider::importing
