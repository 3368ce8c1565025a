// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "client/embedded/sqlite/Connection.h"

/// What ties a write-ahead log to the state of the file that it continues.
///
/// The header of the file holds a random number, its generation, that the first commit of each log renews; the log
/// remembers the one before. A file that has neither of the two is not the one that the log was begun for: a backup
/// that was put in its place, an older copy, another store.
namespace database_client::embedded::generation {

/// The version of the format in the header's "user_version", which holds the generation as well once there is one.
std::int64_t versionIn(std::int64_t userVersion);
/// The same "user_version" with another version of the format.
std::int64_t withVersion(std::int64_t userVersion, std::int64_t version);

/// Whether what the connection reads, the file with its log, was begun for this file.
bool fits(sqlite::Connection& connection);
/// Gives the file a generation of its own, unless its version of the format has none; in a write transaction, while the
/// log is all in the file.
void renew(sqlite::Connection& connection);

}  // namespace database_client::embedded::generation
