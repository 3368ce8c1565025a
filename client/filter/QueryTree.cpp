#include "client/filter/QueryTree.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <unordered_set>
#include <utility>

#include "client/bson/Writer.h"
#include "database_client/Error.h"

namespace database_client::filter {

using bson::Byte;
using bson::Element;
using bson::View;
using bson::Writer;

namespace {

/// A condition, or a group of them. Groups without a condition never make it into the tree.
struct Node {
  enum class Kind { condition, all, any, field };
  Kind kind = Kind::condition;
  std::string_view key{};  ///< as it stands in the query document; empty for `all`
  bson::Value value{};     ///< of a condition
  std::vector<Node> children{};
};

class Parser {
 public:
  explicit Parser(const std::vector<Byte>& bytes) : at_(bytes.data()), end_(bytes.data() + bytes.size()) {}

  Node root() {
    Node root{Node::Kind::all};
    parseInto(root, 0);
    return root;
  }

 private:
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
        parseGroup(group, {Node::Kind::all}, depth);
        return;
      case Steps::Kind::any:
        ++at_;
        parseGroup(group, {Node::Kind::any, "$or"}, depth);
        return;
      case Steps::Kind::field: {
        const std::string_view key = bson::cString(at_ + 1);
        at_ += 1 + key.size() + 1;
        parseGroup(group, {Node::Kind::field, key}, depth);
        return;
      }
      default: {
        const Element element = bson::elementAt(at_);
        at_ += element.size();
        group.children.push_back({Node::Kind::condition, element.key, element.value});
      }
    }
  }

  void parseGroup(Node& into, Node group, int depth) {
    parseInto(group, depth + 1);
    if (group.children.empty()) return;
    // What stands in a group of its own kind, or alone in a group, needs no group.
    const bool joins = group.kind == into.kind && group.kind != Node::Kind::field;
    const bool alone = group.children.size() == 1 && group.kind != Node::Kind::field;
    const bool dissolves = joins || alone || (group.kind == Node::Kind::all && into.kind == Node::Kind::field);
    if (dissolves) {
      std::move(group.children.begin(), group.children.end(), std::back_inserter(into.children));
    } else {
      into.children.push_back(std::move(group));
    }
  }

  const Byte* at_;
  const Byte* end_;
};

/// A set of keys, most often of a few.
class Keys {
 public:
  explicit Keys(std::size_t most) : isFew_(most <= few_.size()) {}

  /// False when the key is there already.
  bool insert(std::string_view key) {
    if (!isFew_) return many_.insert(key).second;
    const auto end = few_.begin() + count_;
    if (std::find(few_.begin(), end, key) != end) return false;
    few_[static_cast<std::size_t>(count_++)] = key;
    return true;
  }

 private:
  std::array<std::string_view, 4> few_{};
  std::ptrdiff_t count_ = 0;
  std::unordered_set<std::string_view> many_{};
  bool isFew_;
};

class Printer {
 public:
  /// The conditions of `group`, which all hold, as keys of the document that is open; a key that is taken goes to
  /// "$and".
  void conjunction(const Node& group) {
    std::vector<const Node*> further;
    Keys taken(group.children.size());
    for (const Node& child : group.children) {
      const bool isPlain = child.kind != Node::Kind::all && child.key != "$and";
      if (isPlain && taken.insert(child.key)) {
        print(child);
      } else {
        further.push_back(&child);
      }
    }
    if (!further.empty()) list("$and", further);
  }

  std::vector<Byte> take() { return writer_.take(); }

 private:
  void print(const Node& node) {
    switch (node.kind) {
      case Node::Kind::condition:
        writer_.append(node.key, node.value);
        return;
      case Node::Kind::field:
        writer_.beginDocument(node.key);
        conjunction(node);
        writer_.end();
        return;
      case Node::Kind::any: {
        std::vector<const Node*> alternatives;
        for (const Node& child : node.children) alternatives.push_back(&child);
        list(node.key, alternatives);
        return;
      }
      case Node::Kind::all:
        conjunction(node);
    }
  }

  void list(std::string_view key, const std::vector<const Node*>& nodes) {
    writer_.beginArray(key);
    for (std::size_t i = 0; i < nodes.size(); ++i) {
      writer_.beginDocument(bson::IndexKey(i));
      print(*nodes[i]);
      writer_.end();
    }
    writer_.end();
  }

  Writer writer_;
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
  for (const Node& child : node.children) addNode(steps, child);
  if (node.kind == Node::Kind::field) {
    steps.closeField();
  } else {
    steps.closeGrouping();
  }
}

}  // namespace

std::vector<Byte> toQuery(const Steps& steps) {
  Printer printer;
  printer.conjunction(Parser(steps.bytes()).root());
  std::vector<Byte> query = printer.take();
  if (query.size() > bson::maximumSize) throw Error(Error::Kind::document, "a filter beyond 16 MiB");
  if (bson::depth({query.data(), query.size()}) > static_cast<std::size_t>(bson::maximumDepth)) {
    throw Error(Error::Kind::document, "a filter nested deeper than 100 levels");
  }
  return query;
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
  const Node root = Parser(steps.bytes()).root();
  for (const Node& child : root.children) {
    addNode(child.kind != Node::Kind::all && child.key == key ? taken : kept, child);
  }
}

}  // namespace database_client::filter
