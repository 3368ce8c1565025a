// SPDX-License-Identifier: Apache-2.0
#include "client/server/Answer.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>

namespace database_client::server {

namespace {

using bson::Element;
using bson::Type;
using bson::Value;

bool isOneOf(std::string_view text, std::initializer_list<std::string_view> texts) {
  return std::find(texts.begin(), texts.end(), text) != texts.end();
}

bool isWrite(std::string_view command) {
  return isOneOf(command, {"insert", "update", "delete"});
}

// The list without which an answer to this command says nothing; empty where there is none.
std::string_view listOf(std::string_view command) {
  if (command == "usersInfo") return "users";
  if (command == "rolesInfo") return "roles";
  return command == "listDatabases" ? "databases" : "";
}

Flaw nonsense(const std::string& reason) {
  return {Flaw::Nature::nonsense, "the server's answer makes no sense: " + reason};
}

// The driver reads no decimals.
bool isNumber(const Value& value) {
  return value.isNumber() && value.type != Type::decimal128;
}

double numberOf(const Value& value) {
  if (value.type == Type::real) return value.asDouble();
  return value.type == Type::int32 ? value.asInt32() : static_cast<double>(value.asInt64());
}

// For the driver, a batch ends at the first value that is no document, and silently.
std::optional<Flaw> flawOfList(const Element& list) {
  const std::string key(list.key);
  if (!list.value.isArray()) return nonsense("\"" + key + "\" is no list");
  for (const Element& item : list.value.asDocument()) {
    if (!item.value.isDocument()) return nonsense("\"" + key + "\" holds a value that is no document");
  }
  return std::nullopt;
}

std::optional<Flaw> flawOfCursor(const Value& cursor) {
  if (!cursor.isDocument()) return nonsense("\"cursor\" is no document");
  for (const Element& field : cursor.asDocument()) {
    if (!isOneOf(field.key, {"firstBatch", "nextBatch"})) continue;
    if (auto flaw = flawOfList(field)) return flaw;
  }
  return std::nullopt;
}

std::optional<Flaw> flawOfCount(const Element& count) {
  const std::string name = "\"" + std::string(count.key) + "\"";
  if (!isNumber(count.value)) return nonsense(name + " is no number");
  const double value = numberOf(count.value);
  if (!(value >= 0) || value != std::floor(value)) return nonsense(name + " is no count");
  return std::nullopt;
}

// A refusal that does not say of which document, or why, is none that can be handed on.
std::optional<Flaw> flawOfRefusals(const Element& refusals) {
  if (auto flaw = flawOfList(refusals)) return flaw;
  for (const Element& refusal : refusals.value.asDocument()) {
    const Value index = refusal.value.asDocument().find("index");
    const Value code = refusal.value.asDocument().find("code");
    const bool hasIndex = index.data != nullptr && index.type == Type::int32 && index.asInt32() >= 0;
    const bool hasCode = code.data != nullptr && code.type == Type::int32;
    if (!hasIndex || !hasCode) return nonsense("\"writeErrors\" holds an error without its document or its code");
  }
  return std::nullopt;
}

std::optional<Flaw> flawOfSuccess(const Value& ok) {
  const bool isTruth = ok.type == Type::boolean;
  if (!isTruth && !isNumber(ok)) return nonsense("\"ok\" is no number");
  // A failure with a reason is known by then for what it is.
  if (isTruth ? !ok.asBool() : numberOf(ok) == 0) return nonsense("it is a failure without a reason");
  return std::nullopt;
}

std::optional<Flaw> flawOfField(std::string_view command, std::string_view list, const Element& field) {
  if (field.key == "ok") return flawOfSuccess(field.value);
  if (field.key == "cursor") return flawOfCursor(field.value);
  if (!list.empty() && field.key == list) return flawOfList(field);
  if (!isWrite(command)) return std::nullopt;
  if (isOneOf(field.key, {"n", "nModified"})) return flawOfCount(field);
  if (field.key == "writeErrors") return flawOfRefusals(field);
  return field.key == "upserted" ? flawOfList(field) : std::nullopt;
}

}  // namespace

std::optional<Flaw> flawOf(std::string_view command, bson::View answer) {
  // Nobody waits for the answer to these.
  if (isOneOf(command, {"killCursors", "endSessions"})) return std::nullopt;
  const std::string_view list = listOf(command);
  bool saysOk = false;
  bool saysCount = false;
  bool saysList = list.empty();
  for (const Element& field : answer) {
    saysOk = saysOk || field.key == "ok";
    saysCount = saysCount || field.key == "n";
    saysList = saysList || field.key == list;
    if (auto flaw = flawOfField(command, list, field)) return flaw;
  }
  if (!saysOk) return nonsense("it does not say whether it is a success");
  if (!saysList) return nonsense("it lacks \"" + std::string(list) + "\"");
  // The driver takes this for a success that wrote nothing; a stranger's answer looks like this, too.
  if (isWrite(command) && !saysCount) {
    return Flaw{Flaw::Nature::damaged, "the server's answer is damaged or incomplete"};
  }
  return std::nullopt;
}

}  // namespace database_client::server
