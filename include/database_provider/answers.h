// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "database_provider/Record.h"

/// What the questions of `Records` are answered with. Everything owns itself.
namespace database_provider {

/// A value of a category, and how many category entries have it.
struct Facet {
  std::string value;
  long long count = 0;
};

/// A name that records have.
struct NameInUse {
  enum class Kind { category, description };

  std::string name;
  Kind kind = Kind::category;
  PropertyType type =
      PropertyType::string;  ///< of its values; a name with values of several types stands once for each
  long long count = 0;
};

/// Something that was asked for and that no record of the kind can have or meet: a mistyped name, most often.
struct Remark {
  enum class Reason {
    unknownName,  ///< no record has it
    otherItem,    ///< it is a category where a description was asked for, or the other way round
    otherKind,    ///< records of the other kind have it
    userBlock,    ///< it is a key of the user record, which filters do not see
    wrongType,    ///< values of another type than the name ever has, which are never compared
    noId,         ///< a text that is no id as stores make them
  };

  Reason reason = Reason::unknownName;
  std::string name{};        ///< as it was asked for; the text that is no id
  std::size_t position = 0;  ///< the first byte of it, or of the value of the wrong type, in the filter
  std::string nearest{};     ///< the name that was most likely meant; empty where none is near
  std::string text{};        ///< all of it, as a sentence
};

/// The values of the categories that a group of records has in common, in the order in which they were asked for;
/// nothing where the records of the group have no such category.
using GroupKey = std::vector<std::optional<std::string>>;

/// The figures of one description in one group of records. What is no number, NaN among it, counts as missing.
struct Figures {
  GroupKey by{};
  std::string name{};
  long long count = 0;    ///< records of the group that have a number under the name
  long long missing = 0;  ///< records of the group that have none
  // Absent where no record has a number.
  std::optional<Value> min{};
  std::optional<double> mean{};
  std::optional<double> std{};  ///< of the sample, so absent below two numbers
  std::optional<Value> max{};
  std::optional<double> median{};  ///< only where it was asked for
};

/// How often the values of a description fall into each of several bins of one width.
struct Histogram {
  bool isOfTimes = false;  ///< then `low` and `width` are milliseconds
  double low = 0;          ///< where the first bin begins
  double width = 0;        ///< of each; the last holds its upper end, too
  std::vector<long long> counts{};
  long long missing = 0;  ///< selected records that have no such value
};

/// A cell of a cross table: how many records have these two values.
struct CoverageCell {
  std::array<std::string, 2> values;
  long long count = 0;
};

/// A scenario, and how many experiments name it.
struct ScenarioCoverage {
  std::string scenario;              ///< its id
  std::optional<std::string> value;  ///< of its category of the name that was asked for
  long long experiments = 0;
};

/// A category or description of several records, side by side.
struct ComparisonRow {
  std::string name;
  NameInUse::Kind kind = NameInUse::Kind::category;
  std::vector<std::optional<Value>> values{};       ///< one for each record; a category's is a text
  std::vector<std::optional<double>> difference{};  ///< to the first, where both are numbers or both times (in ms)
  bool differs = false;                             ///< whether any value differs from the first
};

/// The records of a kind as a whole.
struct KindSummary {
  RecordKind kind = RecordKind::experiment;
  long long records = 0;
  std::optional<Time> oldest{};  ///< as ids say; absent without records, or where no id says a time
  std::optional<Time> newest{};
};

}  // namespace database_provider
