// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace database_provider::selection {

/// Why a text is no pattern, which a store would tell too, but without the place; nothing when it is one.
std::optional<std::string> whyNoPattern(std::string_view text);

}  // namespace database_provider::selection
