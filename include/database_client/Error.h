// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>
#include <string>

#include "database_client/export.h"

namespace database_client {

/// Every failure that the client reports. The message is complete and never holds a password.
class DATABASE_CLIENT_EXPORT Error : public std::runtime_error {
 public:
  enum class Kind {
    connection,      ///< not connected, or the connection was lost
    timeout,         ///< no answer within the time allowed
    authentication,  ///< the store does not accept the user
    authorization,   ///< the user has no right to do this
    duplicateKey,    ///< another document has this "_id" (or unique value)
    document,        ///< a document, key or value that cannot be stored
    query,           ///< a filter, pipeline, update or argument that makes no sense
    unsupported,     ///< the engine does not know this operator or operation
    storage,         ///< the embedded store's file cannot be read or written
    server,          ///< any other refusal by the store; see code()
    cancelled,       ///< the caller wanted the result no more; see DataBaseClient::setCancellation
  };

  /// Details beyond kind and message; all optional.
  struct Details {
    std::string where{};
    int code = 0;
    bool retryable = false;
    bool outcomeUnknown = false;
  };

  Error(Kind kind, const std::string& message);
  Error(Kind kind, const std::string& message, Details details);
  ~Error() override;
  Error(const Error&);
  Error& operator=(const Error&);

  Kind kind() const noexcept;
  /// A server's error code, from the embedded engine too; 0 where there is none. codes.h has names for them.
  int code() const noexcept;
  /// True when the same call may succeed later, unchanged.
  bool retryable() const noexcept;
  /// True for a write of which it is not known whether it took place.
  bool outcomeUnknown() const noexcept;
  /// The key's path, the argument, or host:port; empty where there is none.
  const std::string& where() const noexcept;

 private:
  Kind kind_;
  Details details_;
};

/// The name of a kind, as messages and logs write it ("duplicateKey").
DATABASE_CLIENT_EXPORT const char* toString(Error::Kind kind) noexcept;

}  // namespace database_client
