// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "client/server/CheckedStream.h"
#include "client/server/Handles.h"
#include "client/server/OperationRunner.h"

namespace database_client::server {

/// The driver's client with what it tells of its doings. Shared, so that a cursor outlives the replacement of the
/// client it belongs to.
struct DriverConnection {
  Breakage breakage{};  ///< of the stream that was given up last
  Breakage cause{};     ///< why the last server could not be reached
  StreamContext streams{};
  CommandEvents* events = nullptr;  ///< of the attempt that runs now
  std::int64_t socketTimeout = 0;
  bool answered = false;
  bool hasSuccessors = false;               ///< a router, or a member of a replica set
  std::string database{};                   ///< of `collection`
  Owned<mongoc_client_t> client{};          ///< to be gone before what its streams and callbacks write to
  Owned<mongoc_collection_t> collection{};  ///< the one used last; to be gone before its client
};

/// Makes a client for the address, whose streams ask `cancellation` whether to wait on; throws Error{connection} when
/// the driver refuses it.
std::shared_ptr<DriverConnection> openConnection(const Address& address, const Operation& operation,
                                                 std::shared_ptr<Cancellation> cancellation);

}  // namespace database_client::server
