// SPDX-License-Identifier: Apache-2.0
#include "records/DatabaseRecord.h"

#include <utility>

namespace database_provider {

DatabaseRecord::DatabaseRecord() : d_(std::make_unique<ObjectProperties>()) {
  attach(d_.get());
}

void DatabaseRecord::attach(ObjectProperties* document) {
  categories_.setRecord(document);
  descriptions_.setRecord(document);
  files_.setRecord(document);
  userData_.setRecord(document);
}

void DatabaseRecord::clear() {
  auto document = std::make_unique<ObjectProperties>();
  detached_ = std::make_unique<ObjectProperties>();
  categories_.clear();
  descriptions_.clear();
  files_.clear();
  userData_.clear();
  attach(detached_.get());
  d_ = std::move(document);
}

void DatabaseRecord::setD(ObjectProperties* document) {
  if (document == d_.get()) return;
  d_.reset(document != nullptr ? document : new ObjectProperties);
  attach(d_.get());
  detached_.reset();
}

ObjectProperties* DatabaseRecord::getD() const {
  categories_.updateRecord();
  descriptions_.updateRecord();
  files_.updateRecord();
  // Last, since it rebuilds the top of the document around the sections written so far.
  userData_.updateRecord();
  return d_.get();
}

ObjectProperties* DatabaseRecord::take() {
  getD();
  return std::exchange(d_, std::make_unique<ObjectProperties>()).release();
}

void DatabaseRecord::setUserRecrod(const ObjectProperties& data) {
  userData_.setUserData(data);
}

ObjectProperties DatabaseRecord::getUserRecord() const {
  return userData_.getUserData();
}

void DatabaseRecord::removeUserRecord() {
  userData_.removeUserData();
}

bool DatabaseRecord::addDescriptionString(const std::string& name, const std::string& value) {
  return descriptions_.addDescriptionString(name, value);
}

bool DatabaseRecord::addDescriptionBool(const std::string& name, const bool& value) {
  return descriptions_.addDescriptionBool(name, value);
}

bool DatabaseRecord::addDescriptionInt(const std::string& name, const int& value) {
  return descriptions_.addDescriptionInt(name, value);
}

bool DatabaseRecord::addDescriptionDouble(const std::string& name, const double& value) {
  return descriptions_.addDescriptionDouble(name, value);
}

bool DatabaseRecord::addDescriptionLongLong(const std::string& name, const long long& value) {
  return descriptions_.addDescriptionLongLong(name, value);
}

bool DatabaseRecord::addDescriptionTime(const std::string& name, const long long& value) {
  return descriptions_.addDescriptionTime(name, value);
}

std::string DatabaseRecord::descriptionAsString(const std::string& name, const std::string& defaultValue) const {
  return descriptions_.descriptionAsString(name, defaultValue);
}

int DatabaseRecord::descriptionAsInt(const std::string& name, int defaultValue) const {
  return descriptions_.descriptionAsInt(name, defaultValue);
}

double DatabaseRecord::descriptionAsDouble(const std::string& name, double defaultValue) const {
  return descriptions_.descriptionAsDouble(name, defaultValue);
}

bool DatabaseRecord::descriptionAsBool(const std::string& name, bool defaultValue) const {
  return descriptions_.descriptionAsBool(name, defaultValue);
}

long long DatabaseRecord::descriptionAsLongLong(const std::string& name, long long defaultValue) const {
  return descriptions_.descriptionAsLongLong(name, defaultValue);
}

long long DatabaseRecord::descriptionAsTime(const std::string& name, long long defaultValue) const {
  return descriptions_.descriptionAsTime(name, defaultValue);
}

void DatabaseRecord::removeDescription(const std::string& name) {
  descriptions_.removeDescription(name);
}

void DatabaseRecord::removeAllDescriptions() {
  descriptions_.removeAllDescriptions();
}

void DatabaseRecord::enumDescriptionsNames(std::list<std::string>& names) const {
  descriptions_.enumDescriptionsNames(names);
}

void DatabaseRecord::descriptionType(const std::string& name, PropertyType& type) const {
  descriptions_.descriptionType(name, type);
}

bool DatabaseRecord::setCategory(const std::string& name, const std::string& value) {
  return categories_.setCategory(name, value);
}

void DatabaseRecord::enumCategoriesNames(std::list<std::string>& names) const {
  categories_.enumCategoriesNames(names);
}

std::string DatabaseRecord::categoryValue(const std::string& name, const std::string& defaultValue) const {
  return categories_.categoryValue(name, defaultValue);
}

void DatabaseRecord::removeCategory(const std::string& name) {
  categories_.removeCategory(name);
}

void DatabaseRecord::removeAllCategories() {
  categories_.removeAllCategories();
}

void DatabaseRecord::enumFilesIds(const ObjectType& type, std::list<std::string>& ids) const {
  files_.enumFilesIds(type, ids);
}

void DatabaseRecord::enumFilesIds(std::list<std::string>& ids) const {
  files_.enumFilesIds(ids);
}

bool DatabaseRecord::addFileInfo(const ObjectType& type, const std::string& host, const std::string& path,
                                 std::string& fileId) {
  return files_.addFileInfo(type, host, path, fileId);
}

void DatabaseRecord::removeFileInfo(const std::string& fileId) {
  files_.removeFileInfo(fileId);
}

void DatabaseRecord::removeAllFilesInfo() {
  files_.removeAllFilesInfo();
}

void DatabaseRecord::getFileInfo(const std::string& fileId, ObjectType& type, std::string& host,
                                 std::string& path) const {
  files_.getFileInfo(fileId, type, host, path);
}

std::list<ObjectType> DatabaseRecord::supportedObjectTypes() const {
  return {};
}

void DatabaseRecord::fileExtensions(const ObjectType& /*type*/, std::list<std::string>& /*extensions*/) const {}

}  // namespace database_provider
