// SPDX-License-Identifier: Apache-2.0
#include "values/Nearest.h"

#include <algorithm>
#include <cstddef>
#include <limits>

#include "values/Text.h"

namespace database_provider::values {

namespace {

// Comparing takes time that grows with the square of the length, and nobody mistypes longer names.
constexpr std::size_t longestCompared = 100;
constexpr std::size_t lettersPerSlip = 3;

/// The distance of Damerau and Levenshtein in which no part is edited twice.
std::size_t distance(const std::string& left, const std::string& right) {
  const std::size_t width = right.size() + 1;
  std::vector<std::size_t> rows(3 * width);
  std::size_t* beforeLast = rows.data();
  std::size_t* last = beforeLast + width;
  std::size_t* row = last + width;
  for (std::size_t j = 0; j < width; ++j) row[j] = j;
  for (std::size_t i = 1; i <= left.size(); ++i) {
    std::size_t* const oldest = beforeLast;
    beforeLast = last;
    last = row;
    row = oldest;
    row[0] = i;
    for (std::size_t j = 1; j < width; ++j) {
      const bool areSame = left[i - 1] == right[j - 1];
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, last[j - 1] + (areSame ? 0 : 1)});
      const bool areExchanged = i > 1 && j > 1 && left[i - 1] == right[j - 2] && left[i - 2] == right[j - 1];
      if (areExchanged) row[j] = std::min(row[j], beforeLast[j - 2] + 1);
    }
  }
  return row[width - 1];
}

std::size_t slipsAllowed(const std::string& text) {
  return std::max<std::size_t>(1, text.size() / lettersPerSlip);
}

}  // namespace

std::string nearest(const std::string& text, const std::vector<std::string>& candidates) {
  const std::string typed = lowered(text);
  if (typed.empty() || typed.size() > longestCompared) return "";
  std::string best;
  std::size_t fewest = slipsAllowed(typed) + 1;
  for (const std::string& candidate : candidates) {
    const bool isComparable = candidate.size() <= typed.size() + slipsAllowed(typed);
    const std::size_t slips =
        isComparable ? distance(typed, lowered(candidate)) : std::numeric_limits<std::size_t>::max();
    if (slips >= fewest || slips >= typed.size()) continue;
    fewest = slips;
    best = candidate;
  }
  if (!best.empty()) return best;
  const auto continued = std::find_if(candidates.begin(), candidates.end(), [&](const std::string& candidate) {
    return lowered(candidate).compare(0, typed.size(), typed) == 0;
  });
  return continued == candidates.end() || typed.size() < 2 ? "" : *continued;
}

std::string suggestion(const std::string& text, const std::vector<std::string>& candidates) {
  const std::string name = nearest(text, candidates);
  return name.empty() ? "" : " (did you mean " + inQuotes(name) + "?)";
}

}  // namespace database_provider::values
