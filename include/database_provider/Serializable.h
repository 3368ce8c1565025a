// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "database_provider/types.h"

namespace database_provider {

/// Something that writes itself into a document's current level and reads itself back, under a format version that the
/// caller gives. It is not destroyed through this interface.
class DATABASE_PROVIDER_EXPORT Serializable {
 public:
  /// Writes all fields and the version; true.
  virtual bool serialize(ObjectProperties& target, int version) = 0;
  /// Reads all fields when the stored version is `version`, an absent key as an empty text or 0. False, and nothing
  /// changes, for another version or none.
  virtual bool deserialize(const ObjectProperties& source, int version) = 0;

 protected:
  Serializable() = default;
  Serializable(const Serializable&) = default;
  Serializable& operator=(const Serializable&) = default;
  // Not virtual: the table of virtual operations begins with serialize.
  ~Serializable() = default;
};

}  // namespace database_provider
