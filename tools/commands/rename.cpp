// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <memory>
#include <optional>

#include "tools/commands/assignments.h"
#include "tools/commands/changes.h"
#include "tools/commands/commands.h"
#include "tools/core/NameColumns.h"
#include "values/Nearest.h"
#include "values/Text.h"

namespace database_provider::recordctl {

namespace {

using values::inQuotes;
using values::unescaped;

struct RenameOptions {
  KindOption kind{};
  std::string name{};
  std::optional<std::string> newName{};
  std::vector<std::string> values{};
  bool merge = false;
  ConsentOptions consent{};
};

void renameName(Session& session, const RenameOptions& options, const Name& name) {
  const RecordKind kind = options.kind.kind();
  Renaming renaming{name.text, unescaped(*options.newName), options.merge};
  if (renaming.to.empty()) throw UsageError("the new name is empty");
  renaming.kind = kindOf(name.field);
  requireKnown(session, kind, name);
  changeAfterConsent(session, options.consent,
                     [&](const ChangeOptions& change) { return session.records(kind).rename(renaming, change); });
}

void renameValues(Session& session, const RenameOptions& options, const Name& name) {
  const RecordKind kind = options.kind.kind();
  std::vector<std::pair<std::string, std::string>> values;
  for (const std::string& text : options.values) {
    const auto assignment = splitAtEquals(text);
    if (!assignment || assignment->left.empty() || assignment->right.empty())
      throw UsageError("--value: expected OLD=NEW, found " + inQuotes(text));
    values.emplace_back(unescaped(assignment->left), assignment->right);
  }
  if (name.field == Field::description)
    throw UsageError("--value: values of categories are renamed, not those of descriptions");
  requireKnown(session, kind, {Field::category, name.text});
  std::vector<std::string> known;
  for (const Facet& facet : session.records(kind).facets(name.text)) known.push_back(facet.value);
  std::vector<std::string> sentences;
  for (const auto& value : values) {
    if (std::find(known.begin(), known.end(), value.first) == known.end())
      sentences.push_back("--value: no record has the " + name.text + " " + inQuotes(value.first) +
                          values::suggestion(value.first, known));
  }
  refuseUnknown(sentences);
  changeAfterConsent(session, options.consent, [&](const ChangeOptions& change) {
    return session.records(kind).renameValues(name.text, values, change);
  });
}

void rename(Session& session, const RenameOptions& options) {
  const Name name = parseName(options.name, "NAME");
  if (name.field == Field::id) throw UsageError("a record keeps its id");
  if (options.newName.has_value() == !options.values.empty())
    throw UsageError("give a new name, or --value OLD=NEW for the values of a category");
  if (options.merge && !options.newName) throw UsageError("--merge is for names; values become one by themselves");
  options.newName ? renameName(session, options, name) : renameValues(session, options, name);
}

}  // namespace

void addRename(const Command& commands, Session& session) {
  auto options = std::make_shared<RenameOptions>();
  const Command command = commands.add("rename", "Rename a category or description, or the values of a category");
  command.argument("NAME", options->name, "the name; category:NAME or description:NAME where it is both");
  command.argument("NEW", options->newName, "its new name", Traits::optional());
  options->kind.addTo(command);
  command.option("--value", "OLD=NEW", options->values, "another value of the category; may stand more than once");
  command.flag("--merge", options->merge, "make one name of two; a record that has both must have one value");
  options->consent.addTo(command);
  command.run([&session, options] { rename(session, *options); });
}

}  // namespace database_provider::recordctl
