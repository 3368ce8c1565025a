// SPDX-License-Identifier: Apache-2.0
#include "database_client/Error.h"

#include <utility>

#include "client/bson/utf8.h"

namespace database_client {

namespace {

/// A message may name what somebody else made up, of any length. What tells about it stands before.
constexpr std::size_t longestMessage = 4000;

}  // namespace

Error::Error(Kind kind, const std::string& message) : Error(kind, message, Details{}) {}

Error::Error(Kind kind, const std::string& message, Details details)
    : std::runtime_error(bson::excerpt(message, longestMessage)), kind_(kind), details_(std::move(details)) {}

Error::~Error() = default;
Error::Error(const Error&) = default;
Error& Error::operator=(const Error&) = default;

Error::Kind Error::kind() const noexcept {
  return kind_;
}
int Error::code() const noexcept {
  return details_.code;
}
bool Error::retryable() const noexcept {
  return details_.retryable;
}
bool Error::outcomeUnknown() const noexcept {
  return details_.outcomeUnknown;
}
const std::string& Error::where() const noexcept {
  return details_.where;
}

const char* toString(Error::Kind kind) noexcept {
  switch (kind) {
    case Error::Kind::connection:
      return "connection";
    case Error::Kind::timeout:
      return "timeout";
    case Error::Kind::authentication:
      return "authentication";
    case Error::Kind::authorization:
      return "authorization";
    case Error::Kind::duplicateKey:
      return "duplicateKey";
    case Error::Kind::document:
      return "document";
    case Error::Kind::query:
      return "query";
    case Error::Kind::unsupported:
      return "unsupported";
    case Error::Kind::storage:
      return "storage";
    case Error::Kind::server:
      return "server";
    case Error::Kind::cancelled:
      return "cancelled";
  }
  return "unknown";
}

}  // namespace database_client
