#include "client/server/Failure.h"

#include <algorithm>
#include <cctype>
#include <initializer_list>
#include <string_view>

namespace database_client::server {

namespace {

using Kind = Error::Kind;

bool isOneOf(int code, std::initializer_list<int> codes) {
  return std::find(codes.begin(), codes.end(), code) != codes.end();
}

// A router lost the shard, or the server stopped in the middle: the write may have taken place.
bool isBrokenOff(int code) {
  return isOneOf(code, {6, 89, 9001, 11600, 11602});
}

bool isPassing(int code) {
  return isStepDown(code) || isBrokenOff(code) || isOneOf(code, {7, 112, 133, 134, 262});
}

bool isUndoable(int code) {
  return isOneOf(code, {15, 22, 53, 10334, 17280, 17419, 17420});
}

bool isUnknownToServer(int code) {
  return isOneOf(code, {59, 115, 238});
}

bool isMeaningless(int code) {
  // From 10000 on, a code is the place in the server that did not understand its arguments.
  return isOneOf(code, {2, 9, 14, 28, 34, 40, 52, 54, 55, 56, 57, 66, 67, 72, 73, 85, 86, 168}) || code >= 10000;
}

Kind kindOfCode(const Circumstances& circumstances, int code) {
  if (code == 13) return Kind::authorization;
  if (code == 18) return Kind::authentication;
  if (isOneOf(code, {11000, 11001, 12582})) return Kind::duplicateKey;
  if (code == 50) return Kind::timeout;
  if (isUnknownToServer(code)) return Kind::unsupported;
  if (isPassing(code) || circumstances.ofUsers) return Kind::server;
  if (isUndoable(code) || (circumstances.insertion && code == 2)) return Kind::document;
  return isMeaningless(code) ? Kind::query : Kind::server;
}

bool mentions(std::string_view text, std::string_view word) {
  const auto equal = [](char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b));
  };
  return std::search(text.begin(), text.end(), word.begin(), word.end(), equal) != text.end();
}

// The driver reports whatever goes wrong while it logs in as a refused user.
bool isNetworkInLogin(const bson_error_t& error) {
  const std::string_view text(error.message);
  return mentions(text, "socket error") || mentions(text, "failed to send") || mentions(text, "failed to read");
}

bool isLogin(const bson_error_t& error) {
  const bool ofClient = error.domain == MONGOC_ERROR_CLIENT && error.code == MONGOC_ERROR_CLIENT_AUTHENTICATE;
  return ofClient || error.domain == MONGOC_ERROR_SCRAM || error.domain == MONGOC_ERROR_SASL;
}

bool isOldServer(const bson_error_t& error) {
  return error.domain == MONGOC_ERROR_PROTOCOL && error.code == MONGOC_ERROR_PROTOCOL_BAD_WIRE_VERSION;
}

bool isTimeout(const Circumstances& circumstances) {
  return circumstances.timedOut || mentions(circumstances.cause, "timeout") ||
         mentions(circumstances.cause, "timed out");
}

Kind kindOfArgument(const bson_error_t& error) {
  const bool ofDocument = error.domain == MONGOC_ERROR_BSON ||
                          (error.domain == MONGOC_ERROR_COMMAND && error.code == MONGOC_ERROR_COMMAND_INVALID_ARG);
  return ofDocument ? Kind::document : Kind::query;
}

Kind kindOf(const Circumstances& circumstances, const bson_error_t& error) {
  if (aftermathOf(error) != Aftermath::intact) {
    if (isLogin(error) && !isNetworkInLogin(error)) return Kind::authentication;
    return isTimeout(circumstances) ? Kind::timeout : Kind::connection;
  }
  if (error.domain == MONGOC_ERROR_SERVER) return kindOfCode(circumstances, static_cast<int>(error.code));
  if (error.domain == MONGOC_ERROR_WRITE_CONCERN) return Kind::server;
  if (isOldServer(error)) return Kind::connection;
  return kindOfArgument(error);
}

bool isOfServer(const bson_error_t& error) {
  return error.domain == MONGOC_ERROR_SERVER || error.domain == MONGOC_ERROR_WRITE_CONCERN;
}

bool isRetryable(Kind kind, const bson_error_t& error, const bson_t* reply) {
  if (isOldServer(error)) return false;
  if (kind == Kind::connection || kind == Kind::timeout) return true;
  if (error.domain != MONGOC_ERROR_SERVER) return false;
  const bool labelled = reply != nullptr && (mongoc_error_has_label(reply, "RetryableWriteError") ||
                                             mongoc_error_has_label(reply, "TransientTransactionError"));
  return labelled || isPassing(static_cast<int>(error.code));
}

bool isOutcomeUnknown(const Circumstances& circumstances, const bson_error_t& error) {
  if (!circumstances.write) return false;
  if (aftermathOf(error) != Aftermath::intact) return circumstances.unanswered;
  if (error.domain != MONGOC_ERROR_SERVER) return false;
  const int code = static_cast<int>(error.code);
  // A refusal by a server that steps down says nothing of an attempt before it, nor of the documents already done.
  const bool before = circumstances.unanswered || circumstances.manyDocuments;
  return isBrokenOff(code) || ((isStepDown(code) || code == 50) && before);
}

std::string reasonOf(const Circumstances& circumstances, const bson_error_t& error) {
  const bool unreachable = error.domain == MONGOC_ERROR_SERVER_SELECTION;
  std::string reason = error.message;
  if (unreachable && !circumstances.cause.empty()) reason = circumstances.cause;
  if (reason.empty()) reason = "no reason given";
  if (isLogin(error) && !circumstances.login.empty()) reason = circumstances.login + ": " + reason;
  if (error.domain == MONGOC_ERROR_WRITE_CONCERN) reason = "applied, but not replicated as asked: " + reason;
  return conceal(std::move(reason), circumstances.secrets);
}

std::string messageOf(const Circumstances& circumstances, const std::string& reason, bool outcomeUnknown) {
  const std::string warning = outcomeUnknown ? " (outcome unknown: the write may have taken place)" : "";
  return circumstances.action + " at " + circumstances.where + ": " + reason + warning;
}

bool isWordByte(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0;
}

bool standsAlone(const std::string& text, std::size_t at, std::size_t length) {
  const bool before = at > 0 && isWordByte(text[at - 1]);
  const bool after = at + length < text.size() && isWordByte(text[at + length]);
  return !before && !after;
}

// Texts of the driver are cut, so that the end of a long secret may be missing.
constexpr std::size_t longSecret = 16;

void concealOne(std::string& text, const std::string& secret) {
  const std::string start = secret.substr(0, longSecret);
  for (std::size_t at = text.find(start); at != std::string::npos; at = text.find(start, at + 1)) {
    const bool whole = text.compare(at, secret.size(), secret) == 0;
    const std::size_t length = whole ? secret.size() : text.size() - at;
    if (secret.size() >= longSecret || standsAlone(text, at, length)) text.replace(at, length, "***");
  }
}

}  // namespace

bool isStepDown(int code) {
  return isOneOf(code, {91, 189, 10058, 10107, 11600, 11602, 13435, 13436});
}

Aftermath aftermathOf(const bson_error_t& error) {
  if (error.domain == MONGOC_ERROR_SERVER_SELECTION) return Aftermath::unreachable;
  if (isLogin(error)) return Aftermath::unreachable;
  if (isOldServer(error)) return Aftermath::intact;
  const bool broken = error.domain == MONGOC_ERROR_STREAM || error.domain == MONGOC_ERROR_PROTOCOL;
  return broken ? Aftermath::lost : Aftermath::intact;
}

Error toError(const Circumstances& circumstances, const bson_error_t& error, const bson_t* reply) {
  const Kind kind = kindOf(circumstances, error);
  Error::Details details;
  details.where = circumstances.where;
  details.code = isOfServer(error) ? static_cast<int>(error.code) : 0;
  details.retryable = isRetryable(kind, error, reply);
  details.outcomeUnknown = isOutcomeUnknown(circumstances, error);
  return Error(kind, messageOf(circumstances, reasonOf(circumstances, error), details.outcomeUnknown), details);
}

Error malformedAnswer(const Circumstances& circumstances, const std::string& reason) {
  Error::Details details;
  details.where = circumstances.where;
  details.retryable = true;
  details.outcomeUnknown = circumstances.write;
  return Error(Kind::connection,
               messageOf(circumstances, conceal(reason, circumstances.secrets), details.outcomeUnknown), details);
}

std::string conceal(std::string text, const std::vector<std::string>& secrets) {
  for (const std::string& secret : secrets) {
    if (!secret.empty()) concealOne(text, secret);
  }
  return text;
}

}  // namespace database_client::server
