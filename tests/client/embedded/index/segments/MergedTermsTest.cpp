// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

#include "client/embedded/index/segments/MergedTerms.h"
#include "client/embedded/index/segments/SegmentWriter.h"
#include "tests/client/embedded/index/MemoryBlobStore.h"
#include "tests/client/embedded/index/terms.h"

namespace database_client::embedded::index {
namespace {

/// Segments as transactions leave them: each adds records to terms that do not have them, and deletes those that have.
class MergedTermsTest : public SeededTest {
 protected:
  static constexpr std::uint32_t keys = 12;
  static constexpr std::uint32_t records = 60;

  std::shared_ptr<const Segment> write(const SpelledTerms& terms) {
    SegmentWriter writer = nextWriter();
    index::write(terms, writer);
    return finish(writer);
  }

  /// What transactions changed. `sums_` is what all of them come to.
  std::vector<SpelledTerms> transactions() {
    std::vector<SpelledTerms> all(2 + below(8));
    for (SpelledTerms& changes : all) {
      for (std::uint32_t i = below(120); i > 0; --i) {
        const std::string key(1, static_cast<char>('a' + below(keys)));
        const RecordNumber record = 1 + below(records);
        SpelledTerm& change = changes[key];
        if (change.records.count(record) != 0) continue;
        SpelledTerm& sum = sums_[key];
        const bool isThere = sum.records.count(record) != 0;
        change.records[record] = isThere ? -1 : 1;
        if (isThere) {
          sum.records.erase(record);
        } else {
          sum.records[record] = 1;
        }
        const auto extra = std::int64_t{below(4)} - 1;
        change.extra += extra;
        sum.extra += extra;
      }
    }
    for (auto at = sums_.begin(); at != sums_.end();) at = at->second.isNothing() ? sums_.erase(at) : std::next(at);
    return all;
  }

  MergedTerms walk(const std::vector<std::shared_ptr<const Segment>>& segments) {
    std::vector<TermIterator> iterators;
    for (const auto& segment : segments) iterators.emplace_back(*segment, blocks_);
    MergedTerms terms(std::move(iterators));
    terms.seekToFirst();
    return terms;
  }

  std::vector<std::shared_ptr<const Segment>> merge(const std::vector<std::shared_ptr<const Segment>>& inputs) {
    MergedTerms terms = walk(inputs);
    SurplusTerms surplus;
    SegmentWriter writer = nextWriter();
    mergeTerms(
        terms, writer, [] { return true; }, &surplus);
    std::vector<std::shared_ptr<const Segment>> merged{finish(writer)};
    for (std::size_t layer = 0; layer < surplus.layers(); ++layer) {
      SegmentWriter further = nextWriter();
      surplus.write(layer, further);
      merged.push_back(finish(further));
    }
    layers_ += surplus.layers();
    return merged;
  }

  /// Merges some segments, whichever, several times, and then all.
  std::shared_ptr<const Segment> mergeInAnyGrouping(std::vector<std::shared_ptr<const Segment>> segments) {
    for (std::uint32_t round = below(6); round > 0; --round) {
      std::shuffle(segments.begin(), segments.end(), random_);
      const auto last = segments.begin() + below(static_cast<std::uint32_t>(segments.size())) + 1;
      const auto merged = merge({segments.begin(), last});
      segments.erase(segments.begin(), last);
      segments.insert(segments.end(), merged.begin(), merged.end());
    }
    MergedTerms terms = walk(segments);
    SegmentWriter writer = nextWriter();
    mergeTerms(terms, writer, [] { return true; });
    return finish(writer);
  }

  SpelledTerms spell(const std::shared_ptr<const Segment>& segment) { return index::spell(*segment, blocks_); }

  SpelledTerms sums_;
  std::size_t layers_ = 0;

 private:
  SegmentWriter nextWriter() {
    ++number_;
    return SegmentWriter(blobs_, number_ * 1000, oneIn(2) ? 64 : 16 * 1024, oneIn(2) ? 50 : 32 * 1024);
  }
  std::shared_ptr<const Segment> finish(SegmentWriter& writer) {
    return std::make_shared<const Segment>(static_cast<std::uint32_t>(number_), number_ * 1000, writer.finish(0));
  }

  MemoryBlobStore blobs_;
  BlockCache blocks_{blobs_, 1 << 16};
  std::int64_t number_ = 0;
};

TEST_P(MergedTermsTest, AnyGroupingComesToTheSame) {
  std::vector<std::shared_ptr<const Segment>> segments;
  for (const SpelledTerms& changes : transactions()) segments.push_back(write(changes));
  for (int i = 0; i < 10; ++i) EXPECT_EQ(spell(mergeInAnyGrouping(segments)), sums_);
}

TEST_P(MergedTermsTest, SegmentsFromTheMiddleComeToTheirNetChange) {
  const std::vector<SpelledTerms> changes = transactions();
  const std::size_t first = below(static_cast<std::uint32_t>(changes.size()));
  SpelledTerms expected;
  std::vector<std::shared_ptr<const Segment>> segments;
  for (std::size_t i = first; i < changes.size(); ++i) {
    segments.push_back(write(changes[i]));
    for (const auto& [key, change] : changes[i]) {
      expected[key].extra += change.extra;
      for (const auto& [record, times] : change.records) {
        int& sum = expected[key].records[record];
        sum += times;
        if (sum == 0) expected[key].records.erase(record);
      }
    }
  }
  for (auto at = expected.begin(); at != expected.end();) {
    at = at->second.isNothing() ? expected.erase(at) : std::next(at);
  }
  EXPECT_EQ(spell(mergeInAnyGrouping(segments)), expected);
}

TEST_P(MergedTermsTest, EqualKeysComeTogetherInTheirOrder) {
  const std::vector<SpelledTerms> changes = transactions();
  std::map<std::string, std::size_t> expected;
  std::vector<std::shared_ptr<const Segment>> segments;
  for (const SpelledTerms& each : changes) {
    for (const auto& [key, term] : each) ++expected[key];
    segments.push_back(write(each));
  }
  std::map<std::string, std::size_t> found;
  std::string before;
  for (MergedTerms terms = walk(segments); terms.valid(); terms.next()) {
    EXPECT_LT(before, terms.key());
    before = terms.key();
    found[before] = terms.group().size();
  }
  EXPECT_EQ(found, expected);
}

TEST_P(MergedTermsTest, WhatComesToMoreThanOneStandsInFurtherSegments) {
  std::vector<std::shared_ptr<const Segment>> segments;
  for (int i = 0; i < 40; ++i) {
    for (const SpelledTerms& changes : transactions()) segments.push_back(write(changes));
  }
  for (int i = 0; i < 3; ++i) EXPECT_EQ(spell(mergeInAnyGrouping(segments)), sums_);
  EXPECT_GT(layers_, 0U);
}

INSTANTIATE_TEST_SUITE_P(Seeds, MergedTermsTest, testing::Range(1U, 31U));

}  // namespace
}  // namespace database_client::embedded::index
