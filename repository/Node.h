// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "database_provider/types.h"

namespace database_provider::repository {

/// A part of a document that is written down in the shape that it has: pipelines read in the source as in the manual of
/// a server.
///
///     object({{"$eq", array({"$$item.name", object({{"$literal", name}})})}})
class Node {
 public:
  using Field = std::pair<std::string, Node>;
  struct Object {
    std::vector<Field> fields;
  };
  struct Array {
    std::vector<Node> elements;
  };

  // Each of them is what stands behind a key; so they convert by themselves.
  // NOLINTBEGIN(google-explicit-constructor)
  Node(std::nullptr_t) : value_(nullptr) {}
  Node(bool value) : value_(value) {}
  Node(int value) : value_(value) {}
  Node(double value) : value_(value) {}
  Node(const char* value) : value_(std::string(value)) {}
  Node(std::string value) : value_(std::move(value)) {}
  Node(ObjectProperties value) : value_(std::move(value)) {}
  Node(Object value) : value_(std::move(value)) {}
  Node(Array value) : value_(std::move(value)) {}
  // NOLINTEND(google-explicit-constructor)

  /// Places the value under a key of the document's current level.
  void writeTo(ObjectProperties& document, const std::string& key) const;

 private:
  std::variant<std::nullptr_t, bool, int, double, std::string, ObjectProperties, Object, Array> value_;
};

inline Node::Object object(std::vector<Node::Field> fields) {
  return {std::move(fields)};
}

inline Node::Array array(std::vector<Node> elements) {
  return {std::move(elements)};
}

ObjectProperties toDocument(const Node::Object& object);

}  // namespace database_provider::repository
