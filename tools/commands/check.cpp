// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <memory>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"

namespace database_provider::recordctl {

namespace {

using database_client::CheckReport;

long long countRecords(DataBaseClient& client) {
  long long result = 0;
  for (const RecordKind kind : {RecordKind::experiment, RecordKind::scenario}) {
    const RecordPlace place = placeOf(kind);
    result += client.count(place.database, place.collection, {});
  }
  return result;
}

/// How many of the documents are records; what keeps a damaged store from telling is one more problem.
long long recordsIn(DataBaseClient& client, CheckReport& report) {
  try {
    return countRecords(client);
  } catch (const database_client::Error& error) {
    if (error.kind() == database_client::Error::Kind::cancelled) throw;
    report.problems.emplace_back(error.what());
    return 0;
  }
}

void tell(Session& session, const CheckReport& report, long long records, const char* what) {
  tellProblems(session, report.problems);
  if (session.json()) {
    ObjectProperties result;
    result.setValueInt64("records", records);
    result.setValueInt64("problems", static_cast<std::int64_t>(report.problems.size()));
    return writeJson(result);
  }
  std::cout << report.documents << " documents " << what << ", " << records << " of them records, "
            << report.problems.size() << " problems\n";
}

void check(Session& session) {
  DataBaseClient& client = session.store(Access::existing);
  CheckReport report = client.check();
  const long long records = recordsIn(client, report);
  tell(session, report, records, "read");
}

void repair(Session& session, const std::string& to) {
  const std::string path = pathOfFile(to, "--repair");
  const CheckReport report = session.store(Access::existing).repair(path);
  const auto written = session.connect("file:" + path, Access::existing);
  tell(session, report, countRecords(*written), "written");
}

}  // namespace

void addCheck(const Command& commands, Session& session) {
  auto repaired = std::make_shared<std::string>();
  const Command command = commands.add("check", "Read a store in a file whole, and say what is wrong with it");
  command.option("--repair", "TO", *repaired,
                 "write all that is healthy, users too, to a new store in this file, and say what is lost");
  command.run([&session, repaired] {
    if (repaired->empty())
      check(session);
    else
      repair(session, *repaired);
  });
}

}  // namespace database_provider::recordctl
