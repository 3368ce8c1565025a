// SPDX-License-Identifier: Apache-2.0
#include "records/ExperimentDatabaseRecord.h"

#include <utility>

namespace database_provider {

ExperimentDatabaseRecord::ExperimentDatabaseRecord() {
  source_.setRecord(record().getD());
}

void ExperimentDatabaseRecord::clear() {
  auto aside = std::make_unique<ObjectProperties>();
  record().clear();
  source_.clear();
  source_.setRecord(aside.get());
  detached_ = std::move(aside);
}

std::list<ObjectType> ExperimentDatabaseRecord::supportedObjectTypes() const {
  return {ObjectType::archiveObject, ObjectType::extraXmlObject, ObjectType::documentObject, ObjectType::xmlObject};
}

void ExperimentDatabaseRecord::fileExtensions(const ObjectType& type, std::list<std::string>& extensions) const {
  extensions.clear();
  switch (type) {
    case ObjectType::xmlObject:
      extensions = {".xml", ".xml"};
      break;
    case ObjectType::archiveObject:
      extensions = {".zip"};
      break;
    case ObjectType::documentObject:
      extensions = {".csw", ".txt", ".jpg"};
      break;
    case ObjectType::extraXmlObject:
      extensions = {".xml"};
      break;
    default:
      break;
  }
}

void ExperimentDatabaseRecord::setD(ObjectProperties* document) {
  record().setD(document);
  source_.setRecord(document != nullptr ? document : record().getD());
  detached_.reset();
}

ObjectProperties* ExperimentDatabaseRecord::getD() const {
  source_.updateRecord();
  return record().getD();
}

ObjectProperties* ExperimentDatabaseRecord::take() {
  source_.updateRecord();
  ObjectProperties* document = record().take();
  source_.setRecord(record().getD());
  return document;
}

SourceType ExperimentDatabaseRecord::sourceType() const {
  return source_.sourceType();
}

DatabaseSourceInfoInterface* ExperimentDatabaseRecord::getDatabaseSourceInfo() const {
  return source_.getDatabaseSourceInfo();
}

DataServerSourceInfoInterface* ExperimentDatabaseRecord::getDataServerSourceInfo() const {
  return source_.getDataServerSourceInfo();
}

void ExperimentDatabaseRecord::setDatabaseSourceInfo(DatabaseSourceInfoInterface* info) {
  source_.setDatabaseSourceInfo(info);
}

void ExperimentDatabaseRecord::setDataServerSourceInfo(DataServerSourceInfoInterface* info) {
  source_.setDataServerSourceInfo(info);
}

}  // namespace database_provider
