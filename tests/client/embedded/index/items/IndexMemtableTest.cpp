// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <iterator>
#include <map>
#include <utility>
#include <vector>

#include "client/embedded/index/items/IndexMemtable.h"
#include "client/embedded/index/items/ItemPaths.h"
#include "database_client/Error.h"
#include "tests/client/embedded/index/RandomDocuments.h"
#include "tests/client/embedded/index/terms.h"

namespace database_client::embedded {
namespace {

using index::SpelledTerms;
using index::TermKind;

/// An item of the model: a name, a text as its value, and a type where it is not 0.
struct ModelItem {
  std::string name;
  std::string value;
  std::int32_t type = 0;
};
using ModelDocument = std::vector<ModelItem>;

Bytes bytesOf(const ModelDocument& items) {
  bson::Writer writer;
  writer.beginArray("a");
  for (std::size_t i = 0; i < items.size(); ++i) {
    writer.beginDocument(bson::IndexKey(i));
    writer.appendString("name", items[i].name);
    writer.appendString("value", items[i].value);
    if (items[i].type != 0) writer.appendInt32("type", items[i].type);
    writer.end();
  }
  writer.end();
  return writer.take();
}

/// How many items of a document have each term.
std::map<std::string, std::int64_t> termsOf(const ModelDocument& items, ItemPaths::Id path) {
  std::map<std::string, std::int64_t> counts;
  for (const ModelItem& item : items) {
    index::KeyBuilder name;
    name.start(path, TermKind::name).name(item.name);
    item.type == 0 ? name.noType() : name.type(item.type);
    ++counts[name.key()];
    index::KeyBuilder value;
    value.start(path, TermKind::value).name(item.name).value(index::ValueClass::string, item.value);
    ++counts[value.key()];
  }
  return counts;
}

/// A memtable beside the documents that it was told of.
class IndexMemtableTest : public index::SeededTest {
 protected:
  IndexMemtableTest() {
    extract({{"n", "v", 0}});
    path_ = extractor_.places().front().path;
  }

  /// The lengths make heads and tails, and texts that begin alike; many of one name make it sort by digits.
  std::string value() {
    static const std::vector<std::string> fronts = {"", "a", "alike in front", "alike in front and far beyond it: "};
    return fronts[below(4)] + std::to_string(below(oneIn(2) ? 5 : 100'000));
  }
  ModelDocument document() {
    ModelDocument items(below(6));
    for (ModelItem& item : items) {
      item = {std::string(1, static_cast<char>('a' + below(3))), value(), static_cast<std::int32_t>(below(3))};
    }
    return items;
  }

  void add(RecordNumber record, ModelDocument items) {
    change(record, items, false);
    now_[record] = std::move(items);
  }
  void remove(RecordNumber record) {
    change(record, now_.at(record), true);
    now_.erase(record);
  }
  void step() {
    const RecordNumber record = 1 + below(300);
    if (now_.count(record) == 0) return add(record, document());
    ModelDocument after = now_[record];
    remove(record);
    if (oneIn(3)) return;
    // A replacement mostly leaves most of the items.
    if (!after.empty()) after[below(static_cast<std::uint32_t>(after.size()))].value = value();
    add(record, oneIn(4) ? document() : std::move(after));
  }

  SpelledTerms written() {
    index::SpellingSink sink;
    memtable_.write(sink);
    return sink.terms;
  }

  /// What the documents have that those of the last call did not have, and the other way round.
  SpelledTerms netChange() {
    SpelledTerms terms;
    sum(terms, now_, 1);
    sum(terms, before_, -1);
    for (auto& [key, term] : terms) {
      for (auto at = term.records.begin(); at != term.records.end();) {
        at = at->second == 0 ? term.records.erase(at) : std::next(at);
      }
    }
    for (auto at = terms.begin(); at != terms.end();) at = at->second.isNothing() ? terms.erase(at) : std::next(at);
    before_ = now_;
    return terms;
  }

  void change(RecordNumber record, const ModelDocument& items, bool removed) {
    extract(items);
    memtable_.change(record, extractor_, removed);
  }

  IndexMemtable memtable_;

 private:
  using Documents = std::map<RecordNumber, ModelDocument>;

  void extract(const ModelDocument& items) {
    document_ = bytesOf(items);
    extractor_.extract(viewOf(document_));
  }
  void sum(SpelledTerms& terms, const Documents& documents, int sign) const {
    for (const auto& [record, items] : documents) {
      for (const auto& [key, count] : termsOf(items, path_)) {
        terms[key].records[record] += sign;
        terms[key].extra += sign * (count - 1);
      }
    }
  }

  ItemPaths paths_;
  ItemExtractor extractor_{paths_};
  Bytes document_;
  ItemPaths::Id path_ = 0;
  Documents now_;
  Documents before_;
};

TEST_P(IndexMemtableTest, WritesWhatChangesComeTo) {
  for (int transaction = 0; transaction < 6; ++transaction) {
    for (std::uint32_t i = below(oneIn(2) ? 3000 : 10); i > 0; --i) step();
    EXPECT_EQ(written(), netChange()) << "transaction " << transaction;
    EXPECT_TRUE(memtable_.empty());
  }
}

TEST_P(IndexMemtableTest, ForgetsWhatIsDropped) {
  for (int i = 0; i < 100; ++i) step();
  memtable_.clear();
  EXPECT_TRUE(memtable_.empty());
  EXPECT_EQ(written(), SpelledTerms());
}

INSTANTIATE_TEST_SUITE_P(Seeds, IndexMemtableTest, testing::Range(1U, 16U));

/// The same with one seed, where nothing is random.
using IndexMemtableNetTest = IndexMemtableTest;
INSTANTIATE_TEST_SUITE_P(Fixed, IndexMemtableNetTest, testing::Values(1U));

TEST_P(IndexMemtableNetTest, AReplacementByTheSameLeavesNoTrace) {
  add(1, {{"a", "x", 0}, {"a", "x", 0}, {"b", "y", 2}});
  written();
  remove(1);
  add(1, {{"b", "y", 2}, {"a", "x", 0}, {"a", "x", 0}});
  EXPECT_EQ(written(), SpelledTerms());
}

TEST_P(IndexMemtableNetTest, AnotherNumberOfEqualItemsChangesTheExtraAlone) {
  add(1, {{"a", "x", 0}, {"a", "x", 0}});
  written();
  remove(1);
  add(1, {{"a", "x", 0}});
  const SpelledTerms terms = written();
  ASSERT_EQ(terms.size(), 2U) << "the name, and the value";
  for (const auto& [key, term] : terms) {
    EXPECT_EQ(term.extra, -1);
    EXPECT_TRUE(term.records.empty());
  }
}

TEST_P(IndexMemtableNetTest, ARecordThatComesAndGoesLeavesNoTrace) {
  add(1, {{"a", "x", 0}});
  remove(1);
  EXPECT_FALSE(memtable_.empty());
  EXPECT_EQ(written(), SpelledTerms());
}

TEST_P(IndexMemtableNetTest, ARecordThatIsAddedOrDeletedTwiceIsRefused) {
  for (const bool removed : {false, true}) {
    memtable_.clear();
    change(1, {{"a", "x", 0}}, removed);
    change(1, {{"a", "x", 0}}, removed);
    EXPECT_THROW(written(), Error);
  }
}

}  // namespace
}  // namespace database_client::embedded
