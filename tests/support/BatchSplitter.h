// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <vector>

#include "tests/support/Wire.h"

namespace database_test {

/// Hands on the batches of a server's cursors in pieces, with empty ones between them, as a router may that waits for
/// its shards: an empty batch first, half of the documents, an empty batch, and the rest.
class BatchSplitter {
 public:
  /// The reply with an empty batch in the place of its own, which is held back; any other reply as it is.
  Bson holdBack(const bson_t* reply);
  /// The reply to a "getMore", nothing when all that was held back is handed on and the server has to be asked.
  std::optional<Bson> next(std::int64_t cursor);
  /// Forgets a cursor; whether it was one that the server does not know.
  bool forget(std::int64_t cursor);

  /// How many empty batches were given.
  int emptyBatches() const { return emptyBatches_; }

 private:
  struct Cursor {
    std::string ns{};
    bool isOfServer = false;  ///< the server has more after what is held back
    std::deque<std::vector<Bytes>> pieces{};
  };

  std::map<std::int64_t, Cursor> cursors_{};
  std::int64_t nextOwn_ = 0x5E1A700000000001;
  int emptyBatches_ = 0;
};

}  // namespace database_test
