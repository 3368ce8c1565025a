#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace database_provider::recordctl {

/// The whole number that a text of digits, with a minus before them or not, stands for; nothing beyond 64 bits.
std::optional<std::int64_t> parseInteger(std::string_view text);

/// The number that a text such as 30, -2.5, .2 or 1e3 stands for; nothing for any other text, and beyond the range.
std::optional<double> parseReal(std::string_view text);

/// The shortest text that `parseReal` reads back as the same number.
std::string formatReal(double value);

/// A double that is a whole number within 64 bits.
std::optional<std::int64_t> wholeNumber(double value);

}  // namespace database_provider::recordctl
