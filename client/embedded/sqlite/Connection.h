// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "client/Cancellation.h"
#include "client/embedded/sqlite/FileGuard.h"
#include "client/embedded/sqlite/Statement.h"

struct sqlite3;
struct sqlite3_file;

namespace database_client::embedded::sqlite {

/// A text, and the statements prepared of it that nobody uses at present.
struct Prepared {
  std::string sql;
  std::vector<sqlite3_stmt*> idle;
};

/// One connection to one SQLite file, used by one thread at a time. It keeps the statements that were prepared once.
///
/// Opening touches no side file and takes no lock; that begins with the first statement. Addresses of SQLite's URI
/// form, extensions, ATTACH, and functions in a schema that is not trusted are switched off.
class Connection {
 public:
  /// Opens a file that exists. The path must be absolute and hold no symbolic link.
  static Connection openFile(const std::string& path, int busyMilliseconds);
  /// Opens a store of this connection alone.
  static Connection openMemory();

  Connection(Connection&& other) noexcept;
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  Connection& operator=(Connection&&) = delete;
  /// No statement may be on loan any more. In another process than it was opened in, everything is left as it is.
  ~Connection();

  /// The path, or ":memory:".
  const std::string& file() const { return file_; }

  /// Lends the statement with this text, prepared on its first use and kept from then on. The text is ours alone:
  /// values are bound, never written into it.
  Statement statement(const std::string& sql) { return statement(prepared(sql)); }
  /// The same for whoever keeps the place of a text, so that it is looked up once.
  Statement statement(Prepared& place);
  /// The place of a text; it lasts as long as the connection.
  Prepared& prepared(const std::string& sql);
  /// Runs a statement that is seldom needed; it is not kept.
  void execute(const std::string& sql);
  /// The first column of the first row, 0 without one.
  std::int64_t integer(const std::string& sql) { return integer(prepared(sql)); }
  std::int64_t integer(Prepared& place);
  /// The same as text, empty without a row.
  std::string text(const std::string& sql);
  /// Writes the file anew without its free pages, and empties the log as far as nobody reads from it.
  void vacuum();
  /// Drops the statements that were kept and are not on loan.
  void forgetStatements();

  /// Whether what runs on the connection is still wanted; asked while it waits for a lock, and by whoever passes over
  /// many rows.
  void setCancellation(std::shared_ptr<Cancellation> cancellation);
  Cancellation& cancellation() const { return *cancellation_; }

  /// Asks in the middle of a statement too, for a scope. For statements that do much for one row; not for those that
  /// write inside a transaction, all of which SQLite undoes when it is interrupted.
  class Interruptible {
   public:
    explicit Interruptible(Connection& connection);
    Interruptible(const Interruptible&) = delete;
    Interruptible& operator=(const Interruptible&) = delete;
    ~Interruptible();

   private:
    Connection& connection_;
  };

  /// Waits a moment for a lock that another holds, where SQLite does not wait by itself; false when the time allowed
  /// since attempt 0 is over.
  bool waitForLock(int attempt);

  std::int64_t lastRowId() const;
  /// The rows that the last statement changed.
  int changes() const;
  /// Whether a transaction is open. SQLite ends one by itself after some failures.
  bool inTransaction() const;
  /// Whether the last failure was that no space is left.
  bool failedForSpace() const;
  /// Whether the file can only be read.
  bool readOnly() const;
  /// Whether the path leads no longer to the file that is open.
  bool fileMoved() const;
  /// Whether this is another process than the connection was opened in.
  bool isForeign() const;
  /// Leaves the write-ahead log as it is when the connection closes.
  void keepLogOnClose(bool keeps = true);

  /// Takes the place of one who shares the file, or has it alone, before anything else; throws Error{timeout} when
  /// another is in the way for too long.
  void enter(FileGuard::Kind kind);
  /// To be called once the log is open. Keeps it from being removed by others; alone, it is written to the file here.
  /// Throws Error{storage} where SQLite has, in this process, another log of the file open.
  void stay(FileGuard::Kind kind);
  /// Whether all of the log is in the file, for good, so that the next commit may begin the log anew. In a write
  /// transaction.
  bool isLogInFile() const;
  /// Writes the log to the file as far as nobody needs the older state; whether that was all.
  bool writeLogToFile();
  /// The rows changed since the opening.
  int totalChanges() const;

  /// Locks the file itself for a scope, past the transactions: against those who take it alone (`shared`), or against
  /// all others (`alone`). Only while no statement was run, or in exclusive mode. Throws Error{timeout} when another
  /// holds it for too long.
  class FileLock {
   public:
    enum class Kind { shared, alone };

    FileLock(Connection& connection, Kind kind);
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;
    ~FileLock();

   private:
    sqlite3_file* file_;
  };

  /// The bytes of the file itself, past the log and the cache; the number read.
  std::size_t readRaw(void* buffer, std::size_t size, std::int64_t offset) const;
  std::int64_t rawSize() const;

  sqlite3* handle() const { return database_; }

 private:
  friend class Statement;
  class BusyHandler;

  Connection(sqlite3* database, std::string file);
  static Connection open(const std::string& name, int flags, int busyMilliseconds);
  void harden();
  sqlite3_stmt* prepare(const std::string& sql, unsigned flags);
  void giveBack(Prepared& place, sqlite3_stmt* statement) noexcept;
  sqlite3_file* rawFile() const;
  [[noreturn]] void refuse(int code, const char* doing) const;

  static int writeLogNowAndThen(void* isInFile, sqlite3* database, const char* name, int frames);
  void abandon() noexcept;

  sqlite3* database_;
  std::string file_;
  std::shared_ptr<Cancellation> cancellation_ = std::make_shared<Cancellation>();
  pid_t process_;
  std::unique_ptr<FileGuard> guard_{};
  std::unique_ptr<bool> logIsInFile_{};  ///< of one who has the file alone
  std::unique_ptr<BusyHandler> busyHandler_{};
  std::unordered_map<std::string, Prepared> prepared_;
  std::size_t idleCount_ = 0;
};

}  // namespace database_client::embedded::sqlite
