#include "records/UserData.h"

#include <utility>

namespace database_provider {

void UserData::setUserData(const ObjectProperties& data) {
  extract();
  cache_ = data;
  setModified();
}

ObjectProperties UserData::getUserData() const {
  extract();
  return cache_;
}

void UserData::removeUserData() {
  removeAll();
}

void UserData::load(const ObjectProperties& record) const {
  cache_ = record;
  cache_.removeKey("recordInfo");
}

void UserData::updateRecord_helper(ObjectProperties& target) const {
  ObjectProperties whole = cache_;
  if (!whole.copyValue("recordInfo", target, "recordInfo")) whole.include("recordInfo", ObjectProperties());
  target = std::move(whole);
}

void UserData::empty() const {
  cache_ = ObjectProperties();
}

}  // namespace database_provider
