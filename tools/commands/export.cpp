// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <memory>
#include <set>
#include <string>
#include <utility>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/core/Catalogue.h"
#include "tools/core/NameColumns.h"
#include "tools/core/StoreParts.h"
#include "tools/core/csv.h"
#include "tools/terminal/Interrupt.h"

namespace database_provider::recordctl {

namespace {

struct ExportOptions {
  std::string format = "records";
  bool all = false;
  SelectionOptions selection{};
};

using NameOfItem = std::pair<Field, std::string>;

/// Takes the names that a record has out of `awaited`; a category without a value has no cell.
void takeNamesOf(const Record& record, std::set<NameOfItem>& awaited) {
  for (const std::string& name : record.categoryNames()) {
    if (!record.category(name).value_or("").empty()) awaited.erase({Field::category, name});
  }
  for (const std::string& name : record.descriptionNames()) awaited.erase({Field::description, name});
}

/// The header must be there before the first record, so names are looked for first: in records, until each that the
/// store has was met. Of a selection that may be the last record; of all records the first ones give the order, and
/// what is rarer stands behind, by name.
NameColumns columnsOf(Session& session, RecordKind kind, const Selection& selection, const FindOptions& range) {
  constexpr std::size_t firstRecords = 1000;
  DataBaseClient& client = session.store(Access::existing);
  std::list<std::string> configured;
  providerOf(kind, client)->enumCategoriesNames(configured);
  NameColumns columns = NameColumns::ofNames({configured.begin(), configured.end()});
  std::set<NameOfItem> awaited;
  for (const Field field : {Field::category, Field::description}) {
    for (const std::string& name : namesInUse(kind, client, field)) awaited.emplace(field, name);
  }
  const bool isWhole = selection.selectsAll() && range.limit == 0 && range.skip == 0;
  ObjectProperties projection;
  projection.setValueBool(layout::path::category, true);
  projection.setValueBool(layout::path::description, true);
  std::size_t count = 0;
  session.records(kind).forEachDocument(selection, range, projection, [&](ObjectProperties& document) {
    const Record record(kind, std::move(document));
    columns.addNamesOf(record);
    takeNamesOf(record, awaited);
    return !awaited.empty() && !(isWhole && ++count == firstRecords);
  });
  if (isWhole) {
    for (const auto& [field, name] : awaited) columns.addUsed(field, name);
  }
  columns.dropUnused();
  return columns;
}

/// Whether there was a record; so does `exportRecords`.
bool exportCsv(Session& session, RecordKind kind, const Selection& selection, const FindOptions& range) {
  bool isAny = false;
  const NameColumns columns = columnsOf(session, kind, selection, range);
  std::vector<std::string> cells;
  for (const Table::Column& column : columns.headings()) cells.push_back(column.heading);
  writeCsvLine(cells);
  session.records(kind).forEach(selection, range, [&](const Record& record) {
    checkInterrupt();
    isAny = true;
    cells.clear();
    for (Table::Cell& cell : columns.rowOf(record)) cells.push_back(std::move(cell.text));
    writeCsvLine(cells);
    return true;
  });
  return isAny;
}

bool exportRecords(Session& session, RecordKind kind, const Selection& selection, const FindOptions& range) {
  bool isAny = false;
  session.records(kind).forEachDocument(selection, range, {}, [&isAny](const ObjectProperties& document) {
    checkInterrupt();
    isAny = true;
    std::cout << document.toJson(database_client::JsonMode::canonical) << '\n';
    return true;
  });
  return isAny;
}

/// Everything but the users: before the documents of each part, a line says where they belong.
void exportAll(Session& session) {
  DataBaseClient& client = session.store(Access::existing);
  for (const StorePart& part : storeParts()) {
    ObjectProperties line;
    line.setValueString("$collection", part.name());
    std::cout << line.toJson() << '\n';
    client.findEach(part.database, part.collection, {}, {}, 0, 0, [](const ObjectProperties& document) {
      checkInterrupt();
      std::cout << document.toJson(database_client::JsonMode::canonical) << '\n';
      return true;
    });
  }
}

void checkAll(const ExportOptions& options) {
  const SelectionOptions& selection = options.selection;
  if (!selection.where.empty() || selection.limit != 0 || selection.skip != 0 || selection.kind.isGiven())
    throw UsageError("--all: everything of both kinds; leave --kind, --where, --limit and --skip out");
  if (options.format != "records") throw UsageError("--all: only --format records holds everything");
}

void runExport(Session& session, const ExportOptions& options) {
  if (options.all) {
    checkAll(options);
    return exportAll(session);
  }
  if (session.json() && options.format == "csv") throw UsageError("--json: CSV is none; leave one of the two out");
  const RecordKind kind = options.selection.kind.kind();
  const auto write = options.format == "csv" ? exportCsv : exportRecords;
  const bool isAny = write(session, kind, options.selection.selection(), options.selection.range());
  if (!isAny) options.selection.tellUnmatched(session);
}

}  // namespace

void addExport(const Command& commands, Session& session) {
  auto options = std::make_shared<ExportOptions>();
  const Command command = commands.add("export", "Write records to standard output");
  options->selection.addTo(command);
  options->selection.addLimitsTo(command);
  command.option("--format", "FORMAT", options->format,
                 "records (the default): complete, a document of extended JSON a line; csv: id, categories, "
                 "descriptions",
                 Traits::oneOf({"records", "csv"}));
  command.flag("--all", options->all,
               "records of both kinds, configured categories and settings; import takes them all");
  command.run([&session, options] { runExport(session, *options); });
}

}  // namespace database_provider::recordctl
