// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "database_provider/import.h"

namespace database_provider::importing {

// What becomes of the bytes of a file before its rows are read, each step a reader on the reader of the step before it,
// in constant memory. `name` stands in messages. What is damaged or breaks off is an `ImportError`.

/// Whether bytes begin as gzip or Zstandard do.
bool isCompressed(std::string_view first);

/// The content of gzip (several members are one content) or of Zstandard frames; `read` itself where the bytes that
/// come first are of neither.
ByteReader decompressed(const std::string& name, ByteReader read, std::string_view first);

/// Text in UTF-8, of one in an encoding as iconv names it.
ByteReader recoded(const std::string& name, ByteReader read, const std::string& encoding);

/// The encoding that a byte order mark tells; empty for none, and for UTF-8.
std::string encodingByMark(std::string_view first);

/// First these bytes, then what the reader has.
ByteReader behind(std::string first, ByteReader read);

}  // namespace database_provider::importing
