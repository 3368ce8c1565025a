#pragma once

#include "client/embedded/StoreAddress.h"
#include "client/embedded/sqlite/Connection.h"

namespace database_client::embedded {

/// Opens the store at an address, making it where it is missing and may be made.
///
/// Only a regular file is opened, through no symbolic link, and a new one is for its owner alone whatever the umask. A
/// file that is no store, is damaged at first sight, truncated, or of a newer version is refused with Error{storage}
/// and left byte for byte as it is.
sqlite::Connection openStore(const StoreAddress& address);

/// Makes an empty file that only its owner can read, for a backup. Throws Error{storage} when there is one already.
/// Gives the path without symbolic links in its folders.
std::string createPrivateFile(const std::string& path);

}  // namespace database_client::embedded
