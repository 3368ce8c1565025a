// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "client/embedded/index/segments/BlobStore.h"

namespace database_client::embedded {

/// Blobs in memory, with transactions that can be undone, for tests.
class MemoryBlobStore : public BlobStore {
 public:
  std::string read(std::int64_t key) override {
    const auto found = blobs.find(key);
    return found == blobs.end() ? std::string() : found->second;
  }
  void write(std::int64_t key, std::string_view bytes) override { blobs[key] = bytes; }
  void erase(std::int64_t first, std::int64_t last) override {
    blobs.erase(blobs.lower_bound(first), blobs.upper_bound(last));
  }
  std::optional<std::int64_t> firstKey(std::int64_t first, std::int64_t last) override {
    const auto found = blobs.lower_bound(first);
    if (found == blobs.end() || found->first > last) return std::nullopt;
    return found->first;
  }
  std::uint64_t version() override { return changes; }

  void commit() { committed = blobs; }
  void undo() {
    blobs = committed;
    ++changes;
  }

  std::map<std::int64_t, std::string> blobs;
  std::map<std::int64_t, std::string> committed;
  std::uint64_t changes = 0;
};

}  // namespace database_client::embedded
