#pragma once

#include <memory>
#include <string>

#include "client/server/Owners.h"
#include "client/server/Session.h"

namespace database_client::server {

/// The driver's client with what it tells of its doings. Shared, so that a cursor outlives the replacement of the
/// client it belongs to.
struct Link {
  Owned<mongoc_client_t> client{};
  Owned<mongoc_collection_t> collection{};  ///< the one used last; to be gone before its client
  std::string database{};                   ///< which it is in
  Observation* observation = nullptr;       ///< of the attempt that runs now
  std::string cause{};                      ///< why the last server could not be reached
  std::int64_t socketTimeout = 0;
  bool answered = false;
  bool hasSuccessors = false;  ///< a router, or a member of a replica set
};

/// Makes a client for the address; throws Error{connection} when the driver refuses it.
std::shared_ptr<Link> openLink(const Address& address, const Call& call);

}  // namespace database_client::server
