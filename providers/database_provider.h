// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <list>
#include <map>
#include <memory>
#include <string>

#include "database_provider/DatabaseProviderInterface.h"
#include "records/FetchedDocuments.h"

// Providers: records as a collection of the database.
//
// A provider is a client and a place, a collection of a database. What it stores is the document that a record hands
// over (`getD`), and a record that it reads gets the document that was found (`setD`): nothing is converted in between.
// Beside the records stands the catalogue of category names, one document of the collection "configuration".
//
// What holds throughout:
//
// - The "_id" belongs to the store and not to the record. It is taken out of what is read and put into what replaces a
//   record; as text it is 24 hex digits where the store has an object id, else the text that the store has.
// - A record that is not found is left as it was. Errors come from the client and pass through.
// - Whatever a client appends to a list is held by a scope until a caller has it (FetchedDocuments), so that a failure
//   half way frees it.
//
// `DatabaseProvider` does all of it for records of any kind. A typed provider (TypedProvider) holds one under the place
// of its kind, and adds the one thing that it cannot know: which class the records that it reads are of.
//
// Names and values are counted by the store, in the pipelines of pipelines.h, since reading every record for them would
// cost by the store. The embedded engine knows these pipelines by their form and answers them from its index: a stage
// that is written otherwise gives the same counts, from every record.

namespace database_provider {

/// The provider that does the work of all others: one collection in one database, both named by whoever owns it before
/// the first operation.
class DATABASE_PROVIDER_EXPORT DatabaseProvider : public DatabaseProviderInterface {
 public:
  DatabaseProvider();
  /// Owns this client in place of a new one.
  explicit DatabaseProvider(std::unique_ptr<DataBaseClient> client);
  DatabaseProvider(const DatabaseProvider&) = delete;
  DatabaseProvider& operator=(const DatabaseProvider&) = delete;
  ~DatabaseProvider() override;

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
  /// Does nothing: which class the records are of is for a typed provider to say.
  void read(const DatabaseFilter& filter, std::map<std::string, DatabaseRecordInterface*>& records, const int& limit,
            const int& skip) const override;
  void remove(const DatabaseFilter& filter) const override;

  void enumDescriptionsNames(std::list<Description>& descriptions) const override;
  void setCategoriesNames(const std::list<std::string>& names) const override;
  void enumCategoriesNames(std::list<std::string>& names) const override;
  void categoriesStatistics(std::string name, std::map<std::string, int>& statistics) const override;

  std::string createId() const override;

  /// Replaces the list by the ids of what the query selects, in the store's order; `read` goes through it.
  virtual void enumIds(const ObjectProperties& query, std::list<std::string>& ids, const int& limit,
                       const int& skip) const;
  /// ASCII letters in lower case, as the platform's locale has it; bytes of other letters stay.
  virtual std::string toLower(const std::string& text) const;

  /// Fetches what the query selects from the collection.
  void fetch(const ObjectProperties& query, const ObjectProperties& projection, FetchedDocuments& found, int limit,
             int skip) const;

  std::string databaseName;
  std::string collectionName;

 private:
  void aggregate(const ObjectProperties& pipeline, FetchedDocuments& found) const;

  DataBaseClient* client_;
  /// The client while it is the provider's own, else null.
  std::unique_ptr<DataBaseClient> own_;
};

}  // namespace database_provider
