#pragma once

#include <list>
#include <string>

#include "tools/core/Command.h"
#include "tools/core/Records.h"
#include "tools/core/Session.h"

namespace database_provider::recordctl {

/// `--kind`, on every command that addresses records.
struct KindOption {
  std::string name = "experiment";

  void addTo(const Command& command);
  RecordKind kind() const;
};

/// `--where`, with the limits that some commands take.
struct SelectionOptions {
  KindOption kind{};
  std::string where{};
  int limit = 0;
  int skip = 0;

  void addTo(const Command& command);
  void addLimitsTo(const Command& command);
  Selection selection() const;
};

/// Writes what is wrong with a store to standard error, and notes the failure where there is something.
void tellProblems(Session& session, const std::list<std::string>& problems);

}  // namespace database_provider::recordctl
