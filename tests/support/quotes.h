// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <string>

// Documents in tests: JSON with single quotes for double ones, which need no escape in a literal, and no blanks between
// its parts. No text in them holds a quote of either kind.

namespace database_test {

inline std::string doubleQuoted(std::string text) {
  std::replace(text.begin(), text.end(), '\'', '"');
  return text;
}

inline std::string singleQuoted(const std::string& json) {
  std::string shown;
  bool isQuoted = false;
  for (const char c : json) {
    if (c == '"') isQuoted = !isQuoted;
    if (c != ' ' || isQuoted) shown += c == '"' ? '\'' : c;
  }
  return shown;
}

}  // namespace database_test
