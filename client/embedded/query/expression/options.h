// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <initializer_list>
#include <string_view>

#include "client/bson/View.h"

namespace database_client::embedded {

/// An operand that is given by name.
struct Option {
  std::string_view name;
  bson::Value& value;  ///< where to put it; untouched when it is absent
  int absent;          ///< the code of the refusal without it; 0 for one that may be absent
};

/// The codes of an operator's other refusals.
struct OptionCodes {
  int notADocument;
  int unknown;
};

/// Takes the operands of an operator apart. Throws Error{query}.
void readOptions(std::string_view operatorName, const bson::Value& operand, OptionCodes codes,
                 std::initializer_list<Option> options);

}  // namespace database_client::embedded
