#pragma once

#include <string_view>

#include "tools/filter/Expression.h"
#include "tools/filter/Lexer.h"

namespace database_provider::recordctl {

/// How deep parentheses and "not" may nest, so that the query stays within the depth of a document.
constexpr int maximalFilterDepth = 20;

/// Reads a filter, whose grammar docs/filters.md gives; an empty text selects everything. Throws `FilterError`.
Expression parseFilter(std::string_view text);

}  // namespace database_provider::recordctl
