#pragma once

#include <cstddef>

#include "client/bson/View.h"
#include "client/bson/utf8.h"  // IWYU pragma: export

namespace database_client::bson {

/// Checks that `size` bytes at `data` are exactly one well-formed document: lengths, terminators, types, UTF-8 of keys
/// and texts, at most `maximumDepth` levels and `maximumSize` bytes. Throws Error{document} with the path of the key.
/// Takes time proportional to the size and no recursion.
View validate(const void* data, std::size_t size);

}  // namespace database_client::bson
