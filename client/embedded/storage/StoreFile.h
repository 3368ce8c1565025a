// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "client/embedded/sqlite/Connection.h"
#include "client/embedded/storage/StoreAddress.h"

/// From a path to a connection that may be trusted with it.
///
/// A store is a file of SQLite with the log that lies beside it while it is open (docs/file-format.md). SQLite opens
/// whatever lies at a path: it follows links, recovers any journal and any log, and makes a file that is missing. Here
/// all is looked at first, in bytes and before SQLite changes anything: what kind of file it is, whose database, of
/// which version, whether it is whole, and whether the log was begun for this file (generation.h).
///
/// Invariants:
/// - A file that is refused stays byte for byte what it was, and so does its log.
/// - A file that claims to be a store is one from its first moment: it is made under a rollback journal in one
///   transaction, and switched to the log afterwards. One that a crash left half made is empty again.
/// - What is looked at is what is opened: links in folders are resolved once, the file itself must be none, and nobody
///   can close the store, which moves its log into the file, while both are looked at (`inspect`).
/// - No descriptor of the file is closed while another client of this process may hold locks on it, which POSIX would
///   drop.
///
/// Why no lock file and no name of its own for a new store that is renamed in the end: both leave files behind after a
/// crash, and a rename would take the place of a store that somebody else made meanwhile.
namespace database_client::embedded {

/// A file that was made for a store, removed with its side files at the end of the scope unless it is kept. One that
/// others use meanwhile, or that holds anything, stays.
class NewFile {
 public:
  NewFile() = default;
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  ~NewFile();
  void made(const std::string& path) { path_ = path; }
  void keep() { path_.clear(); }

 private:
  std::string path_{};
};

/// Opens the store at an address, making it where it is missing and may be made.
///
/// Only a regular file is opened, through no symbolic link, and a new one is for its owner alone whatever the umask. A
/// file that is no store, is damaged at first sight, truncated, or of a newer version is refused with Error{storage}
/// and left byte for byte as it is.
sqlite::Connection openStore(const StoreAddress& address, NewFile& newFile);
/// The same, keeping the file that it made.
sqlite::Connection openStore(const StoreAddress& address);

/// Makes an empty file that only its owner can read, for a backup. Throws Error{storage} when there is one already.
/// Gives the path without symbolic links in its folders.
std::string createPrivateFile(const std::string& path);

}  // namespace database_client::embedded
