// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/storage/Checksum.h"

#include <xxhash.h>

#include "client/bson/View.h"

namespace database_client::embedded {

namespace {

std::uint64_t hashOf(const std::string& text) {
  return XXH3_64bits(text.data(), text.size());
}

/// SQLite's numbers have a sign.
std::int64_t asSigned(std::uint64_t sum) {
  return bson::load<std::int64_t>(reinterpret_cast<const bson::Byte*>(&sum));
}

}  // namespace

Checksum::Checksum(std::int64_t version, const std::string& database, const std::string& collection)
    : coversPlace_(version > 1), seed_(hashOf(database + "." + collection)) {}

std::int64_t Checksum::of(RecordNumber rid, const void* body, std::size_t size) const {
  // Exclusive or with a hash of the place, and not a hash of both in a row: bodies of format 1 keep their part of the
  // sum.
  const std::uint64_t place = coversPlace_ ? XXH3_64bits_withSeed(&rid, sizeof rid, seed_) : 0;
  return asSigned(XXH3_64bits(body, size) ^ place);
}

}  // namespace database_client::embedded
