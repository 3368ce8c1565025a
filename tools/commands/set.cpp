// SPDX-License-Identifier: Apache-2.0
#include <memory>

#include "tools/commands/assignments.h"
#include "tools/commands/changes.h"
#include "tools/commands/commands.h"

namespace database_provider::recordctl {

namespace {

struct SetOptions {
  ChoiceOptions choice{};
  AssignmentOptions assignments{};
  std::vector<std::string> unset{};
  ConsentOptions consent{};
};

void set(Session& session, const SetOptions& options) {
  const RecordKind kind = options.choice.selection.kind.kind();
  const Assignments assignments = Assignments::parse(options.assignments, kind);
  if (options.assignments.isEmpty() && options.unset.empty())
    throw UsageError("what is to be changed? Give --category, --description, --unset or --file");
  Changes changes = changesOf(assignments, options.unset);
  const Choice choice = choose(session, options.choice, changing);
  if (choice.count > 0) completeChanges(changes, assignments, options.unset, session.records(kind));
  const bool dryRun = options.consent.dryRun;
  ChangeResult result;
  if (dryRun || isAllowed(options.consent, changing, choice.count))
    result = runChange(session, dryRun, [&](const ChangeOptions& change) {
      return session.records(kind).update(choice.selection, changes, change);
    });
  tellResult(session, dryRun, true, result);
  tellMissing(session, choice);
}

}  // namespace

void addSet(const Command& commands, Session& session) {
  auto options = std::make_shared<SetOptions>();
  const Command command = commands.add("set", "Change what is named of records, and keep the rest");
  options->choice.addTo(command);
  options->assignments.addTo(command);
  command.option(
      "--unset", "NAME", options->unset,
      "take the category and the description of the name away; category:NAME or description:NAME one of them");
  options->consent.addTo(command);
  command.footer(
      "--description N==FORMULA computes from the numeric descriptions of each record: 'yield==yield * 1.1'. It knows\n"
      "+ - * / and parentheses; a record that lacks a number is skipped. In a file all records are changed or none.");
  command.run([&session, options] { set(session, *options); });
}

}  // namespace database_provider::recordctl
