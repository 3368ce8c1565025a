// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_provider/import.h>

#include <cstddef>
#include <functional>
#include <utility>

namespace database_provider::recordctl {

/// Tells which rows did not go in and why: the first ones in full, as FILE:LINE: COLUMN: REASON (row N), the rest as a
/// count.
class BadRows {
 public:
  /// `beforeLine` is called before each line, so that a progress bar can make room.
  explicit BadRows(std::function<void()> beforeLine) : beforeLine_(std::move(beforeLine)) {}

  void add(const BadRow& row);
  std::size_t count() const { return count_; }
  /// Says how many were not told in full.
  void finish() const;

 private:
  std::function<void()> beforeLine_;
  std::size_t count_ = 0;
};

}  // namespace database_provider::recordctl
