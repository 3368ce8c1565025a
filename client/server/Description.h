// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/Engine.h"
#include "client/server/OperationRunner.h"

/// What a deployment says of itself.
namespace database_client::server {

/// Tried without a user, on a connection of its own where the runner has one.
AccessControl accessControlOf(OperationRunner& runner);
StoreDescription describe(OperationRunner& runner);
CollectionSize sizeOf(OperationRunner& runner, const Namespace& where);

}  // namespace database_client::server
