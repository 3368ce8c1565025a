// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "client/bson/View.h"

// What an `ObjectFilter` is made of: the filter as it was built, and (in queryDocument.h) the query document that it
// means.
//
// A filter is a flat list of nodes in the order of the calls: conditions, groups that open, and their ends. Two
// alternatives are `or, a = 1, b = 2, end`; an item of an array is `field "…category", field "$elemMatch", name = …,
// value = …, end, end`. To convert it, `toQuery` reads the list into a tree, leaving out the groups that change
// nothing, and writes the tree front to back as BSON.
//
// What every function keeps:
// - An end stands only where a group is open; a close too many adds nothing. Groups that are still open when the filter
//   is converted end with the list, and stay open for what is added afterwards.
// - A node is checked before it is added (ObjectFilter.cpp): its key and texts can stand in BSON. So conversion fails
//   for nothing but the size and the depth of the whole.
// - Nothing is simplified before conversion: an or-group with one alternative may get another.
//
// The list is flat, and no tree from the start, because adding then takes constant time whatever is open, and groups
// nested a million deep, which only conversion refuses, need no recursion to be copied or destroyed. Keys and values
// lie in one string: a filter for records includes one filter for each condition, and nodes with texts of their own
// took half as long again to build. More is not needed, since building a filter is a small part of the call that it is
// made for. Begin with `toQuery`.

namespace database_client::filter {

struct FilterNode {
  enum class Kind : std::uint8_t { condition, andGroup, orGroup, field, end };

  Kind kind = Kind::condition;
  bson::Type type = bson::Type::null;  ///< of a condition's value
  std::string_view operation{};        ///< of a condition: a literal such as "$lt", or empty for `key: value`
  /// The key of a condition or a field, and behind it the value of a condition, in the filter's bytes.
  std::size_t offset = 0;
  std::size_t keySize = 0;
  std::size_t valueSize = 0;
};

class FilterBuilder {
 public:
  FilterBuilder();

  /// The condition `key: value`, or `key: {operation: value}`; the operation is a literal.
  void addCondition(std::string_view key, std::string_view operation, const bson::Value& value);
  void beginGroup(FilterNode::Kind kind, std::string_view key = {});
  /// Ends the innermost and-group or or-group, with the fields that were opened in it.
  void endGroup() { endThrough(false); }
  /// Ends the innermost field, with the groups that were opened in it.
  void endField() { endThrough(true); }
  /// Another filter as one condition.
  void include(const FilterBuilder& other);

  bool isEmpty() const { return conditions_ == 0; }
  const std::vector<FilterNode>& nodes() const { return nodes_; }
  std::string_view key(const FilterNode& node) const { return {bytes_.data() + node.offset, node.keySize}; }
  bson::Value value(const FilterNode& node) const {
    const char* const value = bytes_.data() + node.offset + node.keySize;
    return {node.type, reinterpret_cast<const bson::Byte*>(value), node.valueSize};
  }

 private:
  void endThrough(bool field);

  std::vector<FilterNode> nodes_;
  std::string bytes_;
  std::vector<FilterNode::Kind> open_;  ///< groups and fields, the innermost last
  std::size_t conditions_ = 0;
};

}  // namespace database_client::filter
