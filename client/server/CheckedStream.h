// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "client/Cancellation.h"
#include "client/server/Handles.h"

namespace database_client::server {

/// Why a stream was given up.
struct Breakage {
  std::string reason{};
  bool timedOut = false;
};

/// What a stream shares with whoever opened it, and which has to outlive the stream.
struct StreamContext {
  Breakage* breakage = nullptr;
  std::shared_ptr<Cancellation> cancellation{};
};

/// Makes a stream for the driver, which hands over nothing but whole answers to the request that went out last, each
/// checked by `checkAnswer`: what the driver gets to see it can read. An answer that is not in order ends the stream,
/// and why is put into the `Breakage` of the `StreamContext` that `context` points to. So does a caller who wants no
/// result any more: that is asked several times a second while the stream waits.
///
/// The connection is made while the driver polls the stream, so that several hosts are tried at once. From then until
/// the end of logging in, all waits together take no longer than `connectTimeoutMS`.
///
/// A `mongoc_stream_initiator_t`; null, with `error` set, when the host cannot be reached at all.
mongoc_stream_t* openCheckedStream(const mongoc_uri_t* uri, const mongoc_host_list_t* host, void* context,
                                   bson_error_t* error);

}  // namespace database_client::server
