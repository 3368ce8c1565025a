// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "client/bson/View.h"
#include "database_client/types.h"

/// MongoDB extended JSON, version 2.
namespace database_client::json {

/// Writes the whole document, in the form of the BSON corpus: no line breaks, one blank after a colon and a comma.
std::string write(bson::View document, JsonMode mode);

/// Reads one object of canonical or relaxed extended JSON into BSON. Throws Error{document} naming the key's path and
/// what was expected, or the offset of a syntax error.
///
/// A plain integer becomes an int32 where it fits, else an int64, else a double. The first key of an object inside
/// decides whether it stands for one value; from then on anything that does not fit is an error. Query operators such
/// as "$regex" and "$type" are keys like any other, and so is every key of the outermost object. Repeated keys are
/// kept.
std::vector<bson::Byte> read(std::string_view text);

}  // namespace database_client::json
