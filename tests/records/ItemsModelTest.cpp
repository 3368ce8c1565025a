// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <list>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "records/CategoriesInfo.h"

namespace database_provider {
namespace {

/// Names and values in order, as the view ought to hold them.
class Model {
 public:
  void set(const std::string& name, const std::string& value) {
    const auto at = find(name);
    if (at == items_.end()) {
      items_.emplace_back(name, value);
    } else {
      at->second = value;
    }
  }
  void remove(const std::string& name) {
    const auto at = find(name);
    if (at != items_.end()) items_.erase(at);
  }
  std::string value(const std::string& name) {
    const auto at = find(name);
    return at == items_.end() ? "none" : at->second;
  }
  std::string written() const {
    std::string text;
    for (const auto& [name, value] : items_) {
      text += (text.empty() ? "" : ", ") + (R"({"name": ")" + name) + R"(", "value": ")" + value + R"("})";
    }
    return R"({"recordInfo": {"category": [)" + text + "]}}";
  }

 private:
  std::vector<std::pair<std::string, std::string>>::iterator find(const std::string& name) {
    return std::find_if(items_.begin(), items_.end(), [&](const auto& item) { return item.first == name; });
  }

  std::vector<std::pair<std::string, std::string>> items_;
};

class CategoriesModel : public ::testing::TestWithParam<unsigned> {
 protected:
  int below(int limit) { return std::uniform_int_distribution<>(0, limit - 1)(random_); }
  std::string name() { return "name " + std::to_string(below(names_)); }
  std::string value() { return std::string(static_cast<std::size_t>(1 + below(30)), 'v'); }

  /// A section as another program may have written it: names twice, items without a value, fields that nobody knows.
  void store(int items, bool isForeign) {
    model_ = Model();
    std::string text;
    for (int i = 0; i < items; ++i) {
      const std::string itemName = isForeign ? name() : "name " + std::to_string(i);
      const std::string itemValue = isForeign && below(8) == 0 ? "" : value();
      const std::string further = isForeign && below(8) == 0 ? R"(, "color": 1)" : "";
      text +=
          (i == 0 ? "" : ", ") + (R"({"name": ")" + itemName) + R"(", "value": ")" + itemValue + "\"" + further + "}";
      if (!itemValue.empty()) model_.set(itemName, itemValue);
    }
    document_ = ObjectProperties::fromJson(R"({"recordInfo": {"category": [)" + text + "]}}");
    view_.setRecord(&document_);
  }

  void step() {
    const std::string aName = name();
    switch (below(8)) {
      case 0:
        view_.removeCategory(aName);
        return model_.remove(aName);
      case 1:
      case 2: {
        const std::string aValue = value();
        view_.setCategory(aName, aValue);
        return model_.set(aName, aValue);
      }
      default:
        ASSERT_EQ(view_.categoryValue(aName, "none"), model_.value(aName));
    }
  }

  void compare() {
    view_.removeCategory("absent");  // makes sure that there is something to write
    ASSERT_EQ(view_.getRecord()->toJson(), model_.written());
  }

  std::mt19937 random_{GetParam()};
  int names_ = 12;
  ObjectProperties document_;
  CategoriesInfo view_;
  Model model_;
};

TEST_P(CategoriesModel, AgreesWithAnyRunOfReadsAndEdits) {
  for (int round = 0; round < 40; ++round) {
    names_ = below(4) == 0 ? 200 : 12;
    store(below(names_), below(2) == 0);
    const int steps = below(4) == 0 ? 600 : below(20);
    for (int i = 0; i < steps && !HasFatalFailure(); ++i) {
      step();
      if (below(10) == 0) compare();
    }
    compare();
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, CategoriesModel, ::testing::Range(1U, 6U));

}  // namespace
}  // namespace database_provider
