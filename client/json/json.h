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
std::vector<bson::Byte> read(std::string_view text);

}  // namespace database_client::json
