// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "database_client/ObjectProperties.h"
#include "database_client/export.h"

namespace database_client {

/// Stands at the root of a document for a scope, and then again where the document stood. A level that is gone by then
/// reads as empty, and the first write into it makes it anew.
class DATABASE_CLIENT_EXPORT AtRoot {
 public:
  explicit AtRoot(const ObjectProperties& document);
  ~AtRoot();
  AtRoot(const AtRoot&) = delete;
  AtRoot& operator=(const AtRoot&) = delete;

 private:
  struct Place;

  const ObjectProperties& document_;
  std::unique_ptr<Place> place_;  ///< null when the document stood at its root
};

}  // namespace database_client
