// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace database_client::embedded {

/// The number of a record: the "rid" of its row. Record numbers begin at 1 and grow with every insert, so that 0 can
/// stand for "none", and "after 0" for "from the first on".
///
/// Unsigned, although SQLite's row ids have a sign: the index stores distances and lengths as varints with flags in
/// their lowest bits, which take two bits of the number; it holds numbers below 2^62. A row id becomes one of these
/// where its row is read, and nowhere else.
using RecordNumber = std::uint64_t;

/// One that is negative, which only damage can make of it, is a number that no record has.
inline RecordNumber recordNumber(std::int64_t rowId) {
  return static_cast<RecordNumber>(rowId);
}
inline std::int64_t rowId(RecordNumber record) {
  return static_cast<std::int64_t>(record);
}

}  // namespace database_client::embedded
