// SPDX-License-Identifier: Apache-2.0
#include "database_client/version.h"

namespace database_client {

const char* version() noexcept {
  return DATABASE_CLIENT_VERSION;
}

}  // namespace database_client
