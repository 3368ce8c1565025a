// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/plan/TermScan.h"

#include <unordered_set>

namespace database_client::embedded::index {

namespace {

constexpr int countedTerms = 64;  // of a range; beyond, the sums of its blocks are good enough

}  // namespace

TermScan::TermScan(ItemIndex& index) : segments_(index.flushAndSnapshot().segments), blocks_(index.blocks()) {
  hasTombstones_ = std::any_of(segments_.begin(), segments_.end(), [](const auto& s) { return s->hasTombstones(); });
}

MergedTerms TermScan::merged(std::string_view low) const {
  std::vector<TermIterator> iterators;
  for (const auto& segment : segments_) iterators.emplace_back(*segment, blocks_);
  MergedTerms terms(std::move(iterators));
  terms.seek(low);
  return terms;
}

std::string_view TermScan::lastBlock(std::string_view low, std::string_view high) const {
  for (const auto& segment : segments_) {
    const auto& all = segment->blocks();
    const auto behind = std::lower_bound(all.begin(), all.end(), high,
                                         [](const auto& block, std::string_view key) { return block.firstKey < key; });
    if (behind != all.begin() && (behind - 1)->firstKey > low) low = (behind - 1)->firstKey;
  }
  return low;
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
  std::uint64_t counted = 0;
  int visited = 0;
  // Most ranges, such as one value of one name, are a few terms, and are counted exactly. So is a segment of a single
  // blob, whose terms are in memory already.
  for (terms.seek(low); terms.valid() && terms.key() < high; terms.next()) {
    if (++visited > countedTerms && !segment.isInline()) break;
    counted += terms.term().counts.added;
  }
  if (!terms.valid() || terms.key() >= high) return counted;
  // A wide range costs no reading: the head of a segment has the number of records of each block. Of the block in which
  // the range begins, and of the one in which it ends, about half is inside: each end of a block that lies inside the
  // range counts for half of its records.
  std::uint64_t halves = 0;
  const auto& all = segment.blocks();
  const auto behind = std::upper_bound(all.begin(), all.end(), low,
                                       [](std::string_view key, const auto& block) { return key < block.firstKey; });
  const auto first = static_cast<std::size_t>(behind - all.begin());
  for (std::size_t i = first == 0 ? 0 : first - 1; i < all.size() && all[i].firstKey < high; ++i) {
    const bool beginsInside = all[i].firstKey >= low;
    const bool endsInside = i + 1 < all.size() && all[i + 1].firstKey <= high;
    halves += all[i].records * ((beginsInside ? 1U : 0U) + (endsInside ? 1U : 0U));
  }
  // A range within one block has none of its ends; then what was counted is the better estimate.
  return std::max(counted, halves / 2);
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

std::optional<std::uint64_t> countUnique(const TermScan& scan, PathId path, std::string_view name) {
  std::int64_t records = 0;
  std::int64_t extra = 0;
  int terms = 0;
  const KeyRange range = allNamed(path, TermKind::name, name);
  scan.eachGroup(range.low, range.high, [&](std::string_view, const TermScan::Parts& parts) {
    ++terms;
    for (const TermIterator* part : parts) {
      extra += part->term().counts.extra;
      records += part->term().counts.items() - part->term().counts.extra;
    }
  });
  // Items of two types have a term each, and a record may be in both.
  if (terms > 1 || extra != 0) return std::nullopt;
  return static_cast<std::uint64_t>(records);
}

bool isUnique(const TermScan& scan, PathId path, std::string_view name) {
  if (countUnique(scan, path, name)) return true;
  const KeyRange range = allNamed(path, TermKind::name, name);
  std::int64_t items = 0;
  scan.eachPart(range.low, range.high, [&](const TermIterator& part) { items += part.term().counts.items(); });
  RecordSet records;
  scan.collect(range.low, range.high, records);
  return records.count() == static_cast<std::uint64_t>(items);
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
