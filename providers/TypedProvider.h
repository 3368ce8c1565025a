// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <list>
#include <map>
#include <memory>
#include <string>

#include "database_provider/ExperimentDatabaseInterface.h"
#include "providers/database_provider.h"
#include "records/layout.h"

namespace database_provider {

/// Hands an object to a map whose objects the caller owns. An id that is there keeps its object, and the new one is
/// destroyed.
template <class Object, class Owned>
void addNew(std::map<std::string, Object*>& objects, const std::string& id, std::unique_ptr<Owned> object) {
  if (objects.emplace(id, object.get()).second) static_cast<void>(object.release());
}

/// What the typed providers share: a provider inside, under their names, which does all but the making of records.
template <class Interface>
class DATABASE_PROVIDER_EXPORT TypedProvider : public Interface {
 public:
  using Interface::readRecord;
  using Interface::updateRecord;
  using Interface::writeRecord;

  void setDatabaseClient(DataBaseClient* client) override;
  bool connect(const std::string& authDatabase, const std::string& host, const int& port, const std::string& user,
               const std::string& password) const override;
  bool disconnect() const override;
  bool isConnected() const override;
  bool writeRecord(const DatabaseRecordInterface* record, std::string& id) const override;
  void updateRecord(const DatabaseRecordInterface* record, const std::string& id) const override;
  void readRecord(DatabaseRecordInterface* record, const std::string& id) const override;
  void read(const DatabaseFilter& filter, std::list<std::string>& ids, const int& limit,
            const int& skip) const override;
  void read(const DatabaseFilter& filter, std::map<std::string, DatabaseRecordInterface*>& records, const int& limit,
            const int& skip) const override;
  void remove(const DatabaseFilter& filter) const override;
  void enumDescriptionsNames(std::list<DatabaseProviderInterface::Description>& descriptions) const override;
  void setCategoriesNames(const std::list<std::string>& names) const override;
  void enumCategoriesNames(std::list<std::string>& names) const override;
  void categoriesStatistics(std::string name, std::map<std::string, int>& statistics) const override;
  std::string createId() const override;

 protected:
  explicit TypedProvider(const layout::Place& place);

  const DatabaseProvider& provider() const { return provider_; }

 private:
  virtual std::unique_ptr<DatabaseRecordInterface> createRecord() const = 0;

  DatabaseProvider provider_;
};

extern template class TypedProvider<DatabaseProviderInterface>;
extern template class TypedProvider<ExperimentDatabaseInterface>;

}  // namespace database_provider
