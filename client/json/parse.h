// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

#include "client/bson/View.h"

/// The texts that stand for values in extended JSON. Each function takes the whole text or nothing.
namespace database_client::json {

/// Decimal digits, with a minus before them at most; nothing when out of range.
std::optional<std::int32_t> parseInt32(std::string_view text);
std::optional<std::int64_t> parseInt64(std::string_view text);
std::optional<std::uint32_t> parseUint32(std::string_view text);

/// Also "Infinity", "-Infinity" and "NaN"; nothing for what a double cannot hold.
std::optional<double> parseDouble(std::string_view text);

/// Sixteen bytes; nothing when digits would be lost.
std::optional<std::array<bson::Byte, 16>> parseDecimal(std::string_view text);

/// With hyphens behind the digits 8, 12, 16 and 20.
std::optional<std::array<bson::Byte, 16>> parseUuid(std::string_view text);

}  // namespace database_client::json
