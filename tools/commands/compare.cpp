// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <iostream>
#include <map>
#include <memory>
#include <utility>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/core/answers.h"
#include "tools/core/csv.h"
#include "tools/core/valueText.h"
#include "tools/terminal/Table.h"
#include "values/Number.h"
#include "values/Text.h"

namespace database_provider::recordctl {

namespace {

struct CompareOptions {
  std::vector<std::string> ids{};
  SelectionOptions selection{};
  bool all = false;
  bool check = false;
  std::string tolerance{};
  std::string format{};
};

/// How far a number may lie from the first one and still count as the same.
struct Tolerance {
  double amount = 0;
  bool isShare = false;  ///< of the first number
};
using Tolerances = std::map<std::string, Tolerance>;

Tolerance toleranceOf(const std::string& text) {
  const bool isShare = !text.empty() && text.back() == '%';
  const auto amount = values::parseReal(isShare ? text.substr(0, text.size() - 1) : text);
  if (!amount || *amount < 0)
    throw UsageError("--tolerance: expected NAME:0.5 or NAME:1%, found " + values::inQuotes(text));
  return {isShare ? *amount / 100 : *amount, isShare};
}

Tolerances tolerancesIn(const std::string& text) {
  Tolerances result;
  if (text.empty()) return result;
  for (const std::string& piece : values::splitEscaped(text, ',')) {
    const std::vector<std::string> parts = values::splitEscaped(piece, ':');
    if (parts.size() != 2)
      throw UsageError("--tolerance: expected NAME:0.5 or NAME:1%, found " + values::inQuotes(piece));
    result[values::unescaped(parts[0])] = toleranceOf(parts[1]);
  }
  return result;
}

bool isWithin(const ComparisonRow& row, const Tolerance& tolerance) {
  const std::optional<double> first = row.values.front() ? numberOf(*row.values.front()) : std::nullopt;
  if (!first) return false;
  const double allowed = tolerance.isShare ? tolerance.amount * std::abs(*first) : tolerance.amount;
  return std::all_of(row.difference.begin(), row.difference.end(), [&](const std::optional<double>& difference) {
    return difference && std::abs(*difference) <= allowed;
  });
}

bool differs(const ComparisonRow& row, const Tolerances& tolerances) {
  if (!row.differs) return false;
  const auto tolerance = tolerances.find(row.name);
  return row.kind != NameInUse::Kind::description || tolerance == tolerances.end() || !isWithin(row, tolerance->second);
}

bool areTimes(const ComparisonRow& row) {
  return row.values.front() && std::holds_alternative<Time>(*row.values.front());
}

/// "+2.5 (+5.2 %)": how a value differs from the first; empty where nothing can be told.
std::string differenceText(const ComparisonRow& row, std::size_t record) {
  const std::optional<double> difference = row.difference[record];
  if (!difference || *difference == 0 || std::isnan(*difference)) return "";
  const auto withSign = [](double number) { return (number > 0 ? "+" : "") + figureText(number); };
  if (areTimes(row)) return withSign(*difference / 1000) + " s";
  const double first = *numberOf(*row.values.front());
  if (first == 0 || !std::isfinite(first)) return withSign(*difference);
  return withSign(*difference) + " (" + withSign(std::round(*difference / std::abs(first) * 1e4) / 1e2) + " %)";
}

/// The cells of a row, the heading's first: the name, each value, and beside each but the first its difference.
std::vector<Table::Cell> cellsOf(const ComparisonRow& row) {
  std::vector<Table::Cell> cells = {{row.name}, valueCell(row.values.front())};
  for (std::size_t i = 1; i < row.values.size(); ++i) {
    cells.push_back(valueCell(row.values[i]));
    cells.push_back({differenceText(row, i)});
  }
  return cells;
}

std::vector<std::string> headings(const std::vector<std::string>& ids) {
  std::vector<std::string> result = {"name", ids.front()};
  for (std::size_t i = 1; i < ids.size(); ++i) {
    result.push_back(ids[i]);
    result.emplace_back("difference");
  }
  return result;
}

std::vector<std::string> textsOf(const std::vector<Table::Cell>& cells) {
  std::vector<std::string> result;
  result.reserve(cells.size());
  for (const Table::Cell& cell : cells) result.push_back(cell.text);
  return result;
}

void writeMarkdownLine(const std::vector<std::string>& cells) {
  for (const std::string& cell : cells) {
    std::cout << "| ";
    for (const char c : values::printable(cell)) std::cout << (c == '|' ? "\\|" : std::string(1, c));
    std::cout << ' ';
  }
  std::cout << "|\n";
}

void write(const std::vector<ComparisonRow>& rows, const std::vector<std::string>& ids, const std::string& format) {
  const std::vector<std::string> names = headings(ids);
  if (format == "csv") {
    writeCsvLine(names);
    for (const ComparisonRow& row : rows) writeCsvLine(textsOf(cellsOf(row)));
  } else if (format == "md") {
    writeMarkdownLine(names);
    writeMarkdownLine(std::vector<std::string>(names.size(), "---"));
    for (const ComparisonRow& row : rows) writeMarkdownLine(textsOf(cellsOf(row)));
  } else {
    Table table(std::cout, outputLayout(), Table::columnsOf(names));
    for (const ComparisonRow& row : rows) table.add(cellsOf(row));
    table.finish();
  }
}

std::vector<std::string> chosenIds(const Records& records, const CompareOptions& options) {
  const bool hasFilter = !options.selection.where.empty();
  if (hasFilter != options.ids.empty()) throw UsageError("which records are compared? Give IDs, or --where FILTER");
  std::vector<std::string> ids = options.ids;
  if (hasFilter) {
    FindOptions first;
    first.limit = mostCompared + 1;
    ids = records.ids(options.selection.selection(), first);
  }
  if (ids.size() > mostCompared) throw UsageError("at most " + std::to_string(mostCompared) + " records are compared");
  return ids;
}

void compare(Session& session, const CompareOptions& options) {
  if (session.json() && !options.format.empty()) throw UsageError("--json: leave --format out");
  const Tolerances tolerances = tolerancesIn(options.tolerance);
  const Records records = session.records(options.selection.kind.kind());
  const std::vector<std::string> ids = chosenIds(records, options);
  if (ids.size() < 2) {
    options.selection.tellUnmatched(session);
    throw UsageError("two records or more are compared; " + std::to_string(ids.size()) + " " +
                     (ids.size() == 1 ? "is" : "are") + " selected");
  }
  std::vector<ComparisonRow> rows = records.compare(ids);
  const bool anyDiffers =
      std::any_of(rows.begin(), rows.end(), [&](const ComparisonRow& row) { return differs(row, tolerances); });
  if (!options.all) {
    rows.erase(
        std::remove_if(rows.begin(), rows.end(), [&](const ComparisonRow& row) { return !differs(row, tolerances); }),
        rows.end());
  }
  if (session.json()) {
    for (const ComparisonRow& row : rows) writeJson(toJson(row));
  } else if (rows.empty()) {
    std::cerr << "recordctl: nothing differs\n";
  } else {
    write(rows, ids, options.format);
  }
  if (options.check && anyDiffers) session.noteFailure();
}

}  // namespace

void addCompare(const Command& commands, Session& session) {
  auto options = std::make_shared<CompareOptions>();
  const Command command = commands.add("compare", "What differs between two to eight records");
  command.argument("ID", options->ids, "the records; the others are compared with the first", Traits::optional());
  options->selection.addTo(command);
  command.flag("--all", options->all, "what is the same, too");
  command.flag("--check", options->check, "end with status 1 where something differs");
  command.option("--tolerance", "NAME:N,…", options->tolerance,
                 "descriptions whose numbers may lie so far from the first, or so many per cent of it (yield:1%)");
  command.option("--format", "FORMAT", options->format, "table (the default), csv or md",
                 Traits::oneOf({"table", "csv", "md"}));
  command.run([&session, options] { compare(session, *options); });
}

}  // namespace database_provider::recordctl
