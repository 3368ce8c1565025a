// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/core/Command.h"
#include "tools/core/Session.h"

namespace database_provider::recordctl {

/// What stands before an equals sign and behind it. The left side is still escaped, but for an equals sign with a
/// backslash before it; the right side is as it was typed.
struct Assignment {
  std::string left;
  std::string right;
};

/// Cuts at the first equals sign without a backslash before it; nothing where there is none.
std::optional<Assignment> splitAtEquals(const std::string& text);

/// The values that a command line gives to a record: `--category N=V`, `--description N[:TYPE]=V` and
/// `--file KIND:HOST:PATH`.
struct AssignmentOptions {
  std::vector<std::string> categories{};
  std::vector<std::string> descriptions{};
  std::vector<std::string> files{};

  void addTo(const Command& command);
  bool isEmpty() const { return categories.empty() && descriptions.empty() && files.empty(); }
};

/// The same, read.
struct Assignments {
  struct Category {
    std::string name;
    std::string value;
  };
  struct Description {
    std::string name;
    std::optional<PropertyType> type;
    std::string text;  ///< the value, or the formula
    bool isFormula;
  };

  std::vector<Category> categories{};
  std::vector<Description> descriptions{};
  std::vector<FileReference> files{};

  /// Throws `UsageError`; also for a name that stands twice, and a kind of file that records of this kind have not.
  static Assignments parse(const AssignmentOptions& options, RecordKind kind);
};

/// The value of a description, which is no formula: of the type that is given with it, else of the one type that the
/// name has in the store (which is not asked without `records`), else of the one that the text looks like. Throws
/// `UsageError` where the text is none.
Value valueOf(const Assignments::Description& description, const Records* records);

/// The assignments as a change of records, which loses the names of `unset`; without the values of descriptions, whose
/// types a store may have to tell. Throws `UsageError`.
Changes changesOf(const Assignments& assignments, const std::vector<std::string>& unset);

/// Adds these values. Throws `UsageError`, also for a name to be taken away, or to compute from, that no record has,
/// since nothing would become of it.
void completeChanges(Changes& changes, const Assignments& assignments, const std::vector<std::string>& unset,
                     const Records& records);

}  // namespace database_provider::recordctl
