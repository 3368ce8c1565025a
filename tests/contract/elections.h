// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace database_test {

/// Whether the engine changes its primary again and again.
inline bool electsPrimaries(const std::string& engine) {
  return engine == "elections";
}

constexpr const char* electionsEndCountedWrites =
    "an election ends a write whose documents are counted with an unknown outcome, and nobody repeats it";

}  // namespace database_test
