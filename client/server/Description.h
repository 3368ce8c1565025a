// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/Engine.h"
#include "client/server/Session.h"

/// What a deployment says of itself.
namespace database_client::server {

/// Tried without a user, on a connection of its own where the session has one.
AccessControl accessControlOf(Session& session);
StoreDescription describe(Session& session);
CollectionSize sizeOf(Session& session, const Namespace& where);

}  // namespace database_client::server
