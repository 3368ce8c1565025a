// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/sqlite/Connection.h"

#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

#include "client/embedded/sqlite/throwError.h"
#include "database_client/Error.h"

namespace database_client::embedded::sqlite {

namespace {

/// More than a store of usual size ever needs; one with thousands of collections prepares some of them anew.
constexpr std::size_t maximumIdle = 1024;

/// Above all that a store holds, and far below what a damaged length would make SQLite ask memory for.
constexpr int longestValue = 64 * 1024 * 1024;

/// In pages; as SQLite itself has it.
constexpr int longLog = 1000;

void require(int code, const std::string& file, const char* doing) {
  if (code != SQLITE_OK) fail(code, file, doing);
}

}  // namespace

Connection::Interruptible::Interruptible(Connection& connection) : connection_(connection) {
  constexpr int instructions = 200;  // a few rows, of which one may be 16 MiB
  const auto ask = [](void* cancellation) { return static_cast<Cancellation*>(cancellation)->isWanted() ? 0 : 1; };
  sqlite3_progress_handler(connection_.database_, instructions, ask, connection_.cancellation_.get());
}

Connection::Interruptible::~Interruptible() {
  sqlite3_progress_handler(connection_.database_, 0, nullptr, nullptr);
}

/// Waits for a lock that another holds. The steps are short and uneven, so that every one of several waiting writers
/// gets its turn; SQLite's own steps grow to a tenth of a second, and one that writes without pause would always win.
class Connection::BusyHandler {
 public:
  explicit BusyHandler(int milliseconds) : limit_(milliseconds) {}

  void setCancellation(std::shared_ptr<Cancellation> cancellation) { cancellation_ = std::move(cancellation); }

  static int wait(void* patience, int attempt) {
    return static_cast<BusyHandler*>(patience)->waitOnce(attempt) ? 1 : 0;
  }

 private:
  using Clock = std::chrono::steady_clock;

  bool waitOnce(int attempt) {
    const auto now = Clock::now();
    if (attempt == 0) begun_ = now;
    if (now - begun_ >= limit_ || (cancellation_ && !cancellation_->isWanted())) return false;
    std::uint8_t uneven = 0;
    sqlite3_randomness(sizeof uneven, &uneven);
    const std::chrono::microseconds step((attempt < 1000 ? 100 : 1000) + 4 * uneven);
    std::this_thread::sleep_for(std::min<Clock::duration>(step, begun_ + limit_ - now));
    return true;
  }

  std::chrono::milliseconds limit_;
  Clock::time_point begun_{};
  std::shared_ptr<Cancellation> cancellation_{};
};

Connection::Connection(sqlite3* database, std::string file)
    : database_(database), file_(std::move(file)), process_(getpid()) {}

Connection::Connection(Connection&& other) noexcept
    : database_(std::exchange(other.database_, nullptr)),
      file_(std::move(other.file_)),
      cancellation_(std::move(other.cancellation_)),
      process_(other.process_),
      guard_(std::move(other.guard_)),
      logIsInFile_(std::move(other.logIsInFile_)),
      busyHandler_(std::move(other.busyHandler_)),
      prepared_(std::move(other.prepared_)),
      idleCount_(std::exchange(other.idleCount_, 0)) {}

Connection::~Connection() {
  if (database_ == nullptr) return;
  if (isForeign()) {
    abandon();
    return;
  }
  // SQLite takes the file alone when it is the last to close it.
  if (guard_) guard_->leave();
  forgetStatements();
  sqlite3_close_v2(database_);
}

Connection Connection::openFile(const std::string& path, int busyMilliseconds) {
  auto guard = std::make_unique<FileGuard>(path);
  Connection connection = open(path, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOFOLLOW, busyMilliseconds);
  connection.guard_ = std::move(guard);
  return connection;
}

/// To close it would write to files and drop locks that are the parent's. It stays, within reach, until the process
/// ends.
void Connection::abandon() noexcept {
  try {
    static auto* const abandoned = new std::vector<Connection>;
    abandoned->push_back(std::move(*this));
  } catch (...) {  // Then it is out of reach, and stays all the same.
  }
}

Connection Connection::openMemory() {
  return open(":memory:", SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_MEMORY, 0);
}

Connection Connection::open(const std::string& name, int flags, int busyMilliseconds) {
  sqlite3* database = nullptr;
  const int code =
      sqlite3_open_v2(name.c_str(), &database, flags | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_PRIVATECACHE, nullptr);
  Connection connection(database, name);
  require(code, name, "open it");
  connection.harden();
  connection.busyHandler_ = std::make_unique<BusyHandler>(busyMilliseconds);
  require(sqlite3_busy_handler(database, BusyHandler::wait, connection.busyHandler_.get()), name, "open it");
  return connection;
}

void Connection::harden() {
  sqlite3_extended_result_codes(database_, 1);
  // NOLINTBEGIN(cppcoreguidelines-pro-type-vararg): SQLite offers nothing else
  require(sqlite3_db_config(database_, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr), file_, "open it");
  require(sqlite3_db_config(database_, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr), file_, "open it");
  require(sqlite3_db_config(database_, SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION, 0, nullptr), file_, "open it");
  require(sqlite3_db_config(database_, SQLITE_DBCONFIG_ENABLE_TRIGGER, 0, nullptr), file_, "open it");
  require(sqlite3_db_config(database_, SQLITE_DBCONFIG_ENABLE_VIEW, 0, nullptr), file_, "open it");
  // NOLINTEND(cppcoreguidelines-pro-type-vararg)
  sqlite3_limit(database_, SQLITE_LIMIT_ATTACHED, 0);
  sqlite3_limit(database_, SQLITE_LIMIT_LENGTH, longestValue);
}

void Connection::setCancellation(std::shared_ptr<Cancellation> cancellation) {
  cancellation_ = std::move(cancellation);
  if (busyHandler_) busyHandler_->setCancellation(cancellation_);
}

/// What was given up while it waited or ran is told as that, whatever SQLite makes of it.
void Connection::refuse(int code, const char* doing) const {
  constexpr int primaryCodeMask = 0xFF;
  const int primary = code & primaryCodeMask;
  if (primary == SQLITE_INTERRUPT) Cancellation::refuse();
  if (primary == SQLITE_BUSY) cancellation_->check();
  fail(code, file_, doing);
}

bool Connection::waitForLock(int attempt) {
  return busyHandler_ && BusyHandler::wait(busyHandler_.get(), attempt) != 0;
}

sqlite3_stmt* Connection::prepare(const std::string& sql, unsigned flags) {
  sqlite3_stmt* statement = nullptr;
  const int code =
      sqlite3_prepare_v3(database_, sql.c_str(), static_cast<int>(sql.size() + 1), flags, &statement, nullptr);
  require(code, file_, "read");
  return statement;
}

Prepared& Connection::prepared(const std::string& sql) {
  Prepared& place = prepared_[sql];
  if (place.sql.empty()) place.sql = sql;
  return place;
}

Statement Connection::statement(Prepared& place) {
  if (place.idle.empty()) return {*this, place, prepare(place.sql, SQLITE_PREPARE_PERSISTENT)};
  sqlite3_stmt* statement = place.idle.back();
  place.idle.pop_back();
  --idleCount_;
  return {*this, place, statement};
}

void Connection::giveBack(Prepared& place, sqlite3_stmt* statement) noexcept {
  sqlite3_reset(statement);
  sqlite3_clear_bindings(statement);
  if (idleCount_ < maximumIdle) {
    try {
      place.idle.push_back(statement);
      ++idleCount_;
      return;
    } catch (...) {  // It cannot be kept, so it is prepared anew next time.
    }
  }
  sqlite3_finalize(statement);
}

void Connection::execute(const std::string& sql) {
  sqlite3_stmt* statement = prepare(sql, 0);
  int code = SQLITE_ROW;
  while (code == SQLITE_ROW) code = sqlite3_step(statement);
  sqlite3_finalize(statement);
  if (code != SQLITE_DONE) refuse(code, "write");
}

std::int64_t Connection::integer(Prepared& place) {
  Statement row = statement(place);
  return row.step() ? row.integer(0) : 0;
}

std::string Connection::text(const std::string& sql) {
  Statement row = statement(sql);
  return row.step() ? std::string(row.text(0)) : std::string();
}

void Connection::forgetStatements() {
  for (auto& entry : prepared_) {
    for (sqlite3_stmt* statement : entry.second.idle) sqlite3_finalize(statement);
    entry.second.idle.clear();
  }
  idleCount_ = 0;
}

void Connection::vacuum() {
  // SQLite attaches a file of its own meanwhile.
  sqlite3_limit(database_, SQLITE_LIMIT_ATTACHED, 1);
  try {
    const Interruptible interruptible(*this);
    execute("VACUUM");
  } catch (...) {
    sqlite3_limit(database_, SQLITE_LIMIT_ATTACHED, 0);
    throw;
  }
  sqlite3_limit(database_, SQLITE_LIMIT_ATTACHED, 0);
  execute("PRAGMA wal_checkpoint(TRUNCATE)");
}

std::int64_t Connection::lastRowId() const {
  return sqlite3_last_insert_rowid(database_);
}

int Connection::changes() const {
  return sqlite3_changes(database_);
}

bool Connection::inTransaction() const {
  return sqlite3_get_autocommit(database_) == 0;
}

bool Connection::failedForSpace() const {
  return sqlite3_errcode(database_) == SQLITE_FULL;
}

bool Connection::readOnly() const {
  return sqlite3_db_readonly(database_, "main") == 1;
}

bool Connection::fileMoved() const {
  int moved = 0;
  const int code = sqlite3_file_control(database_, "main", SQLITE_FCNTL_HAS_MOVED, &moved);
  return code == SQLITE_OK && moved != 0;
}

bool Connection::isForeign() const {
  return process_ != getpid();
}

void Connection::keepLogOnClose(bool keeps) {
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-vararg): SQLite offers nothing else
  sqlite3_db_config(database_, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, keeps ? 1 : 0, nullptr);
}

void Connection::enter(FileGuard::Kind kind) {
  for (int attempt = 0; !guard_->enter(kind); ++attempt) {
    if (!waitForLock(attempt)) fail(SQLITE_BUSY, file_, "open it");
  }
}

void Connection::stay(FileGuard::Kind kind) {
  integer("PRAGMA user_version");  // SQLite opens the log with the first look at the file.
  if (kind == FileGuard::Kind::shared) {
    if (guard_->stay()) return;
    keepLogOnClose();
    throw Error(
        Error::Kind::storage,
        "store " + file_ +
            ": this process, or its parent before the fork, opened the file with a log that is no longer there; "
            "close all clients of the file, and start a new process where it was forked",
        {file_});
  }
  logIsInFile_ = std::make_unique<bool>(writeLogToFile());
  sqlite3_wal_hook(database_, writeLogNowAndThen, logIsInFile_.get());
}

/// In the place of SQLite's own, which does not tell how far it got.
int Connection::writeLogNowAndThen(void* isInFile, sqlite3* database, const char* name, int frames) {
  int inLog = -1;
  int inFile = -1;
  const bool isLong = frames >= longLog;
  const bool isDone =
      isLong && sqlite3_wal_checkpoint_v2(database, name, SQLITE_CHECKPOINT_PASSIVE, &inLog, &inFile) == SQLITE_OK;
  *static_cast<bool*>(isInFile) = isDone && inLog == inFile;
  return SQLITE_OK;
}

bool Connection::isLogInFile() const {
  if (logIsInFile_) return *logIsInFile_;
  constexpr int regionSize = 32768;
  constexpr std::uint32_t knownVersion = 3007000;
  constexpr std::size_t framesInLog = 4;
  constexpr std::size_t framesInFile = 24;
  sqlite3_file* file = rawFile();
  void volatile* region = nullptr;
  if (file->pMethods->iVersion < 2) return false;
  if (file->pMethods->xShmMap(file, 0, regionSize, 0, &region) != SQLITE_OK || region == nullptr) return false;
  const auto* index = static_cast<const std::uint32_t volatile*>(region);
  return index[0] == knownVersion && index[framesInLog] == index[framesInFile];
}

bool Connection::writeLogToFile() {
  int inLog = -1;
  int inFile = -1;
  const int code = sqlite3_wal_checkpoint_v2(database_, "main", SQLITE_CHECKPOINT_PASSIVE, &inLog, &inFile);
  return code == SQLITE_OK && inLog == inFile;
}

int Connection::totalChanges() const {
  return sqlite3_total_changes(database_);
}

Connection::FileLock::FileLock(Connection& connection, Kind kind) : file_(connection.rawFile()) {
  const auto lock = [&](int level) {
    int code = SQLITE_OK;
    for (int attempt = 0;; ++attempt) {
      code = file_->pMethods->xLock(file_, level);
      if (code != SQLITE_BUSY || !connection.waitForLock(attempt)) break;
    }
    if (code == SQLITE_OK) return;
    file_->pMethods->xUnlock(file_, SQLITE_LOCK_NONE);
    fail(code, connection.file(), "lock it");
  };
  lock(SQLITE_LOCK_SHARED);
  if (kind == Kind::alone) lock(SQLITE_LOCK_EXCLUSIVE);
}

Connection::FileLock::~FileLock() {
  file_->pMethods->xUnlock(file_, SQLITE_LOCK_NONE);
}

sqlite3_file* Connection::rawFile() const {
  sqlite3_file* file = nullptr;
  require(sqlite3_file_control(database_, "main", SQLITE_FCNTL_FILE_POINTER, &file), file_, "read");
  return file;
}

std::size_t Connection::readRaw(void* buffer, std::size_t size, std::int64_t offset) const {
  sqlite3_file* file = rawFile();
  const std::int64_t available = rawSize() - offset;
  if (available <= 0) return 0;
  const auto length = static_cast<std::size_t>(available) < size ? static_cast<std::size_t>(available) : size;
  require(file->pMethods->xRead(file, buffer, static_cast<int>(length), offset), file_, "read");
  return length;
}

std::int64_t Connection::rawSize() const {
  sqlite3_file* file = rawFile();
  sqlite3_int64 size = 0;
  require(file->pMethods->xFileSize(file, &size), file_, "read");
  return size;
}

}  // namespace database_client::embedded::sqlite
