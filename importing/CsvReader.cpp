// SPDX-License-Identifier: Apache-2.0
#include "importing/CsvReader.h"

#include <algorithm>
#include <array>
#include <new>
#include <set>
#include <utility>

#include "values/Text.h"

namespace database_provider::importing {

namespace {

using values::inQuotes;
using values::isUtf8;

constexpr std::size_t smallestGrowth = 1U << 12U;

// Blanks belong to a cell.
int isNoBlank(unsigned char) {
  return 0;
}

constexpr std::string_view delimiters = ",;\t|";
constexpr std::size_t linesLookedAt = 20;
using Counts = std::array<std::size_t, delimiters.size()>;

/// How often each delimiter stands in each of the first lines, those without text left out. What the end cuts off is no
/// line, unless there is no other.
std::vector<Counts> countDelimiters(std::string_view beginning) {
  std::vector<Counts> result;
  Counts counts{};
  bool isQuoted = false;
  bool isEmpty = true;
  for (const char c : beginning) {
    if (result.size() == linesLookedAt) break;
    if (!isQuoted && (c == '\n' || c == '\r')) {
      if (!isEmpty) result.push_back(counts);
      counts = {};
      isEmpty = true;
      continue;
    }
    isEmpty = false;
    if (c == '"') isQuoted = !isQuoted;
    const std::size_t place = isQuoted ? std::string_view::npos : delimiters.find(c);
    if (place != std::string_view::npos) ++counts[place];
  }
  if (result.empty()) result.push_back(counts);
  return result;
}

}  // namespace

char delimiterOf(std::string_view beginning) {
  const std::vector<Counts> lines = countDelimiters(beginning);
  const Counts& header = lines.front();
  std::size_t best = 0;
  std::pair<std::size_t, std::size_t> bestScore{0, 0};  // lines that are as the first, delimiters in it
  for (std::size_t i = 0; i < delimiters.size(); ++i) {
    if (header[i] == 0) continue;
    const auto alike =
        std::count_if(lines.begin(), lines.end(), [&](const Counts& line) { return line[i] == header[i]; });
    const std::pair<std::size_t, std::size_t> score{static_cast<std::size_t>(alike), header[i]};
    if (score > bestScore) {
      best = i;
      bestScore = score;
    }
  }
  return delimiters[best];
}

CsvReader::CsvReader(std::unique_ptr<InputFile> file, char delimiter)
    : RowReader(file->path(), false), file_(std::move(file)), delimiter_(delimiter) {
  if (csv_init(&parser_, CSV_STRICT | CSV_STRICT_FINI | CSV_REPALL_NL) != 0) throw std::bad_alloc();
  csv_set_space_func(&parser_, isNoBlank);
  try {
    start();
  } catch (...) {
    csv_free(&parser_);
    throw;
  }
}

CsvReader::~CsvReader() {
  csv_free(&parser_);
}

void CsvReader::start() {
  csv_set_delim(&parser_,
                static_cast<unsigned char>(delimiter_ == '\0' ? delimiterOf(file_->peekChunk()) : delimiter_));
  Line first;
  if (!takeLine(first)) throw ImportError(name() + ": the file is empty; expected a header");
  header_ = std::move(first.cells);
  checkHeader();
}

bool CsvReader::rewind() {
  if (!file_->rewind()) return false;
  const auto ignoreCell = [](void* /*text*/, std::size_t /*length*/, void* /*reader*/) {};
  const auto ignoreRow = [](int /*end*/, void* /*reader*/) {};
  csv_fini(&parser_, ignoreCell, ignoreRow, nullptr);
  header_.clear();
  current_ = Line();
  complete_.clear();
  failure_ = nullptr;
  rows_ = 0;
  line_ = 1;
  lastEnd_ = 0;
  atEnd_ = false;
  start();
  return true;
}

void CsvReader::checkHeader() const {
  std::set<std::string> seen;
  for (const std::string& name : header_) {
    if (!isUtf8(name)) throw ImportError(file_->path() + ": the header is not UTF-8");
    if (!seen.insert(name).second) throw ImportError(file_->path() + ": the header has " + inQuotes(name) + " twice");
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
  guarded([&] {
    const bool isHeader = header_.empty() && complete_.empty();
    if (current_.count++ == 0) current_.number = line_;
    current_.size += length + 1;
    if (current_.size > maximalRowSize) failAt(current_.number, std::string("longer than ") + maximalRowSizeText);
    if (isHeader && current_.count > maximalNames)
      throw ImportError(file_->path() + ": the header has more than " + std::to_string(maximalNames) + " names");
    const std::string_view cell(text == nullptr ? "" : text, length);
    // As long as the header is under way nobody knows how many cells are wanted.
    if (current_.count <= (header_.empty() ? maximalNames : header_.size())) current_.cells.emplace_back(cell);
    line_ += static_cast<std::size_t>(std::count(cell.begin(), cell.end(), '\n'));
    lastEnd_ = 0;
  });
}

/// The parser tells of each byte that ends a line, so that empty lines count, and the two bytes of "\r\n" are one.
void CsvReader::endRow(int end) {
  guarded([&] {
    if (current_.count > 0) complete_.push_back(std::exchange(current_, Line()));
    if (end != '\n' || lastEnd_ != '\r') ++line_;
    lastEnd_ = end;
  });
}

void CsvReader::failAt(std::size_t line, const std::string& reason) const {
  throw ImportError(file_->path() + ":" + std::to_string(line) + ": " + reason);
}

void CsvReader::fail() const {
  failAt(line_, std::string("not CSV: ") +
                    (atEnd_ ? "a quote is not closed" : "a quote stands inside a cell that is not quoted"));
}

/// Parses one more piece of the file; false at its end.
bool CsvReader::readOn() {
  if (atEnd_) return false;
  const auto onCell = [](void* text, std::size_t length, void* reader) {
    static_cast<CsvReader*>(reader)->addCell(static_cast<const char*>(text), length);
  };
  const auto onRow = [](int end, void* reader) { static_cast<CsvReader*>(reader)->endRow(end); };
  const std::string_view chunk = file_->takeChunk();
  atEnd_ = chunk.empty();
  // The parser's buffer grows by this much whenever a cell is longer, and is copied each time.
  csv_set_blk_size(&parser_, std::max(smallestGrowth, csv_get_buffer_size(&parser_)));
  const bool isGood = atEnd_ ? csv_fini(&parser_, onCell, onRow, this) == 0
                             : csv_parse(&parser_, chunk.data(), chunk.size(), onCell, onRow, this) == chunk.size();
  if (failure_) std::rethrow_exception(failure_);
  if (!isGood) fail();
  if (csv_get_buffer_size(&parser_) > maximalRowSize)
    failAt(line_, std::string("a cell is longer than ") + maximalRowSizeText + "; is a quote not closed?");
  return true;
}

bool CsvReader::takeLine(Line& line) {
  while (complete_.empty()) {
    if (!readOn()) return false;
  }
  line = std::move(complete_.front());
  complete_.pop_front();
  return true;
}

bool CsvReader::next(Row& row) {
  row = Row();
  Line line;
  if (!takeLine(line)) return false;
  row.line = line.number;
  row.number = ++rows_;
  if (line.count != header_.size()) {
    row.problem = "expected " + std::to_string(header_.size()) + " cells, found " + std::to_string(line.count);
    return true;
  }
  row.keys = header_;
  row.cells = std::move(line.cells);
  return true;
}

}  // namespace database_provider::importing
