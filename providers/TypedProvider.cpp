// SPDX-License-Identifier: Apache-2.0
#include "providers/TypedProvider.h"

#include <utility>

namespace database_provider {

template <class Interface>
TypedProvider<Interface>::TypedProvider(const layout::Place& place) {
  provider_.databaseName = place.database;
  provider_.collectionName = place.collection;
}

template <class Interface>
void TypedProvider<Interface>::setDatabaseClient(DataBaseClient* client) {
  provider_.setDatabaseClient(client);
}

template <class Interface>
bool TypedProvider<Interface>::connect(const std::string& authDatabase, const std::string& host, const int& port,
                                       const std::string& user, const std::string& password) const {
  return provider_.connect(authDatabase, host, port, user, password);
}

template <class Interface>
bool TypedProvider<Interface>::disconnect() const {
  return provider_.disconnect();
}

template <class Interface>
bool TypedProvider<Interface>::isConnected() const {
  return provider_.isConnected();
}

template <class Interface>
bool TypedProvider<Interface>::writeRecord(const DatabaseRecordInterface* record, std::string& id) const {
  return provider_.writeRecord(record, id);
}

template <class Interface>
void TypedProvider<Interface>::updateRecord(const DatabaseRecordInterface* record, const std::string& id) const {
  provider_.updateRecord(record, id);
}

template <class Interface>
void TypedProvider<Interface>::readRecord(DatabaseRecordInterface* record, const std::string& id) const {
  provider_.readRecord(record, id);
}

template <class Interface>
void TypedProvider<Interface>::read(const DatabaseFilter& filter, std::list<std::string>& ids, const int& limit,
                                    const int& skip) const {
  provider_.read(filter, ids, limit, skip);
}

template <class Interface>
void TypedProvider<Interface>::read(const DatabaseFilter& filter,
                                    std::map<std::string, DatabaseRecordInterface*>& records, const int& limit,
                                    const int& skip) const {
  FetchedDocuments found;
  provider_.fetch(filter.toObjectProeprties(), ObjectProperties(), found, limit, skip);
  while (!found.empty()) {
    std::unique_ptr<DatabaseRecordInterface> record = createRecord();
    std::unique_ptr<ObjectProperties> document = found.take();
    const std::string id = document->valueAsId("_id", "");
    document->remove("_id");
    record->setD(document.release());
    addNew(records, id, std::move(record));
  }
}

template <class Interface>
void TypedProvider<Interface>::remove(const DatabaseFilter& filter) const {
  provider_.remove(filter);
}

template <class Interface>
void TypedProvider<Interface>::enumDescriptionsNames(
    std::list<DatabaseProviderInterface::Description>& descriptions) const {
  provider_.enumDescriptionsNames(descriptions);
}

template <class Interface>
void TypedProvider<Interface>::setCategoriesNames(const std::list<std::string>& names) const {
  provider_.setCategoriesNames(names);
}

template <class Interface>
void TypedProvider<Interface>::enumCategoriesNames(std::list<std::string>& names) const {
  provider_.enumCategoriesNames(names);
}

template <class Interface>
void TypedProvider<Interface>::categoriesStatistics(std::string name, std::map<std::string, int>& statistics) const {
  provider_.categoriesStatistics(std::move(name), statistics);
}

template <class Interface>
std::string TypedProvider<Interface>::createId() const {
  return provider_.createId();
}

template class TypedProvider<DatabaseProviderInterface>;
template class TypedProvider<ExperimentDatabaseInterface>;

}  // namespace database_provider
