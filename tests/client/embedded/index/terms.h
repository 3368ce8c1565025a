// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <ostream>
#include <random>
#include <string>
#include <string_view>

#include "client/embedded/index/segments/Segment.h"
#include "client/embedded/index/segments/posting.h"
#include "client/embedded/index/segments/term.h"

namespace database_client::embedded::index {

/// A term spelled out: 1 for each record that has it, -1 for each that has it no more.
struct SpelledTerm {
  std::map<RecordNumber, int> records;
  std::int64_t extra = 0;

  bool isNothing() const { return records.empty() && extra == 0; }
  friend bool operator==(const SpelledTerm& a, const SpelledTerm& b) {
    return a.records == b.records && a.extra == b.extra;
  }
  friend std::ostream& operator<<(std::ostream& out, const SpelledTerm& term) {
    for (const auto& [record, times] : term.records) out << (times > 0 ? "+" : "-") << record << ' ';
    return out << "extra " << term.extra;
  }
};

using SpelledTerms = std::map<std::string, SpelledTerm>;

inline void spellRun(SpelledTerm& term, Run run, int times) {
  for (std::uint64_t i = 0; i < run.length; ++i) {
    EXPECT_TRUE(term.records.emplace(run.first + i, times).second) << "record " << run.first + i << " comes twice";
  }
}

/// Spells out what it is given, and expects it in order and with the right counts.
class SpellingSink : public TermSink {
 public:
  void add(std::string_view key, const Term& term) override {
    EXPECT_TRUE(terms.empty() || terms.rbegin()->first < key) << "keys ascend";
    SpelledTerm& spelled = terms[std::string(key)];
    spelled.extra = term.counts.extra;
    if (term.only != 0) {
      spelled.records[term.only] = 1;
    } else {
      eachRun(term.added, [&](Run run) { spellRun(spelled, run, 1); });
      eachRun(term.deleted, [&](Run run) { spellRun(spelled, run, -1); });
    }
    std::uint64_t added = 0;
    for (const auto& [record, times] : spelled.records) added += times > 0 ? 1 : 0;
    EXPECT_EQ(term.counts.added, added);
    EXPECT_EQ(term.counts.deleted, spelled.records.size() - added);
  }

  SpelledTerms terms;
};

/// The term at which an iterator stands.
inline SpelledTerm spell(const TermIterator& at) {
  SpelledTerm term;
  term.extra = at.term().counts.extra;
  at.forEachAdded([&](Run run) { spellRun(term, run, 1); });
  at.forEachDeleted([&](Run run) { spellRun(term, run, -1); });
  return term;
}

inline SpelledTerms spell(const Segment& segment, BlockCache& blocks) {
  SpelledTerms terms;
  TermIterator at(segment, blocks);
  for (at.seekToFirst(); at.valid(); at.next()) terms[std::string(at.key())] = spell(at);
  return terms;
}

/// Writes spelled terms to a sink.
inline void write(const SpelledTerms& terms, TermSink& sink) {
  for (const auto& [key, spelled] : terms) {
    PostingWriter added;
    PostingWriter deleted;
    for (const auto& [record, times] : spelled.records) (times > 0 ? added : deleted).add(record);
    Term term;
    term.counts = {added.count(), deleted.count(), spelled.extra};
    term.added = added.finish();
    term.deleted = deleted.finish();
    sink.add(key, term);
  }
}

/// Tests with random input, once for each seed; DATABASE_TEST_SEED gives another.
class SeededTest : public testing::TestWithParam<std::uint32_t> {
 protected:
  SeededTest() : random_(seed()), trace_(__FILE__, __LINE__, "DATABASE_TEST_SEED=" + std::to_string(seed())) {}

  std::uint32_t below(std::uint32_t bound) {
    return std::uniform_int_distribution<std::uint32_t>(0, bound - 1)(random_);
  }
  bool oneIn(std::uint32_t times) { return below(times) == 0; }

  std::mt19937_64 random_;

 private:
  static std::uint32_t seed() {
    const char* given = std::getenv("DATABASE_TEST_SEED");
    return given != nullptr ? static_cast<std::uint32_t>(std::atoi(given)) : GetParam();
  }

  testing::ScopedTrace trace_;
};

}  // namespace database_client::embedded::index
