// SPDX-License-Identifier: Apache-2.0

// Random edits of a record, beside a model that holds each section as a plain list of items.
#include <gtest/gtest.h>

#include <algorithm>
#include <list>
#include <random>
#include <string>
#include <vector>

#include "database_provider/descriptions.h"
#include "records/DatabaseRecord.h"
#include "tests/support/records.h"

namespace database_provider {
namespace {

/// One item of a section: its name, and what is read of it ("red", "int32:5", "1 host path").
struct Item {
  std::string name;
  std::string value;
};

/// A section as its items in order; the last of a name counts, at the place of the first.
class Items {
 public:
  void set(const std::string& name, const std::string& value) {
    const auto found = find(name);
    if (found == items_.end()) {
      items_.push_back({name, value});
    } else {
      found->value = value;
    }
  }
  void remove(const std::string& name) {
    const auto found = find(name);
    if (found != items_.end()) items_.erase(found);
  }
  void clear() { items_.clear(); }
  std::string text() const {
    std::list<std::string> texts;
    for (const Item& item : items_) texts.push_back(item.name + "=" + item.value);
    return joined(texts);
  }

 private:
  std::vector<Item>::iterator find(const std::string& name) {
    return std::find_if(items_.begin(), items_.end(), [&name](const Item& item) { return item.name == name; });
  }

  std::vector<Item> items_;
};

/// A record and its model, which take the same random steps.
class Pair {
 public:
  explicit Pair(unsigned seed) : random_(seed) {}

  void step() {
    static const std::vector<void (Pair::*)()> steps = {
        &Pair::setCategory,           &Pair::removeCategory, &Pair::removeAllCategories,
        &Pair::addDescription,        &Pair::addDouble,      &Pair::removeDescription,
        &Pair::removeAllDescriptions, &Pair::addFile,        &Pair::removeFile,
        &Pair::writeAndReadAnew,      &Pair::write,          &Pair::readOne,
        &Pair::setCategory,           &Pair::removeCategory, &Pair::addDescription,
        &Pair::removeDescription,     &Pair::addFile,        &Pair::takeAndGiveBackAgain};
    (this->*steps.at(below(steps.size())))();
  }
  std::string record() const {
    std::list<std::string> files = filesIds(record_);
    for (std::string& id : files) id += "=" + file(record_, id);
    return categories(record_) + " | " + descriptions(record_) + " | " + joined(files);
  }
  std::string model() const { return categories_.text() + " | " + descriptions_.text() + " | " + files_.text(); }

 private:
  std::size_t below(std::size_t end) { return std::uniform_int_distribution<std::size_t>(0, end - 1)(random_); }
  /// Few names, so that steps meet; some of them stand for something elsewhere.
  std::string name() { return std::vector<std::string>{"a", "b", "c", "name", "0", "/", "$x.y"}.at(below(7)); }
  bool seldom() { return below(6) == 0; }

  void setCategory() {
    const std::string at = name();
    const std::string value = seldom() ? "" : std::string(below(30) + 1, 'v');
    record_.setCategory(at, value);
    value.empty() ? categories_.remove(at) : categories_.set(at, value);
  }
  void removeCategory() {
    const std::string at = name();
    record_.removeCategory(at);
    categories_.remove(at);
  }
  void removeAllCategories() {
    if (!seldom()) return;
    record_.removeAllCategories();
    categories_.clear();
  }
  void addDescription() {
    const std::string at = name();
    const int value = static_cast<int>(below(100));
    if (below(2) == 0) {
      record_.addDescriptionInt(at, value);
      descriptions_.set(at, "int32:" + std::to_string(value));
    } else {
      record_.addDescriptionString(at, std::string(below(30) + 1, 't'));
      descriptions_.set(at, "string:" + record_.descriptionAsString(at, ""));
    }
  }
  void addDouble() {
    const std::string at = name();
    setDescription(record_, at, 0.5);
    descriptions_.set(at, "double:" + std::to_string(0.5));
  }
  void removeDescription() {
    const std::string at = name();
    record_.removeDescription(at);
    descriptions_.remove(at);
  }
  void removeAllDescriptions() {
    if (!seldom()) return;
    record_.removeAllDescriptions();
    descriptions_.clear();
  }
  void addFile() {
    std::string id;
    record_.addFileInfo(ObjectType::xmlObject, "h", name(), id);
    ids_.push_back(id);
    files_.set(id, file(record_, id));
  }
  void removeFile() {
    if (ids_.empty()) return;
    const std::string id = ids_.at(below(ids_.size()));
    record_.removeFileInfo(id);
    files_.remove(id);
  }
  void write() { record_.getD(); }
  void writeAndReadAnew() { record_.setD(new ObjectProperties(*record_.getD())); }
  void takeAndGiveBackAgain() { record_.setD(record_.take()); }
  void readOne() {
    for (std::size_t reads = below(40); reads > 0; --reads) {
      record_.categoryValue(name(), "");
      record_.descriptionAsInt(name(), 0);
    }
  }

  std::mt19937 random_;
  DatabaseRecord record_;
  Items categories_;
  Items descriptions_;
  Items files_;
  std::vector<std::string> ids_;
};

TEST(RecordModel, RandomEditsReadAsTheModelSays) {
  for (unsigned seed = 1; seed <= 300; ++seed) {
    Pair pair(seed);
    for (int round = 0; round < 24; ++round) {
      // Comparing lists every item, and what was not yet listed takes other ways: so not after every step.
      for (int step = 0; step <= round % 4; ++step) pair.step();
      ASSERT_EQ(pair.record(), pair.model()) << "seed " << seed << ", round " << round;
    }
  }
}

}  // namespace
}  // namespace database_provider
