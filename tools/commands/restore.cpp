// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <memory>

#include "database_provider/backup.h"
#include "tools/commands/choice.h"
#include "tools/commands/commands.h"
#include "tools/core/Network.h"
#include "tools/terminal/Interrupt.h"
#include "tools/terminal/Terminal.h"

namespace database_provider::recordctl {

namespace {

struct RestoreArguments {
  std::string file{};
  bool replace = false;
  bool yes = false;
  bool dryRun = false;
};

void tell(const Session& session, const BackupReport& report, bool isDone) {
  if (session.json()) {
    ObjectProperties result;
    result.setValueInt64("records", isDone ? report.records : 0);
    return writeJson(result);
  }
  std::cout << records(report.records) << (isDone ? " restored" : " would be restored");
  if (report.replaced > 0) std::cout << (isDone ? " in the place of " : ", and take the place of ") << report.replaced;
  std::cout << '\n';
}

/// Whoever replaces a store is told what is lost, and asked.
bool isAllowed(const RestoreArguments& arguments, const BackupReport& report) {
  if (report.held.empty() || arguments.yes) return true;
  const std::string what = "replaces " + report.held + " by " + records(report.records);
  if (!standardInputIsTerminal()) throw UsageError("nobody can be asked; --yes " + what);
  return confirmed("This " + what + ". Go on?");
}

void restoreFrom(Session& session, const RestoreArguments& arguments) {
  const std::string path = pathOfFile(arguments.file, "FILE");
  const std::string& address = session.options.store;
  StoreAddress::parse(address, Access::create);  // refuses what is no address in the words of the command line
  if (!session.options.login.user.empty()) warnWhenInTheClear(address);
  RestoreOptions options;
  options.login = session.login();
  options.replace = arguments.replace;
  options.dryRun = true;
  const BackupReport plan = restore(path, address, options);
  if (!plan.held.empty() && !arguments.replace)
    throw UsageError("the store holds " + plan.held + "; --replace puts the backup in the place of all that it holds");
  if (arguments.dryRun) return tell(session, plan, false);
  if (!isAllowed(arguments, plan)) {
    std::cerr << "recordctl: nothing was restored\n";
    return;
  }
  checkInterrupt();
  options.dryRun = false;
  const BackupReport report = restore(path, address, options);
  tellUsersWithoutPassword(report.usersWithoutPassword);
  tell(session, report, true);
}

}  // namespace

void addRestore(const Command& commands, Session& session) {
  auto arguments = std::make_shared<RestoreArguments>();
  const Command command = commands.add("restore", "Put a backup back into an empty store");
  command.argument("FILE", arguments->file, "what \"backup\" wrote, or any store in a file");
  command.flag("--replace", arguments->replace, "also into a store that holds something, which is lost");
  command.flag("--yes,-y", arguments->yes, "do not ask");
  command.flag("--dry-run", arguments->dryRun, "only say how many records");
  command.run([&session, arguments] { restoreFrom(session, *arguments); });
}

}  // namespace database_provider::recordctl
