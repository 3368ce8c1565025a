// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "records/SectionView.h"

namespace database_provider {

/// The user record: a record's document without its "recordInfo". Writing it back makes the document exactly the user
/// record and the "recordInfo" that the document had, or an empty one.
class DATABASE_PROVIDER_EXPORT UserData : public SectionView {
 public:
  UserData() = default;

  void setUserData(const ObjectProperties& data);
  ObjectProperties getUserData() const;
  void removeUserData();

 private:
  void load(const ObjectProperties& record) const override;
  void updateRecord_helper(ObjectProperties& target) const override;
  void empty() const override;

  mutable ObjectProperties cache_;
};

}  // namespace database_provider
