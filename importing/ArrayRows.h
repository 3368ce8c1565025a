// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "database_provider/import.h"
#include "importing/Row.h"

namespace database_provider::importing {

/// The rows of another reader, with arrays of single values turned into what a record can have under one name: one text
/// of all values, or a row for each value. A row whose array holds objects or arrays has a problem; one with an empty
/// array stays, without it.
class ArrayRows : public RowReader {
 public:
  ArrayRows(std::unique_ptr<RowReader> rows, std::vector<std::string> asText, std::string asRows)
      : RowReader(rows->name(), rows->hasRecords()),
        rows_(std::move(rows)),
        asText_(std::move(asText)),
        asRows_(std::move(asRows)) {}

  bool next(Row& row) override;
  const std::vector<std::string>& header() const override { return rows_->header(); }
  std::uint64_t position() const override { return rows_->position(); }
  std::uint64_t size() const override { return rows_->size(); }
  bool rewind() override;

 private:
  bool takePending(Row& row);

  std::unique_ptr<RowReader> rows_;
  std::vector<std::string> asText_;
  std::string asRows_;
  Row whole_{};                         ///< of whose array values are left
  std::vector<std::string> pending_{};  ///< places in that array, the next one last
};

}  // namespace database_provider::importing
