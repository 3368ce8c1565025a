// SPDX-License-Identifier: Apache-2.0
#include "records/UserData.h"

#include <utility>

#include "records/layout.h"

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
  cache_.removeKey(layout::key::recordInfo);
}

void UserData::updateRecord_helper(ObjectProperties& target) const {
  ObjectProperties whole = cache_;
  if (!whole.copyValue(layout::key::recordInfo, target, layout::key::recordInfo))
    whole.include(layout::key::recordInfo, ObjectProperties());
  target = std::move(whole);
}

void UserData::empty() const {
  cache_ = ObjectProperties();
}

}  // namespace database_provider
