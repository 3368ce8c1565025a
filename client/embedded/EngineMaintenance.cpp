// SPDX-License-Identifier: Apache-2.0

// Care for the file: checking, compacting, copying, repairing.

#include <utility>

#include "client/DamageError.h"
#include "client/DocumentAccess.h"
#include "client/bson/validate.h"
#include "client/embedded/EmbeddedEngine.h"
#include "client/embedded/index/plan/IndexCheck.h"
#include "client/embedded/query/values/compare.h"
#include "client/embedded/storage/Backup.h"
#include "client/embedded/storage/StoreFile.h"
#include "client/embedded/storage/idOfKey.h"
#include "client/embedded/storage/salvage.h"
#include "database_client/Error.h"

namespace database_client::embedded {

using bson::View;

namespace {

constexpr std::size_t mostProblems = 10'000;

/// Beyond the most that are told, the problems are counted.
class Findings {
 public:
  void add(const std::string& problem) {
    if (report_.problems.size() < mostProblems) {
      report_.problems.push_back(problem);
    } else {
      ++more_;
    }
  }
  void countDocument() { ++report_.documents; }
  std::size_t problems() const { return report_.problems.size() + more_; }
  CheckReport take() {
    if (more_ > 0) report_.problems.push_back("and " + std::to_string(more_) + " more");
    return std::move(report_);
  }

 private:
  CheckReport report_{};
  std::size_t more_ = 0;
};

void checkStructure(sqlite::Connection& connection, Findings& found) {
  const sqlite::Connection::Interruptible interruptible(connection);
  auto rows = connection.statement("PRAGMA integrity_check(20)");
  while (rows.step()) {
    if (rows.text(0) != "ok") found.add("structure: " + std::string(rows.text(0)));
  }
}

/// What is wrong with a stored document; empty when nothing is.
std::string problemOf(Collection& collection, SalvageScan& rows) {
  try {
    const View body = rows.body();
    const bson::Value id = bson::validate(body.data, body.size).find("_id");
    if (id.data == nullptr) return "it has no \"_id\"";
    const bool isFound = canonicalKey(id) == collection.storedIdKey(rows.rid());
    return isFound ? "" : "its \"_id\" is not the one it is found by";
  } catch (const Error& error) {
    return error.kind() == Error::Kind::storage ? "it is damaged" : error.what();
  }
}

/// The document for people, as `test.things {"_id": 1} (record 2)`.
std::string nameOf(const Collection& collection, SalvageScan& rows) {
  if (rows.rid() == 0) return collection.label();
  const std::vector<bson::Byte> id = idOfKey(rows.idKey());
  const ObjectProperties document = DocumentAccess::adopt({id.data(), id.size()});
  return collection.label() + (document.isEmpty() ? "" : " " + document.toJson()) + " (record " +
         std::to_string(rows.rid()) + ")";
}

DocumentScan scanOf(Collection& collection) {
  return [&collection](const std::function<void(RecordNumber, View)>& take) {
    RowScan rows(collection);
    while (rows.next()) {
      collection.checkWanted();
      take(rows.rid(), rows.body());
    }
  };
}

/// Runs one part of a check; what it cannot read is what it found.
template <class Part>
void guarded(Findings& found, const Part& part) {
  try {
    part();
  } catch (const Error& error) {
    if (error.kind() == Error::Kind::cancelled) throw;
    found.add(error.what());
  }
}

void checkCollection(Collection& collection, Findings& found) {
  const std::size_t before = found.problems();
  for (SalvageScan rows(collection); rows.next();) {
    collection.checkWanted();
    if (rows.rid() != 0) found.countDocument();
    const std::string problem = problemOf(collection, rows);
    if (!problem.empty()) found.add(nameOf(collection, rows) + ": " + problem);
  }
  if (collection.index() == nullptr || found.problems() != before) return;
  for (const std::string& problem : checkIndex(*collection.index(), scanOf(collection))) {
    found.add(collection.label() + ", index: " + problem);
  }
}

/// Writes the healthy documents of a collection to another store, some at a time.
class HealthyCopy {
 public:
  HealthyCopy(Collection& from, Store& to, Findings& found) : from_(from), to_(to), found_(found) {}

  void run() {
    for (SalvageScan rows(from_); isMore_;) writeBatch(rows);
  }

 private:
  static constexpr std::size_t batchBytes = 8U << 20U;

  void writeBatch(SalvageScan& rows) {
    from_.checkWanted();
    Store::Writing writing(to_, Store::WriteScope::many);
    Collection& target = to_.obtain(from_.database(), from_.name());
    for (std::size_t size = 0; size < batchBytes && (isMore_ = rows.next());) size += write(rows, target);
    writing.commit();
  }

  /// The bytes written.
  std::size_t write(SalvageScan& rows, Collection& target) {
    View body;
    try {
      body = rows.body();
    } catch (const DamageError& error) {
      found_.add(rows.rid() == 0 ? error.what() : nameOf(from_, rows) + ": lost");
      return 0;
    }
    if (target.insert(body)) {
      found_.countDocument();
    } else {
      found_.add(nameOf(from_, rows) + ": lost, another document has its \"_id\"");
    }
    return body.size;
  }

  Collection& from_;
  Store& to_;
  Findings& found_;
  bool isMore_ = true;
};

}  // namespace

CheckReport EmbeddedEngine::check() {
  Findings found;
  const Store::Reading reading(store_);
  login_.require(Action::administerStore, "admin", "check the store");
  guarded(found, [&] { checkStructure(store_.connection(), found); });
  guarded(found, [&] {
    for (Collection* collection : store_.collections()) {
      guarded(found, [&] { checkCollection(*collection, found); });
    }
  });
  return found.take();
}

/// Merges the index, or builds it anew where that makes it better or is the only way.
void EmbeddedEngine::compactIndex(Collection& collection) {
  store_.markDirty(collection);
  try {
    collection.index()->compact();
    if (!collection.index()->flushAndSnapshot().needsRebuild()) return;
  } catch (const Error& error) {
    if (error.kind() != Error::Kind::storage || !store_.connection().inTransaction()) throw;
  }
  collection.rebuildIndex();
}

void EmbeddedEngine::compact() {
  {
    Store::Writing writing(store_, Store::WriteScope::many);
    login_.require(Action::administerStore, "admin", "compact the store");
    for (Collection* collection : store_.collections()) {
      if (collection->index() == nullptr) continue;
      compactIndex(*collection);
    }
    writing.commit();
  }
  store_.vacuum();
}

CheckReport EmbeddedEngine::repair(const std::string& path) {
  Findings found;
  const Store::Reading reading(store_);
  login_.require(Action::administerStore, "admin", "repair the store");
  makeStoreFile(path, [&](const std::string& target) {
    StoreAddress address;
    address.path = target;
    address.exclusive = true;
    Store to(openStore(address), false);
    for (Collection* collection : store_.collections()) HealthyCopy(*collection, to, found).run();
  });
  return found.take();
}

void EmbeddedEngine::backup(const std::string& path) {
  const Store::Reading reading(store_);
  login_.require(Action::administerStore, "admin", "copy the store");
  copyStore(store_.connection(), path);
}

}  // namespace database_client::embedded
