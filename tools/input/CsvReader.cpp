#include "tools/input/CsvReader.h"

#include <new>
#include <set>
#include <utility>

#include "tools/core/Errors.h"
#include "tools/core/Text.h"

namespace database_provider::recordctl {

namespace {

// Blanks belong to a cell.
int isNoBlank(unsigned char) {
  return 0;
}

}  // namespace

CsvReader::CsvReader(const std::string& path) : file_(path) {
  if (csv_init(&parser_, CSV_STRICT | CSV_STRICT_FINI) != 0) throw std::bad_alloc();
  csv_set_space_func(&parser_, isNoBlank);
  try {
    if (!takeCells(header_)) throw UsageError(path + ": the file is empty; expected a header");
    checkHeader();
  } catch (...) {
    csv_free(&parser_);
    throw;
  }
}

CsvReader::~CsvReader() {
  csv_free(&parser_);
}

void CsvReader::checkHeader() const {
  std::set<std::string> seen;
  for (const std::string& name : header_) {
    if (!isUtf8(name)) throw UsageError(file_.path() + ": the header is not UTF-8");
    if (!seen.insert(name).second) throw UsageError(file_.path() + ": the header has " + inQuotes(name) + " twice");
  }
}

/// No exception may pass through the parser, which is C.
template <class Step>
void CsvReader::guarded(const Step& step) noexcept {
  if (failure_) return;
  try {
    step();
  } catch (...) {
    failure_ = std::current_exception();
  }
}

void CsvReader::addCell(const char* text, std::size_t length) {
  guarded([&] { current_.emplace_back(text == nullptr ? "" : text, length); });
}

void CsvReader::endRow() {
  guarded([&] {
    complete_.push_back(std::move(current_));
    current_.clear();
  });
}

void CsvReader::fail() const {
  const std::size_t row = rows_ + complete_.size() + (header_.empty() ? 0 : 1);
  throw UsageError(file_.path() + ":" + std::to_string(row) + ": not CSV: " +
                   (atEnd_ ? "a quote is not closed" : "a quote stands inside a cell that is not quoted"));
}

/// Parses one more piece of the file; false at its end.
bool CsvReader::readOn() {
  if (atEnd_) return false;
  const auto onCell = [](void* text, std::size_t length, void* reader) {
    static_cast<CsvReader*>(reader)->addCell(static_cast<const char*>(text), length);
  };
  const auto onRow = [](int, void* reader) { static_cast<CsvReader*>(reader)->endRow(); };
  const std::string_view chunk = file_.takeChunk();
  atEnd_ = chunk.empty();
  const bool isGood = atEnd_ ? csv_fini(&parser_, onCell, onRow, this) == 0
                             : csv_parse(&parser_, chunk.data(), chunk.size(), onCell, onRow, this) == chunk.size();
  if (failure_) std::rethrow_exception(failure_);
  if (!isGood) fail();
  if (csv_get_buffer_size(&parser_) > maximalRowSize)
    throw UsageError(file_.path() + ": a cell is longer than any record can be; is a quote not closed?");
  return true;
}

bool CsvReader::takeCells(Cells& cells) {
  while (complete_.empty()) {
    if (!readOn()) return false;
  }
  cells = std::move(complete_.front());
  complete_.pop_front();
  return true;
}

bool CsvReader::next(Row& row) {
  row = Row();
  if (!takeCells(row.cells)) return false;
  row.number = ++rows_;
  row.keys = header_;
  if (row.cells.size() != header_.size())
    row.problem = "expected " + std::to_string(header_.size()) + " cells, found " + std::to_string(row.cells.size());
  return true;
}

}  // namespace database_provider::recordctl
