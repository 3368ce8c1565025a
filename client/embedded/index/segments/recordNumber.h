// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace database_client::embedded {

/// The number of a record: the "rid" of its row, as the index counts with it. Record numbers begin at 1 and grow with
/// every insert, so that 0 can stand for "none", and "after 0" for "from the first on".
///
/// Unsigned, although SQLite's row ids have a sign: the index stores distances and lengths as varints with flags in
/// their lowest bits, which take two bits of the number; it holds numbers below 2^62. SQLite's signed number becomes
/// one of these where `Collection` hands a document to its index, and nowhere else.
using RecordNumber = std::uint64_t;

}  // namespace database_client::embedded
