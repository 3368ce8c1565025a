#include "tools/input/Import.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <numeric>
#include <optional>
#include <set>
#include <utility>

#include "tools/core/Interrupt.h"
#include "tools/core/Text.h"
#include "tools/input/IdCheck.h"

namespace database_provider::recordctl {

namespace {

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

/// Takes the columns of one file out of `missing`, reading it to its end; whether it has rows.
bool findColumns(const InputSource& source, std::set<std::string>& missing) {
  const auto reader = openRows(source.path, source.format);
  for (const std::string& name : reader->header()) missing.erase(name);
  Row row;
  bool hasRows = !reader->header().empty();
  while (reader->next(row)) {
    hasRows = true;
    for (const std::string& key : row.keys) missing.erase(key);
  }
  return hasRows;
}

bool hasTransactions(DataBaseClient& client) {
  try {
    const database_client::Transaction probe(client);
    return true;
  } catch (const database_client::Error& error) {
    if (error.kind() != database_client::Error::Kind::unsupported) throw;
    return false;
  }
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

void tellImported(const Session& session, std::size_t imported, std::size_t failed, double seconds) {
  if (session.json()) {
    ObjectProperties result;
    result.setValueInt64("imported", static_cast<std::int64_t>(imported));
    result.setValueInt64("failed", static_cast<std::int64_t>(failed));
    result.setValueDouble("seconds", seconds);
    writeJson(result);
    return;
  }
  char time[32];
  static_cast<void>(std::snprintf(time, sizeof time, "%.1f", seconds));
  std::cout << imported << (imported == 1 ? " record" : " records") << " imported";
  if (failed > 0) std::cout << ", " << failed << (failed == 1 ? " row" : " rows") << " failed";
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
  DataBaseClient& client = session_.store(Access::create);
  writer_ = std::make_unique<BatchWriter>(client, placeOf(plan_.kind), bad_);
  if (!plan_.allOrNothing) {
    write();
    summarise(false);
  } else if (hasTransactions(client)) {
    writeInTransaction();
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
  const bool isGood = bad_.count() == 0;
  if (isGood) transaction.commit();
  summarise(!isGood);
}

void Import::summarise(bool isUndone) {
  progress_.hide();
  bad_.finish();
  if (isUndone) std::cerr << "recordctl: nothing was written, since some rows are bad\n";
  if (bad_.count() > 0) session_.noteFailure();
  tellImported(session_, isUndone ? 0 : writer_->written(), bad_.count(), progress_.seconds());
}

template <class Step>
void Import::forEachRow(const Step& step) {
  std::uint64_t before = 0;
  std::uint64_t count = 0;
  for (const InputSource& source : plan_.sources) {
    const auto reader = openRows(source.path, source.format);
    Row row;
    while (reader->next(row)) {
      checkInterrupt();
      try {
        step(source, row);
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
  std::optional<IdCheck> ids;
  if (plan_.keepIds) ids.emplace(session_.store(Access::create), placeOf(plan_.kind), bad_);
  forEachRow([&](const InputSource& source, const Row& row) {
    const auto document = documentOf(source, row);
    checkSize(*document);
    if (ids) ids->add(*document, {source.path, row.line, row.number});
  });
  if (ids) ids->flush();
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
  addCategories(*session_.provider(plan_.kind, Access::create), plan_.columns.categories);
  try {
    addRows();
  } catch (const std::runtime_error&) {
    progress_.hide();
    if (!plan_.allOrNothing && writer_->written() > 0)
      std::cerr << "recordctl: " << writer_->written() << " records were written before this\n";
    throw;
  }
}

void Import::addRows() {
  forEachRow([this](const InputSource& source, const Row& row) {
    writer_->add(documentOf(source, row), {source.path, row.line, row.number}, row.size());
  });
  writer_->flush();
}

}  // namespace database_provider::recordctl
