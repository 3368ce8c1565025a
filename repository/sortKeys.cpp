// SPDX-License-Identifier: Apache-2.0
#include <utility>

#include "database_provider/records.h"
#include "values/Text.h"

namespace database_provider {

namespace {

struct Part {
  std::string text;
  std::size_t position;
};

std::vector<Part> split(const std::string& text, char separator, std::size_t start) {
  std::vector<Part> result;
  for (std::string& piece : values::splitEscaped(text, separator)) {
    result.push_back({piece, start});
    start += piece.size() + 1;
  }
  return result;
}

SortKey keyOf(const Part& whole, const std::string& text) {
  using Field = SortKey::Field;
  std::vector<Part> parts = split(whole.text, ':', whole.position);
  SortKey result;
  if (parts.size() > 1 && (parts.back().text == "asc" || parts.back().text == "desc")) {
    result.isDescending = parts.back().text == "desc";
    parts.pop_back();
  }
  if (parts.size() == 2 && (parts.front().text == "category" || parts.front().text == "description")) {
    result.field = parts.front().text == "category" ? Field::category : Field::description;
    parts.erase(parts.begin());
  } else if (parts.front().text == "id" || parts.front().text == "created") {
    result.field = parts.front().text == "id" ? Field::id : Field::created;
  }
  if (parts.size() > 1)
    throw SelectionError("expected a name, NAME:asc or NAME:desc; a colon in a name has a backslash before it", text,
                         parts.back().position);
  if (parts.front().text.empty()) throw SelectionError("expected a name to sort by", text, parts.front().position);
  const bool isNamed = result.field != Field::id && result.field != Field::created;
  if (isNamed) result.name = values::unescaped(parts.front().text);
  return result;
}

}  // namespace

std::vector<SortKey> sortBy(const std::string& text) {
  std::vector<SortKey> result;
  for (const Part& part : split(text, ',', 0)) result.push_back(keyOf(part, text));
  return result;
}

}  // namespace database_provider
