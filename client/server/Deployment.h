// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <list>

#include "client/server/OperationRunner.h"
#include "database_client/DataBaseClient.h"

namespace database_client::server {

/// Brings about what the plan says and is not there yet: the administrator, the role that every user of the library
/// gets, the indexes. Where there was no user before, the steps after the first are taken as the new administrator.
std::list<DeploymentStep> setUp(OperationRunner& runner, const DeploymentPlan& plan);

}  // namespace database_client::server
