// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <csv.h>

#include <deque>
#include <exception>
#include <string>
#include <vector>

#include "tools/input/InputFile.h"
#include "tools/input/RowReader.h"

namespace database_provider::recordctl {

/// The rows of a CSV file (RFC 4180) whose first line names the columns. A row of another length has a problem; a stray
/// quote ends the reading.
class CsvReader : public RowReader {
 public:
  explicit CsvReader(const std::string& path);
  CsvReader(const CsvReader&) = delete;
  CsvReader& operator=(const CsvReader&) = delete;
  ~CsvReader() override;

  bool next(Row& row) override;
  const std::vector<std::string>& header() const override { return header_; }
  std::uint64_t position() const override { return file_.position(); }
  std::uint64_t size() const override { return file_.size(); }

 private:
  using Cells = std::vector<std::string>;
  struct Line {
    Cells cells{};           ///< no more than the header has
    std::size_t count = 0;   ///< of all cells
    std::size_t size = 0;    ///< in bytes
    std::size_t number = 0;  ///< in the file, where the cells begin
  };

  bool readOn();
  bool takeLine(Line& line);
  void checkHeader() const;
  [[noreturn]] void fail() const;
  [[noreturn]] void failAt(std::size_t line, const std::string& reason) const;
  void addCell(const char* text, std::size_t length);
  void endRow(int end);
  template <class Step>
  void guarded(const Step& step) noexcept;

  InputFile file_;
  csv_parser parser_{};
  Cells header_{};
  Line current_{};
  std::deque<Line> complete_{};
  std::exception_ptr failure_{};
  std::size_t rows_ = 0;
  std::size_t line_ = 1;
  int lastEnd_ = 0;
  bool atEnd_ = false;
};

}  // namespace database_provider::recordctl
