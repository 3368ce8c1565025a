// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "client/bson/View.h"

namespace database_client::embedded {

class MatchNode;

/// A query, parsed once and asked about many documents. It keeps no reference to the bytes it was made of.
///
/// Understood are implicit equality, regular expressions, $eq $ne $gt $gte $lt $lte $in $nin $exists $type $regex with
/// $options $not $elemMatch $all $size $mod, $and $or $nor, and $comment, which has no effect. The constructor throws
/// Error{unsupported} naming an operator that a server knows and this store does not, Error{query} with a server's code
/// for everything that a server refuses. `matches` throws Error{query} when a pattern exceeds the limits on
/// backtracking. One thread at a time may use a Matcher.
class Matcher {
 public:
  explicit Matcher(bson::View query);
  Matcher(const Matcher&) = delete;
  Matcher& operator=(const Matcher&) = delete;
  Matcher(Matcher&& other) noexcept;
  Matcher& operator=(Matcher&& other) noexcept;
  ~Matcher();

  bool matches(bson::View document) const;
  /// Whether the query is {} and so every document matches.
  bool matchesEverything() const;

 private:
  std::unique_ptr<const MatchNode> root_;
};

}  // namespace database_client::embedded
