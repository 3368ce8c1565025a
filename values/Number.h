// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace database_provider::values {

/// The whole number that a text of digits, with a minus before them or not, stands for; nothing beyond 64 bits.
std::optional<std::int64_t> parseInteger(std::string_view text);

/// The number that a text such as 30, -2.5, .2 or 1e3 stands for; nothing for any other text, and beyond the range.
std::optional<double> parseReal(std::string_view text);

/// What is no number, and the numbers without end: nan, inf and infinity, with a sign or not, in either case.
std::optional<double> parseNonFinite(std::string_view text);

/// The text of a number as `parseInteger` and `parseReal` read it, where another sign stands before its fraction, or
/// one between groups of three digits (NUL for none); nothing for a text that is not written so.
std::optional<std::string> plainNumber(std::string_view text, char decimal, char thousands);

/// The shortest text that the two above read back as the same value; with an exponent only below 1e-6 and from 1e21 on.
std::string formatReal(double value);

/// A double that is a whole number within 64 bits.
std::optional<std::int64_t> wholeNumber(double value);

}  // namespace database_provider::values
