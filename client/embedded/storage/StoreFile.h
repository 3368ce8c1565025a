// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "client/embedded/sqlite/Connection.h"
#include "client/embedded/storage/StoreAddress.h"

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
