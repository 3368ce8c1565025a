// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/bson/View.h"

namespace database_client::embedded {

/// Whether a query takes this value for operators rather than for a value to equal: its first key begins with `$`, and
/// it is no reference {$ref, $id}.
bool isOperatorDocument(const bson::Value& value);

}  // namespace database_client::embedded
