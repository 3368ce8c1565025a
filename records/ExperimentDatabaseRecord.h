// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <list>
#include <memory>
#include <string>

#include "database_provider/ExperimentDatabaseRecordInterface.h"
#include "records/RecordSourceInfo.h"
#include "records/TypedRecord.h"

namespace database_provider {

/// A record of an experiment, with the source of its data in the same document.
class DATABASE_PROVIDER_EXPORT ExperimentDatabaseRecord : public TypedRecord<ExperimentDatabaseRecordInterface> {
 public:
  ExperimentDatabaseRecord();

  void clear() override;
  std::list<ObjectType> supportedObjectTypes() const override;
  /// The extension of XML files stands twice; callers rely on it.
  void fileExtensions(const ObjectType& type, std::list<std::string>& extensions) const override;
  void setD(ObjectProperties* document) override;
  ObjectProperties* getD() const override;
  ObjectProperties* take() override;

  SourceType sourceType() const override;
  DatabaseSourceInfoInterface* getDatabaseSourceInfo() const override;
  DataServerSourceInfoInterface* getDataServerSourceInfo() const override;
  void setDatabaseSourceInfo(DatabaseSourceInfoInterface* info) override;
  void setDataServerSourceInfo(DataServerSourceInfoInterface* info) override;

 private:
  mutable RecordSourceInfo source_;
  /// Where the source writes between `clear` and `setD`; nobody ever sees it.
  std::unique_ptr<ObjectProperties> detached_;
};

}  // namespace database_provider
