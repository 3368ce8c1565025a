// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <list>
#include <memory>
#include <string>

#include "database_provider/DatabaseRecordInterface.h"
#include "records/CategoriesInfo.h"
#include "records/DescriptionsInfo.h"
#include "records/FilesInfo.h"
#include "records/UserData.h"

namespace database_provider {

/// A record of no particular kind: it owns the document and the views of its four sections. It supports no kind of file
/// and leaves the list of `fileExtensions` as it is.
class DATABASE_PROVIDER_EXPORT DatabaseRecord : public DatabaseRecordInterface {
 public:
  DatabaseRecord();

  void clear() override;

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
  std::list<ObjectType> supportedObjectTypes() const override;
  void fileExtensions(const ObjectType& type, std::list<std::string>& extensions) const override;

  void setD(ObjectProperties* document) override;
  ObjectProperties* getD() const override;
  ObjectProperties* take() override;

 private:
  void attach(ObjectProperties* document);

  std::unique_ptr<ObjectProperties> d_;
  /// Where the views write between `clear` and `setD`; nobody ever sees it.
  std::unique_ptr<ObjectProperties> detached_;

  mutable CategoriesInfo categories_;
  mutable DescriptionsInfo descriptions_;
  mutable FilesInfo files_;
  mutable UserData userData_;
};

}  // namespace database_provider
