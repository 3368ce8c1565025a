// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "tools/core/Session.h"
#include "tools/input/Import.h"

namespace database_provider::recordctl {

/// Looks through all files, and adds to the plan what their columns can be. What can be read only once is kept in a
/// temporary file. Records that are there already tell what their names are. Gives the number of rows.
long long inferColumns(Session& session, ImportTask& task);

/// The columns that were found and what becomes of them, in a table on standard error.
void showColumns(const std::vector<InferredColumn>& columns);

/// The same in a line.
void tellColumns(const std::vector<InferredColumn>& columns);

/// The options that say what the plan says, for a shell.
std::string planOptions(const ImportPlan& plan);

/// A word as a shell takes it.
std::string shellWord(const std::string& text);

}  // namespace database_provider::recordctl
