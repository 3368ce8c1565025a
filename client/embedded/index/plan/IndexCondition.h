// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "client/bson/View.h"
#include "client/embedded/index/plan/RecordSet.h"
#include "client/embedded/index/plan/TermScan.h"
#include "client/embedded/query/match/Query.h"

/// What the index makes of a query: a tree of conditions, each of which it can answer at least in part.
namespace database_client::embedded::index {

/// Records that meet a condition, and those that may; no record is in both.
struct RecordMatches {
  RecordSet sure;
  RecordSet maybe;

  void intersect(const RecordMatches& other);
  void makeUnsure();
  std::uint64_t count() const { return sure.count() + maybe.count(); }
};

class IndexCondition {
 public:
  IndexCondition() = default;
  IndexCondition(const IndexCondition&) = delete;
  IndexCondition& operator=(const IndexCondition&) = delete;
  virtual ~IndexCondition() = default;

  /// An upper bound, more or less, on the records in the answer.
  virtual std::uint64_t estimate() const = 0;
  virtual RecordMatches matches() const = 0;
  /// Adds the paths whose items are looked at.
  virtual void describe(std::vector<std::string>& paths) const = 0;
};
using IndexConditionPtr = std::unique_ptr<IndexCondition>;

/// A condition on the items under one path.
class ItemCondition : public IndexCondition {
 public:
  ItemCondition(const TermScan& scan, std::string path) : scan_(scan), path_(std::move(path)) {}

  /// Adds the terms from `low` to below `high`; their records may meet the condition, or surely do.
  void addTerms(std::string low, std::string high, bool sure);
  /// The same of values of one name under the path.
  void addNamedTerms(PathId path, std::string_view name, std::string low, std::string high, bool sure);
  /// Of texts only those count that meet `filter`, which outlives this.
  void setTextFilter(const Condition& filter) { textFilter_ = &filter; }

  std::uint64_t estimate() const override;
  RecordMatches matches() const override;
  void describe(std::vector<std::string>& paths) const override { paths.push_back(path_); }

 private:
  struct Item {
    PathId path;
    std::string name;
  };
  struct Terms {
    KeyRange range;
    bool sure;
    std::uint64_t estimate;
    std::optional<Item> item{};
  };
  std::optional<RecordSet> recordsWithoutOtherValues(const Terms& terms) const;
  void collectTexts(const KeyRange& range, RecordMatches& matches) const;

  const TermScan& scan_;
  std::string path_;
  std::vector<Terms> terms_;
  const Condition* textFilter_ = nullptr;
};

/// All of several conditions, and perhaps others that the index knows nothing of.
class Conjunction : public IndexCondition {
 public:
  void add(IndexConditionPtr part) { parts_.push_back(std::move(part)); }
  void setIncomplete() { complete_ = false; }
  bool empty() const { return parts_.empty(); }

  std::uint64_t estimate() const override;
  RecordMatches matches() const override;
  void describe(std::vector<std::string>& paths) const override;

 private:
  std::vector<IndexConditionPtr> parts_;
  bool complete_ = true;
};

class Disjunction : public IndexCondition {
 public:
  void add(IndexConditionPtr part) { parts_.push_back(std::move(part)); }

  std::uint64_t estimate() const override;
  RecordMatches matches() const override;
  void describe(std::vector<std::string>& paths) const override;

 private:
  std::vector<IndexConditionPtr> parts_;
};

/// Asks a condition about texts that are in the index, where they stand without the form of a value.
class TextProbe {
 public:
  bool accepts(const Condition& condition, std::string_view text);

 private:
  std::vector<bson::Byte> bytes_;
};

}  // namespace database_client::embedded::index
