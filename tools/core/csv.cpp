// SPDX-License-Identifier: Apache-2.0
#include "tools/core/csv.h"

#include <csv.h>

#include <iostream>

namespace database_provider::recordctl {

namespace {

std::string csvCell(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  std::string result(2 * text.size() + 2, '\0');
  result.resize(csv_write(result.data(), result.size(), text.data(), text.size()));
  return result;
}

/// Lines end as RFC 4180 wants it.

}  // namespace

void writeCsvLine(const std::vector<std::string>& cells) {
  for (std::size_t i = 0; i < cells.size(); ++i) std::cout << (i == 0 ? "" : ",") << csvCell(cells[i]);
  std::cout << "\r\n";
}

}  // namespace database_provider::recordctl
