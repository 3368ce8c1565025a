// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <memory>
#include <string>

#include "providers/TypedProvider.h"

namespace database_provider {

/// The experiments: database "experiment", collection "records".
class DATABASE_PROVIDER_EXPORT ExperimentDatabase : public TypedProvider<ExperimentDatabaseInterface> {
 public:
  ExperimentDatabase();

  using TypedProvider::readRecord;
  using TypedProvider::updateRecord;
  using TypedProvider::writeRecord;
  bool writeRecord(const ExperimentDatabaseRecordInterface* record, std::string& id) const override;
  void updateRecord(const ExperimentDatabaseRecordInterface* record, const std::string& id) const override;
  void readRecord(ExperimentDatabaseRecordInterface* record, const std::string& id) const override;

  void enumDatabaseSources(const std::string& host,
                           std::map<std::string, DatabaseSourceInfoInterface*>& sources) const override;
  void enumDataserveSources(const std::string& host,
                            std::map<std::string, DataServerSourceInfoInterface*>& sources) const override;

 private:
  std::unique_ptr<DatabaseRecordInterface> createRecord() const override;
};

}  // namespace database_provider
