// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

/// Names for the stores that somebody uses every day, which stand for their addresses: `--store @lab`.
///
/// They are kept in a file of lines "NAME ADDRESS", `recordctl/stores` in $XDG_CONFIG_HOME or ~/.config; a line that is
/// empty or begins with "#" says nothing. "file:~/" is the home folder. Passwords do not stand there: the file would be
/// copied to other machines and shown to colleagues.
namespace database_provider::recordctl {

/// The address of "@NAME"; any other text as it is. Throws `UsageError` where the file or the name is not there.
std::string addressOf(const std::string& store);

/// The names that there are, with their "@".
std::vector<std::string> storeNames();

}  // namespace database_provider::recordctl
