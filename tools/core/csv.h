// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace database_provider::recordctl {

/// Writes cells as a line of CSV (RFC 4180) to standard output.
void writeCsvLine(const std::vector<std::string>& cells);

}  // namespace database_provider::recordctl
