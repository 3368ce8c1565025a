// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/items/ItemPaths.h"

#include <xxhash.h>

#include <algorithm>

#include "client/embedded/index/segments/bytes.h"

namespace database_client::embedded {

namespace {

bool isPlainPath(std::string_view dotted) {
  while (true) {
    const std::size_t dot = dotted.find('.');
    const std::string_view part = dotted.substr(0, dot);
    if (part.empty() || isArrayPosition(part)) return false;
    if (dot == std::string_view::npos) return true;
    dotted.remove_prefix(dot + 1);
  }
}

}  // namespace

ItemPaths::ItemPaths() : nodes_(1), lastChild_(1) {
  rehash();
}

ItemPaths::ItemPaths(std::string_view bytes) : ItemPaths() {
  index::ByteReader reader(bytes);
  overflowed_ = reader.byte() != 0;
  const std::uint64_t count = reader.varint();
  if (count > hardLimit) index::damaged("the number of paths");
  for (std::uint64_t i = 0; i < count; ++i) {
    const std::uint64_t parent = reader.varint();
    if (parent >= nodes_.size()) index::damaged("a path");
    const std::uint8_t flags = reader.byte();
    const Id id = append(static_cast<Id>(parent), reader.bytes(reader.varint()));
    nodes_[id].flags = flags;
  }
  changed_ = false;
}

std::string ItemPaths::bytes() const {
  // The root is not written. Parents come before their children, as they were made.
  std::string out(1, overflowed_ ? '\1' : '\0');
  index::putVarint(out, nodes_.size() - 1);
  for (std::size_t id = 1; id < nodes_.size(); ++id) {
    index::putVarint(out, nodes_[id].parent);
    out.push_back(static_cast<char>(nodes_[id].flags));
    index::putVarint(out, nodes_[id].key.size());
    out.append(nodes_[id].key);
  }
  return out;
}

std::size_t ItemPaths::slotOf(Id parent, std::string_view key) const {
  const std::size_t mask = table_.size() - 1;
  std::size_t group = XXH3_64bits_withSeed(key.data(), key.size(), parent) & mask;
  while (table_[group] != 0 && (nodes_[table_[group]].parent != parent || nodes_[table_[group]].key != key)) {
    group = (group + 1) & mask;
  }
  return group;
}

void ItemPaths::rehash() {
  table_.assign(std::max<std::size_t>(64, table_.size() * 2), 0);
  for (std::size_t id = 1; id < nodes_.size(); ++id) {
    table_[slotOf(nodes_[id].parent, nodes_[id].key)] = static_cast<Id>(id);
  }
}

ItemPaths::Id ItemPaths::append(Id parent, std::string_view key) {
  if (nodes_.size() * 2 > table_.size()) rehash();
  const auto id = static_cast<Id>(nodes_.size());
  nodes_.push_back({parent, 0, std::string(key)});
  lastChild_.push_back(0);
  table_[slotOf(parent, key)] = id;
  changed_ = true;
  return id;
}

std::optional<ItemPaths::Id> ItemPaths::find(Id parent, std::string_view key) const {
  const Id id = table_[slotOf(parent, key)];
  if (id == 0) return std::nullopt;
  return id;
}

std::optional<ItemPaths::Id> ItemPaths::child(Id parent, std::string_view key, bool onlyNoted) {
  // Documents of one kind have their keys in one order: the key that followed last time is likely to follow again.
  const Id before = lastChild_[parent];
  const Id likely = nodes_[before].next;
  if (likely != 0 && nodes_[likely].parent == parent && nodes_[likely].key == key) {
    lastChild_[parent] = likely;
    return likely;
  }
  std::optional<Id> id = find(parent, key);
  if (!id && nodes_.size() < (onlyNoted ? softLimit : hardLimit)) id = append(parent, key);
  if (!id) {
    // That some path is missing has to be written once, or another client would take it for absent.
    changed_ = changed_ || !overflowed_;
    overflowed_ = true;
    return id;
  }
  nodes_[before].next = *id;
  lastChild_[parent] = *id;
  return id;
}

bool ItemPaths::markNonItem(Id id) {
  // Of a tracked path it is known already whether it is clean, and stays so: if it is, the document is indexed as one
  // that has something else.
  std::uint8_t& flags = nodes_[id].flags;
  if ((flags & tracked) == 0 && (flags & other) == 0) {
    flags |= other;
    changed_ = true;
  }
  return (flags & clean) != 0;
}

void ItemPaths::track(Id id) {
  std::uint8_t& flags = nodes_[id].flags;
  if ((flags & tracked) != 0) return;
  // In a tree that overflowed, something else may have been seen under the path before it had a node.
  const bool nothingElse = (flags & other) == 0 && !overflowed_;
  flags = static_cast<std::uint8_t>(flags | tracked | (nothingElse ? clean : 0));
  changed_ = true;
}

std::optional<ItemPaths::Id> ItemPaths::follow(std::string_view dotted) const {
  Id id = root;
  while (true) {
    const std::size_t dot = dotted.find('.');
    const std::optional<Id> next = find(id, dotted.substr(0, dot));
    if (!next || dot == std::string_view::npos) return next;
    id = *next;
    dotted.remove_prefix(dot + 1);
  }
}

ItemPaths::State ItemPaths::state(std::string_view dotted, Id& id) const {
  if (!isPlainPath(dotted)) return State::unknown;
  const std::optional<Id> found = follow(dotted);
  if (!found) return overflowed_ ? State::unknown : State::absent;
  id = *found;
  return isTracked(id) ? State::tracked : State::absent;
}

bool ItemPaths::neverUsed(std::string_view dotted) const {
  if (!isPlainPath(dotted)) return false;
  const std::optional<Id> found = follow(dotted);
  return found ? nodes_[*found].flags == 0 : !overflowed_;
}

std::string ItemPaths::dotted(Id id) const {
  std::string path = nodes_[id].key;
  for (Id at = nodes_[id].parent; at != root; at = nodes_[at].parent) path.insert(0, nodes_[at].key + ".");
  return path;
}

ItemPaths ItemPaths::trackedOnly() const {
  ItemPaths kept;  // With new numbers: no segment knows the old ones any more.
  std::vector<Id> ids(nodes_.size(), root);
  std::vector<bool> needed(nodes_.size());
  for (std::size_t id = nodes_.size() - 1; id > 0; --id) {  // children come after their parents
    if (isTracked(static_cast<Id>(id))) needed[id] = true;
    if (needed[id]) needed[nodes_[id].parent] = true;
  }
  for (std::size_t id = 1; id < nodes_.size(); ++id) {
    if (!needed[id]) continue;
    ids[id] = kept.append(ids[nodes_[id].parent], nodes_[id].key);
    if (isTracked(static_cast<Id>(id))) kept.track(ids[id]);
  }
  return kept;
}

bool ItemPaths::allTrackedAreClean() const {
  return std::all_of(nodes_.begin(), nodes_.end(),
                     [](const Node& node) { return (node.flags & tracked) == 0 || (node.flags & clean) != 0; });
}

bool isArrayPosition(std::string_view key) {
  return !key.empty() && std::all_of(key.begin(), key.end(), [](char c) { return c >= '0' && c <= '9'; });
}

}  // namespace database_client::embedded
