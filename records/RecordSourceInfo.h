// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "database_provider/DataServerSourceInfoInterface.h"
#include "database_provider/DatabaseSourceInfoInterface.h"
#include "records/SectionView.h"

namespace database_provider {

/// The source of a record's data, at most one, kept under "recordInfo" / "additionalData" / "dataSource".
///
/// A source that is set is taken over. What the getters return is lent, until the source is replaced or loaded afresh,
/// or the view is cleared or destroyed. They know the library's own classes only: a source of another class is written
/// like any other, but reads back as null. A view without a source writes nothing, so what the document says of one
/// stays there.
class DATABASE_PROVIDER_EXPORT RecordSourceInfo : public SectionView {
 public:
  RecordSourceInfo() = default;

  /// The document as it is; nothing is written back.
  ObjectProperties* getRecord() const { return record(); }

  SourceType sourceType() const;
  DatabaseSourceInfoInterface* getDatabaseSourceInfo() const;
  DataServerSourceInfoInterface* getDataServerSourceInfo() const;
  void setDatabaseSourceInfo(DatabaseSourceInfoInterface* info);
  void setDataServerSourceInfo(DataServerSourceInfoInterface* info);
  /// Makes the source a new one of this kind, or none.
  void createSource(const SourceType& type) const;

 private:
  SourceType currentType() const;
  void setSource(SourceInfo* info);
  void load(const ObjectProperties& record) const override;
  void updateRecord_helper(ObjectProperties& target) const override;
  void empty() const override;

  mutable std::shared_ptr<SourceInfo> source_;
};

}  // namespace database_provider
