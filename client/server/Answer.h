// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "client/bson/View.h"

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
///
/// The bytes are known to be well-formed, and the fields that the driver reads without looking to be of their types:
/// AnswerForm.h refuses anything else before the driver sees it, and nothing of that is looked at twice.
std::optional<Flaw> flawOf(std::string_view command, bson::View answer);

}  // namespace database_client::server
