// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <mongoc/mongoc.h>

#include <optional>
#include <string>
#include <string_view>

namespace database_client::server {

/// What is wrong with an answer.
struct Flaw {
  enum class Nature {
    damaged,   ///< it cannot be read, or may be the answer to another request
    nonsense,  ///< it can be read, and says what no server says
  };
  Nature nature = Nature::damaged;
  std::string reason{};
};

/// Looks through the answer to a command before anything of it is believed: the driver takes an answer without "ok" for
/// a success, and a batch for finished at the first value that is no document. Takes one pass.
std::optional<Flaw> flawOf(std::string_view command, const bson_t* answer);

}  // namespace database_client::server
