// SPDX-License-Identifier: Apache-2.0
#include "records/ScenarioDatabaseRecord.h"

namespace database_provider {

void ScenarioDatabaseRecord::clear() {
  record().clear();
}

std::list<ObjectType> ScenarioDatabaseRecord::supportedObjectTypes() const {
  return {ObjectType::xmlObject, ObjectType::mediaObject, ObjectType::documentObject};
}

void ScenarioDatabaseRecord::fileExtensions(const ObjectType& type, std::list<std::string>& extensions) const {
  extensions.clear();
  switch (type) {
    case ObjectType::xmlObject:
      extensions = {".xml"};
      break;
    case ObjectType::mediaObject:
      extensions = {".dat", ".avi"};
      break;
    case ObjectType::documentObject:
      extensions = {".html", ".txt"};
      break;
    default:
      break;
  }
}

void ScenarioDatabaseRecord::setD(ObjectProperties* document) {
  record().setD(document);
}

ObjectProperties* ScenarioDatabaseRecord::getD() const {
  return record().getD();
}

ObjectProperties* ScenarioDatabaseRecord::take() {
  return record().take();
}

}  // namespace database_provider
