// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "client/embedded/index/segments/BlobStore.h"
#include "client/embedded/sqlite/Connection.h"
#include "client/embedded/sqlite/Transaction.h"
#include "client/embedded/storage/Collection.h"
#include "client/embedded/storage/OpenFiles.h"

namespace database_client::embedded {

class BlockCache;

/// Reads ahead what it still has to give, so that the store may be changed. See `Store::Writing`.
class ResultBuffer {
 public:
  ResultBuffer() = default;
  ResultBuffer(const ResultBuffer&) = delete;
  ResultBuffer& operator=(const ResultBuffer&) = delete;
  virtual ~ResultBuffer() = default;
  virtual void materialize() = 0;
};

/// One client's view of a store: transactions, the catalogue of collections, and the knowledge of whether what was kept
/// in memory still holds.
///
/// A store is one file of SQLite with its log (`StoreFile` opens it). Each collection is a table of documents
/// (`Collection`) and blobs of its index (`ItemIndex` over `blobs`). SQLite gives transactions, snapshots and recovery;
/// what it does not know is the state in memory that belongs to them, and this class ties it to them: what indexes have
/// gathered, which collections there are, which blocks of indexes are known.
///
/// A call reads inside a `Reading` and writes inside a `Writing`. Readings nest; one that is open when a write begins
/// (a receiver of results that writes) is ended after those who read have taken the rest of their results into memory.
/// An explicit transaction spans calls: then a `Reading` adds nothing, and a `Writing` is a savepoint.
///
/// Invariants:
/// - What an index has gathered is written before SQLite commits, and dropped when SQLite undoes: a collection is
///   marked as dirty before its index is told of a change, and only those are asked.
/// - `version` is another whenever the stored bytes may be others than those that were read: others wrote, or something
///   was undone. Who keeps anything in memory compares it inside the transaction it reads in.
/// - No write while results are being read from SQLite: a statement would step over rows that change under it.
/// - Nothing is written to a file that the path no longer leads to, or whose log is not its own (`requireFile`).
///
/// Why readers are read out rather than given a connection of their own: results then come from one state, a
/// transaction's own changes are seen, and a store in memory or an exclusive one has no second connection to give.
class Store {
 public:
  /// `shared` tells whether others may use the file at the same time.
  Store(sqlite::Connection connection, bool shared);
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;
  ~Store();

  /// One state of the store for a scope.
  class Reading {
   public:
    explicit Reading(Store& store);
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;
    ~Reading();

   private:
    Store& store_;
  };

  /// How much a write does: one document at most, asking no index; or more, which may fail half-way and is then undone
  /// alone.
  enum class WriteScope { one, many };

  /// Changes for a scope, undone unless committed. Within an explicit transaction they become permanent with it; a call
  /// that fails there is undone alone, but for a failure to write, which undoes the whole transaction.
  class Writing {
   public:
    Writing(Store& store, WriteScope scope);
    Writing(const Writing&) = delete;
    Writing& operator=(const Writing&) = delete;
    ~Writing();
    void commit();

   private:
    void undo() noexcept;

    Store& store_;
    WriteScope scope_;
    // What the store had when this began.
    std::uint64_t indexChangesBefore_ = 0;
    std::size_t madeBefore_ = 0;
    int rowChangesBefore_ = 0;
    std::optional<sqlite::Transaction> transaction_{};
  };

  /// An explicit transaction, over many calls.
  void begin();
  void commit();
  void rollback();

  /// Registers a reader whose results are to be materialized before a write, for a scope.
  class Registration {
   public:
    Registration(Store& store, ResultBuffer& reader);
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;
    ~Registration();

   private:
    Store& store_;
  };

  sqlite::Connection& connection() { return connection_; }
  /// The version of the format: an older one where damage, or a file that can only be read, keeps it from being
  /// brought up to date.
  std::int64_t formatVersion() const { return formatVersion_; }
  BlobStore& blobs() { return *blobs_; }
  /// What is kept in memory of the indexes of all collections.
  const std::shared_ptr<BlockCache>& blocks() const { return blocks_; }
  /// Changes whenever others may have written, or a transaction was rolled back.
  std::uint64_t version() const { return version_; }

  /// Null when there is none. The collection lasts as long as the store, unless the transaction that made it is undone.
  Collection* find(const std::string& database, const std::string& name);
  /// Makes it where it is missing; inside a `Writing` only.
  Collection& obtain(const std::string& database, const std::string& name);
  /// All collections, in the order of database and name.
  std::vector<Collection*> collections();
  /// To be told before the index of a collection is changed.
  void markDirty(Collection& collection);
  /// Throws Error{cancelled} when the caller wants no result any more, where an index is read or written.
  void checkIndexing();
  /// Gives free space back to the file system; not inside a transaction.
  void vacuum();
  /// Lets the readers that are open take the rest of their results, and ends what they hold open.
  void endReading();

 private:
  class Blobs;

  void refresh();
  void requireProcess() const;
  void requireFile();
  [[noreturn]] void refuseWithoutLog();
  void nameGeneration();
  void requireFileNowAndThen();
  void requireTransaction() const;
  void flush();
  void dropSince(std::size_t made) noexcept;
  void forget() noexcept;
  void breakTransaction() noexcept;
  Collection& remember(std::int64_t number, const std::string& database, const std::string& name);

  sqlite::Connection connection_;
  struct Statements {
    explicit Statements(sqlite::Connection& connection);
    sqlite::Prepared &begin, &commit, &dataVersion;
  } sql_;
  bool shared_;  ///< if not, no call has to look for what others wrote
  std::int64_t formatVersion_;
  std::unique_ptr<BlobStore> blobs_;
  std::shared_ptr<BlockCache> blocks_;
  std::optional<OpenFiles> files_{};  ///< none in memory
  bool isLogLost_ = false;
  timespec askedAt_{};  ///< when the path was last looked at before a read
  std::uint64_t version_ = 1;
  std::int64_t dataVersion_ = -1;  ///< SQLite's, which changes when another connection commits
  std::unordered_map<std::string, std::unique_ptr<Collection>> collections_{};
  std::vector<std::string> made_{};   ///< labels of the collections made in the open transaction
  std::vector<Collection*> dirty_{};  ///< those whose index may have gathered something
  std::uint64_t indexChanges_ = 0;    ///< how often an index was about to be changed, to tell whether one was
  std::vector<ResultBuffer*> readers_{};
  int readings_ = 0;              ///< open ones, nested
  bool readTransaction_ = false;  ///< whether the outermost of them began a transaction
  std::optional<sqlite::Transaction> explicit_{};
};

}  // namespace database_client::embedded
