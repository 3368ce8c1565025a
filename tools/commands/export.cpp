// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <memory>
#include <string>
#include <utility>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/core/StoreParts.h"
#include "tools/terminal/Interrupt.h"

namespace database_provider::recordctl {

namespace {

struct ExportOptions {
  std::string format = "records";
  bool all = false;
  SelectionOptions selection{};
};

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
  const auto write = [](const std::string& line) {
    checkInterrupt();
    std::cout << line;
  };
  const RowFormat format = options.format == "csv"     ? RowFormat::csv
                           : options.format == "jsonl" ? RowFormat::jsonl
                           : options.format == "json"  ? RowFormat::json
                                                       : RowFormat::records;
  const long long count =
      session.records(kind).exportTo(write, format, options.selection.selection(), options.selection.range());
  if (count == 0) options.selection.tellUnmatched(session);
}

}  // namespace

void addExport(const Command& commands, Session& session) {
  auto options = std::make_shared<ExportOptions>();
  const Command command = commands.add("export", "Write records to standard output");
  options->selection.addTo(command);
  options->selection.addLimitsTo(command);
  command.option("--format", "FORMAT", options->format,
                 "records (the default): complete, a document of extended JSON a line; csv: id, categories, "
                 "descriptions; jsonl: the same and the time of making, an object a line as list --json writes it; "
                 "json: an array of these",
                 Traits::oneOf({"records", "csv", "jsonl", "json"}));
  command.flag("--all", options->all,
               "records of both kinds, configured categories and settings; import takes them all");
  command.run([&session, options] { runExport(session, *options); });
}

}  // namespace database_provider::recordctl
