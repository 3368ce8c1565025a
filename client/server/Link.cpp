// SPDX-License-Identifier: Apache-2.0
#include "client/server/Link.h"

#include <string_view>
#include <utility>

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
  if (!isBroken(error)) {
    if (observation.refusal.domain == 0) observation.refusal = error;
    return;
  }
  observation.unanswered = true;
  const std::int64_t milliseconds = mongoc_apm_command_failed_get_duration(event) / 1000;
  const bool waited = link->socketTimeout > 0 && milliseconds >= link->socketTimeout * 9 / 10;
  observation.timedOut = link->breakage.reason.empty() ? waited : link->breakage.timedOut;
}

// Answers that the driver shows to nobody, as if they were empty.
bool isHidden(std::string_view command) {
  return command == "createUser" || command == "updateUser";
}

void onSucceeded(const mongoc_apm_command_succeeded_t* event) {
  auto* link = static_cast<Link*>(mongoc_apm_command_succeeded_get_context(event));
  if (link->observation == nullptr) return;
  Observation& observation = *link->observation;
  guarded([&] {
    observation.host = mongoc_apm_command_succeeded_get_host(event)->host_and_port;
    const std::string_view command = mongoc_apm_command_succeeded_get_command_name(event);
    if (observation.flaw || isHidden(command)) return;
    observation.flaw = flawOf(command, mongoc_apm_command_succeeded_get_reply(event));
  });
}

// Where another server may take over, a command is worth repeating.
void onServerChanged(const mongoc_apm_server_changed_t* event) {
  auto* link = static_cast<Link*>(mongoc_apm_server_changed_get_context(event));
  const std::string_view type = mongoc_server_description_type(mongoc_apm_server_changed_get_new_description(event));
  if (type == "Mongos" || type.substr(0, 2) == "RS") link->hasSuccessors = true;
}

void onHeartbeatFailed(const mongoc_apm_server_heartbeat_failed_t* event) {
  auto* link = static_cast<Link*>(mongoc_apm_server_heartbeat_failed_get_context(event));
  bson_error_t error{};
  mongoc_apm_server_heartbeat_failed_get_error(event, &error);
  guarded([&] {
    const std::string_view text(error.message);
    link->cause = {error.message, text.find("timeout") != std::string_view::npos};
    if (link->breakage.reason.empty()) return;
    // The stream knows more than the driver, and has been told of with this.
    link->cause = std::exchange(link->breakage, {});
    const std::string host = mongoc_apm_server_heartbeat_failed_get_host(event)->host_and_port;
    link->cause.reason.insert(0, host + ": ");
  });
}

void observe(Link& link) {
  const Owned<mongoc_apm_callbacks_t> callbacks(mongoc_apm_callbacks_new());
  mongoc_apm_set_command_failed_cb(callbacks.get(), onFailed);
  mongoc_apm_set_command_succeeded_cb(callbacks.get(), onSucceeded);
  mongoc_apm_set_server_changed_cb(callbacks.get(), onServerChanged);
  mongoc_apm_set_server_heartbeat_failed_cb(callbacks.get(), onHeartbeatFailed);
  mongoc_client_set_apm_callbacks(link.client.get(), callbacks.get(), &link);
}

Owned<mongoc_client_t> makeClient(const Address& address, bson_error_t& error) {
  return Owned<mongoc_client_t>(mongoc_client_new_from_uri_with_error(address.uri.get(), &error));
}

}  // namespace

std::shared_ptr<Link> openLink(const Address& address, const Call& call, std::shared_ptr<Cancellation> cancellation) {
  bson_error_t error{};
  auto link = std::make_shared<Link>();
  link->streams = {&link->breakage, std::move(cancellation)};
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
  mongoc_client_set_stream_initiator(link->client.get(), openCheckedStream, &link->streams);
  link->socketTimeout = address.socketTimeout;
  observe(*link);
  return link;
}

}  // namespace database_client::server
