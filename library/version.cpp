// SPDX-License-Identifier: Apache-2.0
#include "database_provider/version.h"

namespace database_provider {

const char* version() noexcept {
  return DATABASE_PROVIDER_VERSION;
}

}  // namespace database_provider
