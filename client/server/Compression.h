// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include "client/bson/View.h"

namespace database_client::server {

/// As the wire protocol numbers them.
enum class Compressor : bson::Byte { none = 0, snappy = 1, zlib = 2, zstd = 3 };

struct CompressedBytes {
  const bson::Byte* data;
  std::size_t size;
};

struct PlainBytes {
  bson::Byte* data;
  std::size_t size;
};

/// Fills `plain` with what was compressed; false unless that is well-formed and has exactly its size.
bool uncompress(Compressor compressor, CompressedBytes compressed, PlainBytes plain);

}  // namespace database_client::server
