// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string_view>

#include "selection/Expression.h"
#include "selection/Lexer.h"

namespace database_provider::selection {

/// How deep parentheses and "not" may nest, so that the query stays within the depth of a document.
constexpr int maximalFilterDepth = 20;

/// The most comparisons, lists and "has" of a filter, and the most values of a list. A store compares each of its
/// records with all conditions where no index helps; the values of a list are looked up.
constexpr std::size_t maximalConditions = 1'000;
constexpr std::size_t maximalListValues = 10'000;

/// Reads a filter, whose grammar docs/filters.md gives; an empty text selects everything. Throws `FilterError`.
DATABASE_PROVIDER_EXPORT Expression parseFilter(std::string_view text);

}  // namespace database_provider::selection
