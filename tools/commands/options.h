// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <list>
#include <string>
#include <vector>

#include "database_provider/files.h"
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

/// `--host-root`, where files are looked at.
struct RootOptions {
  std::vector<std::string> texts{};

  void addTo(const Command& command);
  /// Throws `UsageError`.
  FileRoots roots() const;
};

/// Writes what is wrong with a store to standard error, and notes the failure where there is something.
void tellProblems(Session& session, const std::list<std::string>& problems);

/// The path of a store in a file that is given as --store takes it or by its path alone. Throws `UsageError`, naming
/// what was given.
std::string pathOfFile(const std::string& store, const std::string& name);

/// Tells whose passwords a copy of a store could not take along.
void tellUsersWithoutPassword(const std::vector<std::string>& users);

/// Tells each sentence on standard error; if there is one, and `isStrict`, the command was used in a wrong way.
void tellAside(Session& session, const std::vector<std::string>& sentences, bool isStrict);

/// The sentence of a remark, with the option that leads to records of the other kind.
std::string sentenceOf(const Remark& remark, RecordKind asked);

}  // namespace database_provider::recordctl
