// SPDX-License-Identifier: Apache-2.0
#include "client/server/Compression.h"

#include <snappy-c.h>
#include <zlib.h>
#include <zstd.h>

#include <cstring>

namespace database_client::server {

namespace {

bool uncompressSnappy(CompressedBytes compressed, PlainBytes plain) {
  const auto* from = reinterpret_cast<const char*>(compressed.data);
  std::size_t size = 0;
  if (snappy_uncompressed_length(from, compressed.size, &size) != SNAPPY_OK || size != plain.size) return false;
  return snappy_uncompress(from, compressed.size, reinterpret_cast<char*>(plain.data), &size) == SNAPPY_OK &&
         size == plain.size;
}

bool uncompressZlib(CompressedBytes compressed, PlainBytes plain) {
  auto size = static_cast<uLongf>(plain.size);
  auto read = static_cast<uLong>(compressed.size);
  return uncompress2(plain.data, &size, compressed.data, &read) == Z_OK && size == plain.size &&
         read == compressed.size;
}

bool uncompressZstd(CompressedBytes compressed, PlainBytes plain) {
  return ZSTD_decompress(plain.data, plain.size, compressed.data, compressed.size) == plain.size;
}

}  // namespace

bool uncompress(Compressor compressor, CompressedBytes compressed, PlainBytes plain) {
  switch (compressor) {
    case Compressor::none:
      if (compressed.size != plain.size) return false;
      if (plain.size > 0) std::memcpy(plain.data, compressed.data, plain.size);
      return true;
    case Compressor::snappy:
      return uncompressSnappy(compressed, plain);
    case Compressor::zlib:
      return uncompressZlib(compressed, plain);
    case Compressor::zstd:
      return uncompressZstd(compressed, plain);
  }
  return false;
}

}  // namespace database_client::server
