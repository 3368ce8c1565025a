// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <list>
#include <string>

#include "database_provider/DatabaseRecordInterface.h"
#include "database_provider/ExperimentDatabaseRecordInterface.h"
#include "records/DatabaseRecord.h"

namespace database_provider {

/// What the kinds of record share: a plain record inside, which does all but the table of file kinds and the handling
/// of the whole document.
template <class Interface>
class DATABASE_PROVIDER_EXPORT TypedRecord : public Interface {
 public:
  void setUserRecrod(const ObjectProperties& data) override;
  ObjectProperties getUserRecord() const override;
  void removeUserRecord() override;
  bool addDescriptionString(const std::string& name, const std::string& value) override;
  bool addDescriptionBool(const std::string& name, const bool& value) override;
  bool addDescriptionInt(const std::string& name, const int& value) override;
  bool addDescriptionDouble(const std::string& name, const double& value) override;
  bool addDescriptionLongLong(const std::string& name, const long long& value) override;
  bool addDescriptionTime(const std::string& name, const long long& value) override;
  std::string descriptionAsString(const std::string& name, const std::string& defaultValue) const override;
  int descriptionAsInt(const std::string& name, int defaultValue) const override;
  double descriptionAsDouble(const std::string& name, double defaultValue) const override;
  bool descriptionAsBool(const std::string& name, bool defaultValue) const override;
  long long descriptionAsLongLong(const std::string& name, long long defaultValue) const override;
  long long descriptionAsTime(const std::string& name, long long defaultValue) const override;
  void removeDescription(const std::string& name) override;
  void removeAllDescriptions() override;
  void enumDescriptionsNames(std::list<std::string>& names) const override;
  void descriptionType(const std::string& name, PropertyType& type) const override;
  bool setCategory(const std::string& name, const std::string& value) override;
  void enumCategoriesNames(std::list<std::string>& names) const override;
  std::string categoryValue(const std::string& name, const std::string& defaultValue) const override;
  void removeCategory(const std::string& name) override;
  void removeAllCategories() override;
  void enumFilesIds(const ObjectType& type, std::list<std::string>& ids) const override;
  void enumFilesIds(std::list<std::string>& ids) const override;
  bool addFileInfo(const ObjectType& type, const std::string& host, const std::string& path,
                   std::string& fileId) override;
  void removeFileInfo(const std::string& fileId) override;
  void removeAllFilesInfo() override;
  void getFileInfo(const std::string& fileId, ObjectType& type, std::string& host, std::string& path) const override;

 protected:
  TypedRecord() = default;

  DatabaseRecordInterface& record() { return record_; }
  const DatabaseRecordInterface& record() const { return record_; }

 private:
  DatabaseRecord record_;
};

extern template class TypedRecord<DatabaseRecordInterface>;
extern template class TypedRecord<ExperimentDatabaseRecordInterface>;

}  // namespace database_provider
