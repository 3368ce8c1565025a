// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/plan/TermScan.h"

#include <unordered_set>

namespace database_client::embedded::index {

namespace {

constexpr int countedTerms = 64;  // of a range; beyond, the sums of blocks are good enough

}  // namespace

TermScan::TermScan(ItemIndex& index) : segments_(index.segments()), blocks_(index.blocks()) {
  hasTombstones_ = std::any_of(segments_.begin(), segments_.end(), [](const auto& s) { return s->hasTombstones(); });
}

MergedTerms TermScan::merged(std::string_view low) const {
  std::vector<TermIterator> iterators;
  for (const auto& segment : segments_) iterators.emplace_back(*segment, blocks_);
  MergedTerms terms(std::move(iterators));
  terms.seek(low);
  return terms;
}

void TermScan::collect(std::string_view low, std::string_view high, RecordSet& records) const {
  eachTerm(low, high, [&](std::string_view, auto&& eachRun) {
    eachRun([&](Run run) { records.addRange(run.first, run.length); });
  });
}

std::uint64_t TermScan::estimate(std::string_view low, std::string_view high) const {
  std::uint64_t total = 0;
  for (const auto& segment : segments_) total += estimateIn(*segment, blocks_, low, high);
  return total;
}

std::uint64_t TermScan::estimateIn(const Segment& segment, BlockCache& blocks, std::string_view low,
                                   std::string_view high) {
  TermIterator terms(segment, blocks);
  std::uint64_t total = 0;
  int counted = 0;
  for (terms.seek(low); terms.valid() && terms.key() < high && counted < countedTerms; terms.next(), ++counted) {
    total += terms.term().counts.added;
  }
  if (counted < countedTerms || segment.isInline()) {
    for (; terms.valid() && terms.key() < high; terms.next()) total += terms.term().counts.added;
    return total;
  }
  // The block where the range begins counts half, and so does the one where it ends.
  std::uint64_t twice = 0;
  const auto& all = segment.blocks();
  const auto behind = std::upper_bound(all.begin(), all.end(), low,
                                       [](std::string_view key, const auto& block) { return key < block.firstKey; });
  const auto first = static_cast<std::size_t>(behind - all.begin());
  for (std::size_t i = first == 0 ? 0 : first - 1; i < all.size() && all[i].firstKey < high; ++i) {
    const bool beginsInside = all[i].firstKey >= low;
    const bool endsInside = i + 1 < all.size() && all[i + 1].firstKey <= high;
    twice += all[i].records * ((beginsInside ? 1U : 0U) + (endsInside ? 1U : 0U));
  }
  return std::max(total, twice / 2);
}

KeyRange allOf(PathId path, TermKind kind) {
  KeyBuilder key;
  key.start(path, kind);
  return {key.key(), afterPrefix(key.key())};
}

KeyRange allNamed(PathId path, TermKind kind, std::string_view name) {
  KeyBuilder key;
  key.start(path, kind).name(name);
  return {key.key(), afterPrefix(key.key())};
}

std::vector<std::string> namesUnder(const TermScan& scan, PathId path) {
  std::unordered_set<std::string> names;
  const KeyRange range = allOf(path, TermKind::name);
  scan.eachPart(range.low, range.high, [&](const TermIterator& part) {
    ParsedKey key = parseKey(part.key());
    if (key.named) names.insert(std::move(key.name));
  });
  return {names.begin(), names.end()};
}

}  // namespace database_client::embedded::index
