// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "importing/Row.h"
#include "importing/toolFormats.h"

namespace database_provider::importing {

/// Rows that are made one by one of what a tool has written.
class ToolRows : public RowReader {
 public:
  using RowReader::RowReader;

  bool next(Row& row) final;
  const std::vector<std::string>& header() const final { return header_; }
  std::uint64_t position() const override { return 0; }
  std::uint64_t size() const override { return 0; }
  bool rewind() final;
  /// The keys that stay in the user block, whatever they hold.
  virtual std::vector<std::string> keysKept() const = 0;

 protected:
  /// Fills the row's document and its line; false behind the last one.
  virtual bool fill(Row& row) = 0;
  /// Stands before the first row again.
  virtual void restart() = 0;

 private:
  std::vector<std::string> header_{};
  std::size_t rows_ = 0;
};

/// The content of a file as a whole, which is refused beyond a bound.
std::string wholeFile(const std::string& path);

/// The rows of a JSON document that has its rows in one of its members, and in the others what holds for all of them.
class JsonDocumentRows : public ToolRows {
 public:
  JsonDocumentRows(const std::string& path, std::string rowsKey);

  std::uint64_t position() const override { return rows_->position(); }
  std::uint64_t size() const override { return rows_->size(); }

 protected:
  bool fill(Row& row) final;
  void restart() final { rows_->rewind(); }
  /// Makes the row what the tool's users expect; `common` are the other members.
  virtual void arrange(ObjectProperties& row, const ObjectProperties& common) const = 0;

 private:
  std::unique_ptr<RowReader> rows_;
  ObjectProperties common_{};
};

// The formats.

std::unique_ptr<RowReader> openJunit(const std::string& path);
ImportPlan junitPlan();
std::unique_ptr<RowReader> openGoogleBenchmark(const std::string& path);
ImportPlan googleBenchmarkPlan();
std::unique_ptr<RowReader> openPytestBenchmark(const std::string& path);
ImportPlan pytestBenchmarkPlan();
std::unique_ptr<RowReader> openMlflow(const std::string& path);
ImportPlan mlflowPlan();

}  // namespace database_provider::importing
