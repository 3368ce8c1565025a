// SPDX-License-Identifier: Apache-2.0
#include <iostream>
#include <map>
#include <memory>

#include "tools/commands/commands.h"
#include "tools/commands/options.h"
#include "tools/terminal/Table.h"

namespace database_provider::recordctl {

namespace {

/// The entries of a map whose values the caller owns.
template <class Source>
std::map<std::string, std::unique_ptr<Source>> owned(const std::map<std::string, Source*>& found) {
  std::map<std::string, std::unique_ptr<Source>> result;
  for (const auto& [id, source] : found) result.emplace(id, source);
  return result;
}

ObjectProperties begin(const std::string& id, const char* type, const std::string& host) {
  ObjectProperties result;
  result.setValueString("id", id);
  result.setValueString("type", type);
  result.setValueString("host", host);
  return result;
}

ObjectProperties describe(const std::string& id, const DatabaseSourceInfoInterface& source) {
  ObjectProperties result = begin(id, "database", source.host());
  result.setValueInt64("port", source.port());
  result.setValueString("database", source.databaseName());
  result.setValueString("source", source.sourceId());
  return result;
}

ObjectProperties describe(const std::string& id, const DataServerSourceInfoInterface& source) {
  ObjectProperties result = begin(id, "dataserver", source.host());
  result.setValueString("section", source.section());
  result.setValueString("record", source.record());
  result.setValueString("path", source.path());
  result.setValueInt64("volume", source.volume());
  return result;
}

template <class Source>
void append(std::vector<ObjectProperties>& all, const std::map<std::string, Source*>& found) {
  for (const auto& [id, source] : owned(found)) all.push_back(describe(id, *source));
}

std::vector<ObjectProperties> sourcesOn(DataBaseClient& client, const std::string& host) {
  const std::unique_ptr<ExperimentDatabaseInterface> experiments(createExperimentDatabase());
  experiments->setDatabaseClient(&client);
  std::map<std::string, DatabaseSourceInfoInterface*> databases;
  experiments->enumDatabaseSources(host, databases);
  std::map<std::string, DataServerSourceInfoInterface*> servers;
  std::vector<ObjectProperties> result;
  append(result, databases);
  experiments->enumDataserveSources(host, servers);
  append(result, servers);
  return result;
}

/// What a source says beyond its host, as "port 27017, database x".
std::string details(const ObjectProperties& source) {
  std::string result;
  for (const std::string& key : source.childKeys()) {
    if (key == "id" || key == "type" || key == "host") continue;
    const bool isNumber = source.type(key) == PropertyType::int64;
    const std::string value = isNumber ? std::to_string(source.valueAsInt64(key, 0)) : source.valueAsString(key, "");
    if (value.empty()) continue;
    if (!result.empty()) result += ", ";
    result.append(key).append(" ").append(value);
  }
  return result;
}

void showSources(Session& session, const std::string& host) {
  if (host.empty()) throw UsageError("--host: the host is empty");
  const auto sources = sourcesOn(session.store(Access::existing), host);
  if (session.json()) {
    for (const ObjectProperties& source : sources) writeJson(source);
    return;
  }
  Table table(std::cout, outputLayout(), {{"id", true}, {"type"}, {"host"}, {"details"}});
  for (const ObjectProperties& source : sources)
    table.add({{source.valueAsString("id", "")},
               {source.valueAsString("type", "")},
               {source.valueAsString("host", "")},
               {details(source)}});
  table.finish();
  if (sources.empty()) std::cerr << "recordctl: no experiments have their data there\n";
}

}  // namespace

void addSources(const Command& commands, Session& session) {
  auto host = std::make_shared<std::string>();
  const Command command = commands.add("sources", "Experiments whose data lies on a host");
  command.option("--host", "HOST", *host, "the host, exactly as the records name it", Traits::required());
  command.run([&session, host] { showSources(session, *host); });
}

}  // namespace database_provider::recordctl
