// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "client/Engine.h"
#include "client/server/OperationRunner.h"

/// The commands for users.
namespace database_client::server {

struct UserName {
  const std::string& database;
  const std::string& user;
};

struct UserGrants {
  const ObjectProperties& roles;
  const ObjectProperties& customData;
};

void createUser(OperationRunner& runner, const UserName& name, const std::string& password, const UserGrants& grants);
/// Where the roles stay as they are, the right to change the custom data is enough.
void modifyUser(OperationRunner& runner, const UserName& name, const UserGrants& grants);
/// A runner that is logged in as this very user goes on under the new password.
void changePassword(OperationRunner& runner, const UserName& name, const std::string& password);
void dropUser(OperationRunner& runner, const UserName& name);

/// Whether this is where servers keep their users.
bool holdsUsers(const Namespace& where);
/// The users that a query of the library asks for (all, or those of one name), as documents like those of
/// "system.users", without credentials; asked for by command. Throws Error{unsupported} for any other query.
void findUsers(OperationRunner& runner, const FindRequest& request, const Engine::Receiver& receive);
/// Whether the user is there; false also when this connection may not know.
bool isUserThere(OperationRunner& runner, const UserName& name);

}  // namespace database_client::server
