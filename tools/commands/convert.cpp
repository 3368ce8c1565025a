// SPDX-License-Identifier: Apache-2.0
#include <memory>

#include "tools/commands/assignments.h"
#include "tools/commands/changes.h"
#include "tools/commands/commands.h"
#include "tools/core/NameColumns.h"
#include "values/Cell.h"
#include "values/Text.h"

namespace database_provider::recordctl {

namespace {

using values::inQuotes;

struct ConvertOptions {
  KindOption kind{};
  std::string name{};
  std::string type{};
  ConsentOptions consent{};
};

void convert(Session& session, const ConvertOptions& options) {
  const RecordKind kind = options.kind.kind();
  Name name = parseName(options.name, "NAME");
  if (name.field == Field::id || name.field == Field::category) throw UsageError("only a description has a type");
  name.field = Field::description;
  const auto type = values::columnType(options.type);
  if (!type) throw UsageError("unknown type " + inQuotes(options.type) + "; types are " + values::columnTypeNames());
  requireKnown(session, kind, name);
  changeAfterConsent(session, options.consent, [&](const ChangeOptions& change) {
    return session.records(kind).convert(name.text, *type, change);
  });
}

}  // namespace

void addConvert(const Command& commands, Session& session) {
  auto options = std::make_shared<ConvertOptions>();
  const Command command = commands.add("convert", "Make a description one of another type, in all records");
  command.argument("NAME", options->name, "the description");
  command.argument("TYPE", options->type, "string, bool, int, long, double or time");
  options->kind.addTo(command);
  options->consent.addTo(command);
  command.run([&session, options] { convert(session, *options); });
}

}  // namespace database_provider::recordctl
