// SPDX-License-Identifier: Apache-2.0
#include "database_provider/users.h"
#include "users/UsersDatabase.h"

namespace database_provider {

std::unique_ptr<UsersDatabaseInterface> openUsers(const std::string& address, const OpenOptions& options) {
  return std::make_unique<UsersDatabase>(open(address, options));
}

}  // namespace database_provider
