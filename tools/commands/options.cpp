#include "tools/commands/options.h"

#include <iostream>

#include "tools/core/Errors.h"
#include "tools/core/Text.h"
#include "tools/filter/Parser.h"
#include "tools/filter/Query.h"

namespace database_provider::recordctl {

void KindOption::addTo(const Command& command) {
  command.choice("--kind", "KIND", name, {"experiment", "scenario"}, "experiment (the default) or scenario");
}

RecordKind KindOption::kind() const {
  return name == "scenario" ? RecordKind::scenario : RecordKind::experiment;
}

void SelectionOptions::addTo(const Command& command) {
  kind.addTo(command);
  command.textOption("--where", "FILTER", where, "only records that this filter selects: site=Waseca and yield>30");
}

void SelectionOptions::addLimitsTo(const Command& command) {
  command.count("--limit", limit, "at most so many records; 0, the default, for all");
  command.count("--skip", skip, "pass over so many records first");
}

Selection SelectionOptions::selection() const {
  try {
    return {filterOf(where), limit, skip};
  } catch (const FilterError& error) {
    throw UsageError(error.show(where));
  }
}

void tellProblems(Session& session, const std::list<std::string>& problems) {
  for (const std::string& problem : problems) std::cerr << "recordctl: " << printable(problem) << '\n';
  if (!problems.empty()) session.noteFailure();
}

}  // namespace database_provider::recordctl
