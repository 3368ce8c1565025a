// SPDX-License-Identifier: Apache-2.0
#include "tools/input/Import.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <numeric>
#include <optional>
#include <set>
#include <utility>

#include "tools/input/IdCheck.h"
#include "tools/input/Inference.h"
#include "tools/input/StagedFile.h"
#include "tools/terminal/Interrupt.h"
#include "values/Text.h"

namespace database_provider::recordctl {

namespace {

using importing::Row;
using importing::RowError;
using values::inQuotes;

std::uint64_t totalSize(const std::vector<InputSource>& sources) {
  std::uint64_t total = 0;
  for (const InputSource& source : sources) {
    std::error_code error;
    const std::uint64_t size = source.canBeReadOnlyOnce() ? 0 : std::filesystem::file_size(source.path, error);
    if (size == 0 || error) return 0;
    total += size;
  }
  return total;
}

/// Lets the session use another store for a scope, at whose end nobody has it open any more.
class Redirection {
 public:
  Redirection(Session& session, const std::string& store) : session_(session), before_(session.options.store) {
    session_.options.store = store;
  }
  ~Redirection() {
    session_.disconnect();
    session_.options.store = before_;
  }
  Redirection(const Redirection&) = delete;
  Redirection& operator=(const Redirection&) = delete;

 private:
  Session& session_;
  std::string before_;
};

/// A line of its own between the documents that `export --all` writes: {"$collection": "experiment.records"}.
bool namesPart(const InputSource& source, const Row& row) {
  return source.format == RowFormat::records && row.problem.empty() && row.keys.size() == 1 &&
         row.keys.front() == "$collection";
}

/// Where the documents behind such a line belong.
const StorePart& partNamedBy(const InputSource& source, const Row& row) {
  const std::string name = row.document().valueAsString("$collection", "");
  if (const StorePart* part = findStorePart(name)) return *part;
  throw UsageError(source.path + ":" + std::to_string(row.line) + ": records are not kept in a collection " +
                   inQuotes(name));
}

/// Takes the columns of one file out of `missing`, reading it to its end; whether it has rows.
bool findColumns(const InputSource& source, std::set<std::string>& missing) {
  const auto reader = source.open();
  for (const std::string& name : reader->header()) missing.erase(name);
  std::set<std::string> paths;
  for (const std::string& name : missing) {
    if (name.find('.') != std::string::npos) paths.insert(name);
  }
  Row row;
  bool hasRows = !reader->header().empty();
  while (reader->next(row)) {
    hasRows = true;
    if (namesPart(source, row)) static_cast<void>(partNamedBy(source, row));
    for (const std::string& key : row.keys) missing.erase(key);
    if (!row.cells.empty()) continue;
    for (auto path = paths.begin(); path != paths.end();) {
      const bool isFound = missing.count(*path) == 0 || importing::findPath(ElementReader(row.parsed), *path);
      if (isFound) missing.erase(*path);
      path = isFound ? paths.erase(path) : std::next(path);
    }
  }
  return hasRows;
}

ObjectProperties settingKey(const ObjectProperties& setting) {
  ObjectProperties query;
  query.copyValue("user", setting, "user");
  query.copyValue("tag", setting, "tag");
  return query;
}

std::string settingName(const ObjectProperties& setting) {
  return "settings of " + inQuotes(setting.valueAsString("user", "")) + " under " +
         inQuotes(setting.valueAsString("tag", ""));
}

std::vector<std::uint8_t> withoutId(ObjectProperties document) {
  document.removeKey("_id");
  return document.toBson();
}

/// The names of a configuration in their order.
std::vector<std::string> configuredNames(const ObjectProperties& configuration) {
  std::map<std::int64_t, std::string> byOrder;
  const database_client::EnteredScope names =
      database_client::EnteredScope::array(configuration, layout::key::categoriesNames);
  const int count = names ? configuration.size() : 0;
  for (int i = 0; i < count; ++i) {
    const database_client::EnteredScope entry = database_client::EnteredScope::at(configuration, i);
    if (entry) byOrder[configuration.valueAsInt64("order", 0)] = configuration.valueAsString("name", "");
  }
  std::vector<std::string> result;
  result.reserve(byOrder.size());
  for (const auto& [order, name] : byOrder) result.push_back(name);
  return result;
}

ImportResult sumOf(const ImportResult& left, const ImportResult& right) {
  return {left.imported + right.imported, left.updated + right.updated, left.unchanged + right.unchanged,
          left.failed + right.failed};
}

}  // namespace

void printSummary(const Session& session, const ImportCounts& counts, double seconds) {
  const ImportResult& rows = counts.rows;
  if (session.json()) {
    ObjectProperties result;
    result.setValueInt64("imported", rows.imported);
    if (counts.hasKey) {
      result.setValueInt64("updated", rows.updated);
      result.setValueInt64("unchanged", rows.unchanged);
    }
    result.setValueInt64("failed", rows.failed);
    result.setValueDouble("seconds", seconds);
    writeJson(result);
    return;
  }
  char time[32];
  static_cast<void>(std::snprintf(time, sizeof time, "%.1f", seconds));
  std::cout << rows.imported << (rows.imported == 1 ? " record" : " records") << " imported";
  if (counts.hasKey) std::cout << ", " << rows.updated << " updated, " << rows.unchanged << " unchanged";
  if (counts.others > 0) std::cout << ", " << counts.others << " settings and configurations";
  if (rows.failed > 0) std::cout << ", " << rows.failed << (rows.failed == 1 ? " row" : " rows") << " failed";
  std::cout << ", in " << time << " s\n";
}

Import::Import(Session& session, ImportTask task)
    : session_(session),
      task_(std::move(task)),
      maker_(task_.kind, task_.plan),
      progress_(totalSize(task_.sources)),
      bad_([this] { progress_.hide(); }) {}

void Import::checkFiles() const {
  const std::vector<std::string> names = importing::columnNames(task_.plan);
  std::set<std::string> missing(names.begin(), names.end());
  bool hasRows = false;
  bool hasUnchecked = false;
  for (const InputSource& source : task_.sources) {
    if (source.canBeReadOnlyOnce())
      hasUnchecked = true;
    else
      hasRows = findColumns(source, missing) || hasRows;
  }
  if (missing.empty() || hasUnchecked || !hasRows) return;
  std::string list;
  for (const std::string& name : missing) list += (list.empty() ? "" : ", ") + inQuotes(name);
  throw UsageError("no row has the column " + list);
}

void Import::run() {
  // In a store that is not there yet, the key can only be of the columns that are named.
  if (session_.isNewFile() && !task_.plan.key.empty()) static_cast<void>(importing::RecordKey(task_.plan, {}));
  if (task_.plan.allOrNothing && session_.isNewFile()) return intoNewFile();
  // A store that refuses does so before the rows are read; a file that is not there is made for the first good row.
  if (!session_.isNewFile()) session_.store(Access::create);
  intoStore();
}

/// Everything in a new file, or no file.
void Import::intoNewFile() {
  const std::string& store = session_.options.store;
  const StagedFile file(filePathOf(store));
  {
    const std::size_t options = store.find('?');
    const Redirection toStaged(session_,
                               "file:" + file.path() + (options == std::string::npos ? "" : store.substr(options)));
    writeInTransaction();
  }
  if (bad_.count() == 0) file.publish();
  summarise(bad_.count() > 0);
}

void Import::intoStore() {
  if (!task_.plan.allOrNothing) {
    write();
    summarise(false);
  } else if (hasTransactions(session_.store(Access::create))) {
    writeInTransaction();
    summarise(bad_.count() > 0);
  } else {
    std::cerr << "recordctl: this store has no transactions; the rows are checked first, then written\n";
    const bool isGood = isEveryRowGood();
    if (isGood) write();
    summarise(!isGood);
  }
}

void Import::writeInTransaction() {
  database_client::Transaction transaction(session_.store(Access::create));
  isInTransaction_ = true;
  write();
  if (bad_.count() == 0) transaction.commit();
}

importing::Importer& Import::importer(RecordKind kind) {
  const auto found = importers_.find(kind);
  if (found != importers_.end()) return found->second;
  importing::Importer& result =
      importers_
          .emplace(std::piecewise_construct, std::forward_as_tuple(kind),
                   std::forward_as_tuple(
                       Records(session_.store(Access::create), kind), task_.plan,
                       [this](const BadRow& row) { refuse(row); }, importing::Importer::Mode{isInTransaction_, false}))
          .first->second;
  noteKeys(result);
  return result;
}

/// Rows that have a key in common are to be known before the first of them goes in.
void Import::noteKeys(importing::Importer& importer) {
  const bool canBeReadTwice = std::none_of(task_.sources.begin(), task_.sources.end(),
                                           [](const InputSource& source) { return source.canBeReadOnlyOnce(); });
  if (!importer.wantsKeys() || !canBeReadTwice) return;
  for (const InputSource& source : task_.sources) {
    const auto reader = source.open();
    Row row;
    while (reader->next(row)) {
      checkInterrupt();
      importer.noteKey(row, source.path);
    }
  }
}

ImportResult Import::written() const {
  return std::accumulate(importers_.begin(), importers_.end(), ImportResult(),
                         [](const ImportResult& sum, const auto& entry) { return sumOf(sum, entry.second.result()); });
}

void Import::summarise(bool isUndone) {
  progress_.hide();
  bad_.finish();
  if (isUndone) std::cerr << "recordctl: nothing was written, since some rows are bad\n";
  if (bad_.count() > 0) session_.noteFailure();
  ImportCounts counts;
  counts.hasKey = !task_.plan.key.empty();
  if (!isUndone) {
    counts.rows = written();
    counts.others = others_;
  }
  counts.rows.failed = static_cast<long long>(bad_.count());
  if (!isUndone && !task_.inferred.empty()) tellColumns(task_.inferred);
  printSummary(session_, counts, progress_.seconds());
}

template <class Step>
void Import::forEachRow(const Step& step) {
  std::uint64_t before = 0;
  std::uint64_t count = 0;
  for (const InputSource& source : task_.sources) {
    const auto reader = source.open();
    const StorePart* part = &recordsPart(task_.kind);
    Row row;
    while (reader->next(row)) {
      checkInterrupt();
      if (namesPart(source, row)) {
        part = &partNamedBy(source, row);
        continue;
      }
      try {
        step(*part, source, row);
      } catch (const RowError& bad) {
        refuse({{source.path, row.line, row.number}, bad.column(), bad.what()});
      }
      progress_.update(before + reader->position(), ++count);
    }
    before += reader->size();
  }
}

bool Import::isEveryRowGood() {
  if (std::any_of(task_.sources.begin(), task_.sources.end(), [](const auto& s) { return s.canBeReadOnlyOnce(); }))
    throw UsageError("a pipe cannot be checked first, and this store has no transactions; give a file");
  DataBaseClient& client = session_.store(Access::create);
  std::map<RecordKind, std::unique_ptr<IdCheck>> ids;
  if (task_.plan.keepIds) {
    for (const RecordKind kind : {RecordKind::experiment, RecordKind::scenario})
      ids.emplace(kind, std::make_unique<IdCheck>(client, placeOf(kind), bad_));
  }
  importing::Importer check(Records(client, task_.kind), task_.plan, [this](const BadRow& row) { refuse(row); },
                            {false, true});
  noteKeys(check);
  forEachRow([&](const StorePart& part, const InputSource& source, const Row& row) {
    if (source.format != RowFormat::records) return check.add(row, source.path, false);
    const auto document = documentOf(source, row);
    importing::checkSize(*document);
    if (part.contents == StorePart::Contents::settings) static_cast<void>(isSettingThere(*document));
    const bool isRecord = part.contents == StorePart::Contents::records;
    if (isRecord && task_.plan.keepIds) ids.at(part.kind)->add(*document, {source.path, row.line, row.number});
  });
  check.finish();
  for (const auto& [kind, idCheck] : ids) idCheck->flush();
  return bad_.count() == 0;
}

std::unique_ptr<ObjectProperties> Import::documentOf(const InputSource& source, const Row& row) const {
  if (source.format == RowFormat::records) return importing::recordOf(row, task_.plan.keepIds);
  return std::unique_ptr<ObjectProperties>(maker_.make(row)->take());
}

void Import::write() {
  try {
    addRows();
  } catch (const std::runtime_error&) {
    progress_.hide();
    const ImportResult done = written();
    if (!task_.plan.allOrNothing && done.imported + done.updated > 0)
      std::cerr << "recordctl: " << done.imported + done.updated << " records were written before this\n";
    throw;
  }
}

void Import::addRows() {
  forEachRow([this](const StorePart& part, const InputSource& source, const Row& row) { addRow(part, source, row); });
  for (auto& [kind, importer] : importers_) importer.finish();
}

/// Of a column that was inferred nobody has said that its type is meant.
void Import::refuse(BadRow row) {
  const bool isInferred = std::any_of(task_.inferred.begin(), task_.inferred.end(), [&](const InferredColumn& column) {
    return column.surprises > 0 && column.name == row.column;
  });
  if (isInferred) row.reason += "; --on-surprise text keeps it as a text";
  bad_.add(row);
}

void Import::addRow(const StorePart& part, const InputSource& source, const Row& row) {
  switch (part.contents) {
    case StorePart::Contents::records:
      // A file that is not there is made for the first good row.
      if (importers_.empty()) static_cast<void>(documentOf(source, row));
      return importer(part.kind).add(row, source.path, source.format == RowFormat::records);
    case StorePart::Contents::configuration:
      return configure(part.kind, *documentOf(source, row));
    case StorePart::Contents::settings:
      return addSetting(*documentOf(source, row));
  }
}

void Import::insert(const StorePart& part, const ObjectProperties& document) {
  std::string id;
  try {
    session_.store(Access::create).insert(part.database, part.collection, &document, id);
  } catch (const database_client::Error& error) {
    if (error.kind() != database_client::Error::Kind::duplicateKey) throw;
    throw RowError("_id", "there is another document of this id already");
  }
  ++others_;
}

/// A store without a configuration gets it as it stands; elsewhere its categories go behind those that are there.
void Import::configure(RecordKind kind, const ObjectProperties& configuration) {
  const StorePart& part = configurationPart(kind);
  DataBaseClient& client = session_.store(Access::create);
  if (client.count(part.database, part.collection, ObjectProperties()) == 0) return insert(part, configuration);
  importing::addCategories(client, kind, configuredNames(configuration));
  ++others_;
}

/// Throws `RowError` where the user has other settings under the same tag.
bool Import::isSettingThere(const ObjectProperties& setting) {
  if (!setting.contains("user") || !setting.contains("tag"))
    throw RowError("", R"(settings have a "user" and a "tag")");
  const StorePart& part = settingsPart();
  std::optional<ObjectProperties> there;
  session_.store(Access::create)
      .findEach(part.database, part.collection, settingKey(setting), ObjectProperties(), 1, 0,
                [&](ObjectProperties& found) {
                  there = std::move(found);
                  return false;
                });
  if (!there) return false;
  if (withoutId(*there) != withoutId(setting))
    throw RowError("", settingName(setting) + " are there already, differ, and stay as they are");
  return true;
}

void Import::addSetting(const ObjectProperties& setting) {
  if (!isSettingThere(setting)) insert(settingsPart(), setting);
}

}  // namespace database_provider::recordctl
