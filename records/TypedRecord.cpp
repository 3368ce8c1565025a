// SPDX-License-Identifier: Apache-2.0
#include "records/TypedRecord.h"

namespace database_provider {

template <class Interface>
void TypedRecord<Interface>::setUserRecrod(const ObjectProperties& data) {
  record_.setUserRecrod(data);
}

template <class Interface>
ObjectProperties TypedRecord<Interface>::getUserRecord() const {
  return record_.getUserRecord();
}

template <class Interface>
void TypedRecord<Interface>::removeUserRecord() {
  record_.removeUserRecord();
}

template <class Interface>
bool TypedRecord<Interface>::addDescriptionString(const std::string& name, const std::string& value) {
  return record_.addDescriptionString(name, value);
}

template <class Interface>
bool TypedRecord<Interface>::addDescriptionBool(const std::string& name, const bool& value) {
  return record_.addDescriptionBool(name, value);
}

template <class Interface>
bool TypedRecord<Interface>::addDescriptionInt(const std::string& name, const int& value) {
  return record_.addDescriptionInt(name, value);
}

template <class Interface>
bool TypedRecord<Interface>::addDescriptionDouble(const std::string& name, const double& value) {
  return record_.addDescriptionDouble(name, value);
}

template <class Interface>
bool TypedRecord<Interface>::addDescriptionLongLong(const std::string& name, const long long& value) {
  return record_.addDescriptionLongLong(name, value);
}

template <class Interface>
bool TypedRecord<Interface>::addDescriptionTime(const std::string& name, const long long& value) {
  return record_.addDescriptionTime(name, value);
}

template <class Interface>
std::string TypedRecord<Interface>::descriptionAsString(const std::string& name,
                                                        const std::string& defaultValue) const {
  return record_.descriptionAsString(name, defaultValue);
}

template <class Interface>
int TypedRecord<Interface>::descriptionAsInt(const std::string& name, int defaultValue) const {
  return record_.descriptionAsInt(name, defaultValue);
}

template <class Interface>
double TypedRecord<Interface>::descriptionAsDouble(const std::string& name, double defaultValue) const {
  return record_.descriptionAsDouble(name, defaultValue);
}

template <class Interface>
bool TypedRecord<Interface>::descriptionAsBool(const std::string& name, bool defaultValue) const {
  return record_.descriptionAsBool(name, defaultValue);
}

template <class Interface>
long long TypedRecord<Interface>::descriptionAsLongLong(const std::string& name, long long defaultValue) const {
  return record_.descriptionAsLongLong(name, defaultValue);
}

template <class Interface>
long long TypedRecord<Interface>::descriptionAsTime(const std::string& name, long long defaultValue) const {
  return record_.descriptionAsTime(name, defaultValue);
}

template <class Interface>
void TypedRecord<Interface>::removeDescription(const std::string& name) {
  record_.removeDescription(name);
}

template <class Interface>
void TypedRecord<Interface>::removeAllDescriptions() {
  record_.removeAllDescriptions();
}

template <class Interface>
void TypedRecord<Interface>::enumDescriptionsNames(std::list<std::string>& names) const {
  record_.enumDescriptionsNames(names);
}

template <class Interface>
void TypedRecord<Interface>::descriptionType(const std::string& name, PropertyType& type) const {
  record_.descriptionType(name, type);
}

template <class Interface>
bool TypedRecord<Interface>::setCategory(const std::string& name, const std::string& value) {
  return record_.setCategory(name, value);
}

template <class Interface>
void TypedRecord<Interface>::enumCategoriesNames(std::list<std::string>& names) const {
  record_.enumCategoriesNames(names);
}

template <class Interface>
std::string TypedRecord<Interface>::categoryValue(const std::string& name, const std::string& defaultValue) const {
  return record_.categoryValue(name, defaultValue);
}

template <class Interface>
void TypedRecord<Interface>::removeCategory(const std::string& name) {
  record_.removeCategory(name);
}

template <class Interface>
void TypedRecord<Interface>::removeAllCategories() {
  record_.removeAllCategories();
}

template <class Interface>
void TypedRecord<Interface>::enumFilesIds(const ObjectType& type, std::list<std::string>& ids) const {
  record_.enumFilesIds(type, ids);
}

template <class Interface>
void TypedRecord<Interface>::enumFilesIds(std::list<std::string>& ids) const {
  record_.enumFilesIds(ids);
}

template <class Interface>
bool TypedRecord<Interface>::addFileInfo(const ObjectType& type, const std::string& host, const std::string& path,
                                         std::string& fileId) {
  return record_.addFileInfo(type, host, path, fileId);
}

template <class Interface>
void TypedRecord<Interface>::removeFileInfo(const std::string& fileId) {
  record_.removeFileInfo(fileId);
}

template <class Interface>
void TypedRecord<Interface>::removeAllFilesInfo() {
  record_.removeAllFilesInfo();
}

template <class Interface>
void TypedRecord<Interface>::getFileInfo(const std::string& fileId, ObjectType& type, std::string& host,
                                         std::string& path) const {
  record_.getFileInfo(fileId, type, host, path);
}

template class TypedRecord<DatabaseRecordInterface>;
template class TypedRecord<ExperimentDatabaseRecordInterface>;

}  // namespace database_provider
