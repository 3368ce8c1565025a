#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace database_provider::recordctl {

/// Tells which rows did not go in and why: the first ones in full, as FILE:ROW: COLUMN: REASON, the rest as a count.
class BadRows {
 public:
  /// `beforeLine` is called before each line, so that a progress bar can make room.
  explicit BadRows(std::function<void()> beforeLine) : beforeLine_(std::move(beforeLine)) {}

  void add(const std::string& file, std::size_t row, const std::string& column, const std::string& reason);
  /// For rows that have no number.
  void add(const std::string& file, const std::string& column, const std::string& reason);
  std::size_t count() const { return count_; }
  /// Says how many were not told in full.
  void finish() const;

 private:
  std::function<void()> beforeLine_;
  std::size_t count_ = 0;
};

}  // namespace database_provider::recordctl
