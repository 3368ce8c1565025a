// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

#include "client/bson/utf8.h"

namespace database_client::json {

/// The options of a regular expression in alphabetical order, as they stand in JSON and in BSON that comes from it.
/// Options beyond ASCII, which no store knows, keep their order.
inline std::string sortedOptions(std::string_view options) {
  std::string sorted(options);
  if (bson::isAscii(sorted)) std::sort(sorted.begin(), sorted.end());
  return sorted;
}

}  // namespace database_client::json
