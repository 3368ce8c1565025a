// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/storage/StoreFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <random>
#include <string_view>

#include "client/DamageError.h"
#include "client/embedded/sqlite/Transaction.h"
#include "client/embedded/storage/Schema.h"
#include "client/embedded/storage/generation.h"
#include "database_client/Error.h"

namespace database_client::embedded {

namespace {

using Clock = std::chrono::steady_clock;
using sqlite::Connection;
using sqlite::FileGuard;
using sqlite::Transaction;

constexpr int cachedBytes = 64 * 1024 * 1024;  ///< the pages that a client keeps, as docs/performance.md promises
constexpr mode_t ownerOnly = S_IRUSR | S_IWUSR;

[[noreturn]] void refuse(const std::string& path, const std::string& why) {
  throw Error(Error::Kind::storage, "store " + path + ": " + why, {path});
}

[[noreturn]] void refuse(const std::string& path, const std::string& doing, int systemError) {
  std::array<char, 128> text{};
  refuse(path, doing + ": " + strerror_r(systemError, text.data(), text.size()));
}

/// The path with the symbolic links of its folders resolved, so that none is left but perhaps the file itself.
std::string resolveFolder(const std::string& path) {
  // Resolved once, so that no link that is changed later leads file and log to different folders.
  const std::size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  if (name.empty() || name == "." || name == "..") refuse(path, "a folder is no store");
  struct Free {
    void operator()(char* text) const { std::free(text); }  // NOLINT(cppcoreguidelines-no-malloc): realpath's rule
  };
  const std::unique_ptr<char, Free> resolved(realpath(folder.c_str(), nullptr));
  if (!resolved) refuse(path, "its folder cannot be entered", errno);
  const std::string base(resolved.get());
  return base == "/" ? base + name : base + "/" + name;
}

const char* kindOfFile(mode_t mode) {
  if (S_ISDIR(mode)) return "a folder is no store";
  if (S_ISLNK(mode)) return "a symbolic link is not followed";
  return "only a regular file can be a store";
}

/// Whether there is a file; throws for what is no regular one.
bool isThere(const std::string& path, struct stat& status) {
  if (lstat(path.c_str(), &status) != 0) {
    if (errno == ENOENT) return false;
    refuse(path, "it cannot be looked at", errno);
  }
  if (!S_ISREG(status.st_mode)) refuse(path, kindOfFile(status.st_mode));
  if (status.st_nlink > 1)
    refuse(path, "the file has more than one name (a hard link); each would have a log of its own");
  return true;
}

/// False when somebody else made it first.
bool createEmpty(const std::string& path) {
  const int descriptor = ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, ownerOnly);
  if (descriptor < 0) {
    if (errno == EEXIST) return false;
    refuse(path, "it cannot be made", errno);
  }
  const bool changed = fchmod(descriptor, ownerOnly) == 0;  // The umask may have taken rights away.
  const int failure = errno;
  close(descriptor);
  if (!changed) refuse(path, "it cannot be made", failure);
  return true;
}

/// What the first bytes of a file tell. SQLite keeps these numbers with the highest byte first.
class Header {
 public:
  explicit Header(const Connection& connection) : fileSize_(connection.rawSize()) {
    size_ = connection.readRaw(bytes_.data(), bytes_.size(), 0);
  }

  bool isEmpty() const { return fileSize_ == 0; }
  bool isSqlite() const { return size_ == bytes_.size() && std::memcmp(bytes_.data(), magic, sizeof magic) == 0; }
  std::uint32_t applicationId() const { return number(68); }
  std::int64_t version() const { return generation::versionIn(number(60)); }
  /// Whether the file ends before the last page it should have.
  bool isTruncated() const {
    // The number of pages (28) is that of the change (24) for which it was written (92).
    const bool countIsCurrent = number(24) == number(92);
    return countIsCurrent && static_cast<std::uint64_t>(fileSize_) < std::uint64_t{number(28)} * pageSize();
  }

 private:
  static constexpr char magic[] = "SQLite format 3";

  std::uint32_t number(std::size_t at) const {
    return std::uint32_t{bytes_[at]} << 24U | std::uint32_t{bytes_[at + 1]} << 16U |
           std::uint32_t{bytes_[at + 2]} << 8U | std::uint32_t{bytes_[at + 3]};
  }
  std::uint64_t pageSize() const {
    const std::uint64_t size = std::uint64_t{bytes_[16]} << 8U | bytes_[17];
    return size == 1 ? 65536 : size;  // which two bytes cannot hold
  }

  std::array<std::uint8_t, 100> bytes_{};
  std::size_t size_ = 0;
  std::int64_t fileSize_;
};

/// Whether the journal beside a file tells that the making of a store was interrupted: the file was empty before the
/// transaction, and will be again. Any other journal belongs to somebody else's database.
bool isInterruptedCreation(const std::string& path) {
  const int descriptor = ::open((path + "-journal").c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
  if (descriptor < 0) return false;
  std::array<char, 20> head{};
  const ssize_t length = read(descriptor, head.data(), head.size());
  close(descriptor);
  // The head of a rollback journal: what begins all of them; at 16 the pages that the database had before.
  constexpr std::string_view journalMagic("\xd9\xd5\x05\xf9\x20\xa1\x63\xd7", 8);
  constexpr std::string_view noPages("\0\0\0\0", 4);
  const std::string_view bytes(head.data(), length < 0 ? 0 : static_cast<std::size_t>(length));
  return bytes.size() == head.size() && bytes.substr(0, 8) == journalMagic && bytes.substr(16, 4) == noPages;
}

bool hasLog(const std::string& path) {
  struct stat status {};
  return stat((path + "-wal").c_str(), &status) == 0 && status.st_size > 0;
}

[[noreturn]] void refuseNewer(const std::string& path, std::int64_t found) {
  refuse(path, "it has format version " + std::to_string(found) + ", and this library knows versions up to " +
                   std::to_string(schema::version));
}

/// Looks at the bytes before SQLite does anything that could change the file or put others beside it. True when the
/// file is a store, false when it is one that is still to be made.
bool inspect(Connection& connection, bool create) {
  const std::string& path = connection.file();
  // Without it another could close the store between two looks: its log, in the file, is then in neither.
  const Connection::FileLock lock(connection, Connection::FileLock::Kind::shared);
  const Header header(connection);
  if (header.isEmpty() || isInterruptedCreation(path)) {
    if (!create) refuse(path, "it is empty");
    return false;
  }
  if (!header.isSqlite()) refuse(path, "the file is not a store");
  if (header.applicationId() != schema::applicationId) refuse(path, "the file is another program's database");
  if (header.version() > schema::version) refuseNewer(path, header.version());
  if (header.version() == 0) refuse(path, "the file is damaged: it has no format version");
  // With a log, what the header counts may still be in it.
  if (!hasLog(path) && header.isTruncated()) refuse(path, "the file is damaged: its end is missing");
  return true;
}

/// Made with a rollback journal, so that the header in the file itself tells from the first moment what it is.
void makeStore(Connection& connection) {
  connection.execute("PRAGMA page_size=" + std::to_string(schema::pageSize));
  connection.execute("PRAGMA auto_vacuum=0");
  connection.execute("PRAGMA synchronous=FULL");
  Transaction transaction(connection, Transaction::Kind::write);
  if (connection.integer("SELECT count(*) FROM sqlite_schema") == 0) schema::create(connection);
  transaction.commit();
}

void configure(Connection& connection) {
  connection.execute("PRAGMA cell_size_check=1");  // A damaged page is noticed when it is read, not when it is used.
  // In pages: SQLite takes a size in bytes by pages of another size, as long as it has not read the file.
  connection.execute("PRAGMA cache_size=" + std::to_string(cachedBytes / schema::pageSize));
  // A large transaction leaves a large log, which would keep its size until the store is closed.
  connection.execute("PRAGMA journal_size_limit=67108864");
  // What is removed is overwritten where that takes no writing of further pages.
  connection.execute("PRAGMA secure_delete=FAST");
}

/// SQLite itself does not wait here while others have the file open. Nor does it say so when it could not write that
/// there is a log from now on; the next look at the file tells.
bool switchToLog(Connection& connection) {
  for (int attempt = 0;; ++attempt) {
    try {
      connection.text("PRAGMA journal_mode=WAL");
      connection.integer("PRAGMA user_version");
      return connection.text("PRAGMA journal_mode") == "wal";
    } catch (const Error& error) {
      if (error.kind() != Error::Kind::timeout || !connection.waitForLock(attempt)) throw;
    }
  }
}

void startLog(Connection& connection, const StoreAddress& address) {
  // What could not be written once may be the next time.
  if (!connection.readOnly() && !switchToLog(connection) && !switchToLog(connection)) {
    refuse(connection.file(), "its file system cannot hold a write-ahead log, or has no space for it");
  }
  connection.execute(address.synchronousFull ? "PRAGMA synchronous=FULL" : "PRAGMA synchronous=NORMAL");
  // The lock of an exclusive client is taken with its first write.
  if (address.exclusive) Transaction(connection, Transaction::Kind::write).commit();
}

FileGuard::Kind kindOf(const StoreAddress& address) {
  return address.exclusive ? FileGuard::Kind::alone : FileGuard::Kind::shared;
}

/// Before anything else is done with the connection.
void enter(Connection& connection, const StoreAddress& address) {
  connection.enter(kindOf(address));
  if (address.exclusive) connection.execute("PRAGMA locking_mode=EXCLUSIVE");
}

/// The log is left as it is until it is known to be this file's.
void requireOwnLog(Connection& connection) {
  connection.keepLogOnClose();
  if (!generation::fits(connection)) {
    const std::string& path = connection.file();
    refuse(path,
           "the log beside it was begun for another state of the file, which seems to have been put in its place: "
           "move " +
               path + "-wal and " + path + "-shm away to use the file as it is, or put that other file back");
  }
  connection.keepLogOnClose(false);
}

/// Those who have the file open would go on writing what the older version wants, so it takes the file for itself
/// alone, with a connection of its own. Where damage keeps it from that, the store stays what it is. False when others
/// have the file open: of several who wait for each other, all but one have to let it go.
bool bringUpToDate(const std::string& path, const StoreAddress& address, bool keepsLog, Clock::time_point deadline) {
  StoreAddress alone = address;
  alone.exclusive = true;
  alone.synchronousFull = true;
  // Chance keeps two who wait for each other from giving up and coming back at the same time.
  const int patience = 20 + static_cast<int>(std::random_device()() % 100);
  Connection connection = Connection::openFile(path, std::min(patience, address.timeoutMilliseconds));
  try {
    enter(connection, alone);
    configure(connection);
    startLog(connection, alone);
    schema::migrate(connection, schema::migrations(), schema::version);
    // The version has to stand in the file itself, not only in the log.
    connection.execute("PRAGMA wal_checkpoint(TRUNCATE)");
  } catch (const DamageError&) {
    if (keepsLog) connection.keepLogOnClose();
  } catch (const Error& error) {
    if (keepsLog) connection.keepLogOnClose();
    if (error.kind() != Error::Kind::timeout || Clock::now() >= deadline) throw;
    return false;
  }
  return true;
}

/// Gives the version of the format. A refusal leaves a log that was there before as it is.
std::int64_t verify(Connection& connection, bool keepsLog) {
  try {
    const std::int64_t found = schema::versionOf(connection);
    if (found > schema::version) refuseNewer(connection.file(), found);
    schema::verify(connection);
    return found;
  } catch (...) {
    if (keepsLog) connection.keepLogOnClose();
    throw;
  }
}

Connection openMemory() {
  Connection connection = Connection::openMemory();
  makeStore(connection);
  return connection;
}

std::string prepareFile(const StoreAddress& address, NewFile& newFile) {
  std::string path = resolveFolder(address.path);
  struct stat status {};
  if (isThere(path, status)) return path;
  if (!address.create) refuse(path, "there is no such file");
  if (createEmpty(path)) {
    newFile.made(path);
  } else {
    isThere(path, status);  // What somebody else made meanwhile is looked at like any other.
  }
  return path;
}

/// Whether nothing was put into a store that is locked.
bool isUnused(Connection& connection) {
  if (connection.rawSize() == 0 || isInterruptedCreation(connection.file())) return true;
  return connection.integer("SELECT count(*) FROM collections") == 0;
}

}  // namespace

NewFile::~NewFile() {
  if (path_.empty()) return;
  try {
    Connection connection = Connection::openFile(path_, 0);
    // Without shared memory, which would put one more file beside it.
    connection.execute("PRAGMA locking_mode=EXCLUSIVE");
    const Connection::FileLock lock(connection, Connection::FileLock::Kind::alone);
    if (connection.fileMoved() || !isUnused(connection)) return;
    for (const char* side : {"", "-journal", "-wal", "-shm"}) unlink((path_ + side).c_str());
    connection.keepLogOnClose();
  } catch (...) {  // Somebody else uses it by now.
  }
}

Connection openStore(const StoreAddress& address) {
  NewFile newFile;
  Connection connection = openStore(address, newFile);
  newFile.keep();
  return connection;
}

Connection openStore(const StoreAddress& address, NewFile& newFile) {
  if (address.isMemory()) return openMemory();
  // Closing a descriptor drops all locks that this process holds on the file, so nobody else may open the file between
  // its making and the closing of the descriptor that made it.
  static std::mutex making;
  const std::lock_guard<std::mutex> guard(making);
  const std::string path = prepareFile(address, newFile);
  const bool hadLog = hasLog(path);
  const auto deadline = Clock::now() + std::chrono::milliseconds(address.timeoutMilliseconds);
  // At most twice round, unless others keep the file from being brought up to date.
  for (bool isAsNewAsItGets = false;;) {
    {  // The connection is closed before the file is taken alone.
      Connection connection = Connection::openFile(path, address.timeoutMilliseconds);
      enter(connection, address);
      const bool isStore = inspect(connection, address.create);
      if (isStore) requireOwnLog(connection);
      configure(connection);
      if (!isStore) makeStore(connection);
      const std::int64_t found = verify(connection, hadLog);
      if (found == schema::version || connection.readOnly() || isAsNewAsItGets) {
        startLog(connection, address);
        connection.stay(kindOf(address));
        return connection;
      }
      if (hadLog) connection.keepLogOnClose();
    }
    isAsNewAsItGets = bringUpToDate(path, address, hadLog, deadline);
  }
}

std::string createPrivateFile(const std::string& path) {
  std::string resolved = resolveFolder(path);
  if (!createEmpty(resolved)) refuse(resolved, "there is a file already");
  return resolved;
}

}  // namespace database_client::embedded
