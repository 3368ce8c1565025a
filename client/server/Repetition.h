// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <list>
#include <vector>

#include "client/Engine.h"
#include "client/server/OperationRunner.h"

/// An insert that the driver repeated after its answer was lost may be refused for the documents that it put there
/// itself, where the server does not tell a repetition (after an election, or behind a proxy).
namespace database_client::server {

/// Takes those refusals out whose documents are stored just as they were sent. Where that cannot be found out, the
/// refusals stay, and say that the outcome is unknown.
void forgiveOwnDocuments(Attempt& attempt, const Namespace& where, const std::vector<ObjectProperties>& documents,
                         std::list<BulkFailure>& failures);

/// Whether the document is stored just as it was sent; false also when that cannot be found out.
bool isStored(Attempt& attempt, const Namespace& where, const ObjectProperties& document);

}  // namespace database_client::server
