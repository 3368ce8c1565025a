// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <csv.h>

#include <deque>
#include <exception>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "importing/InputFile.h"
#include "importing/Row.h"

namespace database_provider::importing {

/// The rows of a CSV file (RFC 4180, with any sign between cells) whose first line names the columns. A row of another
/// length has a problem; a stray quote ends the reading.
class CsvReader : public RowReader {
 public:
  /// A delimiter of NUL is looked for.
  explicit CsvReader(std::unique_ptr<InputFile> file, char delimiter = '\0');
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
  char delimiter_;
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

/// The sign between the cells of CSV that begins like this: the one of , ; tab and | that the first line has outside of
/// quotes, and most of the next ones as often; a comma where there is none, or where two are alike.
DATABASE_PROVIDER_EXPORT char delimiterOf(std::string_view beginning);

}  // namespace database_provider::importing
