// SPDX-License-Identifier: Apache-2.0

#include "tools/input/Import.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/input/Columns.h"
#include "values/Text.h"

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
  std::vector<std::string> key{};
  std::string onMatch{};
  bool keepIds = false;
  bool allOrNothing = false;
  KindOption kind{};
};

std::vector<InputSource> sourcesOf(const ImportOptions& options) {
  std::vector<InputSource> result;
  for (const std::string& path : options.files) result.push_back({path, rowFormat(options.format, path)});
  return result;
}

void checkRecords(const ImportTask& task) {
  bool areRecords = false;
  for (const InputSource& source : task.sources) areRecords = areRecords || source.format == RowFormat::records;
  if (areRecords && (!importing::columnNames(task.plan).empty() || !task.plan.sourceHost.empty()))
    throw UsageError("records are imported as they are; columns and a source are for plain rows");
  if (areRecords && !task.plan.key.empty())
    throw UsageError("--key: records are imported as they are; a key is for plain rows");
  if (!areRecords && task.plan.keepIds) throw UsageError("--keep-ids: only --format records has ids");
}

void checkKind(const ImportTask& task) {
  if (task.kind == RecordKind::scenario && !task.plan.sourceHost.empty())
    throw UsageError("--source-host: a scenario has no data source");
  const std::list<ObjectType> supported = newRecordOf(task.kind)->supportedObjectTypes();
  for (const ImportPlan::File& file : task.plan.files) {
    if (std::find(supported.begin(), supported.end(), file.kind) == supported.end())
      throw UsageError("--file: records of this kind have no " + objectTypeName(file.kind) + " files");
  }
}

/// Names stay escaped, as the library reads them: a colon tells a category from a description.
std::vector<std::string> parseKey(const std::vector<std::string>& texts) {
  std::vector<std::string> result;
  for (const std::string& text : texts) {
    for (std::string& name : values::splitEscaped(text, ',')) {
      if (name.empty()) throw UsageError("--key: a name is empty");
      result.push_back(std::move(name));
    }
  }
  return result;
}

OnMatch parseOnMatch(const ImportOptions& options) {
  if (!options.onMatch.empty() && options.key.empty())
    throw UsageError("--on-match: without --key every row is a new record");
  if (options.onMatch == "replace") return OnMatch::replace;
  if (options.onMatch == "skip") return OnMatch::skip;
  return options.onMatch == "fail" ? OnMatch::fail : OnMatch::update;
}

void runImport(Session& session, const ImportOptions& options) {
  ImportTask task;
  task.sources = sourcesOf(options);
  task.kind = options.kind.kind();
  task.plan = parseColumns(options.categories, options.descriptions, options.fileColumns);
  if (!options.timeUnit.empty())
    task.plan.timeUnit = options.timeUnit == "s" ? std::chrono::seconds(1) : std::chrono::milliseconds(1);
  task.plan.sourceHost = options.sourceHost;
  task.plan.keepIds = options.keepIds;
  task.plan.allOrNothing = options.allOrNothing;
  task.plan.key = parseKey(options.key);
  task.plan.onMatch = parseOnMatch(options);
  checkRecords(task);
  checkKind(task);
  Import import(session, std::move(task));
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
  command.option("--key", "A,B", options->key,
                 "categories, descriptions or id: a row whose key a record has changes that record; columns that are "
                 "not named are then what the store has under their names");
  command.option("--on-match", "HOW", options->onMatch,
                 "what becomes of that record: update (the default) sets what the row has, replace, skip, or fail",
                 Traits::oneOf({"update", "replace", "skip", "fail"}));
  command.flag("--keep-ids", options->keepIds, "keep the ids of exported records");
  command.flag("--all-or-nothing", options->allOrNothing, "write nothing unless every row is good");
  command.run([&session, options] { runImport(session, *options); });
}

}  // namespace database_provider::recordctl
