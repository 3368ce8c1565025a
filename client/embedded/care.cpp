// Care for the file: checking, compacting, copying.

#include <utility>

#include "client/bson/validate.h"
#include "client/embedded/Backup.h"
#include "client/embedded/EmbeddedEngine.h"
#include "client/embedded/index/IndexCheck.h"
#include "client/embedded/query/compare.h"
#include "database_client/Error.h"

namespace database_client::embedded {

using bson::View;

namespace {

constexpr std::size_t mostProblems = 100;

void report(CheckReport& found, const std::string& problem) {
  if (found.problems.size() < mostProblems) found.problems.push_back(problem);
}

void checkStructure(sqlite::Connection& connection, CheckReport& found) {
  const sqlite::Connection::Interruptible interruptible(connection);
  auto rows = connection.statement("PRAGMA integrity_check(20)");
  while (rows.step()) {
    if (rows.text(0) != "ok") report(found, "structure: " + std::string(rows.text(0)));
  }
}

/// What is wrong with a stored document; empty when nothing is.
std::string problemOf(const RowScan& row) {
  const sqlite::Blob bytes = row.bytes();
  if (!row.isWhole()) return "its bytes do not fit their sum";
  try {
    const bson::Value id = bson::validate(bytes.data, bytes.size).find("_id");
    if (id.data == nullptr) return "it has no \"_id\"";
    const sqlite::Blob key = row.id();
    const std::string_view kept(reinterpret_cast<const char*>(key.data), key.size);
    return canonicalKey(id) == kept ? "" : "its \"_id\" is not the one it is found by";
  } catch (const Error& error) {
    return error.what();
  }
}

DocumentScan scanOf(Collection& collection) {
  return [&collection](const std::function<void(std::int64_t, View)>& take) {
    RowScan rows(collection);
    while (rows.next()) {
      collection.checkWanted();
      take(rows.rid(), rows.body());
    }
  };
}

/// Runs one part of a check; what it cannot read is what it found.
template <class Part>
void guarded(CheckReport& found, const Part& part) {
  try {
    part();
  } catch (const Error& error) {
    if (error.kind() == Error::Kind::cancelled) throw;
    report(found, error.what());
  }
}

void checkCollection(Collection& collection, CheckReport& found) {
  const std::size_t before = found.problems.size();
  RowScan rows(collection);
  for (; rows.next(); ++found.documents) {
    collection.checkWanted();
    const std::string problem = problemOf(rows);
    if (problem.empty()) continue;
    report(found, collection.label() + ", record " + std::to_string(rows.rid()) + ": " + problem);
  }
  if (collection.index() == nullptr || found.problems.size() != before) return;
  for (const std::string& problem : checkIndex(*collection.index(), scanOf(collection))) {
    report(found, collection.label() + ", index: " + problem);
  }
}

}  // namespace

CheckReport EmbeddedEngine::check() {
  CheckReport found;
  const Store::Reading reading(store_);
  session_.require(Action::administerStore, "admin", "check the store");
  guarded(found, [&] { checkStructure(store_.connection(), found); });
  guarded(found, [&] {
    for (Collection* collection : store_.collections()) {
      guarded(found, [&] { checkCollection(*collection, found); });
    }
  });
  return found;
}

/// Merges the index, or builds it anew where that makes it better or is the only way.
void EmbeddedEngine::compactIndex(Collection& collection) {
  store_.touch(collection);
  try {
    collection.index()->compact();
    if (collection.index()->isAtItsBest()) return;
  } catch (const Error& error) {
    if (error.kind() != Error::Kind::storage || !store_.connection().inTransaction()) throw;
  }
  collection.rebuildIndex();
}

void EmbeddedEngine::compact() {
  {
    Store::Writing writing(store_, Store::Extent::many);
    session_.require(Action::administerStore, "admin", "compact the store");
    for (Collection* collection : store_.collections()) {
      if (collection->index() == nullptr) continue;
      compactIndex(*collection);
    }
    writing.commit();
  }
  store_.vacuum();
}

void EmbeddedEngine::backup(const std::string& path) {
  const Store::Reading reading(store_);
  session_.require(Action::administerStore, "admin", "copy the store");
  copyStore(store_.connection(), path);
}

}  // namespace database_client::embedded
