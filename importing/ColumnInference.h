// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <deque>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "database_provider/import.h"
#include "importing/Row.h"
#include "importing/StoreColumns.h"
#include "values/Cell.h"

/// What columns hold, found out by looking at every value of them.
///
/// Each value has a look: a whole number of 32 bits, a number with a point, a date, a text. For each column the values
/// of each look are counted, with the first of them kept to be shown. Afterwards, when all are known, a column gets the
/// narrowest type that takes all its values. A sample would be faster and wrong: the value that does not fit stands in
/// row 90,000.
///
/// - What a text looks like depends on the file: 1,234 is a number of either sort. So undecided looks are looks of
/// their
///   own, and the file as a whole decides: one 3,5 in a column of numbers tells that commas stand before fractions.
/// - What would lose something is no number: leading zeros, and digits beyond 64 bits.
/// - A few values among many that do not fit are slips rather than another type: those rows are bad ones.
/// - The texts of a column are kept only as long as they are few; memory grows with columns, not with rows.
namespace database_provider::importing {

class DATABASE_PROVIDER_EXPORT ColumnInference {
 public:
  /// What `given` names is left alone. `areTextsTyped`: texts of JSON are looked at as cells of CSV are.
  explicit ColumnInference(ImportPlan given, bool areTextsTyped = false);

  /// Leaves keys in the user block.
  void leave(const std::vector<std::string>& keys) { named_.insert(keys.begin(), keys.end()); }
  /// Adds what a format brings along to the plan, but for columns that are named already, and those that no row has.
  void bring(const ImportPlan& plan);
  void add(const Row& row);
  /// Under the names that the store has already, its kinds and types are taken where they take all values.
  InferredPlan result(const StoreColumns& inStore = {}) const;

 private:
  enum class Look : std::size_t {
    boolean,
    int32,
    int64,
    real,            ///< 3.5, 1e3
    pointOrGroup,    ///< 1.234
    commaOrGroup,    ///< 1,234
    pointAndGroups,  ///< 1,234.5 or 1,234,567
    comma,           ///< 3,5
    commaAndGroups,  ///< 1.234,5 or 1.234.567
    nonFinite,
    time,
    otherTime,  ///< of one of the other formats, each of which has its own count
    absent,     ///< NA and the like
    zeros,      ///< 007
    digits,     ///< beyond 64 bits
    text,
    nested,
    count,
  };
  static constexpr std::size_t lookCount = static_cast<std::size_t>(Look::count);
  static constexpr std::size_t formatCount = 17;

  struct Sample {
    std::string text{};
    std::size_t line = 0;
  };
  struct Column {
    std::string name{};
    long long present = 0;
    std::array<long long, lookCount> looks{};
    std::array<Sample, lookCount> samples{};
    std::array<long long, formatCount> formats{};  ///< values that each time format takes
    bool areFormatsLookedAt = true;
    std::unordered_set<std::string> texts{};  ///< the different values, as long as they are few and short
    bool hasManyTexts = false;
    bool hasLongTexts = false;
    std::set<std::string> absent{};  ///< the words of that look

    long long operator[](Look look) const { return looks[static_cast<std::size_t>(look)]; }
  };
  /// What holds for all columns.
  struct Forms {
    char decimal = '.';
    bool hasPointGroups = false;  ///< 1,234 is 1234
    bool hasCommaGroups = false;  ///< 1.234 is 1234
    std::string timeFormat{};     ///< that decided which of two numbers of a date is the day
  };

  static const std::array<const char*, formatCount>& timeFormats();
  Column* columnOf(std::string_view name);
  void addCell(std::size_t place, const std::string& cell, std::size_t line);
  void addDocument(ElementReader level, const std::string& prefix, std::size_t line, std::size_t depth);
  void addValue(Column& column, const ElementReader& value, std::size_t line);
  void addText(Column& column, std::string_view text, bool isTyped, std::size_t line) const;
  static void note(Column& column, Look look, std::string_view text, std::size_t line);
  static void noteText(Column& column, std::string_view text);
  Look lookOf(Column& column, std::string_view text, bool isTyped) const;
  Look lookOfTime(Column& column, std::string_view text) const;

  static bool fits(const Column& column, long long values);
  static long long numbersOf(const Column& column, const Forms& forms);
  Forms formsOfAll() const;
  InferredColumn decide(const Column& column, const Forms& forms, ImportPlan& plan) const;
  bool decideNumber(const Column& column, const Forms& forms, ImportPlan& plan, InferredColumn& result) const;
  static long long countOf(const Column& column, std::size_t order);
  static std::optional<std::size_t> orderOf(const Column& column, const Forms& forms, std::string& reason);
  static bool decideTime(const Column& column, const Forms& forms, ImportPlan& plan, InferredColumn& result);
  static void decideText(const Column& column, const Forms& forms, InferredColumn& result);
  static void asInStore(const Column& column, const StoreColumns& inStore, InferredColumn& result);
  static std::string surprise(const Column& column, const std::set<Look>& expected);
  static std::string sampleOf(const Column& column, Look look);

  ImportPlan given_;
  bool areTextsTyped_;
  std::set<std::string, std::less<>> named_{};    ///< the columns that are not looked at
  std::set<std::string, std::less<>> brought_{};  ///< of those the ones that no row has had yet
  std::deque<Column> columns_{};                  ///< which are pointed to
  std::unordered_map<std::string, std::size_t> places_{};
  std::vector<std::string> header_{};
  std::vector<Column*> byCell_{};  ///< of a CSV header, null for what is not looked at
  long long rows_ = 0;
};

}  // namespace database_provider::importing
