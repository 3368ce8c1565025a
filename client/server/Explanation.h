// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/bson/View.h"
#include "database_client/ObjectProperties.h"

namespace database_client::server {

/// What a server's answer to "explain" comes to: "index", "examined" and "returned".
ObjectProperties summaryOf(bson::View explanation);

}  // namespace database_client::server
