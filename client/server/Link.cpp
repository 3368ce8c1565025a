#include "client/server/Link.h"

#include <string_view>

namespace database_client::server {

namespace {

// Nothing may be thrown through the driver's C code.
template <class Action>
void guarded(Action action) noexcept {
  try {
    action();
  } catch (...) {  // only memory can run out here, and then the text is missing
  }
}

bool isBroken(const bson_error_t& error) {
  return error.domain == MONGOC_ERROR_STREAM || error.domain == MONGOC_ERROR_PROTOCOL;
}

void onFailed(const mongoc_apm_command_failed_t* event) {
  auto* link = static_cast<Link*>(mongoc_apm_command_failed_get_context(event));
  if (link->observation == nullptr) return;
  Observation& observation = *link->observation;
  guarded([&] { observation.host = mongoc_apm_command_failed_get_host(event)->host_and_port; });
  bson_error_t error{};
  mongoc_apm_command_failed_get_error(event, &error);
  if (!isBroken(error)) return;
  observation.unanswered = true;
  const std::int64_t milliseconds = mongoc_apm_command_failed_get_duration(event) / 1000;
  observation.timedOut = link->socketTimeout > 0 && milliseconds >= link->socketTimeout * 9 / 10;
}

bool isWrite(std::string_view command) {
  return command == "insert" || command == "update" || command == "delete";
}

// Whether every element can be walked over; a damaged length would end the walk early, and silently.
bool isWalkable(bson_iter_t& at) {
  while (bson_iter_next(&at)) {
  }
  return at.err_off == 0;
}

bool isBatchWhole(const bson_iter_t& batch) {
  bson_iter_t document;
  return BSON_ITER_HOLDS_ARRAY(&batch) && bson_iter_recurse(&batch, &document) && isWalkable(document);
}

// The driver would take a damaged batch for one that ends there.
bool isCursorWhole(const bson_iter_t& cursor) {
  bson_iter_t at;
  if (!BSON_ITER_HOLDS_DOCUMENT(&cursor) || !bson_iter_recurse(&cursor, &at)) return false;
  while (bson_iter_next(&at)) {
    const std::string_view key = bson_iter_key(&at);
    if ((key == "firstBatch" || key == "nextBatch") && !isBatchWhole(at)) return false;
  }
  return at.err_off == 0;
}

/// What an answer is looked through for, in one pass.
struct Answer {
  explicit Answer(const bson_t* reply) {
    bson_iter_t at;
    whole = bson_iter_init(&at, reply);
    while (whole && bson_iter_next(&at)) {
      const std::string_view key = bson_iter_key(&at);
      if (key == "n") counts = BSON_ITER_HOLDS_NUMBER(&at);
      if (key == "cursor") whole = isCursorWhole(at);
    }
    whole = whole && at.err_off == 0;
  }

  bool whole = false;
  bool counts = false;
};

void onSucceeded(const mongoc_apm_command_succeeded_t* event) {
  auto* link = static_cast<Link*>(mongoc_apm_command_succeeded_get_context(event));
  if (link->observation == nullptr) return;
  guarded([&] { link->observation->host = mongoc_apm_command_succeeded_get_host(event)->host_and_port; });
  const Answer answer(mongoc_apm_command_succeeded_get_reply(event));
  const bool complete = answer.counts || !isWrite(mongoc_apm_command_succeeded_get_command_name(event));
  if (!complete || !answer.whole) link->observation->malformed = true;
}

void onHeartbeatFailed(const mongoc_apm_server_heartbeat_failed_t* event) {
  auto* link = static_cast<Link*>(mongoc_apm_server_heartbeat_failed_get_context(event));
  bson_error_t error{};
  mongoc_apm_server_heartbeat_failed_get_error(event, &error);
  guarded([&] { link->cause = error.message; });
}

void observe(Link& link) {
  const Owned<mongoc_apm_callbacks_t> callbacks(mongoc_apm_callbacks_new());
  mongoc_apm_set_command_failed_cb(callbacks.get(), onFailed);
  mongoc_apm_set_command_succeeded_cb(callbacks.get(), onSucceeded);
  mongoc_apm_set_server_heartbeat_failed_cb(callbacks.get(), onHeartbeatFailed);
  mongoc_client_set_apm_callbacks(link.client.get(), callbacks.get(), &link);
}

Owned<mongoc_client_t> makeClient(const Address& address, bson_error_t& error) {
  return Owned<mongoc_client_t>(mongoc_client_new_from_uri_with_error(address.uri.get(), &error));
}

}  // namespace

std::shared_ptr<Link> openLink(const Address& address, const Call& call) {
  bson_error_t error{};
  auto link = std::make_shared<Link>();
  link->client = makeClient(address, error);
  if (!link->client) {
    Circumstances circumstances;
    circumstances.action = call.action;
    circumstances.where = address.hosts;
    circumstances.secrets = address.secrets;
    if (error.domain == 0) error.domain = MONGOC_ERROR_STREAM;
    throw toError(circumstances, error, nullptr);
  }
  // Without this the codes of the driver and those of the server cannot be told apart.
  mongoc_client_set_error_api(link->client.get(), MONGOC_ERROR_API_VERSION_2);
  link->socketTimeout = address.socketTimeout;
  observe(*link);
  return link;
}

}  // namespace database_client::server
