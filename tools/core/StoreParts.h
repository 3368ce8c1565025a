// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_provider/database_provider.h>

#include <string>
#include <vector>

#include "tools/core/Records.h"

namespace database_provider::recordctl {

/// One of the places in which a store keeps what belongs to the library. Users are none of them, since a store never
/// hands out their credentials.
struct StorePart {
  enum class Contents {
    configuration,  ///< of the records of `kind`
    records,        ///< of `kind`
    settings,       ///< of users
  };

  Contents contents;
  RecordKind kind;
  std::string database;
  std::string collection;

  /// "database.collection".
  std::string name() const { return database + "." + collection; }
};

/// All of them, the configuration first.
const std::vector<StorePart>& storeParts();
const StorePart& configurationPart(RecordKind kind);
const StorePart& recordsPart(RecordKind kind);
const StorePart& settingsPart();
/// The part of that name; null where there is none.
const StorePart* findStorePart(const std::string& name);

}  // namespace database_provider::recordctl
