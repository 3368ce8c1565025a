// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>

/// A term says which records have something, and of which this was taken back.
///
/// Segments add up: a record has a term when the segments that add it are one more than those that take it back, and
/// merging cancels the pairs. `extra` is the number of items beyond one in each record.
namespace database_client::embedded::index {

struct TermCounts {
  std::uint64_t plus = 0;   ///< records that have it
  std::uint64_t minus = 0;  ///< records that have it no more
  std::int64_t extra = 0;

  std::int64_t items() const { return static_cast<std::int64_t>(plus) - static_cast<std::int64_t>(minus) + extra; }
};

/// A term to be written, with its two postings.
struct Term {
  TermCounts counts{};
  std::string_view plus{};
  std::string_view minus{};
  std::uint64_t only = 0;  ///< stands for `plus`, and nothing else is there, unless it is 0

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
