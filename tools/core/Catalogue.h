// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_provider/database_provider.h>

#include <set>
#include <string>
#include <vector>

#include "selection/Expression.h"
#include "tools/core/Records.h"

namespace database_provider::recordctl {

using selection::Field;
using selection::Name;

/// The names that the records of a kind have. A store in a file answers it from its index; a server reads all records.
struct Catalogue {
  std::vector<std::string> categories{};
  std::vector<DatabaseProviderInterface::Description> descriptions{};  ///< one for each name and kind of its values

  static Catalogue of(RecordKind kind, DataBaseClient& client);
};

/// The names of all categories or of all descriptions that records of the kind have.
std::set<std::string> namesInUse(RecordKind kind, DataBaseClient& client, Field field);

}  // namespace database_provider::recordctl
