// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "database_provider/DataServerSourceInfoInterface.h"
#include "database_provider/DatabaseRecordInterface.h"
#include "database_provider/DatabaseSourceInfoInterface.h"

namespace database_provider {

/// A record of an experiment, which may also name the source of its data: one, of either kind.
class DATABASE_PROVIDER_EXPORT ExperimentDatabaseRecordInterface : public DatabaseRecordInterface {
 public:
  /// `SourceType::undefinedSource` when the record names none.
  virtual SourceType sourceType() const = 0;
  /// The source, lent until it is replaced, the record is destroyed, or `clear`, `take` or any `setD` is called; null
  /// when there is none or it is of the other kind, or of a class other than the library's own.
  virtual DatabaseSourceInfoInterface* getDatabaseSourceInfo() const = 0;
  virtual DataServerSourceInfoInterface* getDataServerSourceInfo() const = 0;
  /// Makes `info` the source and takes it over. Null leaves the record without a source, but what its document already
  /// says of one stays there. What is not written yet is dropped by `clear` and by any `setD`, also with the document
  /// that the record holds.
  virtual void setDatabaseSourceInfo(DatabaseSourceInfoInterface* info) = 0;
  virtual void setDataServerSourceInfo(DataServerSourceInfoInterface* info) = 0;
};

}  // namespace database_provider
