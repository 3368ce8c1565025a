// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "client/embedded/query/values/Path.h"

namespace database_client::embedded {

/// Dotted paths merged into a tree, each with what is to happen at its end. Children stand in the order in which they
/// were added.
template <class Leaf>
class PathTree {
 public:
  enum class Collision {
    none,
    beyondLeaf,  ///< the path goes on where another one ends
    taken,       ///< the path ends where another one ends or goes on
  };

  PathTree() = default;
  PathTree(std::string name, bool isLeaf) : name_(std::move(name)), isLeaf_(isLeaf) {}

  Collision add(const Path& path, Leaf leaf) {
    PathTree* tree = this;
    for (std::size_t at = 0; at + 1 < path.size(); ++at) {
      PathTree* next = tree->mutableChild(path[at].name);
      if (next == nullptr) next = tree->append(path[at].name, false);
      if (next->isLeaf_) return Collision::beyondLeaf;
      tree = next;
    }
    const std::string& last = path[path.size() - 1].name;
    if (tree->mutableChild(last) != nullptr) return Collision::taken;
    tree->append(last, true)->leaf_ = std::move(leaf);
    return Collision::none;
  }

  /// Orders the children of every level by `before(name, name)`.
  template <class Before>
  void sort(const Before& before) {
    std::stable_sort(children_.begin(), children_.end(),
                     [&](const auto& left, const auto& right) { return before(left->name_, right->name_); });
    for (std::size_t at = 0; at < children_.size(); ++at) {
      places_[children_[at]->name_] = at;
      children_[at]->sort(before);
    }
  }

  const std::string& name() const { return name_; }
  bool isLeaf() const { return isLeaf_; }
  const Leaf& leaf() const { return leaf_; }

  bool empty() const { return children_.empty(); }
  std::size_t size() const { return children_.size(); }
  const PathTree& operator[](std::size_t at) const { return *children_[at]; }
  /// The child of this name and its place; null when there is none.
  std::pair<const PathTree*, std::size_t> find(std::string_view name) const {
    const auto found = places_.find(name);
    if (found == places_.end()) return {nullptr, 0};
    return {children_[found->second].get(), found->second};
  }

 private:
  PathTree* mutableChild(std::string_view name) {
    const auto found = places_.find(name);
    return found == places_.end() ? nullptr : children_[found->second].get();
  }

  PathTree* append(const std::string& name, bool isLeaf) {
    children_.push_back(std::make_unique<PathTree>(name, isLeaf));
    places_.emplace(children_.back()->name_, children_.size() - 1);
    return children_.back().get();
  }

  std::string name_;
  bool isLeaf_ = false;
  Leaf leaf_{};
  std::vector<std::unique_ptr<PathTree>> children_;
  std::unordered_map<std::string_view, std::size_t> places_;
};

}  // namespace database_client::embedded
