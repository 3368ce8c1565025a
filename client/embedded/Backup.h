#pragma once

#include <string>

#include "client/embedded/sqlite/Connection.h"

namespace database_client::embedded {

/// Copies the state that the connection reads to a new file, for its owner alone. Others may go on writing. Throws
/// Error{storage} when there is a file already; a copy that fails is removed.
void copyStore(sqlite::Connection& from, const std::string& path);

}  // namespace database_client::embedded
