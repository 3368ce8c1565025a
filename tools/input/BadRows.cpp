// SPDX-License-Identifier: Apache-2.0
#include "tools/input/BadRows.h"

#include <iostream>
#include <string>

#include "values/Text.h"

namespace database_provider::recordctl {

namespace {

using values::excerpt;

constexpr std::size_t toldInFull = 20;
constexpr std::size_t longestReason = 500;

}  // namespace

void BadRows::add(const BadRow& row) {
  const RowOrigin& origin = row.origin;
  if (++count_ > toldInFull) return;
  beforeLine_();
  std::cerr << origin.file << (origin.line > 0 ? ":" + std::to_string(origin.line) : "") << ": "
            << (row.column.empty() ? "" : excerpt(row.column) + ": ") << excerpt(row.reason, longestReason)
            << (origin.row > 0 ? " (row " + std::to_string(origin.row) + ")" : "") << '\n';
}

void BadRows::finish() const {
  if (count_ <= toldInFull) return;
  beforeLine_();
  std::cerr << "recordctl: and " << count_ - toldInFull << " more bad rows\n";
}

}  // namespace database_provider::recordctl
