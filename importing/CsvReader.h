// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <csv.h>

#include <deque>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "importing/InputFile.h"
#include "importing/Row.h"

namespace database_provider::importing {

/// The rows of a CSV file (RFC 4180) whose first line names the columns. A row of another length has a problem; a stray
/// quote ends the reading.
class CsvReader : public RowReader {
 public:
  explicit CsvReader(std::unique_ptr<InputFile> file);
  CsvReader(const CsvReader&) = delete;
  CsvReader& operator=(const CsvReader&) = delete;
  CsvReader(CsvReader&&) = delete;
  CsvReader& operator=(CsvReader&&) = delete;
  ~CsvReader() override;

  bool next(Row& row) override;
  const std::vector<std::string>& header() const override { return header_; }
  std::uint64_t position() const override { return file_->position(); }
  std::uint64_t size() const override { return file_->size(); }
  bool rewind() override;

 private:
  using Cells = std::vector<std::string>;
  struct Line {
    Cells cells{};           ///< no more than the header has
    std::size_t count = 0;   ///< of all cells
    std::size_t size = 0;    ///< in bytes
    std::size_t number = 0;  ///< in the file, where the cells begin
  };

  void start();
  bool readOn();
  bool takeLine(Line& line);
  void checkHeader() const;
  [[noreturn]] void fail() const;
  [[noreturn]] void failAt(std::size_t line, const std::string& reason) const;
  void addCell(const char* text, std::size_t length);
  void endRow(int end);
  template <class Step>
  void guarded(const Step& step) noexcept;

  std::unique_ptr<InputFile> file_;
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

}  // namespace database_provider::importing
