// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/input/Row.h"

namespace database_provider::recordctl {

/// How a file's rows are written.
enum class RowFormat {
  json,     ///< one array of objects
  jsonl,    ///< an object on each line
  csv,      ///< RFC 4180, with a header
  records,  ///< what `export` wrote: a document of canonical extended JSON on each line
};

/// The rows of one file, one at a time, in constant memory. A row that cannot be read has a `problem`, and the next one
/// follows; a file that cannot be read on throws `UsageError`, which names the file and the line.
class RowReader {
 public:
  RowReader() = default;
  RowReader(const RowReader&) = delete;
  RowReader& operator=(const RowReader&) = delete;
  virtual ~RowReader() = default;

  /// Replaces `row` by the next one; false at the end.
  virtual bool next(Row& row) = 0;
  /// The columns that every row has; empty where each row has its own.
  virtual const std::vector<std::string>& header() const = 0;
  virtual std::uint64_t position() const = 0;
  /// 0 where it is not known.
  virtual std::uint64_t size() const = 0;
};

/// Opens a file, or standard input for "-".
std::unique_ptr<RowReader> openRows(const std::string& path, RowFormat format);

/// The format of that name, or, for an empty name, the one that the file's ending tells.
RowFormat rowFormat(const std::string& name, const std::string& path);

}  // namespace database_provider::recordctl
