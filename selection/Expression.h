// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "database_client/types.h"
#include "values/Time.h"

namespace database_provider::selection {

/// What a name in a filter stands for.
enum class Field {
  any,  ///< the category or the description of the name
  category,
  description,
  id,  ///< the record's id; the name is empty
};

struct Name {
  Field field = Field::any;
  std::string text{};
  std::size_t position = 0;  ///< of its first byte in the filter
};

/// A value as it was typed: its text, and what the text stands for where it was not quoted.
struct Value {
  std::string text{};
  std::variant<std::string, bool, std::int64_t, double, values::Time> typed{};
  std::size_t position = 0;  ///< of its first byte in the filter
};

/// What the time names that `created` is compared with: a second, or a day where it is a date alone. In seconds since
/// the epoch; `end` is the first one behind it.
struct Moment {
  long long first = 0;
  long long end = 0;
};

/// A filter in text, taken apart.
struct Expression {
  enum class Kind {
    comparison,  ///< `name`, `operation` and its `options`, one value
    oneOf,       ///< `name` has one of the values
    has,         ///< there is such a name
    created,     ///< the time in the record's id has the relation `operation` to `moment`
    all,         ///< every operand holds; without operands, always
    any,         ///< one of the operands holds
    negation,    ///< the one operand does not hold
  };

  Kind kind = Kind::all;
  Name name{};
  database_client::OperationType operation = database_client::OperationType::equal;
  std::string options{};
  std::vector<Value> values{};
  Moment moment{};
  std::vector<Expression> operands{};
  // Where it stands in the filter, parentheses around it included; of an empty filter and of a chain without
  // parentheses nothing is said.
  std::size_t begin = 0;
  std::size_t end = 0;
};

}  // namespace database_provider::selection
