// SPDX-License-Identifier: Apache-2.0
#include "tools/input/Import.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <numeric>
#include <optional>
#include <set>
#include <utility>

#include "tools/input/IdCheck.h"
#include "tools/input/StagedFile.h"
#include "tools/terminal/Interrupt.h"
#include "values/Text.h"

namespace database_provider::recordctl {

namespace {

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
  const auto reader = openRows(source.path, source.format);
  for (const std::string& name : reader->header()) missing.erase(name);
  Row row;
  bool hasRows = !reader->header().empty();
  while (reader->next(row)) {
    hasRows = true;
    if (namesPart(source, row)) static_cast<void>(partNamedBy(source, row));
    for (const std::string& key : row.keys) missing.erase(key);
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

/// As the store does when the document is inserted, with an id that may still be missing.
void checkSize(const ObjectProperties& document) {
  constexpr std::size_t largest = 16U << 20U;
  constexpr std::size_t sizeOfId = 17;
  const std::size_t size = document.toBson().size() + (document.contains("_id") ? 0 : sizeOfId);
  if (size > largest) throw BadRow("", "larger than 16 MiB");
}

}  // namespace

bool InputSource::canBeReadOnlyOnce() const {
  std::error_code error;
  return path == "-" || (std::filesystem::exists(path, error) && !std::filesystem::is_regular_file(path, error) &&
                         !std::filesystem::is_directory(path, error));
}

void addCategories(const DatabaseProviderInterface& provider, const std::vector<std::string>& names) {
  std::list<std::string> configured;
  provider.enumCategoriesNames(configured);
  const std::size_t before = configured.size();
  for (const std::string& name : names) {
    if (std::find(configured.begin(), configured.end(), name) == configured.end()) configured.push_back(name);
  }
  if (configured.size() > before) provider.setCategoriesNames(configured);
}

void printSummary(const Session& session, const ImportCounts& counts, double seconds) {
  if (session.json()) {
    ObjectProperties result;
    result.setValueInt64("imported", static_cast<std::int64_t>(counts.records));
    result.setValueInt64("failed", static_cast<std::int64_t>(counts.failed));
    result.setValueDouble("seconds", seconds);
    writeJson(result);
    return;
  }
  char time[32];
  static_cast<void>(std::snprintf(time, sizeof time, "%.1f", seconds));
  std::cout << counts.records << (counts.records == 1 ? " record" : " records") << " imported";
  if (counts.others > 0) std::cout << ", " << counts.others << " settings and configurations";
  if (counts.failed > 0) std::cout << ", " << counts.failed << (counts.failed == 1 ? " row" : " rows") << " failed";
  std::cout << ", in " << time << " s\n";
}

Import::Import(Session& session, ImportPlan plan)
    : session_(session),
      plan_(std::move(plan)),
      maker_(plan_.kind, plan_.columns, plan_.sourceHost),
      progress_(totalSize(plan_.sources)),
      bad_([this] { progress_.hide(); }) {}

void Import::checkFiles() const {
  const std::vector<std::string> names = plan_.columns.names();
  std::set<std::string> missing(names.begin(), names.end());
  bool hasRows = false;
  bool hasUnchecked = false;
  for (const InputSource& source : plan_.sources) {
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
  if (plan_.allOrNothing && session_.isNewFile()) return intoNewFile();
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
  if (!plan_.allOrNothing) {
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
  write();
  if (bad_.count() == 0) transaction.commit();
}

BatchWriter& Import::writer(RecordKind kind) {
  const auto found = writers_.find(kind);
  if (found != writers_.end()) return found->second;
  return writers_
      .emplace(std::piecewise_construct, std::forward_as_tuple(kind),
               std::forward_as_tuple(session_.store(Access::create), placeOf(kind), bad_))
      .first->second;
}

std::size_t Import::written() const {
  return std::accumulate(writers_.begin(), writers_.end(), std::size_t{0},
                         [](std::size_t sum, const auto& entry) { return sum + entry.second.written(); });
}

void Import::summarise(bool isUndone) {
  progress_.hide();
  bad_.finish();
  if (isUndone) std::cerr << "recordctl: nothing was written, since some rows are bad\n";
  if (bad_.count() > 0) session_.noteFailure();
  printSummary(session_, isUndone ? ImportCounts{0, bad_.count()} : ImportCounts{written(), bad_.count(), others_},
               progress_.seconds());
}

template <class Step>
void Import::forEachRow(const Step& step) {
  std::uint64_t before = 0;
  std::uint64_t count = 0;
  for (const InputSource& source : plan_.sources) {
    const auto reader = openRows(source.path, source.format);
    const StorePart* part = &recordsPart(plan_.kind);
    Row row;
    while (reader->next(row)) {
      checkInterrupt();
      if (namesPart(source, row)) {
        part = &partNamedBy(source, row);
        continue;
      }
      try {
        step(*part, source, row);
      } catch (const BadRow& bad) {
        bad_.add({source.path, row.line, row.number}, bad.column(), bad.what());
      }
      progress_.update(before + reader->position(), ++count);
    }
    before += reader->size();
  }
}

bool Import::isEveryRowGood() {
  if (std::any_of(plan_.sources.begin(), plan_.sources.end(), [](const auto& s) { return s.canBeReadOnlyOnce(); }))
    throw UsageError("a pipe cannot be checked first, and this store has no transactions; give a file");
  DataBaseClient& client = session_.store(Access::create);
  std::map<RecordKind, std::unique_ptr<IdCheck>> ids;
  if (plan_.keepIds) {
    for (const RecordKind kind : {RecordKind::experiment, RecordKind::scenario})
      ids.emplace(kind, std::make_unique<IdCheck>(client, placeOf(kind), bad_));
  }
  forEachRow([&](const StorePart& part, const InputSource& source, const Row& row) {
    const auto document = documentOf(source, row);
    checkSize(*document);
    if (part.contents == StorePart::Contents::settings) static_cast<void>(isSettingThere(*document));
    const bool isRecord = part.contents == StorePart::Contents::records;
    if (isRecord && plan_.keepIds) ids.at(part.kind)->add(*document, {source.path, row.line, row.number});
  });
  for (const auto& [kind, check] : ids) check->flush();
  return bad_.count() == 0;
}

std::unique_ptr<ObjectProperties> Import::documentOf(const InputSource& source, const Row& row) const {
  if (source.format != RowFormat::records) return std::unique_ptr<ObjectProperties>(maker_.make(row)->take());
  if (!row.problem.empty()) throw BadRow("", row.problem);
  try {
    auto document = std::make_unique<ObjectProperties>(row.document());
    if (!plan_.keepIds) document->removeKey("_id");
    return document;
  } catch (const database_client::Error& error) {
    throw BadRow(error.where(), error.what());
  }
}

void Import::write() {
  try {
    addRows();
  } catch (const std::runtime_error&) {
    progress_.hide();
    if (!plan_.allOrNothing && written() > 0)
      std::cerr << "recordctl: " << written() << " records were written before this\n";
    throw;
  }
}

void Import::addRows() {
  forEachRow([this](const StorePart& part, const InputSource& source, const Row& row) {
    addRow(part, source, row);
    configureOnce();
  });
  for (auto& [kind, writer] : writers_) writer.flush();
  configureOnce();
}

void Import::addRow(const StorePart& part, const InputSource& source, const Row& row) {
  auto document = documentOf(source, row);
  switch (part.contents) {
    case StorePart::Contents::records:
      return writer(part.kind).add(std::move(document), {source.path, row.line, row.number}, row.size());
    case StorePart::Contents::configuration:
      return configure(part.kind, *document);
    case StorePart::Contents::settings:
      return addSetting(*document);
  }
}

/// Categories are configured with the first record that went in, so that an import of none changes nothing.
void Import::configureOnce() {
  if (isConfigured_ || written() == 0) return;
  addCategories(*session_.provider(plan_.kind, Access::create), plan_.columns.categories);
  isConfigured_ = true;
}

void Import::insert(const StorePart& part, const ObjectProperties& document) {
  std::string id;
  try {
    session_.store(Access::create).insert(part.database, part.collection, &document, id);
  } catch (const database_client::Error& error) {
    if (error.kind() != database_client::Error::Kind::duplicateKey) throw;
    throw BadRow("_id", "there is another document of this id already");
  }
  ++others_;
}

/// A store without a configuration gets it as it stands; elsewhere its categories go behind those that are there.
void Import::configure(RecordKind kind, const ObjectProperties& configuration) {
  const StorePart& part = configurationPart(kind);
  DataBaseClient& client = session_.store(Access::create);
  if (client.count(part.database, part.collection, ObjectProperties()) == 0) return insert(part, configuration);
  addCategories(*session_.provider(kind, Access::create), configuredNames(configuration));
  ++others_;
}

/// Throws `BadRow` where the user has other settings under the same tag.
bool Import::isSettingThere(const ObjectProperties& setting) {
  if (!setting.contains("user") || !setting.contains("tag")) throw BadRow("", R"(settings have a "user" and a "tag")");
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
    throw BadRow("", settingName(setting) + " are there already, differ, and stay as they are");
  return true;
}

void Import::addSetting(const ObjectProperties& setting) {
  if (!isSettingThere(setting)) insert(settingsPart(), setting);
}

}  // namespace database_provider::recordctl
