// SPDX-License-Identifier: Apache-2.0
#include "tools/core/csv.h"

#include <iostream>

#include "exporting/csv.h"

namespace database_provider::recordctl {

void writeCsvLine(const std::vector<std::string>& cells) {
  std::cout << exporting::csvLine(cells);
}

}  // namespace database_provider::recordctl
