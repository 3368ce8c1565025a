// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <vector>

#include "repository/DocumentPages.h"

namespace database_provider {

/// Where somebody who goes through found records stands.
///
/// Records come in batches that grow, so that who looks at the first record alone does not pay for a thousand, and the
/// next batch is read before the last record of this one is handed over, which the caller may be about to remove. A
/// short sorted answer is one batch.
struct FoundRecords::State {
  State(const Records& records, const Selection& selection, const FindOptions& options);

  /// Makes the next record the current one; false when there is none.
  bool advance();

  std::optional<FoundRecord> current{};

 private:
  void fetch();

  RecordKind kind_;
  repository::DocumentPages pages_;
  int batchSize_;
  std::vector<Record> batch_{};
  std::size_t at_ = 0;
  bool isLast_ = false;
};

}  // namespace database_provider
