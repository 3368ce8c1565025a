#pragma once

#include <string>

#include "client/server/Owners.h"

namespace database_client::server {

/// Why a stream was given up.
struct Breakage {
  std::string reason{};
  bool timedOut = false;
};

/// Makes a stream for the driver, which hands over nothing but whole answers to the request that went out last, each
/// checked by `checkAnswer`: what the driver gets to see it can read. An answer that is not in order ends the stream,
/// and why is put into the `Breakage` that `breakage` points to, which has to outlive the stream.
///
/// The connection is made while the driver polls the stream, so that several hosts are tried at once. From then until
/// the end of logging in, all waits together take no longer than `connectTimeoutMS`.
///
/// A `mongoc_stream_initiator_t`; null, with `error` set, when the host cannot be reached at all.
mongoc_stream_t* openCheckedStream(const mongoc_uri_t* uri, const mongoc_host_list_t* host, void* breakage,
                                   bson_error_t* error);

}  // namespace database_client::server
