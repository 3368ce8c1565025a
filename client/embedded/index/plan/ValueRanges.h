// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "client/bson/View.h"
#include "client/embedded/index/segments/termKey.h"
#include "client/embedded/query/match/Query.h"

namespace database_client::embedded::index {

/// The values that meet a condition, as ranges of their class and payload in a term's key. Values in a range that is
/// not sure may meet it.
class ValueRanges {
 public:
  struct Range {
    std::string low;
    std::string high;  ///< the first that is beyond
    bool sure;
  };

  static ValueRanges nothing() { return {}; }
  static ValueRanges everything(bool sure);
  /// All values that are there.
  static ValueRanges existing();
  static ValueRanges ofComparison(Comparison comparison, const bson::Value& operand);
  /// Texts, of which somebody else decides, and what has to be looked up.
  static ValueRanges texts();

  // In time that grows with the number of ranges, and a little.

  /// What meets all of several conditions; everything, without any.
  static ValueRanges intersectionOf(const std::vector<ValueRanges>& conditions);
  /// What meets one of several conditions.
  static ValueRanges unionOf(const std::vector<ValueRanges>& conditions);
  /// What does not meet the condition; what may meet it may also not.
  ValueRanges complement() const;

  const std::vector<Range>& ranges() const { return ranges_; }
  /// Whether an item without a value may meet the condition.
  bool includeMissing() const;
  /// Whether all values may meet it, which makes the ranges useless.
  bool mayBeAnything() const;

 private:
  enum class Part { none, maybe, sure };
  /// How many of several conditions a value meets.
  struct Met {
    std::size_t surely = 0;
    std::size_t maybe = 0;
  };

  void add(std::string low, std::string high, bool sure);
  void addClass(ValueClass kind, bool sure);
  void addNumbers(Comparison comparison, const bson::Value& operand);
  void addTexts(Comparison comparison, std::string_view text);
  void addLongTexts(Comparison comparison, std::string_view text);
  void addFixed(Comparison comparison, const bson::Value& operand);
  void append(std::string_view low, std::string_view high, Part part);
  template <class Decide>
  static ValueRanges combine(const std::vector<ValueRanges>& conditions, Decide decide);

  std::vector<Range> ranges_;  // ascending, disjoint
};

}  // namespace database_client::embedded::index
