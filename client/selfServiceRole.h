// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/bson/Writer.h"

namespace database_client {

/// The role for every user of the library: changing one's own password and custom data. It is made when a deployment is
/// set up.
constexpr const char* selfServiceRole = "changeOwnPasswordCustomDataRole";
constexpr const char* ownDataDatabase = "databaseManager";

/// Appends what the role allows, and that it inherits nothing: the keys "privileges" and "roles".
void appendOwnDataPrivileges(bson::Writer& writer);

}  // namespace database_client
