// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "providers/TypedProvider.h"

namespace database_provider {

/// The scenarios: database "base", collection "collection.scenarios".
class DATABASE_PROVIDER_EXPORT ScenarioDatabase : public TypedProvider<DatabaseProviderInterface> {
 public:
  ScenarioDatabase();

 private:
  std::unique_ptr<DatabaseRecordInterface> createRecord() const override;
};

}  // namespace database_provider
