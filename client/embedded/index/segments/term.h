// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>

/// A term of the inverted index: which records have something (its posting list), and which have it no more (its
/// tombstones).
///
/// Segments add up: a record has a term when the segments that add it are one more than those that delete it, and
/// merging cancels the pairs. `extra` is the number of items beyond one in each record.
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
  std::uint64_t only = 0;  ///< stands for `added`, and nothing else is there, unless it is 0

  static Term single(std::uint64_t record) { return {{1, 0, 0}, {}, {}, record}; }
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
