// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <memory>
#include <tuple>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/core/valueText.h"

namespace database_provider::recordctl {

namespace {

struct NameInUse {
  std::string name;
  const char* kind;
  std::string type;
  long long count;
};

long long recordsWithCategory(RecordKind kind, DataBaseClient& client, const std::string& name) {
  const RecordPlace place = placeOf(kind);
  ObjectProperties query;
  query.setValueString(layout::path::categoryName, name);
  return client.count(place.database, place.collection, query);
}

std::vector<NameInUse> namesInUse(Session& session, RecordKind kind) {
  const auto provider = session.provider(kind, Access::existing);
  std::list<std::string> categories;
  provider->enumCategoriesNames(categories);
  std::list<DatabaseProviderInterface::Description> descriptions;
  provider->enumDescriptionsNames(descriptions);
  descriptions.sort([](const auto& left, const auto& right) {
    return std::tie(left.name, left.type) < std::tie(right.name, right.type);
  });
  std::vector<NameInUse> result;
  for (const std::string& name : categories)
    result.push_back({name, "category", "string", recordsWithCategory(kind, session.store(Access::existing), name)});
  for (const auto& description : descriptions)
    result.push_back({description.name, "description", typeName(description.type), description.count});
  return result;
}

ObjectProperties toJson(const NameInUse& name) {
  ObjectProperties result;
  result.setValueString("name", name.name);
  result.setValueString("kind", name.kind);
  result.setValueString("type", name.type);
  result.setValueInt64("count", name.count);
  return result;
}

void showNames(Session& session, const KindOption& kind) {
  const auto names = namesInUse(session, kind.kind());
  if (session.json()) {
    for (const NameInUse& name : names) writeJson(toJson(name));
    return;
  }
  Table table(std::cout, outputLayout(), {{"name"}, {"kind"}, {"type"}, {"count"}});
  for (const NameInUse& name : names)
    table.add({{name.name}, {name.kind}, {name.type}, {std::to_string(name.count), true}});
  table.finish();
}

}  // namespace

void addNames(const Command& commands, Session& session) {
  auto kind = std::make_shared<KindOption>();
  const Command command = commands.add("names", "Categories configured and descriptions in use");
  kind->addTo(command);
  command.run([&session, kind] { showNames(session, *kind); });
}

}  // namespace database_provider::recordctl
