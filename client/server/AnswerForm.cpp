// SPDX-License-Identifier: Apache-2.0
#include "client/server/AnswerForm.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace database_client::server {

namespace {

using bson::Type;
using bson::Value;

/// What one field has to be, where it is there.
struct Rule {
  std::string_view key;
  bool (*holds)(const Value& value);
  const char* expected;
};

bool isText(const Value& value) {
  return value.type == Type::string;
}

bool isBool(const Value& value) {
  return value.type == Type::boolean;
}

bool isInteger(const Value& value) {
  return value.type == Type::int32 || value.type == Type::int64;
}

bool isDocument(const Value& value) {
  return value.isDocument();
}

bool isArray(const Value& value) {
  return value.isArray();
}

bool isObjectId(const Value& value) {
  return value.type == Type::objectId;
}

bool isTimestamp(const Value& value) {
  return value.type == Type::timestamp;
}

bool isArrayOfTexts(const Value& value) {
  if (!value.isArray()) return false;
  const bson::View items = value.asDocument();
  return std::all_of(items.begin(), items.end(), [](const bson::Element& item) { return isText(item.value); });
}

bool isDocumentOfTexts(const Value& value) {
  if (!value.isDocument()) return false;
  const bson::View items = value.asDocument();
  return std::all_of(items.begin(), items.end(), [](const bson::Element& item) { return isText(item.value); });
}

double numberOf(const Value& value) {
  if (value.type == Type::int32) return value.asInt32();
  if (value.type == Type::int64) return static_cast<double>(value.asInt64());
  return value.type == Type::real ? value.asDouble() : std::numeric_limits<double>::quiet_NaN();
}

/// Not a number, zero, or more than 32 bits are no code; servers send a double where a test made them.
bool isCode(const Value& value) {
  const double code = std::abs(numberOf(value));
  return code >= 1 && code <= std::numeric_limits<std::int32_t>::max();
}

bool isVersion(const Value& value) {
  return value.type == Type::int32 && value.asInt32() >= 0;
}

bool isLimit(const Value& value) {
  return value.type == Type::int32 && value.asInt32() > 0;
}

bool isSpanOrNull(const Value& value) {
  const double minutes = numberOf(value);
  return value.type == Type::null || (minutes >= 0 && minutes <= std::numeric_limits<std::int32_t>::max());
}

/// The database and the collection, of which each has a name.
bool isNamespace(const Value& value) {
  if (!isText(value)) return false;
  const std::string_view name = value.asString();
  const std::size_t dot = name.find('.');
  return dot != std::string_view::npos && dot > 0 && dot + 1 < name.size() && name.find('\0') == std::string_view::npos;
}

bool holdsField(bson::View document, std::string_view key, bool (*holds)(const Value& value)) {
  const Value value = document.find(key);
  return value.data != nullptr && holds(value);
}

bool isTopologyVersion(const Value& value) {
  return value.isDocument() && holdsField(value.asDocument(), "processId", isObjectId) &&
         holdsField(value.asDocument(), "counter", [](const Value& counter) { return counter.type == Type::int64; });
}

bool isClusterTime(const Value& value) {
  return value.isDocument() && holdsField(value.asDocument(), "clusterTime", isTimestamp);
}

bool isLastWrite(const Value& value) {
  return value.isDocument() &&
         holdsField(value.asDocument(), "lastWriteDate", [](const Value& date) { return date.type == Type::date; });
}

constexpr Rule errorRules[] = {
    {"code", isCode, "a code, which is a number other than 0"},
    {"errmsg", isText, "a text"},
    {"$err", isText, "a text"},
    {"errorLabels", isArrayOfTexts, "a list of texts"},
};

constexpr Rule commonRules[] = {
    {"writeConcernError", isDocument, "a document"},
    {"topologyVersion", isTopologyVersion, "{processId: an object id, counter: int64}"},
    {"$clusterTime", isClusterTime, "a document with the timestamp clusterTime"},
    {"operationTime", isTimestamp, "a timestamp"},
};

constexpr Rule cursorRules[] = {
    {"id", isInteger, "an integer"},
    {"ns", isNamespace, "database.collection"},
    {"firstBatch", isArray, "a list"},
    {"nextBatch", isArray, "a list"},
};

constexpr Rule greetingRules[] = {
    {"isWritablePrimary", isBool, "true or false"},
    {"ismaster", isBool, "true or false"},
    {"helloOk", isBool, "true or false"},
    {"secondary", isBool, "true or false"},
    {"arbiterOnly", isBool, "true or false"},
    {"isreplicaset", isBool, "true or false"},
    {"hidden", isBool, "true or false"},
    {"maxBsonObjectSize", isLimit, "an int32 above 0"},
    {"maxMessageSizeBytes", isLimit, "an int32 above 0"},
    {"maxWriteBatchSize", isLimit, "an int32 above 0"},
    {"minWireVersion", isVersion, "an int32 from 0 on"},
    {"maxWireVersion", isVersion, "an int32 from 0 on"},
    {"logicalSessionTimeoutMinutes", isSpanOrNull, "a number of minutes"},
    {"connectionId", isInteger, "an integer"},
    {"setVersion", isInteger, "an integer"},
    {"setName", isText, "a text"},
    {"me", isText, "a text"},
    {"primary", isText, "a text"},
    {"msg", isText, "a text"},
    {"hosts", isArrayOfTexts, "a list of texts"},
    {"passives", isArrayOfTexts, "a list of texts"},
    {"arbiters", isArrayOfTexts, "a list of texts"},
    {"compression", isArrayOfTexts, "a list of texts"},
    {"saslSupportedMechs", isArrayOfTexts, "a list of texts"},
    {"tags", isDocumentOfTexts, "a document of texts"},
    {"electionId", isObjectId, "an object id"},
    {"serviceId", isObjectId, "an object id"},
    {"lastWrite", isLastWrite, "a document with the date lastWriteDate"},
    {"speculativeAuthenticate", isDocument, "a document"},
};

bool isPayload(const Value& value) {
  constexpr std::size_t most = 4096;
  return (value.type == Type::binary || isText(value)) && value.size <= most;
}

constexpr Rule loginRules[] = {
    {"conversationId", [](const Value& value) { return value.type == Type::int32; }, "an int32"},
    {"done", isBool, "true or false"},
    {"payload", isPayload, "bytes, at most 4,096"},
};

template <std::size_t size>
void checkField(const bson::Element& field, const Rule (&rules)[size], std::string_view within = "") {
  for (const Rule& rule : rules) {
    if (rule.key != field.key || rule.holds(field.value)) continue;
    throw DamagedAnswer("\"" + std::string(within) + std::string(field.key) + "\" is not " + rule.expected);
  }
}

std::string_view bytesOf(const Value& payload) {
  if (payload.type == Type::binary) {
    return {reinterpret_cast<const char*>(payload.binaryData()), payload.binarySize()};
  }
  return isText(payload) ? payload.asString() : std::string_view();
}

// What the server says first in a SCRAM conversation is "r=…,s=…,i=…", the last of them the number of iterations.
void checkIterations(std::string_view payload) {
  constexpr std::size_t mostDigits = 10;
  for (std::size_t start = 0; start < payload.size();) {
    const std::size_t end = std::min(payload.find(',', start), payload.size());
    const std::string_view attribute = payload.substr(start, end - start);
    start = end + 1;
    if (attribute.substr(0, 2) != "i=") continue;
    const std::string digits(attribute.substr(2));
    const bool isNumber =
        !digits.empty() && digits.size() <= mostDigits && digits.find_first_not_of("0123456789") == std::string::npos;
    if (!isNumber) throw DamagedAnswer("the number of iterations of SCRAM is none");
    if (std::stoll(digits) > mostIterations) {
      throw DamagedAnswer("the server asks for " + digits + " iterations of SCRAM, at most " +
                          std::to_string(mostIterations) + " are done");
    }
  }
}

void checkLogin(bson::View step) {
  for (const bson::Element& field : step) {
    checkField(field, loginRules);
    if (field.key == "payload") checkIterations(bytesOf(field.value));
  }
}

template <std::size_t size>
void checkLevel(const Value& level, const Rule (&rules)[size], std::string_view within) {
  for (const bson::Element& field : level.asDocument()) checkField(field, rules, within);
}

void checkWriteErrors(const Value& errors) {
  for (const bson::Element& error : errors.asDocument()) {
    if (!error.value.isDocument()) throw DamagedAnswer("\"writeErrors\" holds what is no document");
    checkLevel(error.value, errorRules, "writeErrors.");
  }
}

}  // namespace

void checkForm(bson::View answer, Purpose purpose) {
  for (const bson::Element& field : answer) {
    checkField(field, errorRules);
    checkField(field, commonRules);
    if (purpose == Purpose::greeting) checkField(field, greetingRules);
    if (field.key == "writeConcernError") checkLevel(field.value, errorRules, "writeConcernError.");
    if (field.key == "writeErrors" && field.value.isArray()) checkWriteErrors(field.value);
    if (field.key == "cursor" && field.value.isDocument()) checkLevel(field.value, cursorRules, "cursor.");
    if (purpose == Purpose::greeting && field.key == "speculativeAuthenticate") checkLogin(field.value.asDocument());
  }
  if (purpose == Purpose::login) checkLogin(answer);
}

}  // namespace database_client::server
