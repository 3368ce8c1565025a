// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <iostream>
#include <memory>
#include <utility>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/core/answers.h"
#include "tools/core/valueText.h"
#include "tools/terminal/Table.h"

namespace database_provider::recordctl {

namespace {

struct CoverageOptions {
  std::vector<std::string> names{};
  std::string scenarios{};
  SelectionOptions selection{};
};

/// A row for each value of the first category, a column for each of the second. What no record has stands out as a
/// dot among the numbers.
void writeCrossTable(const std::vector<CoverageCell>& cells, const std::string& first) {
  std::vector<Table::Column> columns = {{first, true}};
  for (const CoverageCell& cell : cells) {
    if (cell.values[0] != cells.front().values[0]) break;
    columns.push_back({cell.values[1]});
  }
  const std::size_t width = columns.size() - 1;
  Table table(std::cout, outputLayout(), std::move(columns));
  for (std::size_t start = 0; start < cells.size(); start += width) {
    Table::Row row = {{cells[start].values[0]}};
    for (std::size_t i = start; i < start + width; ++i)
      row.push_back({cells[i].count == 0 ? "." : std::to_string(cells[i].count), true});
    table.add(std::move(row));
  }
  table.finish();
  const auto empty =
      std::count_if(cells.begin(), cells.end(), [](const CoverageCell& cell) { return cell.count == 0; });
  if (empty > 0) std::cerr << "recordctl: " << empty << " of " << cells.size() << " combinations have no record\n";
}

void tellUnknown(Session& session, const CoverageOptions& options) {
  const RecordKind kind = options.selection.kind.kind();
  std::vector<std::string> sentences;
  for (const std::string& name : options.names) {
    if (const auto remark = session.records(kind).remarkOn(name, NameInUse::Kind::category))
      sentences.push_back(sentenceOf(*remark, kind));
  }
  tellAside(session, sentences, options.selection.isStrict);
}

void crossCategories(Session& session, const CoverageOptions& options) {
  const Records records = session.records(options.selection.kind.kind());
  const std::vector<CoverageCell> cells =
      records.coverage(options.names[0], options.names[1], options.selection.selection());
  if (session.json()) {
    for (const CoverageCell& cell : cells) writeJson(toJson(cell));
  } else if (!cells.empty()) {
    writeCrossTable(cells, options.names[0]);
  } else {
    std::cerr << "recordctl: no record has both categories\n";
  }
  if (!cells.empty()) return;
  tellUnknown(session, options);
  options.selection.tellUnmatched(session);
}

void countScenarios(Session& session, const std::string& name) {
  DataBaseClient& client = session.store(Access::existing);
  const std::vector<ScenarioCoverage> scenarios = scenarioCoverage(client, name);
  if (session.json()) {
    for (const ScenarioCoverage& scenario : scenarios) writeJson(toJson(scenario));
  } else {
    Table table(std::cout, outputLayout(), {{"scenario", true}, {name}, {"experiments"}});
    for (const ScenarioCoverage& one : scenarios)
      table.add({{one.scenario}, {one.value.value_or("")}, {std::to_string(one.experiments), true}});
    table.finish();
  }
  const bool isNamed = std::any_of(scenarios.begin(), scenarios.end(),
                                   [](const ScenarioCoverage& scenario) { return scenario.experiments > 0; });
  if (isNamed) return;
  if (const auto remark = session.records(RecordKind::experiment).remarkOn(name, NameInUse::Kind::category))
    tellAside(session, {remark->text}, false);
}

void coverage(Session& session, const CoverageOptions& options) {
  if (!options.scenarios.empty()) {
    if (!options.names.empty() || !options.selection.where.empty())
      throw UsageError("--scenarios counts for every scenario; it goes with neither categories nor --where");
    return countScenarios(session, options.scenarios);
  }
  if (options.names.size() != 2) throw UsageError("expected two categories, or --scenarios NAME");
  crossCategories(session, options);
}

}  // namespace

void addCoverage(const Command& commands, Session& session) {
  auto options = std::make_shared<CoverageOptions>();
  const Command command = commands.add("coverage", "How many records have each pair of values of two categories");
  command.argument("CATEGORY", options->names, "the two categories", Traits::optional());
  command.option(
      "--scenarios", "NAME", options->scenarios,
      "instead: every scenario, and how many experiments name it in this category, by its id or by the value "
      "that the scenario has there itself");
  options->selection.addTo(command);
  command.run([&session, options] { coverage(session, *options); });
}

}  // namespace database_provider::recordctl
