// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>

#include "client/embedded/index/items/ItemIndex.h"
#include "client/embedded/index/items/ItemPaths.h"
#include "client/embedded/index/plan/IndexCheck.h"
#include "client/embedded/index/plan/TermScan.h"
#include "client/embedded/index/segments/Segment.h"
#include "database_client/Error.h"
#include "tests/client/embedded/index/MemoryBlobStore.h"
#include "tests/client/embedded/index/RandomDocuments.h"

namespace database_client::embedded {
namespace {

ItemIndex::Options smallOptions() {
  ItemIndex::Options options;
  options.memtableLimit = 200;
  options.fanOut = 3;
  options.smallFanOut = 4;
  options.blockSize = 256;
  options.chunkSize = 64;
  options.cacheSize = 2048;
  return options;
}

/// An index beside the documents that it should know.
class ItemIndexTest : public testing::Test {
 protected:
  void open(const ItemIndex::Options& options = smallOptions()) {
    index_ = std::make_unique<ItemIndex>(store_, 7, options);
  }
  /// With a way to read the documents, so that those added last need not be written.
  void openWithTail(ItemIndex::Options options = smallOptions()) {
    options.unindexedLimit = 6;
    options.bulkSize = 3;
    index_ = std::make_unique<ItemIndex>(
        store_, 7, options, [this](RecordNumber after, const std::function<void(RecordNumber, bson::View)>& receive) {
          for (auto at = documents_.upper_bound(after); at != documents_.end(); ++at)
            receive(at->first, viewOf(at->second));
        });
  }

  void put(RecordNumber record, const Bytes& body) {
    const auto stored = documents_.find(record);
    const Bytes before = stored == documents_.end() ? Bytes() : stored->second;
    documents_[record] = body;
    if (before.empty()) {
      index_->add(record, viewOf(body));
    } else {
      index_->replace(record, viewOf(before), viewOf(body));
    }
  }
  void put(RecordNumber record, const std::string& json) { put(record, fromJson(json)); }

  void remove(RecordNumber record) {
    index_->remove(record, viewOf(documents_.at(record)));
    documents_.erase(record);
  }

  void commit() {
    index_->flush();
    store_.commit();
    committed_ = documents_;
  }

  void undo() {
    index_->rollback();
    store_.undo();
    documents_ = committed_;
  }

  std::string problems() {
    const DocumentScan scan = [this](const std::function<void(RecordNumber, bson::View)>& receive) {
      for (const auto& [record, body] : documents_) receive(record, viewOf(body));
    };
    std::string text;
    for (const std::string& problem : checkIndex(*index_, scan)) text += problem + "\n";
    return text;
  }

  const ItemPaths& paths() { return index_->flushAndSnapshot().paths; }
  const ItemIndex::Segments& segments() { return index_->flushAndSnapshot().segments; }

  /// The record numbers under each term of names, as "name:1,2".
  std::string names(std::string_view path) {
    ItemPaths::Id id = ItemPaths::root;
    if (paths().state(path, id) != ItemPaths::State::tracked) return "untracked";
    const index::TermScan scan(*index_);
    std::map<std::string, std::string> lists;
    for (const std::string& name : index::namesUnder(scan, id)) {
      const index::KeyRange range = index::allNamed(id, index::TermKind::name, name);
      RecordSet records;
      scan.collect(range.low, range.high, records);
      for (auto record = records.next(0); record; record = records.next(*record + 1)) {
        lists[name] += (lists[name].empty() ? "" : ",") + std::to_string(*record);
      }
    }
    std::string text;
    for (const auto& [name, list] : lists) text += (text.empty() ? "" : " ") + name + ":" + list;
    return text;
  }

  std::string nonIndexable(std::string_view path) {
    ItemPaths::Id id = ItemPaths::root;
    if (paths().state(path, id) != ItemPaths::State::tracked) return "untracked";
    const index::KeyRange range = index::allOf(id, index::TermKind::nonIndexable);
    RecordSet records;
    index::TermScan(*index_).collect(range.low, range.high, records);
    std::string text;
    for (auto record = records.next(0); record; record = records.next(*record + 1)) {
      text += (text.empty() ? "" : ",") + std::to_string(*record);
    }
    return text;
  }

  MemoryBlobStore store_;
  std::unique_ptr<ItemIndex> index_;
  std::map<RecordNumber, Bytes> documents_;
  std::map<RecordNumber, Bytes> committed_;
};

TEST_F(ItemIndexTest, KnowsTheNamesOfItemsAtAnyPath) {
  open();
  put(1, R"({"a": [{"name": "x"}, {"name": "y"}], "b": {"c": [{"name": "x", "value": 1}]}})");
  put(2, R"({"a": [{"name": "y"}]})");
  commit();
  EXPECT_EQ(names("a"), "x:1 y:1,2");
  EXPECT_EQ(names("b.c"), "x:1");
  EXPECT_EQ(names("b"), "untracked");
  EXPECT_EQ(problems(), "");
}

TEST_F(ItemIndexTest, FindsWhatWasNotYetWritten) {
  open();
  put(1, R"({"a": [{"name": "x"}]})");
  EXPECT_EQ(names("a"), "x:1");
}

TEST_F(ItemIndexTest, ReplacingChangesOnlyWhatDiffers) {
  open();
  put(1, R"({"a": [{"name": "x", "value": 1}, {"name": "y", "value": 2}]})");
  commit();
  put(1, R"({"a": [{"name": "x", "value": 1}, {"name": "z", "value": 2}]})");
  index_->flush();
  ASSERT_EQ(segments().size(), 2U);
  EXPECT_EQ(segments().back()->terms(), 4U) << "name and value of y are taken back, those of z are added";
  EXPECT_EQ(names("a"), "x:1 z:1");
  EXPECT_EQ(problems(), "");
}

TEST_F(ItemIndexTest, RemovingLeavesTheOthers) {
  open();
  put(1, R"({"a": [{"name": "x"}]})");
  put(2, R"({"a": [{"name": "x"}]})");
  commit();
  remove(1);
  commit();
  EXPECT_EQ(names("a"), "x:2");
  EXPECT_EQ(problems(), "");
}

TEST_F(ItemIndexTest, CompactingLeavesOneSegmentAndNothingTakenBack) {
  open();
  for (int i = 1; i <= 20; ++i) {
    put(i, R"({"a": [{"name": "x"}, {"name": "n)" + std::to_string(i) + R"("}]})");
    commit();
  }
  for (int i = 1; i <= 19; ++i) remove(i);
  commit();
  index_->compact();
  ASSERT_EQ(segments().size(), 1U);
  EXPECT_FALSE(segments()[0]->hasTombstones());
  EXPECT_EQ(names("a"), "n20:20 x:20");
  EXPECT_EQ(problems(), "");
}

TEST_F(ItemIndexTest, AnEmptiedIndexCompactsToNothing) {
  open();
  put(1, R"({"a": [{"name": "x"}]})");
  commit();
  remove(1);
  commit();
  index_->compact();
  EXPECT_EQ(segments().size(), 0U);
  EXPECT_EQ(names("a"), "");
}

TEST_F(ItemIndexTest, MergesAsSegmentsGrowInNumber) {
  open();
  for (int i = 1; i <= 100; ++i) {
    put(i, R"({"a": [{"name": "x", "value": )" + std::to_string(i) + "}]}");
    commit();
    EXPECT_LE(segments().size(), 12U);
  }
  EXPECT_EQ(problems(), "");
}

TEST_F(ItemIndexTest, MergesWithinAWriteStayBelowTheLimit) {
  ItemIndex::Options options = smallOptions();
  options.mergeLimit = 2000;
  open(options);
  for (int i = 1; i <= 200; ++i) {
    put(i, R"({"a": [{"name": "x", "value": )" + std::to_string(i) + "}]}");
    commit();
    for (const auto& segment : segments()) EXPECT_LE(segment->bytes(), 3000U);
  }
  EXPECT_EQ(problems(), "");
}

TEST_F(ItemIndexTest, ARolledBackTransactionLeavesNoTrace) {
  open();
  put(1, R"({"a": [{"name": "x"}]})");
  commit();
  put(2, R"({"a": [{"name": "x"}], "b": [{"name": "y"}]})");
  index_->flush();
  put(3, R"({"c": [{"name": "y"}]})");
  undo();
  EXPECT_EQ(names("a"), "x:1");
  EXPECT_EQ(names("b"), "untracked");
  put(2, R"({"c": [{"name": "z"}]})");
  commit();
  EXPECT_EQ(names("c"), "z:2");
  EXPECT_EQ(problems(), "");
}

TEST_F(ItemIndexTest, ClearingRemovesEveryBlobOfTheCollectionAlone) {
  open();
  put(1, R"({"a": [{"name": "x"}]})");
  commit();
  store_.write(ItemIndex::firstKey(7) - 1, "before");
  store_.write(ItemIndex::lastKey(7) + 1, "after");
  index_->clear();
  EXPECT_EQ(store_.blobs.size(), 2U);
  put(1, R"({"a": [{"name": "x"}]})");
}

TEST_F(ItemIndexTest, SeesWhatAnotherConnectionWrote) {
  open();
  ItemIndex other(store_, 7, smallOptions());
  put(1, R"({"a": [{"name": "x"}]})");
  commit();
  ++store_.changes;
  const Bytes second = fromJson(R"({"a": [{"name": "x"}]})");
  other.add(2, viewOf(second));
  other.flush();
  ++store_.changes;
  documents_[2] = second;
  EXPECT_EQ(names("a"), "x:1,2");
  EXPECT_EQ(problems(), "");
}

TEST_F(ItemIndexTest, WhatIsNoArrayOfItemsUnderAPathIsIrregular) {
  open();
  put(1, R"({"a": [{"name": "x"}]})");
  put(2, R"({"a": {"name": "x"}})");
  put(3, R"({"a": 5})");
  put(4, R"({"a": null})");
  put(5, R"({"a": []})");
  put(6, R"({"a": {"b": 1}})");
  put(7, R"({"b": 1})");
  put(8, R"({"a": [5, {"name": "x"}, null]})");
  commit();
  EXPECT_EQ(nonIndexable("a"), "2,3,6");
  EXPECT_EQ(names("a"), "x:1,8");
  EXPECT_EQ(problems(), "");
}

TEST_F(ItemIndexTest, ItemsInArraysWithinArraysAreIrregular) {
  open();
  put(1, R"({"a": [{"b": [{"name": "x"}]}]})");
  put(2, R"({"a": [[{"name": "x"}]]})");
  put(3, R"({"a": [{"name": "x", "value": {"name": "y"}}]})");
  commit();
  EXPECT_EQ(nonIndexable("a.b"), "1");
  EXPECT_EQ(nonIndexable("a.value"), "3");
  EXPECT_EQ(nonIndexable("a"), "");
  EXPECT_EQ(names("a"), "x:3");
  EXPECT_EQ(problems(), "");
}

TEST_F(ItemIndexTest, ItemsWithOddNamesAndTypesAreIrregular) {
  open();
  put(1, R"({"a": [{"name": 5}]})");
  put(2, R"({"a": [{"name": ["x"]}]})");
  put(3, R"({"a": [{"name": "x", "type": "4"}]})");
  put(4, R"({"a": [{"name": "x", "type": {"$numberLong": "4"}}]})");
  put(5, R"({"a": [{"name": ")" + std::string(256, 'n') + R"("}]})");
  put(6, R"({"a": [{"name": ")" + std::string(255, 'n') + R"("}]})");
  put(7, R"({"a": [{"value": 1}]})");
  put(8, R"({"a": [{"name": null}]})");
  commit();
  EXPECT_EQ(nonIndexable("a"), "1,2,3,4,5,8");
  EXPECT_EQ(names("a"), std::string(255, 'n') + ":6");
}

TEST_F(ItemIndexTest, RepeatedKeysAreIrregular) {
  open();
  bson::Writer twice;
  for (int i = 0; i < 2; ++i) {
    twice.beginArray("a");
    twice.beginDocument("0");
    twice.appendString("name", "x");
    twice.end();
    twice.end();
  }
  put(1, twice.take());
  bson::Writer names;
  names.beginArray("a");
  names.beginDocument("0");
  names.appendString("name", "x");
  names.appendString("name", "y");
  names.end();
  names.end();
  put(2, names.take());
  commit();
  EXPECT_EQ(nonIndexable("a"), "1,2");
  EXPECT_EQ(problems(), "");
}

TEST_F(ItemIndexTest, KeepsExactWhenAPathBecomesOneOfItemsLate) {
  open();
  put(1, R"({"a": 5})");
  put(2, R"({"a": [{"b": 1}]})");
  commit();
  put(3, R"({"a": [{"name": "x"}]})");
  commit();
  ItemPaths::Id id = ItemPaths::root;
  ASSERT_EQ(paths().state("a", id), ItemPaths::State::tracked);
  EXPECT_FALSE(paths().isClean(id));
  remove(1);
  remove(2);
  commit();
  EXPECT_EQ(problems(), "");
}

TEST_F(ItemIndexTest, ManyPathsEndInNotKnowingNotInBeingWrong) {
  open();
  for (int i = 0; i < 5000; ++i) {
    put(i + 1, R"({"k)" + std::to_string(i) + R"(": [{"name": "x"}]})");
  }
  commit();
  ItemPaths::Id id = ItemPaths::root;
  EXPECT_EQ(paths().state("k0", id), ItemPaths::State::tracked);
  EXPECT_EQ(paths().state("k4999", id), ItemPaths::State::unknown);
  EXPECT_EQ(problems(), "");
}

TEST_F(ItemIndexTest, PathsThatAPositionInAnArrayCouldMeanAreNotKnown) {
  open();
  put(1, R"({"a": [{"name": "x"}], "0": [{"name": "x"}]})");
  ItemPaths::Id id = ItemPaths::root;
  EXPECT_EQ(paths().state("0", id), ItemPaths::State::unknown);
  EXPECT_EQ(paths().state("a.0", id), ItemPaths::State::unknown);
  EXPECT_EQ(paths().state("", id), ItemPaths::State::unknown);
}

TEST_F(ItemIndexTest, ADamagedBlobIsAnErrorOfStorage) {
  open();
  for (int i = 1; i <= 50; ++i) put(i, R"({"a": [{"name": "x", "value": )" + std::to_string(i) + "}]}");
  commit();
  for (auto& [key, blob] : store_.blobs) {
    for (const std::size_t at : {std::size_t{0}, blob.size() / 2, blob.size() - 1}) {
      const std::string whole = blob;
      blob[at] = static_cast<char>(blob[at] ^ 0x40);
      open();
      EXPECT_THROW(problems(), Error) << "blob " << key << " byte " << at;
      blob = whole;
    }
  }
}

TEST_F(ItemIndexTest, CheckTellsWhichRecordsDiffer) {
  open();
  for (int i = 1; i <= 5; ++i) put(i, R"({"a": [{"name": "x", "value": )" + std::to_string(i) + "}]}");
  commit();
  documents_[2] = fromJson(R"({"a": [{"name": "x", "value": 7}]})");
  documents_.erase(3);
  documents_[9] = fromJson(R"({"a": [{"name": "x", "value": 9}]})");
  EXPECT_EQ(problems(),
            "Record number 2: the index does not agree with the document\n"
            "Record number 9: the index does not agree with the document\n"
            "Record number 3: the index has items, but there is no such document\n");
}

TEST_F(ItemIndexTest, CheckSeesWrongCountsOfRepeatedItems) {
  open();
  put(1, R"({"a": [{"name": "x", "value": 1}, {"name": "x", "value": 1}]})");
  commit();
  documents_[1] = fromJson(R"({"a": [{"name": "x", "value": 1}]})");
  EXPECT_EQ(problems(), "The index counts items that occur several times in one record otherwise than they do\n");
}

TEST_F(ItemIndexTest, AddingARecordTwiceIsRefused) {
  open();
  const Bytes body = fromJson(R"({"a": [{"name": "x"}]})");
  index_->add(1, viewOf(body));
  index_->add(1, viewOf(body));
  EXPECT_THROW(index_->flush(), Error);
}

TEST_F(ItemIndexTest, DocumentsAddedOneByOneAreWrittenTogether) {
  openWithTail();
  for (int i = 1; i <= 5; ++i) {
    put(i, R"({"a": [{"name": "x"}]})");
    commit();
  }
  EXPECT_TRUE(store_.blobs.empty());
  EXPECT_EQ(names("a"), "x:1,2,3,4,5");
  put(3, R"({"a": [{"name": "y"}]})");
  remove(4);
  commit();
  EXPECT_EQ(names("a"), "x:1,2,5 y:3");
  put(6, R"({"a": [{"name": "x"}]})");
  commit();
  EXPECT_FALSE(store_.blobs.empty());
  EXPECT_EQ(names("a"), "x:1,2,5,6 y:3");
  EXPECT_EQ(problems(), "");
}

TEST_F(ItemIndexTest, DocumentsAddedTogetherAreWrittenAtOnce) {
  openWithTail();
  put(1, R"({"a": [{"name": "x"}]})");
  commit();
  for (int i = 2; i <= 4; ++i) put(i, R"({"a": [{"name": "x"}]})");
  commit();
  EXPECT_FALSE(store_.blobs.empty());
  EXPECT_EQ(names("a"), "x:1,2,3,4");
  remove(2);
  put(2, R"({"a": [{"name": "z"}]})");
  commit();
  EXPECT_EQ(names("a"), "x:1,3,4 z:2");
  EXPECT_EQ(problems(), "");
}

TEST_F(ItemIndexTest, RebuildingMendsPathsThatHadOtherThingsFirst) {
  openWithTail();
  for (int i = 1; i <= 20; ++i) put(i, i < 3 ? R"({"a": 5})" : R"({"a": [{"name": "x"}]})");
  commit();
  EXPECT_TRUE(index_->flushAndSnapshot().needsRebuild());
  index_->rebuild();
  commit();
  EXPECT_FALSE(index_->flushAndSnapshot().needsRebuild());
  EXPECT_EQ(nonIndexable("a"), "1,2");
  EXPECT_EQ(problems(), "");
}

TEST_F(ItemIndexTest, AnIndexWithoutANoteOfItsTailHasAllDocuments) {
  open();
  for (int i = 1; i <= 3; ++i) put(i, R"({"a": [{"name": "x"}]})");
  commit();
  openWithTail();
  put(4, R"({"a": [{"name": "x"}]})");
  commit();
  EXPECT_EQ(names("a"), "x:1,2,3,4");
  EXPECT_EQ(problems(), "");
}

TEST_F(ItemIndexTest, SeveralIndexesShareOneLimitOfMemory) {
  const auto blocks = std::make_shared<BlockCache>(store_, 4096);
  std::vector<std::unique_ptr<ItemIndex>> indexes;
  for (std::int64_t collection = 1; collection <= 3; ++collection) {
    indexes.push_back(std::make_unique<ItemIndex>(store_, collection, smallOptions(), DocumentsAfter(), blocks));
    for (int i = 1; i <= 400; ++i) {
      const std::string name = "n" + std::to_string(i * collection);
      indexes.back()->add(i, viewOf(fromJson(R"({"a": [{"name": ")" + name + R"("}]})")));
    }
    indexes.back()->flush();
  }
  const auto names = [](ItemIndex& index) {
    const index::TermScan scan(index);
    ItemPaths::Id path = ItemPaths::root;
    index.flushAndSnapshot().paths.state("a", path);
    return namesUnder(scan, path).size();
  };
  for (const auto& index : indexes) EXPECT_EQ(names(*index), 400U);
  EXPECT_GT(blocks->used(), 3000U);
  EXPECT_LE(blocks->used(), 4096U);
  indexes.clear();
  EXPECT_EQ(blocks->used(), 0U);
}

/// Random changes, in transactions that commit or not, with the index opened anew in between.
TEST_F(ItemIndexTest, ALargeTransactionBetweenSmallOnesStaysTrueWhenTheyAreMerged) {
  ItemIndex::Options options = smallOptions();
  options.memtableLimit = 100'000;
  open(options);
  put(1, R"({"a": [{"name": "x"}]})");
  commit();
  put(1, R"({"a": [{"name": "y"}]})");
  for (int i = 1000; i < 1600; ++i) put(i, R"({"a": [{"name": "z", "value": )" + std::to_string(i) + "}]}");
  commit();
  put(1, R"({"a": [{"name": "x"}]})");
  commit();
  for (int i = 2; i < 10; ++i) {
    put(i, R"({"a": [{"name": "w"}]})");
    commit();
    EXPECT_EQ(problems(), "");
  }
}

TEST_F(ItemIndexTest, ALargeTransactionThatGivesBackWhatSmallOnesTakeStaysTrueWhenTheyAreMerged) {
  ItemIndex::Options options = smallOptions();
  options.memtableLimit = 100'000;
  open(options);
  put(1, R"({"a": [{"name": "x"}]})");
  for (int i = 1000; i < 1600; ++i) put(i, R"({"a": [{"name": "z", "value": )" + std::to_string(i) + "}]}");
  commit();
  put(1, R"({"a": [{"name": "y"}]})");
  commit();
  put(1, R"({"a": [{"name": "x"}]})");
  for (int i = 2000; i < 2600; ++i) put(i, R"({"a": [{"name": "z", "value": )" + std::to_string(i) + "}]}");
  commit();
  put(1, R"({"a": [{"name": "y"}]})");
  commit();
  for (int i = 2; i < 12; ++i) {
    put(i, R"({"a": [{"name": "w"}]})");
    commit();
    EXPECT_EQ(problems(), "");
  }
  index_->compact();
  commit();
  EXPECT_EQ(problems(), "");
}

class RandomIndexTest : public ItemIndexTest, public testing::WithParamInterface<std::uint32_t> {
 protected:
  void step(RandomDocuments& random, std::uint32_t odd) {
    const auto record = RecordNumber{random.below(60)} + 1;
    if (documents_.count(record) != 0 && random.oneIn(3)) return remove(record);
    put(record, random.document(odd));
  }
  /// As much as makes a segment that does not start on the lowest level.
  void putMany(RandomDocuments& random, std::uint32_t odd) {
    for (RecordNumber record = 1; record <= 60; ++record) {
      if (documents_.count(record) == 0 || random.oneIn(2)) put(record, random.document(odd));
    }
  }
};

TEST_P(RandomIndexTest, AgreesWithTheDocuments) {
  const char* given = std::getenv("DATABASE_TEST_SEED");
  const std::uint32_t seed = given != nullptr ? static_cast<std::uint32_t>(std::atoi(given)) : GetParam();
  SCOPED_TRACE("DATABASE_TEST_SEED=" + std::to_string(seed));
  RandomDocuments random(seed);
  const std::uint32_t odd = random.oneIn(2) ? 0 : 4 + random.below(30);
  const bool snapshot = random.oneIn(2);
  ItemIndex::Options options = smallOptions();
  // Then a large transaction becomes a large segment.
  if (random.oneIn(2)) options.memtableLimit = 100'000;
  const auto openAgain = [&] { snapshot ? openWithTail(options) : open(options); };
  openAgain();
  for (int transaction = 0; transaction < 120; ++transaction) {
    for (std::uint32_t i = random.below(random.oneIn(9) ? 60 : 4) + 1; i > 0; --i) step(random, odd);
    if (random.oneIn(12)) putMany(random, odd);
    random.oneIn(5) ? undo() : commit();
    if (random.oneIn(10)) openAgain();
    if (random.oneIn(25)) {
      index_->compact();
      commit();
    }
    if (!random.oneIn(6)) continue;
    ASSERT_EQ(problems(), "") << "after transaction " << transaction;
  }
  ASSERT_EQ(problems(), "");
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomIndexTest, testing::Range(1U, 41U));

}  // namespace
}  // namespace database_client::embedded
