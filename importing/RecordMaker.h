// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
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
  void findNested(const ObjectProperties& document, NamedCells& cells) const;
  void describe(DatabaseRecordInterface& record, const std::string& name, const values::Cell& cell,
                const std::vector<PropertyType>& types) const;
  void fill(DatabaseRecordInterface& record, const Row& row, ObjectProperties document) const;

  RecordKind kind_;
  ImportPlan plan_;
  StoreColumns inStore_;
  values::CellForms forms_;
  std::vector<std::string> columns_;
  std::map<std::string, std::size_t, std::less<>> names_{};  ///< of the columns, each with its place among the cells
};

/// The value at a path of keys with dots between them, each of which may have dots itself.
DATABASE_PROVIDER_EXPORT std::optional<ElementReader> findPath(ElementReader level, std::string_view path);

/// What a value of a row is as the cell of a column.
values::Cell cellOf(const ElementReader& value);

/// Every column that a plan names, each once.
DATABASE_PROVIDER_EXPORT std::vector<std::string> columnNames(const ImportPlan& plan);

}  // namespace database_provider::importing
