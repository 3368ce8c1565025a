// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/expression/VariableScope.h"

#include <algorithm>

#include "client/embedded/query/values/errors.h"

namespace database_client::embedded {
namespace {

bool isLower(char character) {
  return (character >= 'a' && character <= 'z') || (static_cast<unsigned char>(character) & 0x80U) != 0;
}

bool isWord(char character) {
  return isLower(character) || (character >= 'A' && character <= 'Z') || (character >= '0' && character <= '9') ||
         character == '_';
}

void checkName(std::string_view name) {
  if (name == "CURRENT") return;
  if (name.empty()) refuseQuery(code::failedToParse, "a variable has an empty name");
  if (!isLower(name.front()) || !std::all_of(name.begin(), name.end(), isWord)) {
    refuseQuery(code::failedToParse,
                "the variable " + quoted(name) + " has to begin with a small letter, and to hold letters, digits and _",
                name);
  }
}

}  // namespace

std::size_t VariableScope::open(std::string_view name) {
  checkName(name);
  names_.push_back({std::string(name), count_});
  return count_++;
}

std::optional<std::size_t> VariableScope::find(std::string_view name) const {
  const auto found =
      std::find_if(names_.rbegin(), names_.rend(), [name](const Named& named) { return named.name == name; });
  if (found == names_.rend()) return std::nullopt;
  return found->variable;
}

}  // namespace database_client::embedded
