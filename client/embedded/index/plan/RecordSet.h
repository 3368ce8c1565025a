// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "client/embedded/index/segments/recordNumber.h"

namespace database_client::embedded {

/// A set of record numbers, as bits in pages that exist only where there are members: at most a bit and a little for
/// every record of the collection, however it was put together.
class RecordSet {
 public:
  void add(RecordNumber rid) { page(rid / pageSize).words[wordOf(rid)] |= bitOf(rid); }
  void addRange(RecordNumber first, std::uint64_t count);
  void unite(const RecordSet& other);
  void intersect(const RecordSet& other);
  void subtract(const RecordSet& other);
  void clear() { pages_.clear(); }

  bool contains(RecordNumber rid) const {
    const std::size_t at = find(rid / pageSize);
    return at < pages_.size() && (pages_[at]->words[wordOf(rid)] & bitOf(rid)) != 0;
  }
  bool empty() const { return !next(0); }
  std::uint64_t count() const;
  /// The members from `first` on, `count` numbers long.
  std::uint64_t countRange(RecordNumber first, std::uint64_t count) const;
  /// The smallest member not below `from`.
  std::optional<RecordNumber> next(RecordNumber from) const;

  /// Asks a set, which must outlive it unchanged, for one number after the other. It finds a page once as long as the
  /// numbers stay in it, and so is for numbers in order, such as those of a posting list.
  class Probe;

 private:
  static constexpr std::uint64_t pageSize = 16384;
  struct Page {
    std::uint64_t number;
    std::array<std::uint64_t, pageSize / 64> words;
  };

  static std::size_t wordOf(RecordNumber rid) { return (rid % pageSize) / 64; }
  static std::uint64_t bitOf(RecordNumber rid) { return std::uint64_t{1} << (rid % 64); }
  Page& page(std::uint64_t number);
  std::size_t lowerBound(std::uint64_t number) const;
  /// Where the page is; the number of pages when there is none.
  std::size_t find(std::uint64_t number) const {
    // Where no page is missing, a page's place follows from its number.
    const std::size_t guess = pages_.empty() ? 0 : number - pages_.front()->number;
    return guess < pages_.size() && pages_[guess]->number == number ? guess : findOutOfPlace(number);
  }
  std::size_t findOutOfPlace(std::uint64_t number) const;
  template <class Change>
  void changeRange(RecordNumber first, std::uint64_t count, Change change);

  std::vector<std::unique_ptr<Page>> pages_;
  std::size_t last_ = 0;
};

class RecordSet::Probe {
 public:
  explicit Probe(const RecordSet& set) : set_(set) {}

  bool contains(RecordNumber rid) {
    if (rid / pageSize != number_) turnTo(rid / pageSize);
    return (words_[wordOf(rid)] >> (rid % 64) & 1) != 0;
  }

 private:
  void turnTo(RecordNumber number);

  const RecordSet& set_;
  RecordNumber number_ = ~RecordNumber{0};
  const std::uint64_t* words_ = nullptr;
};

}  // namespace database_client::embedded
