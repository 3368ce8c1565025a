// SPDX-License-Identifier: Apache-2.0
#include "client/filterbuilder/FilterBuilder.h"

#include <algorithm>

namespace database_client::filter {

using Kind = FilterNode::Kind;

FilterBuilder::FilterBuilder() {
  // Enough for one condition on an item of a record.
  nodes_.reserve(8);
  bytes_.reserve(80);
  open_.reserve(8);
}

void FilterBuilder::addCondition(std::string_view key, std::string_view operation, const bson::Value& value) {
  const std::size_t offset = bytes_.size();
  bytes_.append(key).append(reinterpret_cast<const char*>(value.data), value.size);
  nodes_.push_back({Kind::condition, value.type, operation, offset, key.size(), value.size});
  ++conditions_;
}

void FilterBuilder::beginGroup(Kind kind, std::string_view key) {
  const std::size_t offset = bytes_.size();
  bytes_.append(key);
  nodes_.push_back({kind, bson::Type::null, {}, offset, key.size(), 0});
  open_.push_back(kind);
}

void FilterBuilder::include(const FilterBuilder& other) {
  if (other.isEmpty()) return;
  const std::size_t offset = bytes_.size();
  bytes_.append(other.bytes_);
  nodes_.push_back({Kind::andGroup});
  for (FilterNode node : other.nodes_) {
    node.offset += offset;
    nodes_.push_back(node);
  }
  nodes_.insert(nodes_.end(), other.open_.size() + 1, {Kind::end});
  conditions_ += other.conditions_;
}

void FilterBuilder::endThrough(bool field) {
  const auto innermost =
      std::find_if(open_.rbegin(), open_.rend(), [field](Kind kind) { return (kind == Kind::field) == field; });
  if (innermost == open_.rend()) return;
  const auto ended = static_cast<std::size_t>(innermost - open_.rbegin()) + 1;
  nodes_.insert(nodes_.end(), ended, {Kind::end});
  open_.resize(open_.size() - ended);
}

}  // namespace database_client::filter
