// SPDX-License-Identifier: Apache-2.0
#include "database_provider/backup.h"

#include <iostream>
#include <memory>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"

namespace database_provider::recordctl {

namespace {

void backUpTo(Session& session, const std::string& file) {
  DataBaseClient& client = session.store(Access::existing);
  const BackupReport report = backUp(client, pathOfFile(file, "FILE"), session.login());
  tellUsersWithoutPassword(report.usersWithoutPassword);
  if (!report.isOneMoment)
    std::cerr << "recordctl: a server was read while others could write: each record is whole, but what they wrote "
                 "meanwhile is in the backup or not; its administrator is not in it\n";
  if (session.json()) {
    ObjectProperties result;
    result.setValueInt64("records", report.records);
    return writeJson(result);
  }
  std::cout << report.records << (report.records == 1 ? " record is" : " records are") << " in the backup\n";
}

}  // namespace

void addBackup(const Command& commands, Session& session) {
  auto file = std::make_shared<std::string>();
  const Command command =
      commands.add("backup", "Copy the whole store, users too, to a new file while others may go on writing");
  command.argument("FILE", *file, "the file, which must not be there; it is a store that can be opened itself");
  command.run([&session, file] { backUpTo(session, *file); });
}

}  // namespace database_provider::recordctl
