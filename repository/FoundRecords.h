// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utility>
#include <vector>

#include "database_provider/records.h"

namespace database_provider {

/// Where somebody who goes through found records stands.
///
/// Records come in batches, each of a `find` of its own, rather than from one cursor that stays open: the client can be
/// used for other calls in the loop, a store in a file is not read-locked for as long as a caller thinks about a
/// record, and a server does not close a cursor that nobody asked for a while. Without a sort a batch begins behind the
/// last record of the one before, so that it costs the same wherever it stands.
struct FoundRecords::State {
  Records records;
  Selection selection;
  FindOptions next;  ///< asks for the next batch, but for its size
  bool isLimited;
  std::vector<Record> batch{};
  std::size_t at = 0;
  std::size_t batchSize = 64;
  bool isLast = false;
  std::optional<FoundRecord> current{};

  /// Makes the next record the current one; false when there is none.
  bool advance();

 private:
  void fetch();
};

}  // namespace database_provider
