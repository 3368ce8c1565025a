// SPDX-License-Identifier: Apache-2.0
#pragma once

/// The record library: everything that applications use, and the client library below it.

#include <database_client/database_client.h>  // IWYU pragma: export

#include "database_provider/DataServerSourceInfoInterface.h"      // IWYU pragma: export
#include "database_provider/DatabaseFilter.h"                     // IWYU pragma: export
#include "database_provider/DatabaseProviderInterface.h"          // IWYU pragma: export
#include "database_provider/DatabaseRecordInterface.h"            // IWYU pragma: export
#include "database_provider/DatabaseSourceInfoInterface.h"        // IWYU pragma: export
#include "database_provider/ExperimentDatabaseInterface.h"        // IWYU pragma: export
#include "database_provider/ExperimentDatabaseRecordInterface.h"  // IWYU pragma: export
#include "database_provider/PropertiesToRecordProjection.h"       // IWYU pragma: export
#include "database_provider/Serializable.h"                       // IWYU pragma: export
#include "database_provider/SourceInfo.h"                         // IWYU pragma: export
#include "database_provider/UsersDatabaseInterface.h"             // IWYU pragma: export
#include "database_provider/database_provider_creator.h"          // IWYU pragma: export
#include "database_provider/deployment.h"                         // IWYU pragma: export
#include "database_provider/descriptions.h"                       // IWYU pragma: export
#include "database_provider/export.h"                             // IWYU pragma: export
#include "database_provider/types.h"                              // IWYU pragma: export
#include "database_provider/version.h"                            // IWYU pragma: export
