// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_client/DataBaseClient.h>

#include "database_provider/export.h"

namespace database_provider {

/// What the library's queries need of a deployment, for `DataBaseClient::setUpDeployment`: indexes over the categories
/// and descriptions of both kinds of record, over the hosts of data sources, and a unique one over the settings of each
/// user. The plan is neither dry nor names a password; setting either is the caller's. Repeating it is safe.
DATABASE_PROVIDER_EXPORT database_client::DeploymentPlan libraryPlan();

}  // namespace database_provider
