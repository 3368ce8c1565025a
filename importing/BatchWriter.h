// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "database_provider/import.h"
#include "records/layout.h"

namespace database_provider::importing {

/// Inserts documents in batches, each of which goes in as a whole or not at all.
class DATABASE_PROVIDER_EXPORT BatchWriter {
 public:
  /// The client must outlive the writer. Documents that the store refuses are told to `bad`.
  BatchWriter(DataBaseClient& client, layout::Place place, std::function<void(const BadRow&)> bad)
      : client_(client), place_(place), bad_(std::move(bad)) {}

  /// `size` is that of the document, roughly.
  void add(std::unique_ptr<ObjectProperties> document, RowOrigin origin, std::size_t size);
  void flush();
  /// How many documents the store has acknowledged.
  std::size_t written() const { return written_; }

 private:
  DataBaseClient& client_;
  layout::Place place_;
  std::function<void(const BadRow&)> bad_;
  std::vector<std::unique_ptr<ObjectProperties>> documents_{};
  std::vector<RowOrigin> origins_{};
  std::size_t size_ = 0;
  std::size_t written_ = 0;
};

}  // namespace database_provider::importing
