// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/bson/View.h"
#include "client/embedded/query/match/Query.h"

namespace database_client::embedded {

/// A query, parsed once and asked about many documents. It keeps no reference to the bytes it was made of.
///
/// Understood are implicit equality, regular expressions, $eq $ne $gt $gte $lt $lte $in $nin $exists $type $regex with
/// $options $not $elemMatch $all $size $mod, $and $or $nor, and $comment, which has no effect. The constructor throws
/// Error{unsupported} naming an operator that a server knows and this store does not, Error{query} with a server's code
/// for everything that a server refuses. `matches` throws Error{query} when a pattern exceeds the limits on
/// backtracking. One thread at a time may use a Matcher.
///
/// The rules are a server's (type bracketing, paths through arrays, null and missing). Two of them shape the code. A
/// path leads to any number of values, and a test passes when one of them does: the walk is `Path::any`, which stops at
/// the first. A negation is that of the whole positive condition, never of the test: {a: {$ne: 1}} refuses [1, 2], and
/// accepts documents without "a".
///
/// A document is read where it lies, path by path. Nothing of it is decoded or indexed first, since most queries look
/// at one or two paths, and most documents fail the first condition.
class Matcher {
 public:
  explicit Matcher(bson::View query) : query_(parseQuery(query)) {}

  bool matches(bson::View document) const;
  /// Whether the query is {} and so every document matches.
  bool matchesEverything() const { return query_.kind == Query::Kind::all && query_.parts.empty(); }
  const Query& query() const { return query_; }

 private:
  Query query_;
};

/// Whether a condition holds for a single value that is no array: what the index asks of a text in it.
bool holds(const Condition& condition, const bson::Value& value);

}  // namespace database_client::embedded
