// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fuzz {

/// Ends the program as a crash does, which the fuzzer takes for a finding.
inline void require(bool holds, const char* what) {
  if (holds) return;
  std::cerr << "does not hold: " << what << std::endl;
  std::abort();
}

}  // namespace fuzz
