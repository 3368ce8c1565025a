#pragma once

#include <string>

#include "tools/core/Command.h"
#include "tools/core/Records.h"

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

}  // namespace database_provider::recordctl
