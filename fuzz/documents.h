// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "client/bson/validate.h"
#include "database_client/Error.h"

namespace fuzz {

/// The well-formed BSON document that an input begins with, if it does.
inline std::optional<database_client::bson::View> documentAt(const std::uint8_t* data, std::size_t size) {
  if (size < 4) return std::nullopt;
  const auto length = database_client::bson::load<std::int32_t>(data);
  if (length < 5 || static_cast<std::size_t>(length) > size) return std::nullopt;
  try {
    return database_client::bson::validate(data, static_cast<std::size_t>(length));
  } catch (const database_client::Error&) {
    return std::nullopt;
  }
}

}  // namespace fuzz
