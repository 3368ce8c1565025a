// SPDX-License-Identifier: Apache-2.0

// A backup of a file is made by the engine, page by page, under a snapshot; it is put back by taking the old file's
// place. Only so are the users' credentials kept, which no engine hands out as documents. Between a file and a server,
// and between servers, what the library keeps is copied document by document: records, configured categories, settings,
// and of the users all but their passwords.
//
// A backup of a server is made in a folder of its own beside its place, and gets its name when it is whole, so that a
// process that is killed leaves no half backup that looks like one.

#include "database_provider/backup.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <system_error>
#include <utility>

#include "database_client/codes.h"
#include "database_provider/deployment.h"
#include "records/layout.h"
#include "repository/kinds.h"
#include "values/Text.h"

namespace database_provider {

namespace fs = std::filesystem;
using database_client::Error;

namespace {

constexpr const char* administrator = "admin";

std::vector<layout::Place> placesOfTheLibrary() {
  return {{layout::experiments.database, layout::configuration},
          {layout::scenarios.database, layout::configuration},
          layout::experiments,
          layout::scenarios,
          layout::settings};
}

long long recordsIn(DataBaseClient& store) {
  long long result = 0;
  for (const RecordKind kind : {RecordKind::experiment, RecordKind::scenario}) result += Records(store, kind).count();
  return result;
}

[[noreturn]] void fail(const std::string& path) {
  throw Error(Error::Kind::storage, path + ": " + std::strerror(errno), {path});
}

fs::path folderOf(const std::string& file) {
  const fs::path path(file);
  return path.has_parent_path() ? path.parent_path() : fs::path(".");
}

/// Else a power cut could take the new name away again.
void syncFolder(const fs::path& folder) {
  const int descriptor = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (descriptor < 0) return;
  static_cast<void>(::fsync(descriptor));
  ::close(descriptor);
}

/// A folder beside a file, of the same file system and for its owner alone, that goes with all that is in it.
class FolderBeside {
 public:
  explicit FolderBeside(const std::string& file) {
    std::string name = (folderOf(file) / ".backup-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr) fail(file);
    path_ = name;
  }
  FolderBeside(const FolderBeside&) = delete;
  FolderBeside& operator=(const FolderBeside&) = delete;
  ~FolderBeside() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }

  std::string file() const { return path_ / "store.db"; }

 private:
  fs::path path_;
};

/// Gives a file the owner and the rights of the one whose place it takes, as far as this process may.
void keepAccess(const std::string& from, const std::string& to) {
  struct stat found {};
  if (::stat(from.c_str(), &found) != 0) fail(from);
  // Those of a group that it cannot be given to would go to another group.
  const bool isGiven = ::chown(to.c_str(), found.st_uid, found.st_gid) == 0;
  const mode_t rights = found.st_mode & (isGiven ? S_IRWXU | S_IRWXG | S_IRWXO : S_IRWXU);
  if (::chmod(to.c_str(), rights) != 0) fail(to);
}

/// A path as an address, which takes what stands behind a "?" for options.
std::string addressOf(const std::string& path, const char* options) {
  if (path.empty() || path.find('?') != std::string::npos || path == ":memory:")
    throw Error(Error::Kind::query, "a backup is a file, and its path holds no \"?\"", {"path"});
  return "file:" + path + options;
}

/// The path in the address of a store in a file; empty for any other.
std::string pathOf(const std::string& address) {
  constexpr std::string_view scheme = "file:";
  if (address.compare(0, scheme.size(), scheme) != 0) return "";
  const std::string path = address.substr(scheme.size());
  return path == ":memory:" ? "" : path.substr(0, path.find('?'));
}

/// Copies the documents of one place into another store, which has none of them.
void copyPlace(DataBaseClient& from, DataBaseClient& to, const layout::Place& place) {
  constexpr std::size_t mostDocuments = 1000;
  constexpr std::size_t mostBytes = 8U << 20U;
  std::vector<ObjectProperties> batch;
  std::size_t bytes = 0;
  const auto flush = [&] {
    std::vector<const ObjectProperties*> documents;
    documents.reserve(batch.size());
    for (const ObjectProperties& document : batch) documents.push_back(&document);
    std::vector<std::string> ids;
    const auto failures = to.insertMany(place.database, place.collection, documents, ids);
    if (!failures.empty()) {
      const Error& first = failures.front().error;
      throw Error(first.kind(), first.what(), {first.where(), first.code(), false, first.outcomeUnknown()});
    }
    batch.clear();
    bytes = 0;
  };
  from.findEach(place.database, place.collection, {}, {}, 0, 0, [&](ObjectProperties& document) {
    bytes += document.toBson().size();
    batch.push_back(std::move(document));
    if (batch.size() >= mostDocuments || bytes >= mostBytes) flush();
    return true;
  });
  if (!batch.empty()) flush();
}

std::string randomPassword() {
  constexpr int words = 8;
  std::random_device source;
  std::string result;
  for (int i = 0; i < words; ++i) result += std::to_string(source()) + "-";
  return result;
}

void forEachUser(DataBaseClient& store, const std::function<void(const ObjectProperties&)>& receive) {
  store.findEach(layout::users.database, layout::users.collection, {}, {}, 0, 0, [&](const ObjectProperties& user) {
    const bool isOfTheLibrary = user.valueAsString("db", "") == databaseTypeToString(DatabaseType::databaseManager);
    if (isOfTheLibrary && user.valueAsString("user", "") != administrator) receive(user);
    return true;
  });
}

/// Users that are there already stay as they are. The administrator is not copied: with a password that nobody knows,
/// nobody could open the copy.
std::vector<std::string> copyUsers(DataBaseClient& from, DataBaseClient& to) {
  std::vector<ObjectProperties> users;
  try {
    forEachUser(from, [&](const ObjectProperties& user) { users.push_back(user); });
  } catch (const Error& error) {
    if (error.kind() != Error::Kind::unsupported) throw;  // a server without users
  }
  std::vector<std::string> result;
  if (users.empty()) return result;
  to.setUpDeployment(libraryPlan());
  for (const ObjectProperties& user : users) {
    const std::string name = user.valueAsString("user", "");
    ObjectProperties roles;
    ObjectProperties data;
    if (const auto array = database_client::EnteredScope::array(user, "roles")) {
      for (int i = 0; i < user.size(); ++i) roles.copyValue(std::to_string(i), user, std::to_string(i));
    }
    if (const auto group = database_client::EnteredScope::group(user, "customData")) {
      for (const std::string& key : user.childKeys()) data.copyValue(key, user, key);
    }
    try {
      to.createUser(user.valueAsString("db", ""), name, randomPassword(), roles, data);
      result.push_back(name);
    } catch (const Error& error) {
      if (error.code() != database_client::code::userExists) throw;
    }
  }
  return result;
}

BackupReport copyAll(DataBaseClient& from, DataBaseClient& to) {
  BackupReport result;
  result.isOneMoment = false;
  for (const layout::Place& place : placesOfTheLibrary()) copyPlace(from, to, place);
  result.usersWithoutPassword = copyUsers(from, to);
  result.records = recordsIn(to);
  return result;
}

BackupReport backUpServer(DataBaseClient& store, const std::string& path) {
  const FolderBeside folder(path);
  BackupReport result;
  {
    // Nobody else has it yet, and what a loss of power takes is not a backup before it has its name.
    const std::unique_ptr<DataBaseClient> copy = open(addressOf(folder.file(), "?exclusive=true&synchronous=normal"));
    result = copyAll(store, *copy);
    copy->compact();
    copy->disconnect();
  }
  const int descriptor = ::open(folder.file().c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0 || ::fsync(descriptor) != 0) fail(path);
  ::close(descriptor);
  if (::chmod(folder.file().c_str(), S_IRUSR | S_IWUSR) != 0) fail(path);
  // A second name, unlike a move, does not take the place of a file that came meanwhile.
  if (::link(folder.file().c_str(), path.c_str()) != 0) fail(path);
  syncFolder(folderOf(path));
  return result;
}

/// Why a store is not one to restore into; nothing for an empty one.
std::string whatItHolds(DataBaseClient& store, long long records) {
  if (records > 0) return std::to_string(records) + (records == 1 ? " record" : " records");
  long long users = 0;
  try {
    forEachUser(store, [&](const ObjectProperties& /*user*/) { ++users; });
  } catch (const Error& error) {
    if (error.kind() != Error::Kind::unsupported) throw;
  }
  if (users > 0) return std::to_string(users) + (users == 1 ? " user" : " users");
  const layout::Place& settings = layout::settings;
  return store.count(settings.database, settings.collection, {}) > 0 ? "settings of users" : "";
}

void requireEmpty(DataBaseClient& store, BackupReport& report, const RestoreOptions& options) {
  report.replaced = recordsIn(store);
  report.held = whatItHolds(store, report.replaced);
  if (!report.held.empty() && !options.replace && !options.dryRun)
    throw Error(Error::Kind::query, "the store holds " + report.held + ", which only a replacement takes away",
                {"address"});
}

BackupReport restoreFile(DataBaseClient& backup, const std::string& address, const std::string& path,
                         const RestoreOptions& options) {
  BackupReport result;
  result.records = recordsIn(backup);
  std::error_code ignored;
  if (!fs::exists(fs::symlink_status(path, ignored))) {
    if (!options.dryRun) backup.backup(path);
    return result;
  }
  OpenOptions login = options.login;
  login.create = false;
  // Nobody else may have it open; whoever has will not be waited for to the end of a day's work.
  const bool hasOptions = address.find('?') != std::string::npos;
  const bool hasTimeout = address.find("timeout=") != std::string::npos;
  const std::string alone = address + (hasOptions ? "&" : "?") + "exclusive=true" + (hasTimeout ? "" : "&timeout=3000");
  const std::unique_ptr<DataBaseClient> old = open(options.dryRun ? address : alone, login);
  // A dry run tells nothing but whether whoever asks may administer the users.
  database_client::DeploymentPlan mayAdminister;
  mayAdminister.dryRun = true;
  mayAdminister.administratorPassword = "any";
  old->setUpDeployment(mayAdminister);
  requireEmpty(*old, result, options);
  if (options.dryRun) return result;
  const FolderBeside folder(path);
  backup.backup(folder.file());
  // Closed first: its log would belong to another file then.
  old->disconnect();
  for (const char* side : {"-wal", "-shm"}) {
    if (fs::exists(path + side, ignored))
      throw Error(Error::Kind::storage, path + side + " is there, so that somebody has the store open", {path});
  }
  keepAccess(path, folder.file());
  if (::rename(folder.file().c_str(), path.c_str()) != 0) fail(path);
  syncFolder(folderOf(path));
  return result;
}

BackupReport restoreDocuments(DataBaseClient& backup, const std::string& address, const RestoreOptions& options) {
  const std::unique_ptr<DataBaseClient> store = open(address, options.login);
  BackupReport result;
  requireEmpty(*store, result, options);
  if (options.dryRun) {
    result.records = recordsIn(backup);
    forEachUser(backup, [&](const ObjectProperties& user) {
      result.usersWithoutPassword.push_back(user.valueAsString("user", ""));
    });
    return result;
  }
  for (const layout::Place& place : placesOfTheLibrary()) store->remove(place.database, place.collection, {});
  const BackupReport before = result;
  result = copyAll(backup, *store);
  result.replaced = before.replaced;
  result.held = before.held;
  return result;
}

}  // namespace

BackupReport backUp(DataBaseClient& store, const std::string& path, const OpenOptions& login) {
  std::error_code ignored;
  const std::string address = addressOf(path, "");
  if (fs::exists(fs::symlink_status(path, ignored)))
    throw Error(Error::Kind::storage, path + " is there already", {"path"});
  if (!store.keepsInsertionOrder()) return backUpServer(store, path);
  store.backup(path);
  // What others wrote to the store meanwhile is not in the backup: that is what is asked how much it holds.
  OpenOptions existing = login;
  existing.create = false;
  BackupReport result;
  result.records = recordsIn(*open(address, existing));
  return result;
}

BackupReport restore(const std::string& path, const std::string& address, const RestoreOptions& options) {
  OpenOptions login = options.login;
  login.create = false;
  std::unique_ptr<DataBaseClient> backup;
  try {
    backup = open(addressOf(path, ""), login);
  } catch (const Error& error) {
    // A backup of a server controls no access, and knows no administrator who could log in.
    if (error.kind() != Error::Kind::authentication) throw;
    login.user.clear();
    backup = open(addressOf(path, ""), login);
  }
  const std::string file = pathOf(address);
  if (file.empty()) return restoreDocuments(*backup, address, options);
  std::error_code ignored;
  if (fs::equivalent(path, file, ignored)) throw Error(Error::Kind::query, "the backup is the store itself", {"path"});
  return restoreFile(*backup, address, file, options);
}

}  // namespace database_provider
