// SPDX-License-Identifier: Apache-2.0
#include <memory>

#include "tools/commands/assignments.h"
#include "tools/commands/changes.h"
#include "tools/commands/commands.h"
#include "tools/core/NameColumns.h"

namespace database_provider::recordctl {

namespace {

struct SetOptions {
  ChoiceOptions choice{};
  AssignmentOptions assignments{};
  std::vector<std::string> unset{};
  ConsentOptions consent{};
};

void addFormula(Changes& changes, const Assignments::Description& description) {
  try {
    changes.compute(description.name, description.text, description.type.value_or(PropertyType::undefined));
  } catch (const std::exception& error) {
    throw UsageError("--description: " + std::string(error.what()));
  }
}

void unset(Changes& changes, const Name& name) {
  if (name.field == Field::id) throw UsageError("--unset: a record keeps its id");
  const auto kind = kindOf(name.field);
  kind ? changes.unset(*kind, name.text) : changes.unset(name.text);
}

/// Names that no record has are mistyped, since nothing would become of them.
void refuseUnknownNames(Session& session, RecordKind kind, const std::vector<Name>& unset, const Changes& changes) {
  const Records records = session.records(kind);
  std::vector<std::string> sentences;
  for (const Name& name : unset) {
    if (const auto remark = records.remarkOn(name.text, kindOf(name.field)))
      sentences.push_back("--unset: " + sentenceOf(*remark, kind));
  }
  for (const std::string& name : records.unknownOperands(changes)) {
    if (const auto remark = records.remarkOn(name, NameInUse::Kind::description))
      sentences.push_back("--description: " + sentenceOf(*remark, kind));
  }
  refuseUnknown(sentences);
}

void set(Session& session, const SetOptions& options) {
  const RecordKind kind = options.choice.selection.kind.kind();
  const Assignments assignments = Assignments::parse(options.assignments, kind);
  if (options.assignments.isEmpty() && options.unset.empty())
    throw UsageError("what is to be changed? Give --category, --description, --unset or --file");
  Changes changes;
  std::vector<Name> names;
  for (const std::string& text : options.unset) {
    names.push_back(parseName(text, "--unset"));
    unset(changes, names.back());
  }
  for (const auto& [name, value] : assignments.categories) changes.category(name, value);
  for (const FileReference& file : assignments.files) changes.file(file.type, file.host, file.path);
  for (const Assignments::Description& description : assignments.descriptions) {
    if (description.isFormula) addFormula(changes, description);
  }
  const Choice choice = choose(session, options.choice, changing);
  for (const Assignments::Description& description : assignments.descriptions) {
    if (!description.isFormula) changes.description(description.name, valueOf(description, session, kind));
  }
  if (choice.count > 0) refuseUnknownNames(session, kind, names, changes);
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
