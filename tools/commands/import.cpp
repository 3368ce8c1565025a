// SPDX-License-Identifier: Apache-2.0
#include "tools/input/Import.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"

namespace database_provider::recordctl {

namespace {

struct ImportOptions {
  std::vector<std::string> files{};
  std::vector<std::string> categories{};
  std::vector<std::string> descriptions{};
  std::vector<std::string> fileColumns{};
  std::string format{};
  std::string sourceHost{};
  std::string timeUnit{};
  bool keepIds = false;
  bool allOrNothing = false;
  KindOption kind{};
};

std::vector<InputSource> sourcesOf(const ImportOptions& options) {
  std::vector<InputSource> result;
  for (const std::string& path : options.files) result.push_back({path, rowFormat(options.format, path)});
  return result;
}

void checkRecords(const ImportPlan& plan) {
  bool areRecords = false;
  for (const InputSource& source : plan.sources) areRecords = areRecords || source.format == RowFormat::records;
  if (areRecords && (!plan.columns.isEmpty() || !plan.sourceHost.empty()))
    throw UsageError("records are imported as they are; columns and a source are for plain rows");
  if (!areRecords && plan.keepIds) throw UsageError("--keep-ids: only --format records has ids");
}

void checkKind(const ImportPlan& plan) {
  if (plan.kind == RecordKind::scenario && !plan.sourceHost.empty())
    throw UsageError("--source-host: a scenario has no data source");
  const std::list<ObjectType> supported = newRecordOf(plan.kind)->supportedObjectTypes();
  for (const Columns::File& file : plan.columns.files) {
    if (std::find(supported.begin(), supported.end(), file.kind) == supported.end())
      throw UsageError("--file: records of this kind have no " + objectTypeName(file.kind) + " files");
  }
}

void runImport(Session& session, const ImportOptions& options) {
  ImportPlan plan;
  plan.sources = sourcesOf(options);
  plan.kind = options.kind.kind();
  plan.columns = parseColumns(options.categories, options.descriptions, options.fileColumns);
  if (!options.timeUnit.empty())
    plan.columns.timeUnit = options.timeUnit == "s" ? TimeUnit::seconds : TimeUnit::milliseconds;
  plan.sourceHost = options.sourceHost;
  plan.keepIds = options.keepIds;
  plan.allOrNothing = options.allOrNothing;
  checkRecords(plan);
  checkKind(plan);
  Import import(session, std::move(plan));
  import.checkFiles();
  import.run();
}

}  // namespace

void addImport(const Command& commands, Session& session) {
  auto options = std::make_shared<ImportOptions>();
  const Command command = commands.add("import", "Make records of the rows of files");
  command.argument("FILE", options->files, "JSON, JSON Lines or CSV; - is standard input");
  options->kind.addTo(command);
  command.option("--format", "FORMAT", options->format, "json, jsonl, csv or records; else the file's ending tells it");
  command.option("--category", "A,B", options->categories, "columns that become categories: site,variety");
  command.option("--description", "A:TYPE,B:TYPE", options->descriptions,
                 "columns that become descriptions, with a type (string, bool, int, long, double, time): yield:double");
  command.option("--time-unit", "UNIT", options->timeUnit,
                 "what a number in a column of times counts since 1970: s or ms; without it, small ones are bad rows",
                 Traits::oneOf({"s", "ms"}));
  command.option("--file", "KIND:HOST:COLUMN", options->fileColumns,
                 "a column of paths that become references to files (xml, media, archive, document, extraXml)");
  command.option("--source-host", "HOST", options->sourceHost, "the data server that the experiments' data lies on");
  command.flag("--keep-ids", options->keepIds, "keep the ids of exported records");
  command.flag("--all-or-nothing", options->allOrNothing, "write nothing unless every row is good");
  command.run([&session, options] { runImport(session, *options); });
}

}  // namespace database_provider::recordctl
