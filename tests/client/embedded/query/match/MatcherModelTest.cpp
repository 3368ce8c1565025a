// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "client/embedded/query/match/Matcher.h"
#include "tests/client/embedded/query/support.h"

// Random queries and documents, answered by the matcher and by a model that builds every list it thinks of.

namespace database_client::embedded {
namespace {

/// A value of the model. Numbers are small, so that a double holds each.
struct Node {
  enum class Kind { missing, null, number, text, document, array };
  Kind kind = Kind::missing;
  double number = 0;
  std::string text{};
  std::vector<std::pair<std::string, Node>> children{};

  const Node* child(const std::string& name) const {
    for (const auto& [key, node] : children) {
      if (key == name) return &node;
    }
    return nullptr;
  }
  bool operator==(const Node& other) const {
    return kind == other.kind && number == other.number && text == other.text && children == other.children;
  }
};

std::string json(const Node& node) {
  switch (node.kind) {
    case Node::Kind::missing:
    case Node::Kind::null:
      return "null";
    case Node::Kind::number:
      return std::to_string(node.number);
    case Node::Kind::text:
      return "\"" + node.text + "\"";
    default:
      break;
  }
  const bool document = node.kind == Node::Kind::document;
  std::string out = document ? "{" : "[";
  for (const auto& [key, child] : node.children) {
    if (out.size() > 1) out += ", ";
    out += (document ? "\"" + key + "\": " : "") + json(child);
  }
  return out + (document ? "}" : "]");
}

using Nodes = std::vector<Node>;

void append(Nodes& to, const Nodes& more) {
  to.insert(to.end(), more.begin(), more.end());
}

/// All that a path leads to; the last part's arrays are taken apart unless `whole`.
Nodes reached(const Node& from, const std::vector<std::string>& path, std::size_t at, bool whole);

Nodes atEnd(const Node& node, bool whole) {
  Nodes found;
  if (node.kind == Node::Kind::array && !whole) {
    for (const auto& element : node.children) found.push_back(element.second);
  }
  found.push_back(node);
  return found;
}

Nodes reachedInArray(const Node& array, const std::vector<std::string>& path, std::size_t at, bool whole) {
  Nodes found;
  for (const auto& [key, element] : array.children) {
    if (element.kind == Node::Kind::document) append(found, reached(element, path, at, whole));
    if (key != path[at]) continue;
    if (at + 1 == path.size()) {
      found.push_back(element);
    } else if (element.kind == Node::Kind::document) {
      append(found, reached(element, path, at + 1, whole));
    } else if (element.kind == Node::Kind::array) {
      append(found, reachedInArray(element, path, at + 1, whole));
    }
  }
  return found;
}

Nodes reached(const Node& from, const std::vector<std::string>& path, std::size_t at, bool whole) {
  const Node* child = from.child(path[at]);
  if (child == nullptr) return {Node{}};
  if (at + 1 == path.size()) return atEnd(*child, whole);
  if (child->kind == Node::Kind::document) return reached(*child, path, at + 1, whole);
  if (child->kind == Node::Kind::array) return reachedInArray(*child, path, at + 1, whole);
  return {Node{}};
}

bool isNull(const Node& node) {
  return node.kind == Node::Kind::null || node.kind == Node::Kind::missing;
}

bool accepts(const std::string& name, const Node& value, const Node& operand) {
  if (name == "$eq") return isNull(operand) ? isNull(value) : value == operand;
  if (value.kind != operand.kind || value.kind > Node::Kind::text) return false;
  if (name == "$gt") return value.number > operand.number || value.text > operand.text;
  return value.number < operand.number || value.text < operand.text;
}

class Dice {
 public:
  explicit Dice(unsigned seed) : engine_(seed) {}
  int below(int limit) { return static_cast<int>(engine_() % static_cast<unsigned>(limit)); }
  std::string name() { return std::string(1, static_cast<char>('a' + below(2))); }

  std::vector<std::string> path() {
    std::vector<std::string> parts = {name()};
    while (below(2) == 0 && parts.size() < 4) parts.push_back(below(4) == 0 ? std::to_string(below(2)) : name());
    return parts;
  }

  Node scalar() {
    Node node;
    const int kind = below(4);
    node.kind = kind == 0 ? Node::Kind::null : kind == 1 ? Node::Kind::text : Node::Kind::number;
    if (node.kind == Node::Kind::number) node.number = below(3) - 1;
    if (node.kind == Node::Kind::text) node.text = name();
    return node;
  }

  Node value(int depth) {
    if (depth == 0 || below(3) == 0) return scalar();
    return below(2) == 0 ? document(depth) : array(depth);
  }

  Node document(int depth) {
    Node node;
    node.kind = Node::Kind::document;
    for (int i = below(3); i > 0; --i) {
      const std::string key = name();
      if (node.child(key) == nullptr) node.children.emplace_back(key, value(depth - 1));
    }
    return node;
  }

  Node array(int depth) {
    Node node;
    node.kind = Node::Kind::array;
    for (int i = below(4); i > 0; --i)
      node.children.emplace_back(std::to_string(node.children.size()), value(depth - 1));
    return node;
  }

 private:
  std::mt19937 engine_;
};

/// A query in both forms: its text, and the model's answer for the document that was given.
struct Question {
  std::string text;
  bool answer;
};

Question ask(Dice& dice, const Node& document, int depth);

Question askList(Dice& dice, const Node& document, int depth) {
  const Question left = ask(dice, document, depth - 1);
  const Question right = ask(dice, document, depth - 1);
  const std::string list = "[" + left.text + ", " + right.text + "]}";
  switch (dice.below(3)) {
    case 0:
      return {"{\"$and\": " + list, left.answer && right.answer};
    case 1:
      return {"{\"$or\": " + list, left.answer || right.answer};
    default:
      return {"{\"$nor\": " + list, !left.answer && !right.answer};
  }
}

struct Condition {
  std::string text;  ///< "{"$gt": 1}"
  bool answer;
};

Condition condition(Dice& dice, const Nodes& values) {
  static const std::vector<std::string> names = {"$eq", "$gt", "$lt"};
  const std::string& name = names[static_cast<std::size_t>(dice.below(3))];
  const Node operand = name == "$eq" ? dice.value(2) : dice.scalar();
  // Comparing with null is a case of its own, tested elsewhere.
  const bool comparable = name == "$eq" || operand.kind != Node::Kind::null;
  const std::string used = comparable ? name : "$eq";
  const bool answer =
      std::any_of(values.begin(), values.end(), [&](const Node& value) { return accepts(used, value, operand); });
  return {"{\"" + used + "\": " + json(operand) + "}", answer};
}

Question askField(Dice& dice, const Node& document, int depth) {
  const std::vector<std::string> path = dice.path();
  std::string head = "{\"" + path[0];
  for (std::size_t i = 1; i < path.size(); ++i) head += "." + path[i];
  head += "\": ";
  const Nodes values = reached(document, path, 0, false);
  switch (dice.below(5)) {
    case 0: {
      const bool exists = std::any_of(values.begin(), values.end(),
                                      [](const Node& value) { return value.kind != Node::Kind::missing; });
      return {head + "{\"$exists\": true}}", exists};
    }
    case 1: {
      const Condition inner = condition(dice, values);
      return {head + "{\"$not\": " + inner.text + "}}", !inner.answer};
    }
    case 2: {
      const Node first = dice.value(1);
      const Node second = dice.value(1);
      const bool any = std::any_of(values.begin(), values.end(), [&](const Node& value) {
        return accepts("$eq", value, first) || accepts("$eq", value, second);
      });
      return {head + "{\"$in\": [" + json(first) + ", " + json(second) + "]}}", any};
    }
    case 3: {
      // The same random numbers for each element give the same question, asked of each.
      const auto seed = static_cast<unsigned>(dice.below(1000000));
      Dice text(seed);
      const std::string inner = ask(text, Node{}, depth - 1).text;
      bool any = false;
      for (const Node& whole : reached(document, path, 0, true)) {
        if (whole.kind != Node::Kind::array) continue;
        for (const auto& element : whole.children) {
          const bool level = element.second.kind == Node::Kind::document || element.second.kind == Node::Kind::array;
          Dice again(seed);
          any = any || (level && ask(again, element.second, depth - 1).answer);
        }
      }
      return {head + "{\"$elemMatch\": " + inner + "}}", any};
    }
    default: {
      const Condition plain = condition(dice, values);
      return {head + plain.text + "}", plain.answer};
    }
  }
}

Question ask(Dice& dice, const Node& document, int depth) {
  return depth > 0 && dice.below(3) == 0 ? askList(dice, document, depth) : askField(dice, document, depth);
}

unsigned chosenSeed() {
  const char* given = std::getenv("DATABASE_TEST_SEED");
  if (given != nullptr) return static_cast<unsigned>(std::strtoul(given, nullptr, 10));
  return static_cast<unsigned>(std::chrono::steady_clock::now().time_since_epoch().count());
}

TEST(MatcherModel, AgreesOnRandomQueriesAndDocuments) {
  const unsigned seed = chosenSeed();
  std::printf("DATABASE_TEST_SEED=%u\n", seed);
  Dice dice(seed);
  int matched = 0;
  constexpr int rounds = 5000;
  for (int round = 0; round < rounds; ++round) {
    const Node document = dice.document(4);
    const Question question = ask(dice, document, 2);
    const bool matches = Matcher(viewOf(fromJson(question.text))).matches(viewOf(fromJson(json(document))));
    ASSERT_EQ(matches, question.answer) << question.text << " on " << json(document) << ", seed " << seed;
    matched += matches ? 1 : 0;
  }
  EXPECT_GT(matched, rounds / 10);
  EXPECT_LT(matched, rounds - rounds / 10);
}

}  // namespace
}  // namespace database_client::embedded
