// SPDX-License-Identifier: Apache-2.0
#include "client/filterbuilder/QueryTree.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <unordered_set>
#include <vector>

#include "client/bson/Writer.h"
#include "client/filterbuilder/ByteRun.h"
#include "database_client/Error.h"

namespace database_client::filter {

using bson::Byte;
using bson::Element;
using bson::Type;
using bson::View;

namespace {

/// A condition, or a group of them. Groups without a condition never make it into the tree.
struct Node {
  enum class Kind : std::uint8_t { condition, all, any, field };
  Kind kind = Kind::condition;
  bool isFurther = false;  ///< its key was taken when its group was printed
  std::uint32_t count = 0;
  std::string_view key{};  ///< as it stands in the query document; empty for `all`
  bson::Value value{};     ///< of a condition
  Node* first = nullptr;   ///< of the children, which are a list
  Node* last = nullptr;
  Node* next = nullptr;

  void add(Node& child) { append(child, child, 1); }
  void addAll(const Node& group) { append(*group.first, *group.last, group.count); }

 private:
  void append(Node& from, Node& to, std::uint32_t added) {
    (last == nullptr ? first : last->next) = &from;
    last = &to;
    count += added;
  }
};

/// The steps as a tree, which lives as long as this object; a tree of the usual size is no allocation.
class Tree {
 public:
  explicit Tree(const Steps& steps) : at_(steps.begin()), end_(steps.end()) { parseInto(root_, 0); }
  Tree(const Tree&) = delete;
  Tree& operator=(const Tree&) = delete;
  ~Tree() = default;

  Node& root() { return root_; }

 private:
  static constexpr std::size_t few = 24;

  Node& make() {
    if (used_ < few) return *new (&room_[used_++ * sizeof(Node)]) Node;
    return *more_.emplace_back(std::make_unique<Node>());
  }

  void parseInto(Node& group, int depth) {
    if (depth > bson::maximumDepth) {
      throw Error(Error::Kind::document, "a filter with groups nested deeper than 100 levels");
    }
    while (at_ != end_ && *at_ != static_cast<Byte>(Steps::Kind::close)) parseOne(group, depth);
    if (at_ != end_) ++at_;
  }

  void parseOne(Node& group, int depth) {
    switch (static_cast<Steps::Kind>(*at_)) {
      case Steps::Kind::all:
        ++at_;
        parseGroup(group, Node::Kind::all, {}, depth);
        return;
      case Steps::Kind::any:
        ++at_;
        parseGroup(group, Node::Kind::any, "$or", depth);
        return;
      case Steps::Kind::field: {
        const std::string_view key = bson::cString(at_ + 1);
        at_ += 1 + key.size() + 1;
        parseGroup(group, Node::Kind::field, key, depth);
        return;
      }
      default: {
        const Element element = bson::elementAt(at_);
        at_ += element.size();
        Node& condition = make();
        condition.key = element.key;
        condition.value = element.value;
        group.add(condition);
      }
    }
  }

  void parseGroup(Node& into, Node::Kind kind, std::string_view key, int depth) {
    Node& group = make();
    group.kind = kind;
    group.key = key;
    parseInto(group, depth + 1);
    if (group.count == 0) return;
    // What stands alone in a group, or in a group of its own kind, needs no group.
    Node& part = group.count == 1 && kind != Node::Kind::field ? *group.first : group;
    const bool joins = part.kind == into.kind && part.kind != Node::Kind::field;
    const bool dissolves = joins || (part.kind == Node::Kind::all && into.kind == Node::Kind::field);
    if (dissolves) {
      into.addAll(part);
    } else {
      into.add(part);
    }
  }

  const Byte* at_;
  const Byte* end_;
  alignas(Node) std::array<std::byte, few * sizeof(Node)> room_;
  std::size_t used_ = 0;
  std::vector<std::unique_ptr<Node>> more_{};
  Node root_{Node::Kind::all};
};

/// The keys of the children of a group, most often of a few.
class Keys {
 public:
  explicit Keys(const Node& group) : group_(group) {
    if (group.count > few) all_.emplace();
  }

  /// False when one of the children before, of those that are no further ones, has the key.
  bool isNew(const Node& child) {
    if (all_) return all_->insert(child.key).second;
    for (const Node* before = group_.first; before != &child; before = before->next) {
      if (!before->isFurther && before->key == child.key) return false;
    }
    return true;
  }

 private:
  static constexpr std::uint32_t few = 8;

  const Node& group_;
  std::optional<std::unordered_set<std::string_view>> all_;
};

class Printer {
 public:
  Printer() { open(); }

  /// The conditions of `group`, which all hold, as keys of the document that is open; a key that is taken goes to
  /// "$and".
  void conjunction(Node& group) {
    bool anyFurther = false;
    Keys keys(group);
    for (Node* child = group.first; child != nullptr; child = child->next) {
      const bool isPlain = child->kind != Node::Kind::all && child->key != "$and";
      child->isFurther = !isPlain || !keys.isNew(*child);
      anyFurther = anyFurther || child->isFurther;
      if (!child->isFurther) print(*child);
    }
    if (anyFurther) list("$and", group, true);
  }

  bson::Buffer finish() {
    close(0);
    if (bytes_.size() > bson::maximumSize) throw Error(Error::Kind::document, "a filter beyond 16 MiB");
    if (deepest_ > static_cast<std::size_t>(bson::maximumDepth)) {
      throw Error(Error::Kind::document, "a filter nested deeper than 100 levels");
    }
    return bson::Buffer({bytes_.data(), bytes_.size()});
  }

 private:
  void print(Node& node) {
    switch (node.kind) {
      case Node::Kind::condition:
        return condition(node.key, node.value);
      case Node::Kind::field: {
        const std::size_t field = open(Type::document, node.key);
        conjunction(node);
        return close(field);
      }
      case Node::Kind::any:
        return list(node.key, node, false);
      case Node::Kind::all:
        conjunction(node);
    }
  }

  void condition(std::string_view key, const bson::Value& value) {
    Byte* at = bytes_.extendElement(value.type, key, value.size);
    if (value.size != 0) std::memcpy(at, value.data, value.size);
    deepest_ = std::max(deepest_, levels_ - 1 + depthOf(value));
  }

  /// The children of a group as documents of an array: all, or those that are further ones.
  void list(std::string_view key, const Node& group, bool furtherOnly) {
    const std::size_t array = open(Type::array, key);
    std::size_t index = 0;
    for (Node* child = group.first; child != nullptr; child = child->next) {
      if (furtherOnly && !child->isFurther) continue;
      const std::size_t document = open(Type::document, bson::IndexKey(index++));
      print(*child);
      close(document);
    }
    close(array);
  }

  static std::size_t depthOf(const bson::Value& value) {
    if (value.isDocument() || value.isArray()) return 1 + bson::depth(value.asDocument());
    return value.type == Type::codeWithScope ? 1 + bson::depth(value.scope()) : 0;
  }

  std::size_t open(Type type, std::string_view key) {
    bytes_.extendElement(type, key, 0);
    deepest_ = std::max(deepest_, levels_++);
    return open();
  }
  /// Where the length of the level is to be written.
  std::size_t open() {
    const std::size_t start = bytes_.size();
    bytes_.extend(sizeof(std::int32_t));
    return start;
  }
  void close(std::size_t start) {
    bytes_.append(Byte{0});
    bson::store(bytes_.data() + start, static_cast<std::int32_t>(bytes_.size() - start));
    --levels_;
  }

  ByteRun<512> bytes_;
  std::size_t levels_ = 1;   ///< open, the root among them
  std::size_t deepest_ = 0;  ///< below the root
};

bool isListOfDocuments(const bson::Value& value) {
  if (!value.isArray() || value.asDocument().empty()) return false;
  const View list = value.asDocument();
  return std::all_of(list.begin(), list.end(), [](const Element& element) { return element.value.isDocument(); });
}

void addNode(Steps& steps, const Node& node) {
  if (node.kind == Node::Kind::condition) {
    steps.add(node.key, node.value);
    return;
  }
  if (node.kind == Node::Kind::field) {
    steps.openField(node.key);
  } else {
    steps.open(node.kind == Node::Kind::any ? Steps::Kind::any : Steps::Kind::all);
  }
  for (const Node* child = node.first; child != nullptr; child = child->next) addNode(steps, *child);
  if (node.kind == Node::Kind::field) {
    steps.closeField();
  } else {
    steps.closeGrouping();
  }
}

}  // namespace

bson::Buffer toQuery(const Steps& steps) {
  Tree tree(steps);
  Printer printer;
  printer.conjunction(tree.root());
  return printer.finish();
}

void addDocument(Steps& steps, View query) {
  for (const Element& element : query) {
    // Without conditions "$and" is an error of the store's to report, so it stays.
    if (element.key == "$and" && isListOfDocuments(element.value)) {
      for (const Element& part : element.value.asDocument()) {
        steps.open(Steps::Kind::all);
        addDocument(steps, part.value.asDocument());
        steps.closeGrouping();
      }
    } else {
      steps.add(element.key, element.value);
    }
  }
}

void split(const Steps& steps, std::string_view key, Steps& kept, Steps& taken) {
  Tree tree(steps);
  for (const Node* child = tree.root().first; child != nullptr; child = child->next) {
    addNode(child->kind != Node::Kind::all && child->key == key ? taken : kept, *child);
  }
}

}  // namespace database_client::filter
