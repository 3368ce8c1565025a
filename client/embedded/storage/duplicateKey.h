// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "client/bson/View.h"
#include "database_client/Error.h"

namespace database_client::embedded {

/// The error for an "_id" that is taken, with the text and the code of a server.
Error duplicateKey(const std::string& label, const bson::Value& id);

}  // namespace database_client::embedded
