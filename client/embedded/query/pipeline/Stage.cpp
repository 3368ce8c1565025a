// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/pipeline/Stage.h"

#include <string>

#include "client/embedded/query/values/errors.h"

namespace database_client::embedded {

void refuseMemory(std::string_view stage, const RunLimits& limits) {
  refuseQuery(code::queryExceededMemoryLimitNoDiskUseAllowed,
              std::string(stage) + " would need more than " + std::to_string(limits.memory) + " bytes of memory",
              stage);
}

}  // namespace database_client::embedded
