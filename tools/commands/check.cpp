#include <iostream>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/core/Text.h"

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
    report.problems.emplace_back(error.what());
    return 0;
  }
}

void check(Session& session) {
  DataBaseClient& client = session.store(Access::existing);
  CheckReport report = client.check();
  const long long records = recordsIn(client, report);
  for (const std::string& problem : report.problems) std::cerr << "recordctl: " << printable(problem) << '\n';
  if (!report.problems.empty()) session.noteFailure();
  if (session.json()) {
    ObjectProperties result;
    result.setValueInt64("records", records);
    result.setValueInt64("problems", static_cast<std::int64_t>(report.problems.size()));
    return writeJson(result);
  }
  std::cout << report.documents << " documents read, " << records << " of them records, " << report.problems.size()
            << " problems\n";
}

}  // namespace

void addCheck(const Command& commands, Session& session) {
  commands.add("check", "Read a store in a file whole, and say what is wrong with it").run([&session] {
    check(session);
  });
}

}  // namespace database_provider::recordctl
