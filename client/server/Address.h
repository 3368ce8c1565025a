// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "client/Engine.h"
#include "client/server/Handles.h"

namespace database_client::server {

/// Where a deployment is and how to reach it, as the driver takes it.
struct Address {
  Owned<mongoc_uri_t> uri{};
  std::string hosts{};                 ///< "host:port", separated by commas, for messages
  std::vector<std::string> secrets{};  ///< what no message may repeat
  bool retryReads = true;              ///< whether a read is repeated by us
  std::int64_t socketTimeout = 0;      ///< in milliseconds, 0 for none

  /// As whom one logs in, for messages; empty without a user.
  std::string login() const;
};

/// Makes an address of the arguments of `connect`. A full `mongodb://` or `mongodb+srv://` address is taken as it is,
/// with the user put in when one is given; what it does not say about time is bounded. Throws Error{query} for
/// arguments that make no sense, Error{authentication} for a user without a password, Error{connection} for a
/// certificate file that cannot be read.
Address makeAddress(const ConnectRequest& request);

struct Credentials {
  const std::string& database;
  const std::string& user;
  const std::string& password;
};

/// The same deployment, as another user.
Address withUser(const Address& address, const Credentials& credentials);

/// The same deployment, as nobody in particular. Throws as `makeAddress` where the address cannot do without a user.
Address withoutUser(const Address& address);

/// Whether the text is a DNS name, an IPv4 address, or an IPv6 address with or without brackets.
bool isHost(const std::string& text);

}  // namespace database_client::server
