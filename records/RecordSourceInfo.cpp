// SPDX-License-Identifier: Apache-2.0
#include "records/RecordSourceInfo.h"

#include <utility>

#include "records/layout.h"
#include "sources/database_source_info.h"
#include "sources/dataserver_source_info.h"

namespace database_provider {

using database_client::EnteredScope;
using database_client::GroupScope;

namespace {
constexpr int formatVersion = 1;
}

SourceType RecordSourceInfo::currentType() const {
  return source_ ? source_->type() : SourceType::undefinedSource;
}

SourceType RecordSourceInfo::sourceType() const {
  extract();
  return currentType();
}

DatabaseSourceInfoInterface* RecordSourceInfo::getDatabaseSourceInfo() const {
  if (sourceType() != SourceType::databaseSource) return nullptr;
  return dynamic_cast<DatabaseSourceInfo*>(source_.get());
}

DataServerSourceInfoInterface* RecordSourceInfo::getDataServerSourceInfo() const {
  if (sourceType() != SourceType::dataServerSource) return nullptr;
  return dynamic_cast<DataServerSourceInfo*>(source_.get());
}

void RecordSourceInfo::setDatabaseSourceInfo(DatabaseSourceInfoInterface* info) {
  setSource(info);
}

void RecordSourceInfo::setDataServerSourceInfo(DataServerSourceInfoInterface* info) {
  setSource(info);
}

void RecordSourceInfo::setSource(SourceInfo* info) {
  // A caller may edit the source that it was lent and set it again.
  std::shared_ptr<SourceInfo> next =
      info != nullptr && info == source_.get() ? source_ : std::shared_ptr<SourceInfo>(info);
  // First, so that a later load does not put the document's source in place of this one.
  extract();
  source_ = std::move(next);
  setModified();
}

void RecordSourceInfo::createSource(const SourceType& type) const {
  switch (type) {
    case SourceType::databaseSource:
      source_ = std::make_shared<DatabaseSourceInfo>();
      break;
    case SourceType::dataServerSource:
      source_ = std::make_shared<DataServerSourceInfo>();
      break;
    default:
      source_.reset();
      break;
  }
}

void RecordSourceInfo::load(const ObjectProperties& record) const {
  source_.reset();
  const EnteredScope info = EnteredScope::group(record, layout::key::recordInfo);
  if (!info) return;
  const EnteredScope additional = EnteredScope::group(record, layout::key::additionalData);
  if (!additional) return;
  const EnteredScope stored = EnteredScope::group(record, layout::key::dataSource);
  if (!stored) return;
  createSource(static_cast<SourceType>(record.valueAsInt32("type", 0)));
  // Of another format version, the source keeps its defaults.
  if (source_) source_->deserialize(record, formatVersion);
}

void RecordSourceInfo::updateRecord_helper(ObjectProperties& target) const {
  if (!source_) return;
  ObjectProperties serialized;
  source_->serialize(serialized, formatVersion);
  serialized.setValueInt32("type", static_cast<int>(currentType()));
  const GroupScope info(target, layout::key::recordInfo);
  const GroupScope additional(target, layout::key::additionalData);
  target.include(layout::key::dataSource, serialized);
}

void RecordSourceInfo::empty() const {
  source_.reset();
}

}  // namespace database_provider
