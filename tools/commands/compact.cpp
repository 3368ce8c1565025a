#include <iostream>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"

namespace database_provider::recordctl {

namespace {

void compact(Session& session) {
  session.store(Access::existing).compact();
  std::cerr << "recordctl: compacted\n";
}

}  // namespace

void addCompact(const Command& commands, Session& session) {
  commands.add("compact", "Give the free space of a store in a file back").run([&session] { compact(session); });
}

}  // namespace database_provider::recordctl
