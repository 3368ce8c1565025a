// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <set>
#include <vector>

#include "client/embedded/index/segments/posting.h"
#include "database_client/Error.h"
#include "tests/client/embedded/index/terms.h"

namespace database_client::embedded::index {
namespace {

class PostingTest : public SeededTest {
 protected:
  std::set<RecordNumber> records() {
    std::set<RecordNumber> all;
    RecordNumber next = 1;
    for (std::uint32_t i = below(40); i > 0; --i) {
      next += oneIn(3) ? random_() >> (20 + below(40)) : below(4);
      for (std::uint32_t length = oneIn(3) ? below(300) : 1; length > 0; --length) all.insert(next++);
    }
    return all;
  }
};

std::set<RecordNumber> read(std::string_view posting) {
  std::set<RecordNumber> all;
  RecordNumber end = 0;
  eachRun(posting, [&](Run run) {
    EXPECT_TRUE(all.empty() || run.first > end) << "runs that touch are one";
    end = run.first + run.length;
    for (std::uint64_t i = 0; i < run.length; ++i) all.insert(run.first + i);
  });
  return all;
}

TEST_P(PostingTest, WhatIsWrittenIsReadBack) {
  PostingWriter writer;
  for (int i = 0; i < 100; ++i) {
    const std::set<RecordNumber> all = records();
    writer.clear();
    for (const RecordNumber record : all) writer.add(record);
    EXPECT_EQ(writer.count(), all.size());
    EXPECT_EQ(writer.end(), all.empty() ? 0 : *all.rbegin() + 1);
    EXPECT_EQ(read(writer.finish()), all);
  }
}

TEST_P(PostingTest, TheBytesDoNotDependOnThePiecesThatWereAdded) {
  for (int i = 0; i < 100; ++i) {
    const std::set<RecordNumber> all = records();
    PostingWriter one;
    for (const RecordNumber record : all) one.add(record);
    PostingWriter pieces;
    for (auto at = all.begin(); at != all.end();) {
      const RecordNumber first = *at;
      std::uint64_t length = 0;
      while (at != all.end() && *at == first + length && (length == 0 || !oneIn(5))) {
        ++length;
        ++at;
      }
      pieces.add(first, length);
    }
    EXPECT_EQ(pieces.finish(), one.finish());
  }
}

TEST_P(PostingTest, APostingThatWasCutHoldsNothingThatWasNotThere) {
  for (int i = 0; i < 20; ++i) {
    const std::set<RecordNumber> all = records();
    PostingWriter writer;
    for (const RecordNumber record : all) writer.add(record);
    const std::string& posting = writer.finish();
    for (std::size_t size = 0; size < posting.size(); ++size) {
      try {
        for (const RecordNumber record : read(std::string_view(posting).substr(0, size)))
          EXPECT_EQ(all.count(record), 1U);
      } catch (const Error& error) {
        EXPECT_EQ(error.kind(), Error::Kind::storage);
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, PostingTest, testing::Range(1U, 6U));

TEST(PostingBytesTest, ARunOfAnyLengthTakesAFewBytes) {
  PostingWriter writer;
  writer.add(5, 1'000'000);
  EXPECT_EQ(writer.finish(), std::string("\x0B\xBE\x84\x3D", 4));
}

TEST(PostingBytesTest, RecordsBeyondTheBoundAreDamage) {
  std::string posting;
  putVarint(posting, ~std::uint64_t{0});
  putVarint(posting, ~std::uint64_t{0});
  EXPECT_THROW(read(posting), Error);
}

}  // namespace
}  // namespace database_client::embedded::index
