// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace database_provider::recordctl {

/// Where a record comes from.
struct RowOrigin {
  std::string file;
  std::size_t line = 0;  ///< from 1; 0 for what is a file as a whole
  std::size_t row = 0;   ///< from 1; 0 as for the line
};

/// Tells which rows did not go in and why: the first ones in full, as FILE:LINE: COLUMN: REASON (row N), the rest as a
/// count.
class BadRows {
 public:
  /// `beforeLine` is called before each line, so that a progress bar can make room.
  explicit BadRows(std::function<void()> beforeLine) : beforeLine_(std::move(beforeLine)) {}

  /// An empty column stands for the row as a whole.
  void add(const RowOrigin& origin, const std::string& column, const std::string& reason);
  std::size_t count() const { return count_; }
  /// Says how many were not told in full.
  void finish() const;

 private:
  std::function<void()> beforeLine_;
  std::size_t count_ = 0;
};

}  // namespace database_provider::recordctl
