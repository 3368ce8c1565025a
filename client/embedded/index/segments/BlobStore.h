// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace database_client::embedded {

/// Where an index keeps its bytes: blobs under positive integer keys, read and written within the transaction that is
/// open. Every failure is an `Error`.
class BlobStore {
 public:
  BlobStore() = default;
  BlobStore(const BlobStore&) = delete;
  BlobStore& operator=(const BlobStore&) = delete;
  virtual ~BlobStore() = default;

  /// Empty when there is no such blob.
  virtual std::string read(std::int64_t key) = 0;
  /// Replaces what was there.
  virtual void write(std::int64_t key, std::string_view bytes) = 0;
  /// Removes the keys from `first` to `last`, both included.
  virtual void erase(std::int64_t first, std::int64_t last) = 0;
  /// The smallest key from `first` to `last`.
  virtual std::optional<std::int64_t> firstKey(std::int64_t first, std::int64_t last) = 0;
  /// A number that changes whenever somebody else may have changed the blobs (another process, another connection, a
  /// transaction rolled back).
  virtual std::uint64_t version() = 0;
  /// Throws Error{cancelled} when nobody wants the result any more. To be called for each of many terms.
  virtual void checkWanted() {}
};

}  // namespace database_client::embedded
