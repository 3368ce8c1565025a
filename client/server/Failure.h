#pragma once

#include <mongoc/mongoc.h>

#include <string>
#include <vector>

#include "database_client/Error.h"

namespace database_client::server {

/// What is known of an exchange with a server beside the driver's error.
struct Circumstances {
  std::string action{};                ///< "insert into db.collection"
  std::string where{};                 ///< host:port
  std::string login{};                 ///< as whom the connection is made
  std::string cause{};                 ///< why no server could be reached
  std::vector<std::string> secrets{};  ///< what no message may repeat
  bool write = false;
  bool manyDocuments = false;  ///< a write that takes place document by document
  bool insertion = false;
  bool ofUsers = false;     ///< one of the commands for users and roles
  bool unanswered = false;  ///< a command went out and no answer came back
  bool timedOut = false;    ///< because the time for it had passed
};

/// How the connection stands after an error.
enum class Aftermath {
  intact,       ///< the server answered
  unreachable,  ///< no server was found, nothing was sent
  lost,         ///< the connection can no longer be used
};

/// The one place where the driver's errors become ours.
Error toError(const Circumstances& circumstances, const bson_error_t& error, const bson_t* reply);

Aftermath aftermathOf(const bson_error_t& error);

/// Whether the server said that it cannot do this now, being about to stop or no longer the primary.
bool isStepDown(int code);

/// An answer that does not say what such an answer has to say.
Error malformedAnswer(const Circumstances& circumstances, const std::string& reason);

/// Replaces every occurrence of a secret in a text that came from elsewhere.
std::string conceal(std::string text, const std::vector<std::string>& secrets);

}  // namespace database_client::server
