// SPDX-License-Identifier: Apache-2.0

#include "tools/input/Import.h"

#include <algorithm>
#include <chrono>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/input/Columns.h"
#include "tools/input/Inference.h"
#include "tools/terminal/Terminal.h"
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
  std::string delimiter{};
  std::string encoding{};
  std::string rows{};
  std::vector<std::string> arraysAsText{};
  std::string arrayAsRows{};
  std::string decimal{};
  std::string thousands{};
  std::vector<std::string> absent{};
  std::vector<std::string> timeFormats{};
  std::string onSurprise{};
  bool isInferred = false;
  bool isNotInferred = false;
  bool isPlanWanted = false;
  bool yes = false;
  bool keepIds = false;
  bool allOrNothing = false;
  KindOption kind{};
};

char parseSign(const std::string& text, const std::string& option) {
  if (text.empty()) return '\0';
  if (text == "tab" || text == "\\t") return '\t';
  if (text.size() != 1 || text == "\"" || text == "\n") throw UsageError(option + ": expected one character, or tab");
  return text.front();
}

RowOptions rowOptionsOf(const ImportOptions& options) {
  return {parseSign(options.delimiter, "--delimiter"), options.encoding, options.rows,
          parseNames(options.arraysAsText, "--array-as-text"), values::unescaped(options.arrayAsRows)};
}

std::vector<InputSource> sourcesOf(const ImportOptions& options) {
  std::vector<InputSource> result;
  const RowOptions rows = rowOptionsOf(options);
  for (const std::string& path : options.files) result.push_back({path, rowFormat(options.format, path), rows});
  return result;
}

/// How values are written in the cells of the files.
void setForms(const ImportOptions& options, ImportPlan& plan) {
  if (!options.timeUnit.empty())
    plan.timeUnit = options.timeUnit == "s" ? std::chrono::seconds(1) : std::chrono::milliseconds(1);
  plan.decimal = parseSign(options.decimal, "--decimal");
  plan.thousands = parseSign(options.thousands, "--thousands");
  if (plan.thousands != '\0' && plan.thousands == (plan.decimal == '\0' ? '.' : plan.decimal))
    throw UsageError("--thousands: the same sign stands before the fraction");
  plan.timeFormats = options.timeFormats;
  plan.surpriseAsText = options.onSurprise == "text";
  for (const std::string& texts : options.absent) {
    for (const std::string& text : values::splitEscaped(texts, ',')) plan.absent.push_back(values::unescaped(text));
  }
}

/// The command line that says what was found out.
std::string commandLineOf(const ImportOptions& options, const ImportTask& task) {
  std::string result = "recordctl import";
  const auto option = [&](const char* name, const std::string& value) {
    if (!value.empty()) result += std::string(" ") + name + " " + shellWord(value);
  };
  for (const std::string& path : options.files) result += " " + shellWord(path);
  option("--kind", options.kind.name);
  option("--format", options.format);
  option("--delimiter", options.delimiter);
  option("--encoding", options.encoding);
  option("--rows", options.rows);
  for (const std::string& names : options.arraysAsText) option("--array-as-text", names);
  option("--array-as-rows", options.arrayAsRows);
  result += planOptions(task.plan);
  for (const std::string& column : options.fileColumns) option("--file", column);
  option("--source-host", options.sourceHost);
  for (const std::string& names : options.key) option("--key", names);
  option("--on-match", options.onMatch);
  return result + (options.allOrNothing ? " --all-or-nothing" : "");
}

/// Columns are inferred where somebody wants that, and where nobody said what becomes of any.
bool infers(const ImportOptions& options, const ImportTask& task) {
  const bool areRecords = std::any_of(task.sources.begin(), task.sources.end(),
                                      [](const InputSource& source) { return source.format == RowFormat::records; });
  if (options.isInferred && options.isNotInferred) throw UsageError("--infer and --no-infer contradict each other");
  if (options.isInferred && areRecords) throw UsageError("--infer: records are imported as they are");
  if (options.isNotInferred || areRecords) return false;
  const bool isOfTool = std::any_of(task.sources.begin(), task.sources.end(), [](const InputSource& source) {
    return !planFor(source.format).categories.empty();
  });
  return options.isInferred || options.isPlanWanted || isOfTool ||
         (importing::columnNames(task.plan).empty() && task.plan.key.empty());
}

/// Adds what was found out to the plan; false where somebody wants to see it alone, or does not agree.
bool isInferredPlanGood(Session& session, const ImportOptions& options, ImportTask& task) {
  const long long rows = inferColumns(session, task);
  if (options.isPlanWanted) {
    showColumns(task.inferred);
    std::cout << commandLineOf(options, task) << '\n';
    return false;
  }
  if (options.yes || task.inferred.empty() || !standardInputIsTerminal() || !standardErrorIsTerminal()) return true;
  showColumns(task.inferred);
  if (confirmed("Import " + std::to_string(rows) + (rows == 1 ? " row like this?" : " rows like this?"))) return true;
  std::cerr << "recordctl: nothing was imported; this is the command line to change:\n";
  std::cout << commandLineOf(options, task) << '\n';
  return false;
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
  setForms(options, task.plan);
  task.plan.sourceHost = options.sourceHost;
  task.plan.keepIds = options.keepIds;
  task.plan.allOrNothing = options.allOrNothing;
  task.plan.key = parseKey(options.key);
  task.plan.onMatch = parseOnMatch(options);
  checkRecords(task);
  checkKind(task);
  const bool isInferred = infers(options, task);
  // What was named is to be there, whatever is found besides.
  if (!isInferred || !importing::columnNames(task.plan).empty()) Import(session, task).checkFiles();
  if (isInferred && !isInferredPlanGood(session, options, task)) return;
  Import(session, std::move(task)).run();
}

}  // namespace

void addImport(const Command& commands, Session& session) {
  auto options = std::make_shared<ImportOptions>();
  const Command command = commands.add("import", "Make records of the rows of files");
  command.argument("FILE", options->files, "JSON, JSON Lines or CSV; - is standard input");
  options->kind.addTo(command);
  command.option(
      "--format", "FORMAT", options->format,
      "json, jsonl, csv, records, junit, google-benchmark, pytest-benchmark or mlflow; else the file's ending "
      "tells it");
  command.option("--category", "A,B", options->categories, "columns that become categories: site,variety");
  command.option("--description", "A:TYPE,B:TYPE", options->descriptions,
                 "columns that become descriptions, with a type (string, bool, int, long, double, time): yield:double");
  command.flag("--infer", options->isInferred,
               "find out what the columns are that are not named; where none is named, that is done anyway");
  command.flag("--no-infer", options->isNotInferred, "leave columns that are not named in the user block");
  command.flag("--plan", options->isPlanWanted, "only print the command line that says what was found out");
  command.flag("--yes", options->yes, "do not ask before columns that were found out are imported");
  command.option(
      "--on-surprise", "HOW", options->onSurprise,
      "what becomes of a value that does not fit its column's type: bad-row (the default), or text, which keeps "
      "it as a text",
      Traits::oneOf({"bad-row", "text"}));
  command.option("--na", "A,B", options->absent, "texts that mean that there is no value: NA,-");
  command.option("--delimiter", "C", options->delimiter,
                 "what stands between cells of CSV, or tab; else the one of , ; tab and | that the first lines have");
  command.option("--decimal", "C", options->decimal, "what stands before the fraction of a number; else a point");
  command.option("--thousands", "C", options->thousands, "what stands between groups of three digits of a number");
  command.option("--time-format", "FORMAT", options->timeFormats,
                 "how times are written besides ISO 8601: %d/%m/%Y; may stand more than once");
  command.option("--encoding", "NAME", options->encoding,
                 "the encoding of the files, such as latin-1; else UTF-8, or UTF-16 with a byte order mark");
  command.option("--rows", "PATH", options->rows, "where a JSON document has its array of rows: features");
  command.option("--array-as-text", "A,B", options->arraysAsText, "arrays of single values that become one text");
  command.option("--array-as-rows", "A", options->arrayAsRows,
                 "an array of single values of which each makes a row of its own");
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
