#include <iostream>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/core/Text.h"

namespace database_provider::recordctl {

namespace {

void check(Session& session) {
  const database_client::CheckReport report = session.store(Access::existing).check();
  for (const std::string& problem : report.problems) std::cerr << "recordctl: " << printable(problem) << '\n';
  if (!report.problems.empty()) session.noteFailure();
  if (session.json()) {
    ObjectProperties result;
    result.setValueInt64("records", report.documents);
    result.setValueInt64("problems", static_cast<std::int64_t>(report.problems.size()));
    return writeJson(result);
  }
  std::cout << report.documents << " documents read, " << report.problems.size() << " problems\n";
}

}  // namespace

void addCheck(const Command& commands, Session& session) {
  commands.add("check", "Read a store in a file whole, and say what is wrong with it").run([&session] {
    check(session);
  });
}

}  // namespace database_provider::recordctl
