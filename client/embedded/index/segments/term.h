// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>

#include "client/embedded/index/segments/recordNumber.h"

/// A term of the inverted index: which records have something (its posting list), and which have it no more (its
/// tombstones).
///
/// Segments add up: a record has a term when the segments that add it are one more than those that delete it, and
/// merging cancels the pairs. `extra` is the number of items beyond one in each record.
///
/// The number of items stands beside the postings, and not in them: a statistic then counts items by the heads of
/// entries alone, and two postings that name the same records are the same bytes, whatever the records hold of them.
/// The price is that nobody can tell which of the records have the further items.
namespace database_client::embedded::index {

struct TermCounts {
  std::uint64_t added = 0;    ///< records that have it
  std::uint64_t deleted = 0;  ///< records that have it no more
  std::int64_t extra = 0;

  std::int64_t items() const { return static_cast<std::int64_t>(added) - static_cast<std::int64_t>(deleted) + extra; }
};

/// A term to be written, with its two postings.
struct Term {
  TermCounts counts{};
  std::string_view added{};
  std::string_view deleted{};
  RecordNumber only = 0;  ///< stands for `added`, and nothing else is there, unless it is 0

  static Term single(RecordNumber record) { return {{1, 0, 0}, {}, {}, record}; }
};

/// Takes terms in ascending order of their keys.
class TermSink {
 public:
  TermSink() = default;
  TermSink(const TermSink&) = delete;
  TermSink& operator=(const TermSink&) = delete;
  virtual ~TermSink() = default;
  virtual void add(std::string_view key, const Term& term) = 0;
};

}  // namespace database_client::embedded::index
