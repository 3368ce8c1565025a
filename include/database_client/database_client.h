// SPDX-License-Identifier: Apache-2.0
#pragma once

/// The client library: documents, filters, the connection to a store, and its errors.

#include "database_client/AtRoot.h"            // IWYU pragma: export
#include "database_client/DataBaseClient.h"    // IWYU pragma: export
#include "database_client/ElementReader.h"     // IWYU pragma: export
#include "database_client/Error.h"             // IWYU pragma: export
#include "database_client/ObjectFilter.h"      // IWYU pragma: export
#include "database_client/ObjectProperties.h"  // IWYU pragma: export
#include "database_client/codes.h"             // IWYU pragma: export
#include "database_client/types.h"             // IWYU pragma: export
#include "database_client/version.h"           // IWYU pragma: export
