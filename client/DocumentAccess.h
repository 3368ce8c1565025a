// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "client/bson/Buffer.h"
#include "client/bson/View.h"
#include "database_client/ObjectProperties.h"

namespace database_client {

class Document;

/// The door through which the engines read and make documents without copying or checking bytes again.
class DocumentAccess {
 public:
  /// The levels of a document; null while it is empty and at its root.
  static Document* document(const ObjectProperties& document) { return document.document_.get(); }
  /// The whole document's bytes; valid until it is next changed or destroyed.
  static bson::View view(const ObjectProperties& document);
  /// The bytes of the current level, likewise.
  static bson::View level(const ObjectProperties& document);
  /// The whole document's bytes, shared until either is changed.
  static bson::Buffer share(const ObjectProperties& document);
  /// Makes a document of bytes that are known to be valid BSON.
  static ObjectProperties adopt(bson::View trusted);
  static ObjectProperties adopt(std::vector<std::uint8_t>&& trusted);
  static ObjectProperties adopt(bson::Buffer&& trusted);
};

}  // namespace database_client
