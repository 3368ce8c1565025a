// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "database_provider/types.h"

namespace database_provider {

/// Turns a flat document of switches into a projection.
class DATABASE_PROVIDER_EXPORT PropertiesToRecordProjection {
 public:
  /// For each boolean `name` of the current level of `switches`, sets "record.name" in `projection` to its value. Other
  /// kinds are passed over, and what `projection` held stays. Always true.
  static bool convert(const ObjectProperties& switches, ObjectProperties& projection);
};

}  // namespace database_provider
