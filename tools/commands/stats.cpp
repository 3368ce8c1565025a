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
#include "values/Text.h"

namespace database_provider::recordctl {

namespace {

struct StatsOptions {
  std::string names{};
  std::string by{};
  bool withMedian = false;
  SelectionOptions selection{};
};

Table::Row toRow(const Figures& figures, bool withMedian) {
  Table::Row row;
  for (const auto& value : figures.by) row.push_back({value.value_or("")});
  row.push_back({figures.name});
  row.push_back({std::to_string(figures.count), true});
  row.push_back({std::to_string(figures.missing), true});
  row.push_back(valueCell(figures.min));
  row.push_back(figureCell(figures.mean));
  row.push_back(figureCell(figures.std));
  row.push_back(valueCell(figures.max));
  if (withMedian) row.push_back(figureCell(figures.median));
  return row;
}

void writeTable(const std::vector<Figures>& all, const std::vector<std::string>& by, bool withMedian) {
  std::vector<std::string> headings = by;
  for (const char* figure : {"name", "count", "missing", "min", "mean", "std", "max"}) headings.emplace_back(figure);
  if (withMedian) headings.emplace_back("median");
  Table table(std::cout, outputLayout(), Table::columnsOf(headings));
  for (const Figures& figures : all) table.add(toRow(figures, withMedian));
  table.finish();
}

/// Names that nothing has, and descriptions that are no numbers.
void tellOdd(Session& session, const StatsOptions& options, const std::vector<std::string>& names,
             const std::vector<std::string>& by, const std::vector<Figures>& all) {
  const RecordKind kind = options.selection.kind.kind();
  const Records records = session.records(kind);
  std::vector<std::string> sentences;
  for (const std::string& name : names) {
    const bool hasNumbers = std::any_of(
        all.begin(), all.end(), [&](const Figures& figures) { return figures.name == name && figures.count > 0; });
    if (hasNumbers) continue;
    if (const auto remark = records.remarkOn(name, NameInUse::Kind::description))
      sentences.push_back(sentenceOf(*remark, kind));
    else if (options.selection.where.empty())
      sentences.push_back("description " + values::inQuotes(name) + " has no numbers");
  }
  for (const std::string& name : by) {
    if (const auto remark = records.remarkOn(name, NameInUse::Kind::category))
      sentences.push_back(sentenceOf(*remark, kind));
  }
  tellAside(session, sentences, options.selection.isStrict);
}

void stats(Session& session, const StatsOptions& options) {
  const Records records = session.records(options.selection.kind.kind());
  const Selection selection = options.selection.selection();
  const std::vector<std::string> by = namesIn(options.by);
  const std::vector<std::string> given = namesIn(options.names);
  if (by.size() > 2) throw UsageError("--by: groups are of one category, or of two");
  const std::vector<std::string> names = given.empty() ? numericNames(records) : given;
  const std::vector<Figures> all =
      names.empty() ? std::vector<Figures>() : records.stats(names, by, selection, options.withMedian);
  if (session.json()) {
    for (const Figures& figures : all) writeJson(toJson(figures, by, options.withMedian));
  } else if (all.empty()) {
    std::cerr << "recordctl: no records\n";
  } else {
    writeTable(all, by, options.withMedian);
  }
  tellOdd(session, options, given, by, all);
  if (all.empty()) options.selection.tellUnmatched(session);
}

}  // namespace

void addStats(const Command& commands, Session& session) {
  auto options = std::make_shared<StatsOptions>();
  const Command command = commands.add("stats", "Figures of descriptions: count, least, mean, deviation, largest");
  command.argument("NAMES", options->names,
                   "the descriptions, with commas between them; every one that has numbers, if none is given",
                   Traits::optional());
  command.option("--by", "C[,D]", options->by, "in groups of the values of one category or of two");
  command.flag("--median", options->withMedian, "the median, too");
  options->selection.addTo(command);
  command.run([&session, options] { stats(session, *options); });
}

}  // namespace database_provider::recordctl
