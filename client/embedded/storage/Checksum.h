// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "client/embedded/index/segments/recordNumber.h"

namespace database_client::embedded {

/// The sums that stand beside the documents of one collection. They cover the document's place as well as its bytes, so
/// that a document which damage put in another's place is found.
class Checksum {
 public:
  /// In a store of the given version of the format: the first one covers the bytes alone.
  Checksum(std::int64_t version, const std::string& database, const std::string& collection);

  std::int64_t of(RecordNumber rid, const void* body, std::size_t size) const;

 private:
  bool coversPlace_;
  std::uint64_t seed_;
};

}  // namespace database_client::embedded
