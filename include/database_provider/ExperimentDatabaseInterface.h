// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>

#include "database_provider/DatabaseProviderInterface.h"
#include "database_provider/ExperimentDatabaseRecordInterface.h"

namespace database_provider {

/// The records of experiments, and the sources that they were made from.
class DATABASE_PROVIDER_EXPORT ExperimentDatabaseInterface : public DatabaseProviderInterface {
 public:
  using DatabaseProviderInterface::readRecord;
  using DatabaseProviderInterface::updateRecord;
  using DatabaseProviderInterface::writeRecord;

  virtual bool writeRecord(const ExperimentDatabaseRecordInterface* record, std::string& id) const = 0;
  virtual void updateRecord(const ExperimentDatabaseRecordInterface* record, const std::string& id) const = 0;
  virtual void readRecord(ExperimentDatabaseRecordInterface* record, const std::string& id) const = 0;

  /// Adds the database sources on this host, newly allocated and the caller's, under the ids of the records that name
  /// them. An id that the map has already keeps its entry; a source of an unknown format version has default contents.
  /// An empty host throws `std::invalid_argument`.
  virtual void enumDatabaseSources(const std::string& host,
                                   std::map<std::string, DatabaseSourceInfoInterface*>& sources) const = 0;
  /// As `enumDatabaseSources`, for sources on a data server.
  virtual void enumDataserveSources(const std::string& host,
                                    std::map<std::string, DataServerSourceInfoInterface*>& sources) const = 0;
};

}  // namespace database_provider
