// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/bson/View.h"
#include "database_client/types.h"

namespace database_client {

/// The public name of a BSON type; `undefined` for a type byte that BSON does not have.
PropertyType propertyType(bson::Type type);

}  // namespace database_client
