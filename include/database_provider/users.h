// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "database_provider/UsersDatabaseInterface.h"
#include "database_provider/records.h"

namespace database_provider {

/// The users of the store at an address, as `open` takes it, over a connection of their own. Never null; Error with its
/// kind and reason when the store cannot be reached or refuses the user. A store in memory has none.
DATABASE_PROVIDER_EXPORT std::unique_ptr<UsersDatabaseInterface> openUsers(const std::string& address,
                                                                           const OpenOptions& options = {});

}  // namespace database_provider
