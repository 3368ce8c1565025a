// SPDX-License-Identifier: Apache-2.0
#include "client/ObjectId.h"

#include <bson/bson.h>

#include <cstring>

namespace database_client {

ObjectId ObjectId::make() {
  bson_oid_t made;
  bson_oid_init(&made, nullptr);
  ObjectId id;
  std::memcpy(id.bytes.data(), made.bytes, id.bytes.size());
  return id;
}

bool ObjectId::parse(std::string_view text, ObjectId& id) {
  if (text.size() != 2 * bson::objectIdSize || !bson_oid_is_valid(text.data(), text.size())) return false;
  bson_oid_t parsed;
  bson_oid_init_from_string(&parsed, std::string(text).c_str());
  std::memcpy(id.bytes.data(), parsed.bytes, id.bytes.size());
  return true;
}

std::string ObjectId::text(const bson::Byte* bytes) {
  bson_oid_t id;
  std::memcpy(id.bytes, bytes, sizeof id.bytes);
  char text[25];
  bson_oid_to_string(&id, text);
  return text;
}

}  // namespace database_client
