// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace database_provider::values {

/// The candidate that a mistyped text most likely stands for: the one with the fewest slips (a letter more, less,
/// another, or two exchanged; letters in either case are alike), one slip for every three letters at most, or else the
/// one that begins with the text. Empty where none is near.
std::string nearest(const std::string& text, const std::vector<std::string>& candidates);

/// What a message says of the nearest candidate, such as ` (did you mean "site"?)`; empty where none is near.
std::string suggestion(const std::string& text, const std::vector<std::string>& candidates);

}  // namespace database_provider::values
