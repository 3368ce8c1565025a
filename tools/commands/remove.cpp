// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <memory>

#include "tools/commands/choice.h"
#include "tools/commands/commands.h"
#include "tools/terminal/Interrupt.h"

namespace database_provider::recordctl {

namespace {

constexpr Deed deed{"Remove", "removes", "removed"};

struct RemoveOptions {
  ChoiceOptions choice{};
  ConsentOptions consent{};
};

void tell(const Session& session, const RemoveOptions& options, long long count) {
  if (session.json()) {
    ObjectProperties result;
    result.setValueInt64("removed", options.consent.dryRun ? 0 : count);
    writeJson(result);
  } else {
    std::cout << records(count) << (options.consent.dryRun ? " would be removed" : " removed") << '\n';
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
  const Choice choice = choose(session, options.choice, deed);
  if (options.consent.dryRun) {
    tell(session, options, choice.count);
    return tellMissing(session, choice);
  }
  if (!isAllowed(options.consent, deed, choice.count)) return tell(session, options, 0);
  const RecordKind kind = options.choice.selection.kind.kind();
  const RecordPlace place = placeOf(kind);
  DataBaseClient& client = session.store(Access::existing);
  removeSelected(*session.provider(kind, Access::existing), choice.selection);
  client.setCancellation({});  // what was done is told, whatever comes now
  tell(session, options, choice.count - client.count(place.database, place.collection, choice.selection.query()));
  tellMissing(session, choice);
}

}  // namespace

void addRemove(const Command& commands, Session& session) {
  auto options = std::make_shared<RemoveOptions>();
  const Command command = commands.add("remove", "Remove records");
  options->choice.addTo(command);
  options->consent.addTo(command);
  command.run([&session, options] { remove(session, *options); });
}

}  // namespace database_provider::recordctl
