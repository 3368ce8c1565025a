// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include "client/bson/View.h"
#include "client/bson/utf8.h"  // IWYU pragma: export

namespace database_client::bson {

/// Checks that `size` bytes at `data` are exactly one well-formed document: lengths, terminators, types, UTF-8 of keys
/// and texts, at most `maximumDepth` levels and `maximumSize` bytes. Throws Error{document} with the path of the key.
/// Takes time proportional to the size and no recursion.
View validate(const void* data, std::size_t size);

/// As `validate`, for what a server answers: the documents it sends lie three levels below its own, so that there may
/// be so many more levels, and more bytes than one document has. A server's text about an error ("errmsg", outside of
/// "cursor") may be cut within a character and need not be UTF-8.
View validateAnswer(const void* data, std::size_t size);

}  // namespace database_client::bson
