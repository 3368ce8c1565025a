// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "tools/core/Command.h"
#include "tools/core/Session.h"

namespace database_provider::recordctl {

// Each adds one command to the command line; the session must outlive it.

void addImport(const Command& commands, Session& session);
void addImportSumo(const Command& commands, Session& session);
void addList(const Command& commands, Session& session);
void addShow(const Command& commands, Session& session);
void addNames(const Command& commands, Session& session);
void addCategoriesCommand(const Command& commands, Session& session);
void addFacets(const Command& commands, Session& session);
void addSources(const Command& commands, Session& session);
void addExport(const Command& commands, Session& session);
void addAdd(const Command& commands, Session& session);
void addSet(const Command& commands, Session& session);
void addRename(const Command& commands, Session& session);
void addConvert(const Command& commands, Session& session);
void addRemove(const Command& commands, Session& session);
void addUsers(const Command& commands, Session& session);
void addSettings(const Command& commands, Session& session);
void addInit(const Command& commands, Session& session);
void addExplain(const Command& commands, Session& session);
void addCheck(const Command& commands, Session& session);
void addCompact(const Command& commands, Session& session);
void addCopy(const Command& commands, Session& session);
void addInfo(const Command& commands, Session& session);
void addCount(const Command& commands, Session& session);
void addStats(const Command& commands, Session& session);
void addCoverage(const Command& commands, Session& session);
void addCompare(const Command& commands, Session& session);
void addDoctor(const Command& commands, Session& session);
void addFiles(const Command& commands, Session& session);
void addBackup(const Command& commands, Session& session);
void addRestore(const Command& commands, Session& session);
/// Works on the command line as a whole, which must live until the command has run.
void addCompletion(const CommandLine& commandLine, Session& session);

}  // namespace database_provider::recordctl
