// SPDX-License-Identifier: Apache-2.0
#include "tools/core/answers.h"

#include <list>
#include <tuple>

#include "tools/core/valueText.h"
#include "tools/values/Errors.h"
#include "values/Text.h"

namespace database_provider::recordctl {

using values::inQuotes;
using values::printable;

namespace {

bool isNumeric(PropertyType type) {
  return type == PropertyType::int32 || type == PropertyType::int64 || type == PropertyType::real;
}

long long recordsWithCategory(RecordKind kind, DataBaseClient& client, const std::string& name) {
  const RecordPlace place = placeOf(kind);
  ObjectProperties query;
  query.setValueString(layout::path::categoryName, name);
  return client.count(place.database, place.collection, query);
}

}  // namespace

ObjectProperties countJson(long long count) {
  ObjectProperties result;
  result.setValueInt64("count", count);
  return result;
}

ObjectProperties toJson(const Facet& facet) {
  ObjectProperties result;
  result.setValueString("value", facet.value);
  result.setValueInt64("count", facet.count);
  return result;
}

ObjectProperties toJson(const Figures& figures, const std::vector<std::string>& by, bool withMedian) {
  ObjectProperties result;
  {
    const database_client::GroupScope group(result, "by");
    for (std::size_t i = 0; i < by.size(); ++i) putText(result, by[i], figures.by[i]);
  }
  result.setValueString("name", figures.name);
  result.setValueInt64("count", figures.count);
  result.setValueInt64("missing", figures.missing);
  putValue(result, "min", figures.min);
  putNumber(result, "mean", figures.mean);
  putNumber(result, "std", figures.std);
  putValue(result, "max", figures.max);
  if (withMedian) putNumber(result, "median", figures.median);
  return result;
}

ObjectProperties toJson(const CoverageCell& cell) {
  ObjectProperties result;
  {
    const database_client::ArrayScope values(result, "values");
    for (std::size_t i = 0; i < cell.values.size(); ++i) result.setValueString(std::to_string(i), cell.values[i]);
  }
  result.setValueInt64("count", cell.count);
  return result;
}

ObjectProperties toJson(const ScenarioCoverage& scenario) {
  ObjectProperties result;
  result.setValueString("scenario", scenario.scenario);
  putText(result, "value", scenario.value);
  result.setValueInt64("experiments", scenario.experiments);
  return result;
}

ObjectProperties toJson(const ComparisonRow& row) {
  ObjectProperties result;
  result.setValueString("name", row.name);
  result.setValueString("kind", row.kind == NameInUse::Kind::category ? "category" : "description");
  {
    const database_client::ArrayScope values(result, "values");
    for (std::size_t i = 0; i < row.values.size(); ++i) putValue(result, std::to_string(i), row.values[i]);
  }
  if (row.difference.size() == 2) {
    putNumber(result, "difference", row.difference[1]);
    return result;
  }
  const database_client::ArrayScope differences(result, "difference");
  for (std::size_t i = 1; i < row.difference.size(); ++i) putNumber(result, std::to_string(i - 1), row.difference[i]);
  return result;
}

ObjectProperties toJson(const Histogram& histogram) {
  ObjectProperties result;
  result.setValueDouble("low", histogram.low);
  result.setValueDouble("width", histogram.width);
  {
    const database_client::ArrayScope counts(result, "counts");
    for (std::size_t i = 0; i < histogram.counts.size(); ++i)
      result.setValueInt64(std::to_string(i), histogram.counts[i]);
  }
  result.setValueInt64("missing", histogram.missing);
  result.setValueBool("times", histogram.isOfTimes);
  return result;
}

ObjectProperties toJson(const ChangeResult& result, bool canSkip) {
  ObjectProperties json;
  json.setValueInt64("changed", result.changed);
  json.setValueInt64("unchanged", result.unchanged);
  if (canSkip) json.setValueInt64("skipped", result.skipped);
  json.setValueInt64("failed", result.failed);
  return json;
}

std::vector<ListedName> listedNames(RecordKind kind, DataBaseClient& client) {
  const auto provider = providerOf(kind, client);
  std::list<std::string> categories;
  provider->enumCategoriesNames(categories);
  std::list<DatabaseProviderInterface::Description> descriptions;
  provider->enumDescriptionsNames(descriptions);
  descriptions.sort([](const auto& left, const auto& right) {
    return std::tie(left.name, left.type) < std::tie(right.name, right.type);
  });
  std::vector<ListedName> result;
  for (const std::string& name : categories)
    result.push_back({name, "category", "string", recordsWithCategory(kind, client, name)});
  for (const auto& description : descriptions)
    result.push_back({description.name, "description", typeName(description.type), description.count});
  return result;
}

ObjectProperties toJson(const ListedName& name) {
  ObjectProperties result;
  result.setValueString("name", name.name);
  result.setValueString("kind", name.kind);
  result.setValueString("type", name.type);
  result.setValueInt64("count", name.count);
  return result;
}

std::vector<std::string> namesIn(const std::string& text) {
  std::vector<std::string> result;
  if (text.empty()) return result;
  for (const std::string& piece : values::splitEscaped(text, ',')) {
    result.push_back(values::unescaped(piece));
    if (result.back().empty()) throw UsageError("a name is empty in " + values::inQuotes(text));
  }
  return result;
}

std::vector<std::string> numericNames(const Records& records) {
  std::vector<std::string> result;
  for (const NameInUse& name : records.names()) {
    const bool isNew = result.empty() || result.back() != name.name;
    if (name.kind == NameInUse::Kind::description && isNumeric(name.type) && isNew) result.push_back(name.name);
  }
  return result;
}

std::string wholeId(const Records& records, const std::string& beginning) {
  constexpr int mostTold = 5;
  if (!records.ids(Selection::ofIds({beginning})).empty()) return beginning;
  const std::vector<std::string> ids = records.idsBeginningWith(beginning, mostTold);
  if (ids.empty()) return beginning;
  if (ids.size() == 1) return ids.front();
  std::string message = "several ids begin with " + inQuotes(beginning) + ":";
  for (const std::string& id : ids) message += " " + printable(id);
  throw UsageError(message + (ids.size() == mostTold ? " …" : ""));
}

std::vector<std::vector<std::pair<std::string, std::string>>> sourcesOf(const DatabaseRecordInterface& record) {
  std::vector<std::vector<std::pair<std::string, std::string>>> result;
  const auto* experiment = dynamic_cast<const ExperimentDatabaseRecordInterface*>(&record);
  if (experiment == nullptr) return result;
  if (const auto* source = experiment->getDatabaseSourceInfo())
    result.push_back({{"host", source->host()},
                      {"port", std::to_string(source->port())},
                      {"database", source->databaseName()},
                      {"source", source->sourceId()}});
  if (const auto* source = experiment->getDataServerSourceInfo())
    result.push_back({{"host", source->host()},
                      {"section", source->section()},
                      {"record", source->record()},
                      {"path", source->path()},
                      {"volume", std::to_string(source->volume())}});
  return result;
}

}  // namespace database_provider::recordctl
