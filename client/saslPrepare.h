// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace database_client {

/// The form of a password that is hashed: one for all ways to write the same characters (SASLprep, RFC 4013).
/// Characters that are newer than the RFC stand for themselves. Throws Error{query} for a text that is no password:
/// what the RFC prohibits, such as control characters.
std::string saslPrepare(const std::string& password);

/// Whether nothing is left of a password that is hashed, as of soft hyphens alone.
bool isEmptyPassword(const std::string& password);

}  // namespace database_client
