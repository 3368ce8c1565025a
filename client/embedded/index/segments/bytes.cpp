// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/segments/bytes.h"

#include <xxhash.h>

#include <cstring>

#include "client/DamageError.h"

namespace database_client::embedded::index {

void damaged(const char* what) {
  throw DamageError(std::string("The item index is damaged (") + what + "); rebuild it with compact");
}

std::uint64_t ByteReader::longVarint() {
  std::uint64_t value = 0;
  // A tenth byte has one bit of room; a writer puts nothing else there, and what a damaged one has beyond is dropped.
  for (unsigned shift = 0; shift < 64 && at_ != end_; shift += 7) {
    const auto next = static_cast<unsigned char>(*at_++);
    value |= static_cast<std::uint64_t>(next & 0x7F) << shift;
    if (next < 0x80) return value;
  }
  damaged("a number");
}

void seal(std::string& blob) {
  const std::uint64_t sum = XXH3_64bits(blob.data(), blob.size());
  char bytes[sizeof sum];
  std::memcpy(bytes, &sum, sizeof sum);
  blob.append(bytes, sizeof sum);
}

std::string_view unseal(std::string_view blob) {
  std::uint64_t sum = 0;
  // A blob that is not there reads as an empty one.
  if (blob.size() < sizeof sum) damaged("a block is missing");
  const std::string_view content = blob.substr(0, blob.size() - sizeof sum);
  std::memcpy(&sum, content.data() + content.size(), sizeof sum);
  if (sum != XXH3_64bits(content.data(), content.size())) damaged("a checksum");
  return content;
}

}  // namespace database_client::embedded::index
