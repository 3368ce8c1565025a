// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include "client/embedded/index/segments/Segment.h"
#include "client/embedded/index/segments/SegmentWriter.h"
#include "tests/client/embedded/index/MemoryBlobStore.h"
#include "tests/client/embedded/index/terms.h"

namespace database_client::embedded::index {
namespace {

/// Segments of random terms, whose limits are so low that they have many blocks and chunks, or so high that they have
/// none.
class SegmentTest : public SeededTest {
 protected:
  SpelledTerms terms() {
    SpelledTerms all;
    for (std::uint32_t i = 1 + below(200); i > 0; --i) {
      std::string key = std::string(below(12), 'k') + std::to_string(below(500));
      SpelledTerm& term = all[std::move(key)];
      const std::uint32_t records = oneIn(6) ? 200 : 1 + below(3);
      for (std::uint32_t r = 0; r < records; ++r) term.records[1 + below(oneIn(4) ? 10'000 : 300)] = oneIn(5) ? -1 : 1;
      if (oneIn(4)) term.extra = std::int64_t{below(200)} - 100;
    }
    return all;
  }

  Segment write(const SpelledTerms& terms) {
    SegmentWriter writer(blobs_, 1, oneIn(3) ? 1 << 20 : 256, oneIn(3) ? 1 << 20 : 64 + below(40));
    index::write(terms, writer);
    return Segment(1, 1, writer.finish(2));
  }

  MemoryBlobStore blobs_;
  BlockCache blocks_{blobs_, 4096};
};

TEST_P(SegmentTest, WhatIsWrittenIsReadBack) {
  const SpelledTerms all = terms();
  const Segment segment = write(all);
  EXPECT_EQ(spell(segment, blocks_), all);
  EXPECT_EQ(segment.terms(), all.size());
  EXPECT_EQ(segment.level(), 2U);
}

TEST_P(SegmentTest, TheHeadInTheStoreIsTheSegment) {
  const SpelledTerms all = terms();
  const Segment written = write(all);
  const Segment stored(1, 1, blobs_.read(1));
  EXPECT_EQ(stored.head(), written.head());
  EXPECT_EQ(spell(stored, blocks_), all);
}

TEST_P(SegmentTest, AKeyIsFoundFromAnywhereAndOneThatIsMissingLeadsToTheNext) {
  const SpelledTerms all = terms();
  const Segment segment = write(all);
  TermIterator at(segment, blocks_);
  for (int i = 0; i < 300; ++i) {
    const std::string wanted = std::string(below(12), 'k') + std::to_string(below(500));
    at.seek(wanted);
    const auto expected = all.lower_bound(wanted);
    ASSERT_EQ(at.valid(), expected != all.end()) << wanted;
    if (!at.valid()) continue;
    EXPECT_EQ(at.key(), expected->first) << wanted;
    EXPECT_EQ(spell(at), expected->second) << wanted;
  }
}

TEST_P(SegmentTest, TheCountsInTheHeadAreThoseOfThePostings) {
  const SpelledTerms all = terms();
  const Segment segment = write(all);
  std::uint64_t added = 0;
  bool hasTombstones = false;
  for (const auto& [key, term] : all) {
    for (const auto& [record, times] : term.records) {
      added += times > 0 ? 1 : 0;
      hasTombstones = hasTombstones || times < 0;
    }
  }
  EXPECT_EQ(segment.hasTombstones(), hasTombstones);
  if (segment.isInline()) return;
  std::uint64_t inBlocks = 0;
  for (const Segment::Block& block : segment.blocks()) inBlocks += block.records;
  EXPECT_EQ(inBlocks, added);
}

INSTANTIATE_TEST_SUITE_P(Seeds, SegmentTest, testing::Range(1U, 31U));

TEST(SmallSegmentTest, IsOneBlob) {
  MemoryBlobStore blobs;
  SegmentWriter writer(blobs, 1, 16 * 1024, 32 * 1024);
  write({{"a", {{{1, 1}}, 0}}, {"b", {{{1, 1}, {2, -1}}, 3}}}, writer);
  const Segment segment(1, 1, writer.finish(0));
  EXPECT_TRUE(segment.isInline());
  EXPECT_EQ(blobs.blobs.size(), 1U);
}

TEST(BlockCacheTest, StaysWithinItsCapacityAndForgetsWhatItIsTold) {
  MemoryBlobStore blobs;
  SegmentWriter writer(blobs, 10, 256, 64);
  SpelledTerms terms;
  for (int i = 1000; i < 1400; ++i) terms["key" + std::to_string(i)].records[static_cast<RecordNumber>(i)] = 1;
  write(terms, writer);
  const Segment segment(1, 10, writer.finish(0));
  BlockCache blocks(blobs, 1000);
  EXPECT_EQ(spell(segment, blocks), terms);
  EXPECT_GT(blocks.used(), 500U);
  EXPECT_LE(blocks.used(), 1000U);
  blocks.forget(10, 10'000);
  EXPECT_EQ(blocks.used(), 0U);
}

}  // namespace
}  // namespace database_client::embedded::index
