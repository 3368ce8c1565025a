// SPDX-License-Identifier: Apache-2.0
#include "providers/database_provider.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>
#include <utility>

#include "providers/pipelines.h"
#include "records/layout.h"

namespace database_provider {

using database_client::ArrayScope;
using database_client::EnteredScope;
using database_client::GroupScope;
using database_client::UpdateFlags;
using database_client::UpdateOperation;

namespace {

using layout::configuration;
using layout::key::categoriesNames;

void requireRecord(const DatabaseRecordInterface* record) {
  if (record == nullptr) throw std::invalid_argument("Null pointer to database record.");
}

ObjectProperties selectId(const std::string& id) {
  ObjectProperties selector;
  selector.setValueId("_id", id);
  return selector;
}

ObjectProperties projectId(bool wanted) {
  ObjectProperties projection;
  projection.setValueBool("_id", wanted);
  return projection;
}

ObjectProperties emptyCatalogue() {
  ObjectProperties catalogue;
  { const ArrayScope names(catalogue, categoriesNames); }
  return catalogue;
}

ObjectProperties catalogueEntry(const std::string& name, int order) {
  ObjectProperties entry;
  {
    const GroupScope group(entry, categoriesNames);
    entry.setValueString("name", name);
    entry.setValueInt32("order", order);
  }
  return entry;
}

std::map<int, std::string> catalogueByOrder(const ObjectProperties& catalogue) {
  std::map<int, std::string> byOrder;
  const EnteredScope names = EnteredScope::array(catalogue, categoriesNames);
  const int count = names ? catalogue.size() : 0;
  for (int i = 0; i < count; ++i) {
    const EnteredScope entry = EnteredScope::at(catalogue, i);
    if (entry) byOrder[catalogue.valueAsInt32("order", 0)] = catalogue.valueAsString("name", "");
  }
  return byOrder;
}

DatabaseProviderInterface::Description toDescription(const ObjectProperties& group) {
  DatabaseProviderInterface::Description description;
  {
    const EnteredScope id = EnteredScope::group(group, "_id");
    if (id) {
      description.name = group.valueAsString("name", "");
      description.type = static_cast<PropertyType>(group.valueAsInt32("type", 0));
    }
  }
  description.count = group.valueAsInt32("count", 0);
  return description;
}

}  // namespace

DatabaseProvider::DatabaseProvider() : DatabaseProvider(std::make_unique<DataBaseClient>()) {}

DatabaseProvider::DatabaseProvider(std::unique_ptr<DataBaseClient> client)
    : client_(client.get()), own_(std::move(client)) {}

DatabaseProvider::~DatabaseProvider() {
  if (own_) own_->disconnect();
}

// The provider's own client is not disconnected first, unlike in the destructor.
void DatabaseProvider::setDatabaseClient(DataBaseClient* client) {
  own_.reset();
  client_ = client;
}

bool DatabaseProvider::connect(const std::string& authDatabase, const std::string& host, const int& port,
                               const std::string& user, const std::string& password) const {
  return client_->connect(authDatabase, host, port, user, password);
}

bool DatabaseProvider::disconnect() const {
  return client_->disconnect();
}

bool DatabaseProvider::isConnected() const {
  return client_->isConnected();
}

bool DatabaseProvider::writeRecord(const DatabaseRecordInterface* record, std::string& id) const {
  requireRecord(record);
  return client_->insert(databaseName, collectionName, record->getD(), id);
}

void DatabaseProvider::updateRecord(const DatabaseRecordInterface* record, const std::string& id) const {
  requireRecord(record);
  ObjectProperties replacement = *record->getD();
  replacement.setValueId("_id", id);
  client_->update(databaseName, collectionName, selectId(id), replacement, UpdateFlags::upsert,
                  UpdateOperation::replace);
}

void DatabaseProvider::readRecord(DatabaseRecordInterface* record, const std::string& id) const {
  requireRecord(record);
  FetchedDocuments found;
  fetch(selectId(id), projectId(false), found, 1, 0);
  if (found.empty()) return;
  std::unique_ptr<ObjectProperties> document = found.take();
  document->remove("_id");  // a store may send it all the same
  record->setD(document.release());
}

void DatabaseProvider::read(const DatabaseFilter& filter, std::list<std::string>& ids, const int& limit,
                            const int& skip) const {
  enumIds(filter.toObjectProeprties(), ids, limit, skip);
}

void DatabaseProvider::read(const DatabaseFilter& /*filter*/,
                            std::map<std::string, DatabaseRecordInterface*>& /*records*/, const int& /*limit*/,
                            const int& /*skip*/) const {}

void DatabaseProvider::remove(const DatabaseFilter& filter) const {
  client_->remove(databaseName, collectionName, filter.toObjectProeprties());
}

void DatabaseProvider::enumDescriptionsNames(std::list<Description>& descriptions) const {
  FetchedDocuments groups;
  aggregate(descriptionsNamesPipeline(), groups);
  while (!groups.empty()) descriptions.push_back(toDescription(*groups.take()));
}

void DatabaseProvider::setCategoriesNames(const std::list<std::string>& names) const {
  const ObjectProperties whole;
  client_->update(databaseName, configuration, whole, emptyCatalogue(), UpdateFlags::upsert, UpdateOperation::set);
  int order = 0;
  for (const std::string& name : names) {
    client_->update(databaseName, configuration, whole, catalogueEntry(name, order++), UpdateFlags::upsert,
                    UpdateOperation::append);
  }
}

void DatabaseProvider::enumCategoriesNames(std::list<std::string>& names) const {
  names.clear();
  ObjectProperties projection = projectId(false);
  projection.setValueBool(categoriesNames, true);
  FetchedDocuments found;
  client_->find(databaseName, configuration, ObjectProperties(), projection, found.list(), 1, 0);
  if (found.empty()) return;
  for (const auto& [order, name] : catalogueByOrder(*found.take())) names.push_back(name);
}

void DatabaseProvider::categoriesStatistics(std::string name, std::map<std::string, int>& statistics) const {
  FetchedDocuments groups;
  aggregate(categoriesStatisticsPipeline(name), groups);
  while (!groups.empty()) {
    const std::unique_ptr<ObjectProperties> group = groups.take();
    statistics[group->valueAsString("_id", "")] = group->valueAsInt32("count", 0);
  }
}

std::string DatabaseProvider::createId() const {
  return client_->createId();
}

void DatabaseProvider::enumIds(const ObjectProperties& query, std::list<std::string>& ids, const int& limit,
                               const int& skip) const {
  ids.clear();
  FetchedDocuments found;
  fetch(query, projectId(true), found, limit, skip);
  while (!found.empty()) ids.push_back(found.take()->valueAsId("_id", ""));
}

std::string DatabaseProvider::toLower(const std::string& text) const {
  std::string lower = text;
  std::transform(lower.begin(), lower.end(), lower.begin(), [](char byte) {
    // Bytes beyond ASCII are passed as negative numbers, which the platform's tables cover and leave as they are.
    const int code = static_cast<signed char>(byte);  // NOLINT(bugprone-signed-char-misuse, cert-str34-c)
    return static_cast<char>(std::tolower(code));
  });
  return lower;
}

void DatabaseProvider::fetch(const ObjectProperties& query, const ObjectProperties& projection, FetchedDocuments& found,
                             int limit, int skip) const {
  client_->find(databaseName, collectionName, query, projection, found.list(), limit, skip);
}

void DatabaseProvider::aggregate(const ObjectProperties& pipeline, FetchedDocuments& found) const {
  client_->aggregate(databaseName, collectionName, pipeline, found.list());
}

}  // namespace database_provider
