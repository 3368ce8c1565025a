// SPDX-License-Identifier: Apache-2.0
#include "client/server/ErrorMapping.h"

#include <algorithm>
#include <cctype>
#include <string_view>

#include "client/bson/utf8.h"
#include "database_client/codes.h"

namespace database_client::server {

namespace {

using Kind = Error::Kind;

// What a code says of the server, beside the kind of the error. Each of these includes those that it is a case of.
using Traits = unsigned;
constexpr Traits lasting = 0;
// The same command may succeed a little later.
constexpr Traits passing = 1;
// The server is about to stop, or no longer the primary: another one may take over.
constexpr Traits stepsDown = passing | 2;
// And it has not begun, since it looks at this before all else.
constexpr Traits notPrimary = stepsDown | 4;
// A router lost the shard, or the server stopped in the middle: a write may have taken place.
constexpr Traits brokenOff = passing | 8;

struct CodeMeaning {
  int code;
  Kind kind;
  Traits traits = lasting;
};

// What is not here is of kind `server`, and from `firstPlaceInTheServer` on of kind `query`.
constexpr CodeMeaning meanings[] = {
    {code::unauthorized, Kind::authorization},
    {code::authenticationFailed, Kind::authentication},
    {code::maxTimeMsExpired, Kind::timeout},

    {code::duplicateKey, Kind::duplicateKey},
    {code::duplicateKeyInUpdate, Kind::duplicateKey},
    {code::duplicateKeyInCappedNamespace, Kind::duplicateKey},

    {code::commandNotFound, Kind::unsupported},
    {code::commandNotSupported, Kind::unsupported},
    {code::notImplemented, Kind::unsupported},

    // A document that cannot be stored.
    {code::overflow, Kind::document},
    {code::invalidBson, Kind::document},
    {code::invalidIdField, Kind::document},
    {code::documentValidationFailure, Kind::document},
    {code::cannotGrowDocumentInCappedNamespace, Kind::document},
    {code::bsonObjectTooLarge, Kind::document},
    {code::keyTooLong, Kind::document},
    {code::resultingDocumentTooLarge, Kind::document},
    {code::insertedDocumentTooLarge, Kind::document},

    // Arguments that make no sense.
    {code::badValue, Kind::query},
    {code::failedToParse, Kind::query},
    {code::typeMismatch, Kind::query},
    {code::pathNotViable, Kind::query},
    {code::nonExistentPath, Kind::query},
    {code::invalidPath, Kind::query},
    {code::cannotBackfillArray, Kind::query},
    {code::conflictingUpdateOperators, Kind::query},
    {code::dollarPrefixedFieldName, Kind::query},
    {code::notSingleValueField, Kind::query},
    {code::invalidDbRef, Kind::query},
    {code::emptyFieldName, Kind::query},
    {code::dottedFieldName, Kind::query},
    {code::immutableField, Kind::query},
    {code::cannotCreateIndex, Kind::query},
    {code::invalidOptions, Kind::query},
    {code::invalidNamespace, Kind::query},
    {code::indexOptionsConflict, Kind::query},
    {code::indexKeySpecsConflict, Kind::query},
    {code::invalidPipelineOperator, Kind::query},

    // The server cannot do it now.
    {code::legacyNotPrimary, Kind::server, notPrimary},
    {code::notWritablePrimary, Kind::server, notPrimary},
    {code::notPrimaryNoSecondaryOk, Kind::server, notPrimary},
    {code::notPrimaryOrSecondary, Kind::server, notPrimary},
    {code::shutdownInProgress, Kind::server, stepsDown},
    {code::primarySteppedDown, Kind::server, stepsDown},
    {code::interruptedAtShutdown, Kind::server, stepsDown | brokenOff},
    {code::interruptedDueToReplStateChange, Kind::server, stepsDown | brokenOff},
    {code::hostUnreachable, Kind::server, brokenOff},
    {code::networkTimeout, Kind::server, brokenOff},
    {code::networkInterfaceExceededTimeLimit, Kind::server, brokenOff},
    {code::socketException, Kind::server, brokenOff},
    {code::hostNotFound, Kind::server, passing},
    {code::writeConflict, Kind::server, passing},
    {code::failedToSatisfyReadPreference, Kind::server, passing},
    {code::readConcernMajorityNotAvailableYet, Kind::server, passing},
    {code::exceededTimeLimit, Kind::server, passing},

    // Trouble of the server's own among the numbers that mostly stand for arguments.
    {code::interrupted, Kind::server},
    {code::backgroundOperationInProgressForDatabase, Kind::server},
    {code::backgroundOperationInProgressForNamespace, Kind::server},
    {code::staleConfig, Kind::server},
    {code::outOfDiskSpace, Kind::server},
    {code::clientMarkedKilled, Kind::server},
};

CodeMeaning meaningOf(int code) {
  for (const CodeMeaning& meaning : meanings) {
    if (meaning.code == code) return meaning;
  }
  // From here on, a number without a name is the place in the server that did not understand its arguments.
  constexpr int firstPlaceInTheServer = 10000;
  return {code, code >= firstPlaceInTheServer ? Kind::query : Kind::server};
}

bool has(Traits traits, int code) {
  return (meaningOf(code).traits & traits) == traits;
}

Kind kindOfCode(const ErrorContext& context, int code) {
  // An insert has no argument but its documents.
  if (context.insertion && !context.ofUsers && code == code::badValue) return Kind::document;
  const Kind kind = meaningOf(code).kind;
  // A refused user or role is what the caller tells by its code, and neither a query nor a document.
  const bool isOfArguments = kind == Kind::query || kind == Kind::document;
  return context.ofUsers && isOfArguments ? Kind::server : kind;
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

bool isTimeout(const ErrorContext& context, const bson_error_t& error) {
  return context.timedOut || (error.domain == MONGOC_ERROR_SERVER_SELECTION && context.causeTimedOut);
}

Kind kindOfArgument(const bson_error_t& error) {
  const bool ofDocument = error.domain == MONGOC_ERROR_BSON ||
                          (error.domain == MONGOC_ERROR_COMMAND && error.code == MONGOC_ERROR_COMMAND_INVALID_ARG);
  return ofDocument ? Kind::document : Kind::query;
}

Kind kindOf(const ErrorContext& context, const bson_error_t& error) {
  if (connectionStateOf(error) != ConnectionState::intact) {
    if (isLogin(error) && !isNetworkInLogin(error) && context.breakage.empty()) return Kind::authentication;
    return isTimeout(context, error) ? Kind::timeout : Kind::connection;
  }
  if (error.domain == MONGOC_ERROR_SERVER) return kindOfCode(context, static_cast<int>(error.code));
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

// What a server finds out before it touches a document. Anything else may end a write of many after some were done.
bool comesBeforeAll(const ErrorContext& context, Kind kind, int code) {
  const bool isOfOneDocument = context.appends || code == code::pathNotViable || code == code::immutableField;
  if (kind == Kind::query) return !isOfOneDocument;
  return kind == Kind::authorization || kind == Kind::authentication || kind == Kind::unsupported;
}

bool isOutcomeUnknown(const ErrorContext& context, Kind kind, const bson_error_t& error, std::int64_t written) {
  if (!context.write) return false;
  if (context.maybeDone) return true;
  if (connectionStateOf(error) != ConnectionState::intact) return context.unanswered;
  if (error.domain != MONGOC_ERROR_SERVER) return false;
  const int code = static_cast<int>(error.code);
  if (context.manyDocuments && (written > 0 || !comesBeforeAll(context, kind, code))) return true;
  // A refusal by a server that steps down says nothing of an attempt before it.
  return has(brokenOff, code) || ((isStepDown(code) || code == code::maxTimeMsExpired) && context.unanswered);
}

// The number of documents that were written for certain.
std::int64_t writtenOf(const bson_t* reply) {
  std::int64_t written = 0;
  bson_iter_t at;
  for (const char* count : {"insertedCount", "modifiedCount", "upsertedCount", "deletedCount"}) {
    const bool isTold = reply != nullptr && bson_iter_init_find(&at, reply, count) && BSON_ITER_HOLDS_INT(&at);
    if (isTold) written += bson_iter_as_int64(&at);
  }
  return written;
}

std::string reasonOf(const ErrorContext& context, const bson_error_t& error) {
  const bool unreachable = error.domain == MONGOC_ERROR_SERVER_SELECTION;
  std::string reason = error.message;
  if (unreachable && !context.cause.empty()) reason = context.cause;
  if (!context.breakage.empty() && connectionStateOf(error) != ConnectionState::intact) reason = context.breakage;
  if (reason.empty()) reason = "no reason given";
  if (isLogin(error) && !context.login.empty()) reason = context.login + ": " + reason;
  if (error.domain == MONGOC_ERROR_WRITE_CONCERN) reason = "applied, but not replicated as asked: " + reason;
  return conceal(std::move(reason), context.secrets);
}

std::string warningOf(std::int64_t written) {
  if (written <= 0) return " (outcome unknown: the write may have taken place)";
  const std::string documents = written == 1 ? " document was written, others" : " documents were written, others";
  return " (outcome unknown: " + std::to_string(written) + documents + " may have been)";
}

// What a server says is shown on terminals: nothing in it may steer one, or fail to be text.
std::string messageOf(const ErrorContext& context, const std::string& reason) {
  return bson::printable(context.action + " at " + context.where + ": " + reason);
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

bool isDuplicateKey(const bson_error_t& error) {
  return error.domain == MONGOC_ERROR_SERVER && meaningOf(static_cast<int>(error.code)).kind == Kind::duplicateKey;
}

bool isStepDown(int code) {
  return has(stepsDown, code);
}

bool isNotPrimary(int code) {
  return has(notPrimary, code);
}

bool isPassing(int code) {
  return has(passing, code);
}

ConnectionState connectionStateOf(const bson_error_t& error) {
  if (error.domain == MONGOC_ERROR_SERVER_SELECTION) return ConnectionState::unreachable;
  if (isLogin(error)) return ConnectionState::unreachable;
  if (isOldServer(error)) return ConnectionState::intact;
  const bool broken = error.domain == MONGOC_ERROR_STREAM || error.domain == MONGOC_ERROR_PROTOCOL;
  return broken ? ConnectionState::lost : ConnectionState::intact;
}

Error toError(const ErrorContext& context, const bson_error_t& error, const bson_t* reply) {
  const Kind kind = kindOf(context, error);
  Error::Details details;
  details.where = context.where;
  details.code = isOfServer(error) ? static_cast<int>(error.code) : 0;
  details.retryable = isRetryable(kind, error, reply);
  const std::int64_t written = writtenOf(reply);
  details.outcomeUnknown = isOutcomeUnknown(context, kind, error, written);
  const std::string warning = details.outcomeUnknown ? warningOf(written) : "";
  return Error(kind, messageOf(context, reasonOf(context, error)) + warning, details);
}

Error toError(const ErrorContext& context, Kind kind, const std::string& reason) {
  Error::Details details;
  details.where = context.where;
  details.retryable = kind != Kind::server;
  details.outcomeUnknown = context.write;
  const std::string warning = details.outcomeUnknown ? warningOf(0) : "";
  return Error(kind, messageOf(context, conceal(reason, context.secrets)) + warning, details);
}

std::string conceal(std::string text, const std::vector<std::string>& secrets) {
  for (const std::string& secret : secrets) {
    if (!secret.empty()) concealOne(text, secret);
  }
  return text;
}

}  // namespace database_client::server
