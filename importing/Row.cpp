// SPDX-License-Identifier: Apache-2.0
#include "importing/Row.h"

#include <numeric>

namespace database_provider::importing {

ObjectProperties Row::document() const {
  if (refusal) std::rethrow_exception(refusal);
  if (cells.empty()) return parsed;
  ObjectProperties result;
  for (std::size_t i = 0; i < cells.size(); ++i) result.setValueString(keys[i], cells[i]);
  return result;
}

std::vector<std::string_view> Row::typedNumbers() const {
  const std::string_view text(json);
  std::vector<std::string_view> result;
  result.reserve(keys.size());
  std::size_t depth = 0;
  // The text is an object, so that the colons of its own level stand before its values, in the order of its keys.
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '"') {
      while (text[++i] != '"') i += text[i] == '\\' ? 1 : 0;
    } else if (text[i] == '{' || text[i] == '[') {
      ++depth;
    } else if (text[i] == '}' || text[i] == ']') {
      --depth;
    } else if (text[i] == ':' && depth == 1) {
      const std::size_t begin = text.find_first_not_of(" \t\r\n", i + 1);
      const bool isNumber = text[begin] == '-' || (text[begin] >= '0' && text[begin] <= '9');
      result.push_back(isNumber ? text.substr(begin, text.find_first_of(",} \t\r\n", begin) - begin)
                                : std::string_view());
    }
  }
  return result;
}

std::size_t Row::size() const {
  return std::accumulate(cells.begin(), cells.end(), json.size(),
                         [](std::size_t sum, const std::string& cell) { return sum + cell.size(); });
}

}  // namespace database_provider::importing
