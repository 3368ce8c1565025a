// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <memory>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"

namespace database_provider::recordctl {

namespace {

void explain(Session& session, const SelectionOptions& options) {
  const RecordPlace place = placeOf(options.kind.kind());
  const Selection selection = options.selection();
  const ObjectProperties plan =
      session.store(Access::existing).explain(place.database, place.collection, selection.query());
  const std::string index = plan.valueAsString("index", "");
  const std::int64_t returned = plan.valueAsInt64("returned", 0);
  if (returned == 0) options.tellUnmatched(session);
  if (session.json()) return writeJson(plan);
  std::cout << "query     " << selection.query().toJson() << '\n'
            << "index     " << (index.empty() ? "none: every record is read" : index) << '\n'
            << "examined  " << plan.valueAsInt64("examined", 0) << '\n'
            << "returned  " << returned << '\n';
}

}  // namespace

void addExplain(const Command& commands, Session& session) {
  auto options = std::make_shared<SelectionOptions>();
  const Command command = commands.add("explain", "How the store finds what a filter selects");
  options->addTo(command);
  command.run([&session, options] { explain(session, *options); });
}

}  // namespace database_provider::recordctl
