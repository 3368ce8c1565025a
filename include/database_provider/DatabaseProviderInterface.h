// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <list>
#include <map>
#include <string>

#include "database_provider/DatabaseFilter.h"
#include "database_provider/DatabaseRecordInterface.h"

namespace database_provider {

/// One collection of records in one database, reached through one client.
///
/// A provider makes and owns a client until it is given another. It keeps nothing else: connection, cache and errors
/// are the client's, and whatever the client throws reaches the caller. A null record throws `std::invalid_argument`
/// before anything is sent. Used by one thread at a time. What queries cost is said at
/// `database_client::DataBaseClient`.
class DATABASE_PROVIDER_EXPORT DatabaseProviderInterface {
 public:
  /// A description name in use, with one kind of value that it has, and how many descriptions are so.
  struct Description {
    std::string name;
    PropertyType type = PropertyType::undefined;
    int count = 0;
  };

  DatabaseProviderInterface() = default;
  DatabaseProviderInterface(const DatabaseProviderInterface&) = delete;
  DatabaseProviderInterface& operator=(const DatabaseProviderInterface&) = delete;
  /// Disconnects and destroys the client, unless it was given by `setDatabaseClient`.
  virtual ~DatabaseProviderInterface() = default;

  /// Uses `client` from now on, which stays the caller's: it must outlive the provider or be replaced, and is never
  /// disconnected here. The provider's own client is destroyed. Operations must not be called while the client is null.
  virtual void setDatabaseClient(DataBaseClient* client) = 0;

  /// As `DataBaseClient::connect`: `authDatabase` is where the user is kept ("databaseManager" for users of the
  /// library, "admin" for the administrator).
  virtual bool connect(const std::string& authDatabase, const std::string& host, const int& port,
                       const std::string& user, const std::string& password) const = 0;
  /// Closes the connection; true, also when there was none.
  virtual bool disconnect() const = 0;
  /// Whether a connection is open, as far as the last answer proved.
  virtual bool isConnected() const = 0;

  /// Inserts the record's document and writes its new id to `id`.
  virtual bool writeRecord(const DatabaseRecordInterface* record, std::string& id) const = 0;
  /// Replaces the stored record of this id by the record's document; an unknown id is inserted.
  virtual void updateRecord(const DatabaseRecordInterface* record, const std::string& id) const = 0;
  /// Reads the record of this id into `record`, which then owns the fetched document. An unknown id leaves `record` as
  /// it was.
  virtual void readRecord(DatabaseRecordInterface* record, const std::string& id) const = 0;

  // `limit` is the largest number of results, 0 for all of them, after passing over `skip`.

  /// Replaces the list by the ids of the records that the filter selects, in the store's order.
  virtual void read(const DatabaseFilter& filter, std::list<std::string>& ids, const int& limit,
                    const int& skip) const = 0;
  /// Adds the records that the filter selects, newly allocated and the caller's, under their ids. An id that the map
  /// has already keeps its entry.
  virtual void read(const DatabaseFilter& filter, std::map<std::string, DatabaseRecordInterface*>& records,
                    const int& limit, const int& skip) const = 0;
  /// Removes every record that the filter selects; an empty filter selects all.
  virtual void remove(const DatabaseFilter& filter) const = 0;

  /// Appends the description names in use, one entry for each kind of value of a name, in no particular order. The
  /// embedded store answers this and `categoriesStatistics` from an index, a server reads every record.
  virtual void enumDescriptionsNames(std::list<Description>& descriptions) const = 0;
  /// Replaces the catalogue of category names, one write for each name: after a failure it holds the first of them.
  virtual void setCategoriesNames(const std::list<std::string>& names) const = 0;
  /// Replaces the list by the catalogue of category names, in its order.
  virtual void enumCategoriesNames(std::list<std::string>& names) const = 0;
  /// Sets an entry of `statistics` for each value of a category: how many category entries have it. Other entries stay.
  /// `name` is taken as a regular expression for the whole name, whatever its letter case.
  virtual void categoriesStatistics(std::string name, std::map<std::string, int>& statistics) const = 0;

  /// A new unique id.
  virtual std::string createId() const = 0;
};

}  // namespace database_provider
