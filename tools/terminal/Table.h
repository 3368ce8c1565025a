// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

#include "tools/terminal/Terminal.h"

namespace database_provider::recordctl {

/// Rows under headings, in columns that fit the layout: wide columns are shortened, and the last ones left out when
/// even that does not do, each with an ellipsis. Rows are written as they come; the widths follow from the first of
/// them.
class Table {
 public:
  struct Column {
    std::string heading;
    bool isWhole = false;  ///< rather the others are shortened than this one
  };
  struct Cell {
    std::string text{};
    bool isNumber = false;
  };
  using Row = std::vector<Cell>;

  /// Columns of these headings, none of them whole.
  static std::vector<Column> columnsOf(const std::vector<std::string>& headings);

  Table(std::ostream& out, Layout layout, std::vector<Column> columns);

  /// A row has a cell for each column.
  void add(Row row);
  /// Writes what is left; without any row nothing at all.
  void finish();

 private:
  void start();
  void measure();
  void fit();
  void dropLastColumn();
  bool shrinkTo(std::size_t width);
  std::size_t totalWidth() const;
  void writeHeadings();
  void write(const Row& row);

  std::ostream& out_;
  Layout layout_;
  std::vector<Column> columns_;
  std::vector<Row> waiting_{};
  std::vector<std::size_t> widths_{};
  std::vector<bool> alignRight_{};
  bool hasMore_ = false;
  bool isStarted_ = false;
};

}  // namespace database_provider::recordctl
