// SPDX-License-Identifier: Apache-2.0

// Random steps go to a document and to a plain tree; both must tell the same at every step.
#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "database_client/ObjectProperties.h"

namespace database_client {
namespace {

struct Node {
  PropertyType kind = PropertyType::group;
  int number = 0;
  std::string text;
  std::vector<std::pair<std::string, std::unique_ptr<Node>>> children;

  Node* find(const std::string& key) {
    for (auto& [name, child] : children) {
      if (name == key) return child.get();
    }
    return nullptr;
  }
  Node& set(const std::string& key, PropertyType newKind) {
    for (auto& [name, child] : children) {
      if (name != key) continue;
      child = std::make_unique<Node>();
      child->kind = newKind;
      return *child;
    }
    children.emplace_back(key, std::make_unique<Node>());
    children.back().second->kind = newKind;
    return *children.back().second;
  }
  void erase(const std::string& key) {
    for (auto at = children.begin(); at != children.end(); ++at) {
      if (at->first != key) continue;
      children.erase(at);
      return;
    }
  }
  bool isLevel() const { return kind == PropertyType::group || kind == PropertyType::array; }
};

std::string show(const Node& node) {
  std::string text = "{";
  for (const auto& [key, child] : node.children) {
    text += key + ":";
    text += child->isLevel()                     ? show(*child)
            : child->kind == PropertyType::int32 ? std::to_string(child->number)
                                                 : "'" + child->text + "'";
    text += " ";
  }
  return text + "}";
}

std::string show(const ObjectProperties& document) {
  std::string text = "{";
  const int size = document.size();
  for (int i = 0; i < size; ++i) {
    const std::string key = document.nameAt(i);
    text += key + ":";
    if (const auto inside = Entered::at(document, i)) {
      text += show(document);
    } else {
      text += document.typeAt(i) == PropertyType::int32 ? std::to_string(document.valueAsInt32(key, 0))
                                                        : "'" + document.valueAsString(key, "?") + "'";
    }
    text += " ";
  }
  return text + "}";
}

class Walk {
 public:
  Walk(unsigned seed, int keys) : random_(seed), keys_(keys) {}

  void step() {
    Node& level = *path_.back();
    const std::string key = "k" + std::to_string(pick(keys_));
    switch (pick(8)) {
      case 0:
      case 1:
        level.set(key, PropertyType::int32).number = static_cast<int>(random_());
        document_.setValueInt32(key, level.find(key)->number);
        break;
      case 2:
        level.set(key, PropertyType::string).text = std::string(static_cast<std::size_t>(pick(40)), 'x');
        document_.setValueString(key, level.find(key)->text);
        break;
      case 3:
      case 4:
        enter(level, key);
        break;
      case 5:
        leave();
        break;
      case 6:
        level.erase(key);
        document_.removeKey(key);
        break;
      default:
        look(level, key);
    }
  }

  void compareWhole() {
    const ObjectProperties copy(document_);
    ASSERT_EQ(show(copy), show(root_));
    const auto bytes = document_.toBson();
    ASSERT_EQ(ObjectProperties::fromBson(bytes.data(), bytes.size()).toBson(), bytes);
  }

 private:
  int pick(int below) { return static_cast<int>(random_() % static_cast<unsigned>(below)); }

  void enter(Node& level, const std::string& key) {
    if (path_.size() > 6) return;
    const PropertyType kind = pick(2) == 0 ? PropertyType::group : PropertyType::array;
    Node* there = level.find(key);
    if (there != nullptr && there->kind != kind) return;
    path_.push_back(there != nullptr ? there : &level.set(key, kind));
    if (kind == PropertyType::group) {
      document_.beginGroup(key);
    } else {
      document_.beginArray(key);
    }
  }

  void leave() {
    if (path_.size() == 1) return;
    path_.pop_back();
    document_.endGroup();
  }

  void look(Node& level, const std::string& key) {
    const Node* there = level.find(key);
    ASSERT_EQ(document_.type(key), there == nullptr ? PropertyType::undefined : there->kind);
    ASSERT_EQ(document_.size(), static_cast<int>(level.children.size()));
    if (level.children.empty()) return;
    const int place = pick(static_cast<int>(level.children.size()));
    ASSERT_EQ(document_.nameAt(place), level.children[static_cast<std::size_t>(place)].first);
  }

  std::mt19937 random_;
  int keys_;
  Node root_;
  std::vector<Node*> path_{&root_};
  ObjectProperties document_;
};

void run(unsigned seed, int keys, int steps) {
  SCOPED_TRACE("seed " + std::to_string(seed) + ", " + std::to_string(keys) + " keys");
  Walk walk(seed, keys);
  for (int i = 0; i < steps; ++i) {
    walk.step();
    if (i % 50 == 0) walk.compareWhole();
    if (::testing::Test::HasFatalFailure()) return;
  }
  walk.compareWhole();
}

TEST(DocumentModel, FewKeysThatCollide) {
  for (unsigned seed = 1; seed <= 40; ++seed) run(seed, 5, 800);
}

TEST(DocumentModel, LevelsLargeEnoughForAnIndex) {
  for (unsigned seed = 1; seed <= 5; ++seed) run(seed, 400, 5000);
}

TEST(DocumentModel, TenThousandKeysInAnyOrder) {
  constexpr int keys = 10000;
  ObjectProperties document;
  for (int i = 0; i < keys; ++i) document.setValueInt32("key " + std::to_string(i), i);
  const auto bytes = document.toBson();
  const ObjectProperties fetched = ObjectProperties::fromBson(bytes.data(), bytes.size());
  for (int i = keys - 1; i >= 0; --i) ASSERT_EQ(fetched.valueAsInt32("key " + std::to_string(i), -1), i);
  for (int i = 0; i < keys; i += 7) ASSERT_EQ(fetched.nameAt(keys - 1 - i), "key " + std::to_string(keys - 1 - i));
  for (int i = 0; i < keys; i += 2) document.removeKey("key " + std::to_string(i));
  EXPECT_EQ(document.size(), keys / 2);
  EXPECT_EQ(document.valueAsInt32("key 9999", -1), 9999);
}

}  // namespace
}  // namespace database_client
