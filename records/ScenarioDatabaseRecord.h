// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <list>
#include <string>

#include "records/TypedRecord.h"

namespace database_provider {

/// A record of a scenario.
class DATABASE_PROVIDER_EXPORT ScenarioDatabaseRecord : public TypedRecord<DatabaseRecordInterface> {
 public:
  void clear() override;
  std::list<ObjectType> supportedObjectTypes() const override;
  void fileExtensions(const ObjectType& type, std::list<std::string>& extensions) const override;
  void setD(ObjectProperties* document) override;
  ObjectProperties* getD() const override;
  ObjectProperties* take() override;
};

}  // namespace database_provider
