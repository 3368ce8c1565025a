// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>

#include "client/embedded/sqlite/Connection.h"

namespace database_client::embedded {

/// Makes a new file for its owner alone, which `fill` makes a store. Throws Error{storage} when there is a file
/// already; when `fill` throws, the file is removed.
void makeStoreFile(const std::string& path, const std::function<void(const std::string& target)>& fill);

/// Copies the state that the connection reads to a new file, as `makeStoreFile` does. Others may go on writing.
void copyStore(sqlite::Connection& from, const std::string& path);

}  // namespace database_client::embedded
