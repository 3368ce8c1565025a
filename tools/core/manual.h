// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <iosfwd>
#include <string>

namespace CLI {
class App;
}

namespace database_provider::recordctl {

/// Writes the manual page of a command line, for `man`: what its help says, command by command, with what stands in no
/// help behind it: variables and files.
void writeManual(const CLI::App& app, const std::string& version, std::ostream& out);

}  // namespace database_provider::recordctl
