// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/storage/duplicateKey.h"

#include "client/DocumentAccess.h"
#include "client/ObjectId.h"
#include "client/bson/Writer.h"
#include "database_client/codes.h"

namespace database_client::embedded {

namespace {

std::string textOf(const bson::Value& id) {
  if (id.type == bson::Type::objectId) return "{ _id: ObjectId('" + ObjectId::text(id.data) + "') }";
  bson::Writer writer;
  writer.append("_id", id);
  return DocumentAccess::adopt(writer.take()).toJson();
}

}  // namespace

Error duplicateKey(const std::string& label, const bson::Value& id) {
  return {Error::Kind::duplicateKey,
          "E11000 duplicate key error collection: " + label + " index: _id_ dup key: " + textOf(id),
          {"_id", code::duplicateKey}};
}

}  // namespace database_client::embedded
