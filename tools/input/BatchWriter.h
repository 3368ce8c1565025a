// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <database_provider/database_provider.h>

#include <memory>
#include <string>
#include <vector>

#include "tools/core/Records.h"
#include "tools/input/BadRows.h"

namespace database_provider::recordctl {

/// Inserts documents in batches, each of which goes in as a whole or not at all.
class BatchWriter {
 public:
  /// All three must outlive the writer. Documents that the store refuses are told to `bad`.
  BatchWriter(DataBaseClient& client, RecordPlace place, BadRows& bad) : client_(client), place_(place), bad_(bad) {}

  /// `size` is that of the document, roughly.
  void add(std::unique_ptr<ObjectProperties> document, RowOrigin origin, std::size_t size);
  void flush();
  /// How many documents the store has acknowledged.
  std::size_t written() const { return written_; }

 private:
  DataBaseClient& client_;
  RecordPlace place_;
  BadRows& bad_;
  std::vector<std::unique_ptr<ObjectProperties>> documents_{};
  std::vector<RowOrigin> origins_{};
  std::size_t size_ = 0;
  std::size_t written_ = 0;
};

}  // namespace database_provider::recordctl
