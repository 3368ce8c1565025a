// SPDX-License-Identifier: Apache-2.0
#include "client/server/Answer.h"

#include <algorithm>
#include <cmath>
#include <initializer_list>

namespace database_client::server {

namespace {

bool isOneOf(std::string_view text, std::initializer_list<std::string_view> texts) {
  return std::find(texts.begin(), texts.end(), text) != texts.end();
}

bool isWrite(std::string_view command) {
  return isOneOf(command, {"insert", "update", "delete"});
}

// What nobody waits for the answer to.
bool isFarewell(std::string_view command) {
  return isOneOf(command, {"killCursors", "endSessions"});
}

// The list without which an answer to this command says nothing; empty where there is none.
std::string_view listOf(std::string_view command) {
  if (command == "usersInfo") return "users";
  if (command == "rolesInfo") return "roles";
  return command == "listDatabases" ? "databases" : "";
}

Flaw damage() {
  return {Flaw::Nature::damaged, "the server's answer is damaged or incomplete"};
}

Flaw nonsense(const std::string& reason) {
  return {Flaw::Nature::nonsense, "the server's answer makes no sense: " + reason};
}

// Whether every element is a document that can be walked past. A damaged length ends the walk early; for the driver it
// ends the batch, and silently.
std::optional<Flaw> flawOfList(const bson_iter_t& list) {
  const std::string key = bson_iter_key(&list);
  bson_iter_t at;
  if (!BSON_ITER_HOLDS_ARRAY(&list)) return nonsense("\"" + key + "\" is no list");
  if (!bson_iter_recurse(&list, &at)) return damage();
  while (bson_iter_next(&at)) {
    if (!BSON_ITER_HOLDS_DOCUMENT(&at)) return nonsense("\"" + key + "\" holds a value that is no document");
  }
  if (at.err_off != 0) return damage();
  return std::nullopt;
}

std::optional<Flaw> flawOfCursor(const bson_iter_t& cursor) {
  bson_iter_t at;
  if (!BSON_ITER_HOLDS_DOCUMENT(&cursor)) return nonsense("\"cursor\" is no document");
  if (!bson_iter_recurse(&cursor, &at)) return damage();
  while (bson_iter_next(&at)) {
    const std::string_view key = bson_iter_key(&at);
    if (isOneOf(key, {"firstBatch", "nextBatch"})) {
      if (auto flaw = flawOfList(at)) return flaw;
    }
    if (key == "id" && !BSON_ITER_HOLDS_INT(&at)) return nonsense("the cursor's \"id\" is no whole number");
  }
  if (at.err_off != 0) return damage();
  return std::nullopt;
}

std::optional<Flaw> flawOfCount(const bson_iter_t& count) {
  const std::string name = "\"" + std::string(bson_iter_key(&count)) + "\"";
  if (!BSON_ITER_HOLDS_NUMBER(&count)) return nonsense(name + " is no number");
  const double value = bson_iter_as_double(&count);
  if (!(value >= 0) || value != std::floor(value)) return nonsense(name + " is no count");
  return std::nullopt;
}

// A refusal that does not say of which document, or why, is none that can be handed on.
std::optional<Flaw> flawOfRefusals(const bson_iter_t& refusals) {
  if (auto flaw = flawOfList(refusals)) return flaw;
  bson_iter_t at;
  bson_iter_recurse(&refusals, &at);
  while (bson_iter_next(&at)) {
    bson_iter_t refusal;
    bool hasIndex = false;
    bool hasCode = false;
    if (!bson_iter_recurse(&at, &refusal)) return damage();
    while (bson_iter_next(&refusal)) {
      const std::string_view key = bson_iter_key(&refusal);
      if (key == "index") hasIndex = BSON_ITER_HOLDS_INT32(&refusal) && bson_iter_int32(&refusal) >= 0;
      if (key == "code") hasCode = BSON_ITER_HOLDS_INT32(&refusal) && bson_iter_int32(&refusal) != 0;
    }
    if (refusal.err_off != 0) return damage();
    if (!hasIndex || !hasCode) return nonsense("\"writeErrors\" holds an error without its document or its code");
  }
  return std::nullopt;
}

std::optional<Flaw> flawOfSuccess(const bson_iter_t& ok) {
  const bool isTold = BSON_ITER_HOLDS_NUMBER(&ok) || BSON_ITER_HOLDS_BOOL(&ok);
  if (!isTold) return nonsense("\"ok\" is no number");
  // A failure with a reason is known by then for what it is.
  if (!bson_iter_as_bool(&ok)) return nonsense("it is a failure without a reason");
  return std::nullopt;
}

std::optional<Flaw> flawAt(std::string_view command, std::string_view list, const bson_iter_t& at) {
  const std::string_view key = bson_iter_key(&at);
  if (key == "ok") return flawOfSuccess(at);
  if (key == "cursor") return flawOfCursor(at);
  if (isWrite(command)) {
    if (isOneOf(key, {"n", "nModified"})) return flawOfCount(at);
    if (key == "writeErrors") return flawOfRefusals(at);
    if (key == "upserted") return flawOfList(at);
    if (key == "writeConcernError" && !BSON_ITER_HOLDS_DOCUMENT(&at))
      return nonsense("\"writeConcernError\" is no document");
  }
  if (!list.empty() && key == list) return flawOfList(at);
  return std::nullopt;
}

}  // namespace

std::optional<Flaw> flawOf(std::string_view command, const bson_t* answer) {
  if (isFarewell(command)) return std::nullopt;
  bool saysOk = false;
  bool saysCount = false;
  const std::string_view list = listOf(command);
  bool saysList = list.empty();
  bson_iter_t at;
  if (!bson_iter_init(&at, answer)) return damage();
  while (bson_iter_next(&at)) {
    const std::string_view key = bson_iter_key(&at);
    saysOk = saysOk || key == "ok";
    saysCount = saysCount || key == "n";
    saysList = saysList || key == list;
    if (auto flaw = flawAt(command, list, at)) return flaw;
  }
  if (at.err_off != 0) return damage();
  if (!saysOk) return nonsense("it does not say whether it is a success");
  if (!saysList) return nonsense("it lacks \"" + std::string(list) + "\"");
  if (isWrite(command) && !saysCount) return damage();
  return std::nullopt;
}

}  // namespace database_client::server
