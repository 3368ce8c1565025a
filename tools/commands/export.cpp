#include <csv.h>

#include <iostream>
#include <memory>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/core/NameColumns.h"

namespace database_provider::recordctl {

namespace {

struct ExportOptions {
  std::string format = "records";
  SelectionOptions selection{};
};

std::string csvCell(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  std::string result(2 * text.size() + 2, '\0');
  result.resize(csv_write(result.data(), result.size(), text.data(), text.size()));
  return result;
}

/// Lines end as RFC 4180 wants it.
void writeCsvLine(const std::vector<std::string>& cells) {
  for (std::size_t i = 0; i < cells.size(); ++i) std::cout << (i == 0 ? "" : ",") << csvCell(cells[i]);
  std::cout << "\r\n";
}

/// The header must be there before the first record, so the records are read twice, first for their names.
NameColumns columnsOf(Session& session, RecordKind kind, const Selection& selection) {
  DataBaseClient& client = session.store(Access::existing);
  std::list<std::string> configured;
  providerOf(kind, client)->enumCategoriesNames(configured);
  NameColumns columns = NameColumns::ofNames({configured.begin(), configured.end()});
  ObjectProperties projection;
  projection.setValueBool("recordInfo.category", true);
  projection.setValueBool("recordInfo.description", true);
  forEachDocument(kind, client, selection, projection,
                  [&](ObjectProperties& document) { columns.addNamesOf(*recordOf(kind, std::move(document)).record); });
  columns.dropUnused();
  return columns;
}

void exportCsv(Session& session, RecordKind kind, const Selection& selection) {
  const NameColumns columns = columnsOf(session, kind, selection);
  std::vector<std::string> cells;
  for (const Table::Column& column : columns.headings()) cells.push_back(column.heading);
  writeCsvLine(cells);
  forEachRecord(kind, session.store(Access::existing), selection, [&](const StoredRecord& stored) {
    cells.clear();
    for (Table::Cell& cell : columns.rowOf(stored)) cells.push_back(std::move(cell.text));
    writeCsvLine(cells);
  });
}

void exportRecords(Session& session, RecordKind kind, const Selection& selection) {
  forEachDocument(kind, session.store(Access::existing), selection, ObjectProperties(),
                  [](const ObjectProperties& document) {
                    std::cout << document.toJson(database_client::JsonMode::canonical) << '\n';
                  });
}

void runExport(Session& session, const ExportOptions& options) {
  if (session.json() && options.format == "csv") throw UsageError("--json: CSV is none; leave one of the two out");
  const RecordKind kind = options.selection.kind.kind();
  const Selection selection = options.selection.selection();
  if (options.format == "csv")
    exportCsv(session, kind, selection);
  else
    exportRecords(session, kind, selection);
}

}  // namespace

void addExport(const Command& commands, Session& session) {
  auto options = std::make_shared<ExportOptions>();
  const Command command = commands.add("export", "Write records to standard output");
  options->selection.addTo(command);
  options->selection.addLimitsTo(command);
  command.choice("--format", "FORMAT", options->format, {"records", "csv"},
                 "records (the default): complete, a document of extended JSON a line; csv: id, categories, "
                 "descriptions");
  command.run([&session, options] { runExport(session, *options); });
}

}  // namespace database_provider::recordctl
