#pragma once

#include <cstddef>
#include <string_view>

#include "client/bson/View.h"

namespace database_client::bson {

/// Checks that `size` bytes at `data` are exactly one well-formed document: lengths, terminators, types, UTF-8 of keys
/// and texts, at most `maximumDepth` levels and `maximumSize` bytes. Throws Error{document} with the path of the key.
/// Takes time proportional to the size and no recursion.
View validate(const void* data, std::size_t size);

/// Whether the text is well-formed UTF-8 (no surrogates, nothing overlong).
bool isUtf8(std::string_view text);

}  // namespace database_client::bson
