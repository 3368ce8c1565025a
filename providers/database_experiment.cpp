// SPDX-License-Identifier: Apache-2.0
#include "providers/database_experiment.h"

#include <stdexcept>
#include <utility>

#include "records/ExperimentDatabaseRecord.h"
#include "records/layout.h"
#include "sources/database_source_info.h"
#include "sources/dataserver_source_info.h"

namespace database_provider {

using database_client::EnteredScope;

namespace {

constexpr int formatVersion = 1;

/// Fetches id and source of the records that name a source of this type on this host.
void fetchSources(const DatabaseProvider& provider, const std::string& host, SourceType type, FetchedDocuments& found) {
  if (host.empty()) throw std::invalid_argument("database host is empty");
  ObjectProperties query;
  query.setValueString(layout::path::dataSourceHost, host);
  query.setValueInt32(layout::path::dataSourceType, static_cast<int>(type));
  ObjectProperties projection;
  projection.setValueBool("_id", true);
  projection.setValueBool(layout::path::dataSource, true);
  provider.fetch(query, projection, found, 0, 0);
}

/// A source of an unknown format version keeps its defaults.
void deserialize(SourceInfo& source, const ObjectProperties& document) {
  const EnteredScope info = EnteredScope::group(document, layout::key::recordInfo);
  if (!info) return;
  const EnteredScope additional = EnteredScope::group(document, layout::key::additionalData);
  if (!additional) return;
  const EnteredScope stored = EnteredScope::group(document, layout::key::dataSource);
  if (stored) source.deserialize(document, formatVersion);
}

template <class Source, class Interface>
void addSources(FetchedDocuments& found, std::map<std::string, Interface*>& sources) {
  while (!found.empty()) {
    const std::unique_ptr<ObjectProperties> document = found.take();
    auto source = std::make_unique<Source>();
    deserialize(*source, *document);
    addNew(sources, document->valueAsId("_id", ""), std::move(source));
  }
}

}  // namespace

ExperimentDatabase::ExperimentDatabase() : TypedProvider(layout::experiments) {}

bool ExperimentDatabase::writeRecord(const ExperimentDatabaseRecordInterface* record, std::string& id) const {
  return provider().writeRecord(record, id);
}

void ExperimentDatabase::updateRecord(const ExperimentDatabaseRecordInterface* record, const std::string& id) const {
  provider().updateRecord(record, id);
}

void ExperimentDatabase::readRecord(ExperimentDatabaseRecordInterface* record, const std::string& id) const {
  provider().readRecord(record, id);
}

void ExperimentDatabase::enumDatabaseSources(const std::string& host,
                                             std::map<std::string, DatabaseSourceInfoInterface*>& sources) const {
  FetchedDocuments found;
  fetchSources(provider(), host, SourceType::databaseSource, found);
  addSources<DatabaseSourceInfo>(found, sources);
}

void ExperimentDatabase::enumDataserveSources(const std::string& host,
                                              std::map<std::string, DataServerSourceInfoInterface*>& sources) const {
  FetchedDocuments found;
  fetchSources(provider(), host, SourceType::dataServerSource, found);
  addSources<DataServerSourceInfo>(found, sources);
}

std::unique_ptr<DatabaseRecordInterface> ExperimentDatabase::createRecord() const {
  return std::make_unique<ExperimentDatabaseRecord>();
}

}  // namespace database_provider
