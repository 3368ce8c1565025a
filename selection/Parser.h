// SPDX-License-Identifier: Apache-2.0
#pragma once

// Filters in text, as people type them on a command line, in a page or in a program: `site=Waseca and yield>30`.
//
// A text goes through three steps. The lexer cuts it into words, quoted texts and symbols; the parser, by recursive
// descent, one function for each rule of the grammar in docs/filters.md, makes an `Expression` of them, a tree whose
// leaves are conditions on names; `queryOf` turns that into the query document that a store is sent. `where` does all
// of it. The tree stands between so that others can look at what was asked before a store does: recordctl tells which
// names of a filter no record has.
//
// - Text is data. A name or a value never becomes an operator or a path of the query: names stand in "$elemMatch" as
//   values, and a pattern is compiled here first.
// - Every refusal has the byte at which it is the text's fault; a store could only refuse the query as a whole.
// - What a text can cost is bounded before it is read on: levels, conditions, values of a list.
// - No store is asked. A bare name therefore stands for a category and a description alike, and the query has both.
//
// A generated parser was not worth a tool in the build for fifteen rules, and its messages could not say what was
// expected in a person's words.

#include <cstddef>
#include <string_view>

#include "database_provider/export.h"
#include "selection/Expression.h"
#include "selection/Lexer.h"
#include "values/Time.h"

namespace database_provider::selection {

/// How deep parentheses and "not" may nest, so that the query stays within the depth of a document.
constexpr int maximalFilterDepth = 20;

/// The most comparisons, lists and "has" of a filter, and the most values of a list. A store compares each of its
/// records with all conditions where no index helps; the values of a list are looked up.
constexpr std::size_t maximalConditions = 1'000;
constexpr std::size_t maximalListValues = 10'000;

/// Reads a filter, whose grammar docs/filters.md gives; an empty text selects everything. `now` is what "now" stands
/// for in it. Throws `SelectionError`.
DATABASE_PROVIDER_EXPORT Expression parseFilter(std::string_view text, values::Time now = values::currentTime());

}  // namespace database_provider::selection
