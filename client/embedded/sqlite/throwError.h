// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace database_client::embedded::sqlite {

/// Throws the `Error` that belongs to a result code of SQLite: of kind timeout (retryable) when another holds the lock,
/// `DamageError` when the file is not as it was written, else of kind storage. The text is made of `file`, `doing` and
/// the fixed text for the code: SQLite's own message may quote values and is never used.
[[noreturn]] void fail(int code, const std::string& file, const char* doing);

}  // namespace database_client::embedded::sqlite
