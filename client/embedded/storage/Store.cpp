// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/storage/Store.h"

#include <algorithm>
#include <ctime>
#include <utility>

#include "client/DamageError.h"
#include "client/bson/validate.h"
#include "client/embedded/index/segments/Segment.h"
#include "client/embedded/storage/Schema.h"
#include "client/embedded/storage/generation.h"
#include "database_client/Error.h"

namespace database_client::embedded {

using sqlite::Transaction;

namespace {

constexpr std::size_t cachedBytes = std::size_t{16} * 1024 * 1024;  ///< of all indexes together

/// What the keys of the index's blobs have room for.
constexpr std::int64_t lastCollection = (std::int64_t{1} << 20) - 1;  ///< 64 bits less sign, segment and block

std::string labelOf(const std::string& database, const std::string& name) {
  return database + "." + name;
}

[[noreturn]] void refuse(const sqlite::Connection& connection, const char* why) {
  throw Error(Error::Kind::storage, "store " + connection.file() + ": " + why, {connection.file()});
}

}  // namespace

class Store::Blobs : public BlobStore {
 public:
  explicit Blobs(Store& store)
      : store_(store),
        read_(store.connection().prepared("SELECT bytes FROM blobs WHERE key = ?1")),
        write_(store.connection().prepared("INSERT OR REPLACE INTO blobs(key, bytes) VALUES(?1, ?2)")),
        erase_(store.connection().prepared("DELETE FROM blobs WHERE key BETWEEN ?1 AND ?2")),
        firstKey_(
            store.connection().prepared("SELECT key FROM blobs WHERE key BETWEEN ?1 AND ?2 ORDER BY key LIMIT 1")) {}

  std::string read(std::int64_t key) override {
    store_.checkIndexing();
    auto found = statement(read_);
    if (!found.bind(1, key).step()) return {};
    return std::string(found.text(0));
  }
  void write(std::int64_t key, std::string_view bytes) override {
    statement(write_).bind(1, key).bindBlob(2, bytes.data(), bytes.size()).run();
  }
  void erase(std::int64_t first, std::int64_t last) override { statement(erase_).bind(1, first).bind(2, last).run(); }
  std::optional<std::int64_t> firstKey(std::int64_t first, std::int64_t last) override {
    auto found = statement(firstKey_);
    if (!found.bind(1, first).bind(2, last).step()) return std::nullopt;
    return found.integer(0);
  }
  std::uint64_t version() override { return store_.version(); }
  void checkWanted() override { store_.checkIndexing(); }

 private:
  sqlite::Statement statement(sqlite::Prepared& place) { return store_.connection().statement(place); }
  Store& store_;
  sqlite::Prepared &read_, &write_, &erase_, &firstKey_;
};

Store::Statements::Statements(sqlite::Connection& connection)
    : begin(connection.prepared("BEGIN")),
      commit(connection.prepared("COMMIT")),
      dataVersion(connection.prepared("PRAGMA data_version")) {}

Store::Store(sqlite::Connection connection, bool shared)
    : connection_(std::move(connection)),
      sql_(connection_),
      shared_(shared),
      formatVersion_(schema::versionOf(connection_)),
      blobs_(std::make_unique<Blobs>(*this)),
      blocks_(std::make_shared<BlockCache>(*blobs_, cachedBytes)) {
  if (connection_.file() != ":memory:") files_.emplace(connection_.file());
}

Store::~Store() {
  // After a fork the locks and the file are the parent's; a child must not even undo.
  if (connection_.isForeign()) return;
  explicit_.reset();
  // Closing copies the log into the file, and removes it: not where another's file lies by now.
  try {
    requireFile();
  } catch (...) {  // It has seen to what lies there.
  }
}

void Store::requireProcess() const {
  if (connection_.isForeign()) {
    refuse(connection_, "the client was opened in another process; a child process has to open one of its own");
  }
}

void Store::requireFile() {
  if (!files_) return;
  if (isLogLost_) refuse(connection_, "its log was removed or replaced while it was open; connect again");
  const OpenFiles::Change change = files_->look();
  if (change == OpenFiles::Change::none) return;
  if (change == OpenFiles::Change::secondName) {
    refuse(connection_, "the file has more than one name (a hard link); each would have a log of its own");
  }
  // What lies there now is somebody else's.
  connection_.keepLogOnClose();
  if (change == OpenFiles::Change::moved) refuse(connection_, "the file was removed or replaced");
  refuseWithoutLog();
}

/// What is in the log that was removed can still be read here, and nowhere else.
void Store::refuseWithoutLog() {
  if (connection_.inTransaction()) refuse(connection_, "its log was removed or replaced while it was open");
  isLogLost_ = true;
  const bool isOurs = files_->hasNoLog() && generation::fits(connection_);
  const bool isSaved = isOurs && connection_.writeLogToFile();
  refuse(connection_, isSaved ? "its log was removed while it was open; all that was in it was saved into the file"
                              : "its log was removed or replaced while it was open; what was in it may be lost");
}

/// So that a log says which file it continues.
void Store::nameGeneration() {
  if (files_ && connection_.isLogInFile()) generation::renew(connection_);
}

/// Asking costs a third of the shortest read, so of reads that follow each other one in a few milliseconds asks.
void Store::requireFileNowAndThen() {
  if (isLogLost_) requireFile();
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
  if (now.tv_sec == askedAt_.tv_sec && now.tv_nsec == askedAt_.tv_nsec) return;
  requireFile();
  askedAt_ = now;
}

/// An explicit transaction keeps what earlier calls gathered, which must not be left half written.
void Store::checkIndexing() {
  if (!explicit_) connection_.cancellation().check();
}

void Store::requireTransaction() const {
  requireProcess();
  if (explicit_ && !connection_.inTransaction()) refuse(connection_, "the transaction was undone by a failure");
}

void Store::refresh() {
  // SQLite counts other connections' commits alone; our own keep what is in memory true as they go.
  if (!shared_) return;
  const std::int64_t found = connection_.integer(sql_.dataVersion);
  if (found == dataVersion_) return;
  dataVersion_ = found;
  ++version_;
}

void Store::endReading() {
  // Before the commit: a statement that still steps would keep the old state beyond it, in which nothing can be
  // written.
  for (ResultBuffer* reader : readers_) reader->materialize();
  if (!std::exchange(readTransaction_, false)) return;
  try {
    connection_.statement(sql_.commit).run();
  } catch (const DamageError&) {
    // SQLite ends a transaction that met damage by undoing it; this one has written nothing.
    if (connection_.inTransaction()) throw;
  }
}

Store::Reading::Reading(Store& store) : store_(store) {
  store_.requireTransaction();
  if (store_.readings_ == 0 && !store_.explicit_) store_.requireFileNowAndThen();
  // Nobody else writes to what is not shared. Otherwise all that a call reads, rows and index, has to be of one state,
  // and the version with it.
  if (store_.shared_ && !store_.connection_.inTransaction()) {
    store_.connection_.statement(store_.sql_.begin).run();
    store_.readTransaction_ = true;
    store_.refresh();  // Reads, and so pins the state that the transaction sees.
  }
  ++store_.readings_;
}

Store::Reading::~Reading() {
  if (--store_.readings_ > 0 || !std::exchange(store_.readTransaction_, false)) return;
  if (store_.connection_.isForeign()) return;
  try {
    store_.connection_.statement(store_.sql_.commit).run();
  } catch (...) {  // Nothing was written that could be lost.
  }
}

Store::Writing::Writing(Store& store, WriteScope scope) : store_(store), scope_(scope) {
  store_.requireTransaction();
  store_.endReading();
  if (!store_.explicit_) store_.requireFile();
  // What the index has gathered for earlier calls of the transaction must not go when this call is undone. One document
  // alone mostly does not fail half-way, and a segment for each would cost more than the document.
  if (store_.explicit_ && scope == WriteScope::many) store_.flush();
  transaction_.emplace(store_.connection_, Transaction::Kind::write);
  indexChangesBefore_ = store_.indexChanges_;
  madeBefore_ = store_.made_.size();
  rowChangesBefore_ = store_.connection_.totalChanges();
  // Behind the lock: before it others may still have written.
  if (!store_.explicit_) store_.refresh();
}

void Store::Writing::commit() {
  if (!store_.explicit_) store_.flush();
  // A transaction that changes nothing begins no log, and so needs no generation.
  if (!store_.explicit_ && store_.connection_.totalChanges() != rowChangesBefore_) store_.nameGeneration();
  transaction_->commit();
  transaction_.reset();
  if (!store_.explicit_) store_.made_.clear();
}

Store::Writing::~Writing() {
  if (transaction_) undo();
}

/// SQLite takes rows and blobs back to where the call began. What is in memory has to follow, and a memtable can only
/// forget all that it gathered, not the part of one call.
void Store::Writing::undo() noexcept {
  transaction_.reset();
  store_.dropSince(madeBefore_);
  if (!store_.explicit_) return store_.forget();  // The call was the whole transaction.
  // SQLite answers some failures, such as a full disk, by undoing the explicit transaction itself.
  if (!store_.connection_.inTransaction()) return store_.breakTransaction();
  // Memtables were written before the call began: all that they have is of the call.
  if (scope_ == WriteScope::many) return store_.forget();
  // They were not, and have this call's change among those of earlier calls.
  const bool indexWasTold = store_.indexChanges_ != indexChangesBefore_;
  if (indexWasTold) store_.breakTransaction();
}

/// Ends the explicit transaction as undone. It stays open as an object, so that each further call is refused, and
/// nothing that the caller takes for a part of it becomes permanent on its own.
void Store::breakTransaction() noexcept {
  try {
    if (connection_.inTransaction()) connection_.statement("ROLLBACK").run();
  } catch (...) {  // The next use of the transaction finds it gone, or fails in the same way.
  }
  dropSince(0);
  forget();
}

void Store::begin() {
  requireProcess();
  if (explicit_) throw Error(Error::Kind::query, "beginTransaction: a transaction is open already");
  endReading();
  requireFile();
  explicit_.emplace(connection_, Transaction::Kind::write);
  refresh();
}

void Store::commit() {
  requireProcess();
  if (!explicit_) throw Error(Error::Kind::query, "commitTransaction: no transaction is open");
  endReading();
  try {
    requireTransaction();
    requireFile();
    flush();
    nameGeneration();
    explicit_->commit();
  } catch (...) {
    rollback();
    throw;
  }
  explicit_.reset();
  made_.clear();
}

void Store::rollback() {
  // Also where SQLite has undone it already: then this is how the caller gets out of it.
  requireProcess();
  if (!explicit_) throw Error(Error::Kind::query, "rollbackTransaction: no transaction is open");
  endReading();
  explicit_.reset();
  dropSince(0);
  forget();
}

void Store::flush() {
  for (Collection* collection : dirty_) collection->flush();
  dirty_.clear();
}

void Store::markDirty(Collection& collection) {
  ++indexChanges_;
  if (std::find(dirty_.begin(), dirty_.end(), &collection) == dirty_.end()) dirty_.push_back(&collection);
}

/// Collections that were made since then are no more; they must not be flushed either, as their tables are gone.
void Store::dropSince(std::size_t made) noexcept {
  for (std::size_t i = made; i < made_.size(); ++i) {
    const auto found = collections_.find(made_[i]);
    if (found == collections_.end()) continue;
    dirty_.erase(std::remove(dirty_.begin(), dirty_.end(), found->second.get()), dirty_.end());
    collections_.erase(found);
  }
  made_.resize(made);
}

/// All that indexes gathered. The version changes, since blocks of what was undone may be in memory.
void Store::forget() noexcept {
  for (Collection* collection : dirty_) collection->rollback();
  dirty_.clear();
  ++version_;
}

void Store::vacuum() {
  requireProcess();
  if (explicit_) throw Error(Error::Kind::query, "compact: a transaction is open");
  requireFile();
  {
    // The log that it writes may be one of its own.
    Transaction transaction(connection_, Transaction::Kind::write);
    nameGeneration();
    transaction.commit();
  }
  connection_.vacuum();
  ++version_;
}

Collection& Store::remember(std::int64_t number, const std::string& database, const std::string& name) {
  if (number < 1 || number > lastCollection) refuse(connection_, "the number of a collection is out of its bounds");
  auto& place = collections_[labelOf(database, name)];
  place = std::make_unique<Collection>(*this, number, database, name);
  return *place;
}

Collection* Store::find(const std::string& database, const std::string& name) {
  // That a collection is known is enough: none is ever removed but with the transaction that made it.
  const auto known = collections_.find(labelOf(database, name));
  if (known != collections_.end()) return known->second.get();
  auto found = connection_.statement("SELECT number FROM collections WHERE database = ?1 AND name = ?2");
  if (!found.bindText(1, database).bindText(2, name).step()) return nullptr;
  return &remember(found.integer(0), database, name);
}

Collection& Store::obtain(const std::string& database, const std::string& name) {
  if (Collection* known = find(database, name)) return *known;
  connection_.statement("INSERT INTO collections(database, name) VALUES(?1, ?2)")
      .bindText(1, database)
      .bindText(2, name)
      .run();
  const std::int64_t number = connection_.lastRowId();
  schema::createCollection(connection_, number);
  made_.push_back(labelOf(database, name));
  return remember(number, database, name);
}

std::vector<Collection*> Store::collections() {
  std::vector<Collection*> all;
  // Not through `find`: in a damaged file its index may lack what the table has.
  auto rows = connection_.statement("SELECT number, database, name FROM collections ORDER BY database, name");
  while (rows.step()) {
    const std::string database(rows.text(1));
    const std::string name(rows.text(2));
    const std::string label = labelOf(database, name);
    if (!bson::isUtf8(label)) refuse(connection_, "it is damaged: the name of a collection is no text");
    const auto known = collections_.find(label);
    const bool isKnown = known != collections_.end();
    all.push_back(isKnown ? known->second.get() : &remember(rows.integer(0), database, name));
  }
  return all;
}

Store::Registration::Registration(Store& store, ResultBuffer& reader) : store_(store) {
  store_.readers_.push_back(&reader);
}

Store::Registration::~Registration() {
  store_.readers_.pop_back();  // Readers nest, as the calls do.
}

}  // namespace database_client::embedded
