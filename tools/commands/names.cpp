// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <memory>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/core/answers.h"
#include "tools/terminal/Table.h"

namespace database_provider::recordctl {

namespace {

void showNames(Session& session, const KindOption& kind) {
  const std::vector<ListedName> names = listedNames(kind.kind(), session.store(Access::existing));
  if (session.json()) {
    for (const ListedName& name : names) writeJson(toJson(name));
    return;
  }
  Table table(std::cout, outputLayout(), {{"name"}, {"kind"}, {"type"}, {"count"}});
  for (const ListedName& name : names)
    table.add({{name.name}, {name.kind}, {name.type}, {std::to_string(name.count), true}});
  table.finish();
}

}  // namespace

void addNames(const Command& commands, Session& session) {
  auto kind = std::make_shared<KindOption>();
  const Command command = commands.add("names", "Categories configured and descriptions in use");
  kind->addTo(command);
  command.run([&session, kind] { showNames(session, *kind); });
}

}  // namespace database_provider::recordctl
