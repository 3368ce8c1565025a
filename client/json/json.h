// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "client/bson/View.h"
#include "database_client/types.h"

// MongoDB extended JSON, version 2: documents as text, for people and for other programs.
//
// What JSON has itself stands as that: texts, booleans, null, documents, arrays and, in relaxed mode, numbers. Every
// other value stands as a type wrapper, an object that stands for one value and whose first key says its type: {"$oid":
// "…"} (typeWrappers.h; the texts in it: parse.h).
//
// `write` goes through the bytes once, front to back, with the levels that are open in an array of its own; of a text
// it copies eight bytes at a time up to the next one that JSON escapes. `read` takes the events of RapidJSON and
// appends BSON at once. Whether an object is a document or a type wrapper shows at its first key; the fields of a
// wrapper are collected, and converted when it ends. Keys and texts stay where the parser found them, in a copy of the
// text.
//
// What both keep: no tree is built, and no level is entered below the deepest that a document may have, so the arrays
// of levels have a fixed size. What is read is BSON as `validate` wants it: UTF-8, no NUL in a key, not too large.
//
// Why not the obvious ways: a tree, as RapidJSON would make it, holds every value a second time, in blocks of its own,
// before the first byte of BSON is written. libbson reads and writes without one too, but its errors do not say under
// which key a text went wrong; of it there are only the conversions between decimals and text.
//
// Where to begin: `DocumentWriter` in write.cpp, `DocumentHandler` in read.cpp, then typeWrappers.cpp, which has
// a row for each type wrapper.

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
