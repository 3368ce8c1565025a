// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <mongoc/mongoc.h>

#include <string>
#include <vector>

#include "database_client/Error.h"

/// The one place where the driver's errors become ours.
///
/// An error of the driver is a domain, a number and a text. It says too little: the same refusal by a server that steps
/// down leaves a write undone or unknown, depending on whether an answer was lost before it. So an attempt brings along
/// what it saw (ErrorContext), and only both together give the kind, whether to try again, and whether a write may have
/// taken place.
///
/// - How the connection stands comes first: where no server answered, no code is a server's. That the driver's numbers
///   and the server's can be told apart at all takes version 2 of its error interface (an 11 is a refused user in one,
///   an unknown user in the other).
/// - What a server's code means stands in one table. What it says about the documents of an insert, or about users,
///   goes beyond the code and stands behind it.
/// - In doubt the outcome of a write is unknown. That is wrong only in being careful, and a caller who takes a write
///   for undone does it twice.
/// - The cause counts, not the driver's word for it: that calls whatever goes wrong while it logs in a refused user,
/// and
///   each failure within five seconds of another "No servers yet eligible for rescan". So the reason why a stream
///   was given up, and why the last server could not be reached, go before its text.
/// - No text repeats a secret or steers a terminal, be it a server's. Texts of the driver are cut, and with them the
///   end of a secret, which is why the start of a long one is enough to be replaced.
namespace database_client::server {

/// What is known of an exchange with a server beside the driver's error.
struct ErrorContext {
  std::string action{};                ///< "insert into db.collection"
  std::string where{};                 ///< host:port
  std::string login{};                 ///< as whom the connection is made
  std::string cause{};                 ///< why no server could be reached
  bool causeTimedOut = false;          ///< whether that was for lack of time
  std::string breakage{};              ///< why the stream was given up, if it was
  std::vector<std::string> secrets{};  ///< what no message may repeat
  bool write = false;
  bool manyDocuments = false;  ///< a write that takes place document by document
  bool appends = false;        ///< to lists, of which a server finds out only at the document whether they are some
  bool insertion = false;
  bool ofUsers = false;     ///< one of the commands for users and roles
  bool unanswered = false;  ///< a command went out and no answer came back
  bool timedOut = false;    ///< because the time for it had passed
  bool maybeDone = false;   ///< an attempt before this one may have done it
};

/// How the connection stands after an error.
enum class ConnectionState {
  intact,       ///< the server answered
  unreachable,  ///< no server was found, nothing was sent
  lost,         ///< the connection can no longer be used
};

Error toError(const ErrorContext& context, const bson_error_t& error, const bson_t* reply);

/// The error for an exchange that ended otherwise than by one of the driver's.
Error toError(const ErrorContext& context, Error::Kind kind, const std::string& reason);

ConnectionState connectionStateOf(const bson_error_t& error);

bool isDuplicateKey(const bson_error_t& error);

/// Whether the server said that it cannot do this now, being about to stop or no longer the primary.
bool isStepDown(int code);

/// Whether the server said that it is not the primary, which it looks at before it does anything.
bool isNotPrimary(int code);

/// Whether the same command may succeed a little later.
bool isPassing(int code);

/// Replaces every occurrence of a secret in a text that came from elsewhere.
std::string conceal(std::string text, const std::vector<std::string>& secrets);

}  // namespace database_client::server
