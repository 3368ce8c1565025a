// SPDX-License-Identifier: Apache-2.0
#include "tools/terminal/Table.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "values/Text.h"

namespace database_provider::recordctl {

namespace {

using values::displayWidth;
using values::printable;
using values::shortened;

constexpr std::size_t rowsThatGiveTheWidths = 500;
constexpr std::size_t gap = 2;
constexpr std::size_t narrowest = 8;
constexpr const char* ellipsis = "\u2026";

void trimEnd(std::string& line) {
  line.erase(line.find_last_not_of(' ') + 1);
}

std::string padded(const std::string& text, std::size_t width, bool toTheRight) {
  const std::string fitting = shortened(text, width);
  const std::string blanks(width - std::min(width, displayWidth(fitting)), ' ');
  return toTheRight ? blanks + fitting : fitting + blanks;
}

}  // namespace

Table::Table(std::ostream& out, Layout layout, std::vector<Column> columns)
    : out_(out), layout_(layout), columns_(std::move(columns)) {
  for (Column& column : columns_) column.heading = printable(column.heading);
}

void Table::add(Row row) {
  for (Cell& cell : row) cell.text = printable(cell.text);
  if (isStarted_) {
    write(row);
    return;
  }
  waiting_.push_back(std::move(row));
  if (waiting_.size() == rowsThatGiveTheWidths) start();
}

void Table::finish() {
  if (!isStarted_ && !waiting_.empty()) start();
  out_.flush();
}

void Table::start() {
  isStarted_ = true;
  measure();
  if (layout_.width > 0) fit();
  writeHeadings();
  for (const Row& row : waiting_) write(row);
  waiting_.clear();
}

void Table::measure() {
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    std::size_t width = displayWidth(columns_[i].heading);
    bool areNumbers = true;
    for (const Row& row : waiting_) {
      width = std::max(width, displayWidth(row[i].text));
      areNumbers = areNumbers && (row[i].isNumber || row[i].text.empty());
    }
    widths_.push_back(width);
    alignRight_.push_back(areNumbers);
  }
}

std::size_t Table::totalWidth() const {
  const std::size_t count = widths_.size() + (hasMore_ ? 1 : 0);
  return std::accumulate(widths_.begin(), widths_.end(), hasMore_ ? 1U : 0U, std::plus<>()) +
         (count == 0 ? 0 : gap * (count - 1));
}

/// Cuts the widest columns to one common width, the largest that fits; false when not even the narrowest does.
bool Table::shrinkTo(std::size_t width) {
  std::size_t excess = totalWidth() > width ? totalWidth() - width : 0;
  while (excess > 0) {
    std::size_t widest = widths_.size();
    for (std::size_t i = 0; i < widths_.size(); ++i) {
      const bool canShrink = !columns_[i].isWhole && widths_[i] > narrowest;
      if (canShrink && (widest == widths_.size() || widths_[i] >= widths_[widest])) widest = i;
    }
    if (widest == widths_.size()) return false;
    --widths_[widest];
    --excess;
  }
  return true;
}

void Table::dropLastColumn() {
  widths_.pop_back();
  hasMore_ = true;
}

void Table::fit() {
  while (!shrinkTo(layout_.width) && widths_.size() > 1) dropLastColumn();
  if (totalWidth() > layout_.width) {  // narrower than a single column
    hasMore_ = false;
    widths_.front() = std::min(widths_.front(), layout_.width);
  }
}

void Table::writeHeadings() {
  Row headings;
  for (const Column& column : columns_) headings.push_back({column.heading});
  if (layout_.hasColours) out_ << "\x1b[1m";
  write(headings);
  if (layout_.hasColours) out_ << "\x1b[0m" << std::flush;
}

std::vector<Table::Column> Table::columnsOf(const std::vector<std::string>& headings) {
  std::vector<Column> result;
  result.reserve(headings.size());
  for (const std::string& heading : headings) result.push_back({heading});
  return result;
}

void Table::write(const Row& row) {
  std::string line;
  for (std::size_t i = 0; i < widths_.size(); ++i) {
    if (i > 0) line.append(gap, ' ');
    // Rows that come after the widths are set may be wider; without a limit they are not cut.
    const std::size_t width = layout_.width > 0 ? widths_[i] : std::max(widths_[i], displayWidth(row[i].text));
    line += padded(row[i].text, width, alignRight_[i]);
  }
  if (hasMore_) line.append(gap, ' ').append(ellipsis);
  trimEnd(line);
  out_ << line << '\n';
}

}  // namespace database_provider::recordctl
