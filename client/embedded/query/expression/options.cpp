// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/expression/options.h"

#include <algorithm>
#include <string>

#include "client/embedded/query/values/compare.h"
#include "client/embedded/query/values/errors.h"

namespace database_client::embedded {

void readOptions(std::string_view operatorName, const bson::Value& operand, OptionCodes codes,
                 std::initializer_list<Option> options) {
  const std::string name(operatorName);
  if (!operand.isDocument()) {
    refuseQuery(codes.notADocument, name + " takes a document, not " + kindOf(operand), name);
  }
  for (const bson::Element& element : operand.asDocument()) {
    const auto* const option = std::find_if(
        options.begin(), options.end(), [&element](const Option& candidate) { return candidate.name == element.key; });
    if (option == options.end()) {
      refuseQuery(codes.unknown, name + " does not know " + quoted(element.key), element.key);
    }
    option->value = element.value;
  }
  for (const Option& option : options) {
    if (option.absent == 0 || !isMissing(option.value)) continue;
    refuseQuery(option.absent, name + " needs " + std::string(option.name), option.name);
  }
}

}  // namespace database_client::embedded
