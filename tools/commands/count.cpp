// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <memory>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/core/answers.h"

namespace database_provider::recordctl {

namespace {

void count(Session& session, const SelectionOptions& options) {
  const Selection selection = options.selection();
  const long long records = session.records(options.kind.kind()).count(selection);
  if (session.json()) {
    writeJson(countJson(records));
  } else {
    std::cout << records << '\n';
  }
  if (records == 0) options.tellUnmatched(session);
}

}  // namespace

void addCount(const Command& commands, Session& session) {
  auto options = std::make_shared<SelectionOptions>();
  const Command command = commands.add("count", "How many records there are");
  options->addTo(command);
  command.run([&session, options] { count(session, *options); });
}

}  // namespace database_provider::recordctl
