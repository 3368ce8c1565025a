// SPDX-License-Identifier: Apache-2.0
#include <iostream>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"

namespace database_provider::recordctl {

namespace {

void compact(Session& session) {
  DataBaseClient& client = session.store(Access::existing);
  client.compact();
  const std::list<std::string> problems = client.check().problems;
  if (problems.empty()) {
    std::cerr << "recordctl: compacted\n";
    return;
  }
  tellProblems(session, problems);
  std::cerr << "recordctl: free space is given back and the indexes are merged, but what is damaged stays so; "
               "\"recordctl check --repair TO\" writes all that is healthy to a new store\n";
}

}  // namespace

void addCompact(const Command& commands, Session& session) {
  commands.add("compact", "Give the free space of a store in a file back").run([&session] { compact(session); });
}

}  // namespace database_provider::recordctl
