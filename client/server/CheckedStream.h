// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "client/Cancellation.h"
#include "client/server/Handles.h"

/// The stream through which the driver reads: it hands over nothing but sound answers.
///
/// The driver believes what it reads. A length that is too small, a code of 0, or a cursor of no collection ends the
/// process, and an answer to another request is taken for this one's. What checks its results comes too late for that,
/// so that the check stands where the bytes come in.
///
/// Of a request that goes out, its number and its purpose are noted. The answer is gathered in a room of the stream's
/// own, checked as a whole (Message.h: its frame and its bytes; AnswerForm.h: the fields that the driver reads without
/// looking), and then handed over in the pieces that the driver asks for: the length, then the rest. The rest of a long
/// answer is read into the driver's room at once, and checked there before the driver is told that it has it, which
/// looks at nothing when it is told of an error. A second copy of each batch took a quarter of the time of reading all
/// of a collection.
///
/// - What was compressed is checked uncompressed, and reaches the driver so.
/// - The first failure is the last: the stream never works again, and the reason stays in the `Breakage`.
/// - Nothing is thrown through the driver, which is C.
/// - From the first packet to the end of logging in, all waits together are bounded. The driver's limits hold for one
///   wait each, so that a server whose bytes drip kept it for as long as it liked.
/// - While it waits, it asks several times a second whether the caller still wants the result, and closes the
/// connection
///   if not: that is the only word that ends a read on the server. A signal ends a wait and is no failure.
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

/// Makes such a stream for the driver. `context` points to a `StreamContext`. The connection is made while the driver
/// polls the stream, so that several hosts are tried at once. From then until the end of logging in, all waits together
/// take no longer than `connectTimeoutMS`.
///
/// A `mongoc_stream_initiator_t`; null, with `error` set, when the host cannot be reached at all.
mongoc_stream_t* openCheckedStream(const mongoc_uri_t* uri, const mongoc_host_list_t* host, void* context,
                                   bson_error_t* error);

}  // namespace database_client::server
