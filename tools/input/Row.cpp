// SPDX-License-Identifier: Apache-2.0
#include "tools/input/Row.h"

#include <numeric>

namespace database_provider::recordctl {

ObjectProperties Row::document() const {
  if (cells.empty()) return ObjectProperties::fromJson(json);
  ObjectProperties result;
  for (std::size_t i = 0; i < cells.size(); ++i) result.setValueString(keys[i], cells[i]);
  return result;
}

std::size_t Row::size() const {
  return std::accumulate(cells.begin(), cells.end(), json.size(),
                         [](std::size_t sum, const std::string& cell) { return sum + cell.size(); });
}

}  // namespace database_provider::recordctl
