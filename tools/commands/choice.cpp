// SPDX-License-Identifier: Apache-2.0
#include "tools/commands/choice.h"

#include <iostream>

#include "tools/terminal/Terminal.h"
#include "values/Text.h"

namespace database_provider::recordctl {

namespace {

using values::inQuotes;

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

Selection selectionOf(const ChoiceOptions& options, const std::set<std::string>& ids, const Deed& deed) {
  const bool hasFilter = !options.selection.where.empty();
  if (static_cast<int>(!options.ids.empty()) + static_cast<int>(hasFilter) + static_cast<int>(options.all) > 1)
    throw UsageError("IDs, --where and --all exclude each other");
  if (!ids.empty()) return Selection::ofIds({ids.begin(), ids.end()});
  Selection selection = options.selection.selection();
  if (!options.all && selection.selectsAll())
    throw UsageError(std::string("what is to be ") + deed.participle +
                     "? Give IDs, --where FILTER, or --all for every record");
  return selection;
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

}  // namespace

void ConsentOptions::addTo(const Command& command) {
  command.flag("--yes,-y", yes, "do not ask");
  command.flag("--dry-run", dryRun, "only say how many");
}

void ChoiceOptions::addTo(const Command& command) {
  selection.isStrict = true;
  command.argument("ID", ids, "ids of records", Traits::optional());
  selection.addTo(command);
  command.flag("--all", all, "every record");
}

Choice choose(Session& session, const ChoiceOptions& options, const Deed& deed) {
  const std::set<std::string> ids = distinct(options.ids);
  Choice result;
  result.selection = selectionOf(options, ids, deed);
  const RecordPlace place = placeOf(options.selection.kind.kind());
  DataBaseClient& client = session.store(Access::existing);
  result.count = client.count(place.database, place.collection, result.selection.query());
  const bool areAllThere = result.count == static_cast<long long>(ids.size());
  if (!areAllThere) result.missing = missingOf(client, place, ids);
  if (result.count == 0) options.selection.tellUnmatched(session);
  return result;
}

std::string records(long long count) {
  return std::to_string(count) + (count == 1 ? " record" : " records");
}

bool isAllowed(const ConsentOptions& options, const Deed& deed, long long count) {
  if (options.yes || count == 0) return true;
  if (!standardInputIsTerminal())
    throw UsageError(std::string("nobody can be asked; --yes ") + deed.present + " " + records(count));
  if (confirmed(std::string(deed.imperative) + " " + records(count) + "?")) return true;
  std::cerr << "recordctl: nothing was " << deed.participle << '\n';
  return false;
}

void tellMissing(Session& session, const Choice& choice) {
  constexpr std::size_t toldInFull = 20;
  std::size_t told = 0;
  for (const std::string& id : choice.missing) {
    if (++told > toldInFull) break;
    std::cerr << "recordctl: no record has the id " << inQuotes(id) << '\n';
  }
  if (choice.missing.size() > toldInFull)
    std::cerr << "recordctl: and " << choice.missing.size() - toldInFull << " more of the ids are not there\n";
  if (!choice.missing.empty()) session.noteFailure();
}

}  // namespace database_provider::recordctl
