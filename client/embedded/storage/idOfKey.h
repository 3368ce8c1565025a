// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>
#include <vector>

#include "client/bson/View.h"

namespace database_client::embedded {

/// The document {_id: value} of a value with this `canonicalKey`; {} for bytes that are no such key. Of the values that
/// compare equal it is one: an int64 for 1.0, a string for a symbol.
std::vector<bson::Byte> idOfKey(std::string_view key);

/// Whether this is the `canonicalKey` of an object id: its kind, and behind that its bytes.
bool isKeyOfObjectId(std::string_view key);

}  // namespace database_client::embedded
