// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "database_provider/Serializable.h"

namespace database_provider {

/// Where an experiment's measured data lives: a plain value, of a kind that never changes.
class DATABASE_PROVIDER_EXPORT SourceInfo : public Serializable {
 public:
  virtual ~SourceInfo() = default;

  virtual SourceType type() const = 0;
  /// Puts every field back to its default.
  virtual void reset() = 0;

 protected:
  SourceInfo() = default;
  SourceInfo(const SourceInfo&) = default;
  SourceInfo& operator=(const SourceInfo&) = default;
};

}  // namespace database_provider
