// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <set>
#include <string>
#include <vector>

#include "tools/commands/options.h"

namespace database_provider::recordctl {

/// Whether somebody is asked before records are written, and whether they are: `--yes` and `--dry-run`.
struct ConsentOptions {
  bool yes = false;
  bool dryRun = false;

  void addTo(const Command& command);
};

/// What a command does to records, as questions and messages say it: "Remove", "removes", "removed".
struct Deed {
  const char* imperative;
  const char* present;
  const char* participle;
};

/// Which records: `ID… | --where FILTER | --all`.
struct ChoiceOptions {
  std::vector<std::string> ids{};
  SelectionOptions selection{};
  bool all = false;

  void addTo(const Command& command);
};

/// The records that were chosen.
struct Choice {
  Selection selection{};
  long long count = 0;
  std::set<std::string> missing{};  ///< the ids that no record has
};

/// Looks for what was chosen. A filter that selects nothing is told why. Throws `UsageError` where nothing is chosen,
/// or in two ways: an empty filter never stands for everything; whoever means that says so.
Choice choose(Session& session, const ChoiceOptions& options, const Deed& deed);

/// "1 record", "5 records".
std::string records(long long count);

/// Asks whether so many records may be written, unless `--yes` says so; throws `UsageError` where nobody can be asked.
/// Tells where the answer is no.
bool isAllowed(const ConsentOptions& options, const Deed& deed, long long count);

/// Tells which of the chosen ids are not there, and notes the failure.
void tellMissing(Session& session, const Choice& choice);

}  // namespace database_provider::recordctl
