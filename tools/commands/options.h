// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <list>
#include <string>
#include <vector>

#include "tools/core/Command.h"
#include "tools/core/Records.h"
#include "tools/core/Session.h"

namespace database_provider::recordctl {

/// `--kind`, on every command that addresses records.
struct KindOption {
  std::string name{};

  void addTo(const Command& command);
  RecordKind kind() const;
  bool isGiven() const { return !name.empty(); }
};

/// `--where`, with the limits that some commands take.
struct SelectionOptions {
  KindOption kind{};
  std::string where{};
  int limit = 0;
  int skip = 0;
  bool isStrict = false;

  void addTo(const Command& command);
  void addLimitsTo(const Command& command);
  /// Throws `UsageError` for a filter that cannot be read.
  Selection selection() const;
  /// The limits.
  FindOptions range() const;
  /// To be called where nothing was selected: tells on standard error what in the filter no record can ever meet (see
  /// `Records::remarks`). With `--strict` that is wrong use.
  void tellUnmatched(Session& session) const;
};

/// Writes what is wrong with a store to standard error, and notes the failure where there is something.
void tellProblems(Session& session, const std::list<std::string>& problems);

/// Tells each sentence on standard error; if there is one, and `isStrict`, the command was used in a wrong way.
void tellAside(Session& session, const std::vector<std::string>& sentences, bool isStrict);

/// The sentence of a remark, with the option that leads to records of the other kind.
std::string sentenceOf(const Remark& remark, RecordKind asked);

}  // namespace database_provider::recordctl
