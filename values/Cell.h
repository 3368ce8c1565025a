// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "database_client/types.h"
#include "values/Time.h"

namespace database_provider::values {

using database_client::PropertyType;

/// The type of a name: string, bool, int, long, double or time; those are the kinds that a description has.
std::optional<PropertyType> columnType(const std::string& name);
/// The name of a type, as above.
std::string columnTypeName(PropertyType type);
/// The type that a text looks like: bool, int, long, double and time where it is one, else string.
PropertyType apparentType(const std::string& text);
/// All names, for messages.
std::string columnTypeNames();

/// What a whole number counts where a time is expected.
enum class TimeUnit {
  undecided,  ///< milliseconds since the epoch, unless it could as well be a year or seconds
  seconds,
  milliseconds,
};

/// How a file writes down what its cells mean.
struct CellForms {
  char decimal = '.';                      ///< before the fraction of a number
  char thousands = '\0';                   ///< between groups of three digits; NUL where there are none
  std::vector<std::string> absent{};       ///< texts that mean that there is no value
  std::vector<std::string> timeFormats{};  ///< as `parseTime` takes them; ISO 8601 is always read
  TimeUnit timeUnit = TimeUnit::undecided;

  bool isAbsent(const std::string& text) const;
};

/// What a file holds in one column of one row.
struct Cell {
  /// A group or an array, or a value of a kind that neither a description nor a category has.
  struct Other {
    std::string kind;
  };

  std::variant<std::monostate, bool, std::int64_t, double, values::Time, std::string, Other> value{};
  std::string typed{};  ///< a number as it was typed, where that is known

  /// Nothing at all, or an empty text.
  bool isAbsent() const;
};

/// What a cell becomes; as the alternatives of `setDescription` are.
using Converted = std::variant<std::string, bool, int, std::int64_t, double, values::Time>;

/// A cell that does not fit its column; the message says what was expected and what was found.
class ConversionError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// The value of a cell that is not absent, as a description of this type. Throws `ConversionError`.
Converted convert(const Cell& cell, PropertyType type, TimeUnit unit = TimeUnit::undecided);

/// As above, of a cell of a file. Blanks around anything but a text do not count.
Converted convert(const Cell& cell, PropertyType type, const CellForms& forms);

/// The text of a cell that is not absent, as a category has it: of a number what was typed, of a boolean true or false.
std::string textOf(const Cell& cell);

}  // namespace database_provider::values
