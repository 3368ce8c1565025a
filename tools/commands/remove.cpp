// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <memory>
#include <set>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/terminal/Interrupt.h"
#include "tools/terminal/Terminal.h"
#include "values/Text.h"

namespace database_provider::recordctl {

namespace {

using values::inQuotes;

struct RemoveOptions {
  std::vector<std::string> ids{};
  SelectionOptions selection{};
  bool all = false;
  bool yes = false;
  bool dryRun = false;
};

/// Each id once, however it is written.
std::set<std::string> distinct(const std::vector<std::string>& ids) {
  std::set<std::string> result;
  for (const std::string& id : ids) {
    ObjectProperties document;
    document.setValueId("_id", id);
    result.insert(document.valueAsId("_id", ""));
  }
  return result;
}

/// What is to go. An empty filter never stands for everything; whoever means that says so.
Selection selectionOf(const RemoveOptions& options, const std::set<std::string>& ids) {
  const bool hasFilter = !options.selection.where.empty();
  if (static_cast<int>(!options.ids.empty()) + static_cast<int>(hasFilter) + static_cast<int>(options.all) > 1)
    throw UsageError("IDs, --where and --all exclude each other");
  if (!ids.empty()) return Selection::ofIds({ids.begin(), ids.end()});
  Selection selection = options.selection.selection();
  if (!options.all && selection.selectsAll())
    throw UsageError("what is to be removed? Give IDs, --where FILTER, or --all for every record");
  return selection;
}

std::string records(long long count) {
  return std::to_string(count) + (count == 1 ? " record" : " records");
}

bool isAllowed(const RemoveOptions& options, long long count) {
  if (options.yes || count == 0) return true;
  if (!standardInputIsTerminal()) throw UsageError("nobody can be asked; --yes removes " + records(count));
  return confirmed("Remove " + records(count) + "?");
}

/// Those of the ids that no record has, looked for one by one: a record that cannot be read is there all the same.
std::set<std::string> missingOf(DataBaseClient& client, const RecordPlace& place, const std::set<std::string>& ids) {
  std::set<std::string> result;
  for (const std::string& id : ids) {
    ObjectProperties query;
    query.setValueId("_id", id);
    if (client.count(place.database, place.collection, query) == 0) result.insert(id);
  }
  return result;
}

void tellMissing(Session& session, const std::set<std::string>& missing) {
  constexpr std::size_t toldInFull = 20;
  std::size_t told = 0;
  for (const std::string& id : missing) {
    if (++told > toldInFull) break;
    std::cerr << "recordctl: no record has the id " << inQuotes(id) << '\n';
  }
  if (missing.size() > toldInFull)
    std::cerr << "recordctl: and " << missing.size() - toldInFull << " more of the ids are not there\n";
  if (!missing.empty()) session.noteFailure();
}

void tell(const Session& session, const RemoveOptions& options, long long count) {
  if (session.json()) {
    ObjectProperties result;
    result.setValueInt64("removed", options.dryRun ? 0 : count);
    writeJson(result);
  } else {
    std::cout << records(count) << (options.dryRun ? " would be removed" : " removed") << '\n';
  }
}

/// Removes what was counted; a request to stop is answered with what became of it.
void removeSelected(const DatabaseProviderInterface& provider, const Selection& selection) {
  try {
    provider.remove(selection.filter());
  } catch (const database_client::Error& error) {
    if (wasInterrupted())
      std::cerr << "recordctl: "
                << (error.outcomeUnknown() ? "how many records were removed is not known" : "nothing was removed")
                << '\n';
    throw;
  }
}

void remove(Session& session, const RemoveOptions& options) {
  const std::set<std::string> ids = distinct(options.ids);
  const Selection selection = selectionOf(options, ids);
  const RecordKind kind = options.selection.kind.kind();
  const RecordPlace place = placeOf(kind);
  const auto provider = session.provider(kind, Access::existing);
  DataBaseClient& client = session.store(Access::existing);
  const ObjectProperties& query = selection.query();
  const long long count = client.count(place.database, place.collection, query);
  const bool areAllThere = count == static_cast<long long>(ids.size());
  const std::set<std::string> missing = areAllThere ? std::set<std::string>() : missingOf(client, place, ids);
  if (count == 0) options.selection.tellUnmatched(session);
  if (options.dryRun) {
    tell(session, options, count);
    return tellMissing(session, missing);
  }
  if (!isAllowed(options, count)) {
    std::cerr << "recordctl: nothing was removed\n";
    return tell(session, options, 0);
  }
  removeSelected(*provider, selection);
  client.setCancellation({});  // what was done is told, whatever comes now
  tell(session, options, count - client.count(place.database, place.collection, query));
  tellMissing(session, missing);
}

}  // namespace

void addRemove(const Command& commands, Session& session) {
  auto options = std::make_shared<RemoveOptions>();
  options->selection.isStrict = true;
  const Command command = commands.add("remove", "Remove records");
  command.argument("ID", options->ids, "ids of records", Traits::optional());
  options->selection.addTo(command);
  command.flag("--all", options->all, "every record");
  command.flag("--yes,-y", options->yes, "do not ask");
  command.flag("--dry-run", options->dryRun, "only say how many");
  command.run([&session, options] { remove(session, *options); });
}

}  // namespace database_provider::recordctl
