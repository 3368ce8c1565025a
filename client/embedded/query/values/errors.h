// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include "client/bson/View.h"
#include "database_client/Error.h"
#include "database_client/codes.h"  // IWYU pragma: export

namespace database_client::embedded {

/// Throws Error{query} with a server's code; `where` is the key or path concerned.
[[noreturn]] void refuseQuery(int code, const std::string& message, std::string_view where = {});
/// Throws Error{unsupported}: this store does not have `operatorName`, whatever a server does with it.
[[noreturn]] void refuseUnsupported(std::string_view operatorName, const char* kind);
/// Throws Error{document}.
[[noreturn]] void refuseDocument(int code, const std::string& message, std::string_view where = {});

/// `error` as one of what stands under `key`: its path begins with the key, and its message with its path.
Error under(std::string_view key, const Error& error);
/// What `parse` returns; an error of it is told as one under `key`.
template <class Parse>
auto parseUnder(std::string_view key, Parse parse) {
  try {
    return parse();
  } catch (const Error& error) {
    throw under(key, error);
  }
}

/// The kind of a value in the words of error messages.
const char* kindOf(const bson::Value& value);
/// A key in quotes, a long one cut.
std::string quoted(std::string_view key);

/// Throws Error{document} for a document that no store would take: above 16 MiB or 100 levels.
void checkLimits(bson::View document);

}  // namespace database_client::embedded
