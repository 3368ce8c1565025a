// SPDX-License-Identifier: Apache-2.0
#include "client/ObjectId.h"

#include <bson/bson.h>

#include <cstring>

#include "client/bson/hex.h"

namespace database_client {

ObjectId ObjectId::make() {
  bson_oid_t made;
  bson_oid_init(&made, nullptr);
  ObjectId id;
  std::memcpy(id.bytes.data(), made.bytes, id.bytes.size());
  return id;
}

bool ObjectId::parse(std::string_view text, ObjectId& id) {
  ObjectId parsed;
  if (!bson::parseHex(text, parsed.bytes.data(), parsed.bytes.size())) return false;
  id = parsed;
  return true;
}

std::string ObjectId::text(const bson::Byte* bytes) {
  std::string text(2 * bson::objectIdSize, '\0');
  bson::writeHex(bytes, bson::objectIdSize, text.data());
  return text;
}

}  // namespace database_client
