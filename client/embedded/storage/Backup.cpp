// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/storage/Backup.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <utility>

#include "client/DamageError.h"
#include "client/embedded/sqlite/Transaction.h"
#include "client/embedded/sqlite/throwError.h"
#include "client/embedded/storage/StoreFile.h"
#include "client/embedded/storage/generation.h"

namespace database_client::embedded {

namespace {

constexpr int pagesAtOnce = 1000;  ///< 8 MB, between two looks at whether the copy is still wanted

struct FinishBackup {
  void operator()(sqlite3_backup* backup) const noexcept { sqlite3_backup_finish(backup); }
};

/// Removes the file at the end of the scope unless it was finished.
class Unfinished {
 public:
  explicit Unfinished(std::string path) : path_(std::move(path)) {}
  Unfinished(const Unfinished&) = delete;
  Unfinished& operator=(const Unfinished&) = delete;
  ~Unfinished() {
    if (finished_) return;
    for (const char* side : {"", "-wal", "-shm", "-journal"}) unlink((path_ + side).c_str());
  }
  void finish() { finished_ = true; }

 private:
  std::string path_;
  bool finished_ = false;
};

/// A new name is safe from a loss of power once its folder is written.
void syncFolder(const std::string& path) {
  const std::string folder = path.substr(0, path.rfind('/') + 1);
  const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return;
  fsync(descriptor);
  close(descriptor);
}

void copyPages(sqlite::Connection& from, sqlite::Connection& to) {
  const std::unique_ptr<sqlite3_backup, FinishBackup> backup(
      sqlite3_backup_init(to.handle(), "main", from.handle(), "main"));
  if (!backup) sqlite::fail(sqlite3_extended_errcode(to.handle()), to.file(), "copy");
  int code = SQLITE_OK;
  // No lock has to be waited for: one transaction reads all of it, and nobody else has the copy.
  while (code == SQLITE_OK) {
    from.cancellation().check();
    code = sqlite3_backup_step(backup.get(), pagesAtOnce);
  }
  if (code != SQLITE_DONE) sqlite::fail(code, to.file(), "copy");
}

/// No log that may lie beside the copy one day continues it.
void renewGeneration(sqlite::Connection& copy) {
  try {
    sqlite::Transaction change(copy, sqlite::Transaction::Kind::write);
    generation::renew(copy);
    change.commit();
  } catch (const DamageError&) {  // The copy is as damaged as the store.
  }
}

}  // namespace

void makeStoreFile(const std::string& path, const std::function<void(const std::string& target)>& fill) {
  const std::string target = createPrivateFile(path);
  Unfinished unfinished(target);
  fill(target);
  // Last, when the file itself is written: a name that survives a loss of power then leads to a whole copy.
  syncFolder(target);
  unfinished.finish();
}

void copyStore(sqlite::Connection& from, const std::string& path) {
  makeStoreFile(path, [&from](const std::string& target) {
    // Held open, the transaction keeps the state that is copied the same to the end.
    const sqlite::Transaction snapshot(from, sqlite::Transaction::Kind::read);
    from.integer("SELECT count(*) FROM sqlite_schema");  // The first statement is what fixes the state.
    auto to = sqlite::Connection::openFile(target, 0);
    copyPages(from, to);
    renewGeneration(to);
  });
}

}  // namespace database_client::embedded
