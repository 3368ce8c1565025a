// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/commands/choice.h"
#include "tools/core/NameColumns.h"

namespace database_provider::recordctl {

/// What commands do that change records, as `Deed` says it.
constexpr Deed changing{"Change", "changes", "changed"};

/// Runs a change of records; a request to stop is answered with what became of them. Tells which records failed and
/// why, up to twenty of them, and notes the failure.
ChangeResult runChange(Session& session, bool dryRun, const std::function<ChangeResult(const ChangeOptions&)>& change);

/// Tells the numbers, as text or as one JSON object; "skipped" only where a command can skip.
void tellResult(const Session& session, bool dryRun, bool canSkip, const ChangeResult& result);

/// Says how many records a change of a name is about, asks, and changes them. What would be refused is refused before.
void changeAfterConsent(Session& session, const ConsentOptions& consent,
                        const std::function<ChangeResult(const ChangeOptions&)>& change);

/// Throws `UsageError` for a name that no record has, and that is no configured category either.
void requireKnown(Session& session, RecordKind kind, const Name& name);

/// Throws `UsageError` with all sentences, where there are any: what they tell would make a change other than meant.
void refuseUnknown(const std::vector<std::string>& sentences);

}  // namespace database_provider::recordctl
