// SPDX-License-Identifier: Apache-2.0
#include "exporting/csv.h"

#include <csv.h>

namespace database_provider::exporting {

std::string csvLine(const std::vector<std::string>& cells) {
  std::string result;
  std::string quoted;
  for (const std::string& cell : cells) {
    if (&cell != &cells.front()) result += ',';
    if (cell.find_first_of(",\"\r\n") == std::string::npos) {
      result += cell;
      continue;
    }
    quoted.resize(2 * cell.size() + 2);
    result.append(quoted, 0, csv_write(quoted.data(), quoted.size(), cell.data(), cell.size()));
  }
  return result + "\r\n";
}

}  // namespace database_provider::exporting
