// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/index/plan/RecordSet.h"

#include <algorithm>

namespace database_client::embedded {

namespace {

/// Bits `from` to `to`, not included, of a word.
std::uint64_t mask(std::uint64_t from, std::uint64_t to) {
  return (~std::uint64_t{0} << from) & (~std::uint64_t{0} >> (64 - to));
}

unsigned trailingZeros(std::uint64_t word) {
  return static_cast<unsigned>(__builtin_ctzll(word));
}

unsigned bits(std::uint64_t word) {
  return static_cast<unsigned>(__builtin_popcountll(word));
}

}  // namespace

std::size_t RecordSet::lowerBound(std::uint64_t number) const {
  const auto at = std::lower_bound(pages_.begin(), pages_.end(), number,
                                   [](const std::unique_ptr<Page>& page, std::uint64_t n) { return page->number < n; });
  return static_cast<std::size_t>(at - pages_.begin());
}

std::size_t RecordSet::findOutOfPlace(std::uint64_t number) const {
  const std::size_t at = lowerBound(number);
  return at < pages_.size() && pages_[at]->number == number ? at : pages_.size();
}

RecordSet::Page& RecordSet::page(std::uint64_t number) {
  if (last_ < pages_.size() && pages_[last_]->number == number) return *pages_[last_];
  const std::size_t found = find(number);
  last_ = found < pages_.size() ? found : lowerBound(number);
  if (last_ == pages_.size() || pages_[last_]->number != number) {
    auto fresh = std::make_unique<Page>();
    fresh->number = number;
    pages_.insert(pages_.begin() + static_cast<std::ptrdiff_t>(last_), std::move(fresh));
  }
  return *pages_[last_];
}

template <class Change>
void RecordSet::changeRange(RecordNumber first, std::uint64_t count, Change change) {
  while (count > 0) {
    auto& words = page(first / pageSize).words;
    const std::uint64_t inPage = std::min(count, pageSize - first % pageSize);
    for (std::uint64_t done = 0; done < inPage;) {
      const std::uint64_t bit = (first + done) % 64;
      const std::uint64_t inWord = std::min(inPage - done, 64 - bit);
      change(words[wordOf(first + done)], mask(bit, bit + inWord));
      done += inWord;
    }
    first += inPage;
    count -= inPage;
  }
}

void RecordSet::addRange(RecordNumber first, std::uint64_t count) {
  if (count == 1) return add(first);
  changeRange(first, count, [](std::uint64_t& word, std::uint64_t some) { word |= some; });
}

void RecordSet::unite(const RecordSet& other) {
  for (const auto& theirs : other.pages_) {
    Page& ours = page(theirs->number);
    for (std::size_t i = 0; i < ours.words.size(); ++i) ours.words[i] |= theirs->words[i];
  }
}

void RecordSet::intersect(const RecordSet& other) {
  std::vector<std::unique_ptr<Page>> kept;
  for (auto& ours : pages_) {
    const std::size_t at = other.find(ours->number);
    if (at == other.pages_.size()) continue;
    for (std::size_t i = 0; i < ours->words.size(); ++i) ours->words[i] &= other.pages_[at]->words[i];
    kept.push_back(std::move(ours));
  }
  pages_ = std::move(kept);
}

void RecordSet::subtract(const RecordSet& other) {
  for (auto& ours : pages_) {
    const std::size_t at = other.find(ours->number);
    if (at == other.pages_.size()) continue;
    for (std::size_t i = 0; i < ours->words.size(); ++i) ours->words[i] &= ~other.pages_[at]->words[i];
  }
}

std::uint64_t RecordSet::count() const {
  std::uint64_t total = 0;
  for (const auto& page : pages_) {
    for (const std::uint64_t word : page->words) total += bits(word);
  }
  return total;
}

std::uint64_t RecordSet::countRange(RecordNumber first, std::uint64_t count) const {
  if (count == 1) return contains(first) ? 1 : 0;
  std::uint64_t total = 0;
  while (count > 0) {
    const std::uint64_t inPage = std::min(count, pageSize - first % pageSize);
    const std::size_t at = find(first / pageSize);
    const bool present = at < pages_.size();
    for (std::uint64_t done = 0; present && done < inPage;) {
      const std::uint64_t bit = (first + done) % 64;
      const std::uint64_t inWord = std::min(inPage - done, 64 - bit);
      total += bits(pages_[at]->words[wordOf(first + done)] & mask(bit, bit + inWord));
      done += inWord;
    }
    first += inPage;
    count -= inPage;
  }
  return total;
}

void RecordSet::Probe::turnTo(RecordNumber number) {
  static constexpr std::array<std::uint64_t, pageSize / 64> noMembers{};
  const std::size_t at = set_.find(number);
  words_ = at < set_.pages_.size() ? set_.pages_[at]->words.data() : noMembers.data();
  number_ = number;
}

std::optional<RecordNumber> RecordSet::next(RecordNumber from) const {
  std::size_t at = lowerBound(from / pageSize);
  if (at < pages_.size() && pages_[at]->number > from / pageSize) from = pages_[at]->number * pageSize;
  for (; at < pages_.size(); ++at) {
    const Page& page = *pages_[at];
    if (page.number * pageSize > from) from = page.number * pageSize;
    std::size_t word = wordOf(from);
    std::uint64_t left = page.words[word] & (~std::uint64_t{0} << (from % 64));
    while (left == 0 && ++word < page.words.size()) left = page.words[word];
    if (left != 0) return page.number * pageSize + word * 64 + trailingZeros(left);
  }
  return std::nullopt;
}

}  // namespace database_client::embedded
