// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "database_provider/records.h"

/// Copies of a whole store, to be put back one day. A backup is itself a store in a file: it can be opened, asked,
/// checked and copied like any other. docs/backup.md says what is promised.
namespace database_provider {

/// What a backup holds, or what was put back.
struct BackupReport {
  long long records = 0;   ///< experiments and scenarios
  long long replaced = 0;  ///< records that the store held before it was restored
  std::string held{};      ///< what it held, as "4 records" or "2 users"; empty for an empty store
  /// Users that were written without their password, since a server hands none out: each has one now that nobody knows,
  /// until it is given another.
  std::vector<std::string> usersWithoutPassword{};
  /// Whether all of it is the state of one moment. Of a server it is not: each document is whole, and what others wrote
  /// meanwhile is in it or not.
  bool isOneMoment = true;
};

/// Writes everything that the library keeps in a store, users too, to a new file at `path`, for its owner alone; others
/// may go on reading and writing. Error{storage} where something is there already; nothing is left behind by a call
/// that fails. Of a file it is the file itself, whoever asks being its administrator where access is controlled; of a
/// server all that whoever asks may read, which must be all.
/// `login` is that of whoever asks, and opens the backup of a file in the end to tell what is in it.
DATABASE_PROVIDER_EXPORT BackupReport backUp(DataBaseClient& store, const std::string& path,
                                             const OpenOptions& login = {});

/// How a backup is put back.
struct RestoreOptions {
  OpenOptions login{};   ///< who asks the store, and the backup, where access to it is controlled
  bool replace = false;  ///< also a store that holds something, which is lost then
  bool dryRun = false;   ///< only tell
};

/// Puts a backup back into the store at an address, as `open` takes it. Error{query} where that store holds records,
/// settings or users other than its administrator, unless `replace`.
///
/// In a file, the backup takes the place of the whole file in one step, users with their passwords and all; a program
/// that has the old one open is told so by its next call, and so nobody may have it open with others (Error{storage}
/// or Error{timeout} else). Whoever asks must administer the users of the store where access is controlled. On a
/// server, documents are written one batch after the other, and what ends half-way is to be repeated with `replace`;
/// users that are there already stay as they are, others come without their passwords.
DATABASE_PROVIDER_EXPORT BackupReport restore(const std::string& path, const std::string& address,
                                              const RestoreOptions& options = {});

}  // namespace database_provider
