// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_provider/records.h>
#include <nanobind/nanobind.h>
#include <nanobind/stl/string.h>

#include <cstddef>
#include <optional>
#include <string>
#include <utility>
#include <vector>

/// Plans and results of imports, and the rows of a table that Python holds.
namespace database_provider::python {

namespace nb = nanobind;

OnMatch onMatchFromName(const std::string& name);
/// Without a name, the format that the ending of the path tells.
RowFormat formatFromName(const std::optional<std::string>& name, const std::string& path);
/// A dict of the fields of `ImportPlan`, as the package's Python sources put it together.
ImportPlan importPlanFromPython(nb::handle dict);
nb::dict importResultToPython(const ImportResult& result);

/// Rows that are made of columns, some at a time, so that the interpreter's lock is taken seldom.
class ColumnRows {
 public:
  /// Lists of one length, by name.
  explicit ColumnRows(nb::handle columns);

  bool isBuffered() const { return next_ < buffer_.size() || at_ == rows_; }
  /// Converts the next rows; the lock is held.
  void fill();
  /// Moves the next row of the buffer out; false behind the last one.
  bool take(ObjectProperties& row);
  void restart();

 private:
  std::vector<std::pair<nb::object, nb::object>> columns_{};
  std::size_t rows_ = 0;
  std::size_t at_ = 0;
  std::vector<ObjectProperties> buffer_{};
  std::size_t next_ = 0;
};

}  // namespace database_provider::python
