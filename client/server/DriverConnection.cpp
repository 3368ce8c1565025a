// SPDX-License-Identifier: Apache-2.0
#include "client/server/DriverConnection.h"

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
  auto* connection = static_cast<DriverConnection*>(mongoc_apm_command_failed_get_context(event));
  if (connection->events == nullptr) return;
  CommandEvents& events = *connection->events;
  guarded([&] { events.host = mongoc_apm_command_failed_get_host(event)->host_and_port; });
  bson_error_t error{};
  mongoc_apm_command_failed_get_error(event, &error);
  if (!isBroken(error)) {
    if (events.refusal.domain == 0) events.refusal = error;
    return;
  }
  events.unanswered = true;
  const std::int64_t milliseconds = mongoc_apm_command_failed_get_duration(event) / 1000;
  const bool waited = connection->socketTimeout > 0 && milliseconds >= connection->socketTimeout * 9 / 10;
  events.timedOut = connection->breakage.reason.empty() ? waited : connection->breakage.timedOut;
}

// Answers that the driver shows to nobody, as if they were empty.
bool isHidden(std::string_view command) {
  return command == "createUser" || command == "updateUser";
}

void onSucceeded(const mongoc_apm_command_succeeded_t* event) {
  auto* connection = static_cast<DriverConnection*>(mongoc_apm_command_succeeded_get_context(event));
  if (connection->events == nullptr) return;
  CommandEvents& events = *connection->events;
  guarded([&] {
    events.host = mongoc_apm_command_succeeded_get_host(event)->host_and_port;
    const std::string_view command = mongoc_apm_command_succeeded_get_command_name(event);
    if (events.flaw || isHidden(command)) return;
    const bson_t* reply = mongoc_apm_command_succeeded_get_reply(event);
    events.flaw = flawOf(command, {bson_get_data(reply), reply->len});
  });
}

// Where another server may take over, a command is worth repeating.
void onServerChanged(const mongoc_apm_server_changed_t* event) {
  auto* connection = static_cast<DriverConnection*>(mongoc_apm_server_changed_get_context(event));
  const std::string_view type = mongoc_server_description_type(mongoc_apm_server_changed_get_new_description(event));
  if (type == "Mongos" || type.substr(0, 2) == "RS") connection->hasSuccessors = true;
}

void onHeartbeatFailed(const mongoc_apm_server_heartbeat_failed_t* event) {
  auto* connection = static_cast<DriverConnection*>(mongoc_apm_server_heartbeat_failed_get_context(event));
  bson_error_t error{};
  mongoc_apm_server_heartbeat_failed_get_error(event, &error);
  guarded([&] {
    const std::string_view text(error.message);
    connection->cause = {error.message, text.find("timeout") != std::string_view::npos};
    if (connection->breakage.reason.empty()) return;
    // The stream knows more than the driver, and has been told of with this.
    connection->cause = std::exchange(connection->breakage, {});
    const std::string host = mongoc_apm_server_heartbeat_failed_get_host(event)->host_and_port;
    connection->cause.reason.insert(0, host + ": ");
  });
}

void observe(DriverConnection& connection) {
  const Owned<mongoc_apm_callbacks_t> callbacks(mongoc_apm_callbacks_new());
  mongoc_apm_set_command_failed_cb(callbacks.get(), onFailed);
  mongoc_apm_set_command_succeeded_cb(callbacks.get(), onSucceeded);
  mongoc_apm_set_server_changed_cb(callbacks.get(), onServerChanged);
  mongoc_apm_set_server_heartbeat_failed_cb(callbacks.get(), onHeartbeatFailed);
  mongoc_client_set_apm_callbacks(connection.client.get(), callbacks.get(), &connection);
}

Owned<mongoc_client_t> makeClient(const Address& address, bson_error_t& error) {
  return Owned<mongoc_client_t>(mongoc_client_new_from_uri_with_error(address.uri.get(), &error));
}

}  // namespace

std::shared_ptr<DriverConnection> openConnection(const Address& address, const Operation& operation,
                                                 std::shared_ptr<Cancellation> cancellation) {
  bson_error_t error{};
  auto connection = std::make_shared<DriverConnection>();
  connection->streams = {&connection->breakage, std::move(cancellation)};
  connection->client = makeClient(address, error);
  if (!connection->client) {
    ErrorContext context;
    context.action = operation.action;
    context.where = address.hosts;
    context.secrets = address.secrets;
    if (error.domain == 0) error.domain = MONGOC_ERROR_STREAM;
    throw toError(context, error, nullptr);
  }
  // Without this the codes of the driver and those of the server cannot be told apart.
  mongoc_client_set_error_api(connection->client.get(), MONGOC_ERROR_API_VERSION_2);
  mongoc_client_set_stream_initiator(connection->client.get(), openCheckedStream, &connection->streams);
  connection->socketTimeout = address.socketTimeout;
  observe(*connection);
  return connection;
}

}  // namespace database_client::server
