// SPDX-License-Identifier: Apache-2.0
#include "tools/core/Catalogue.h"

#include <list>

namespace database_provider::recordctl {

namespace {

// Of the form in which the library asks for descriptions, which a store in a file answers without reading a record.
ObjectProperties countOfNames(const std::string& path) {
  return ObjectProperties::fromJson(
      R"({"pipeline": [{"$project": {")" + path + R"(": true, "_id": false}}, {"$unwind": "$)" + path +
      R"("}, {"$project": {"name": "$)" + path + R"(.name", "type": "$)" + path +
      R"(.type", "_id": false}}, {"$group": {"_id": {"name": "$name", "type": "$type"},)" +
      R"( "count": {"$sum": 1}}}]})");
}

}  // namespace

std::set<std::string> namesInUse(RecordKind kind, DataBaseClient& client, Field field) {
  const RecordPlace& place = placeOf(kind);
  const char* path = field == Field::category ? layout::path::category : layout::path::description;
  std::set<std::string> result;
  client.aggregateEach(place.database, place.collection, countOfNames(path), [&](ObjectProperties& group) {
    const auto id = database_client::EnteredScope::group(group, "_id");
    if (id && group.type("name") == PropertyType::string) result.insert(group.valueAsString("name", ""));
    return true;
  });
  return result;
}

Catalogue Catalogue::of(RecordKind kind, DataBaseClient& client) {
  Catalogue result;
  const std::set<std::string> categories = namesInUse(kind, client, Field::category);
  result.categories.assign(categories.begin(), categories.end());
  std::list<DatabaseProviderInterface::Description> descriptions;
  providerOf(kind, client)->enumDescriptionsNames(descriptions);
  result.descriptions.assign(descriptions.begin(), descriptions.end());
  return result;
}

}  // namespace database_provider::recordctl
