// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/socket.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "client/server/Handles.h"

namespace database_client::server {

using Clock = std::chrono::steady_clock;

/// A connection on its way to one host. Its addresses are tried in turn, the next one a quarter of a second after the
/// last or as soon as that has failed (as RFC 8305 says); the first that stands, under TLS where that is asked for, is
/// taken. Nothing here waits, but for the look-up of the name.
class Connecting {
 public:
  enum class State { underWay, connected, failed };

  /// Looks the name up and starts with the first address. The address of the deployment says whether to use TLS, and
  /// has to outlive this object.
  Connecting(const mongoc_uri_t* uri, const mongoc_host_list_t& host);
  ~Connecting() = default;
  Connecting(const Connecting&) = delete;
  Connecting& operator=(const Connecting&) = delete;

  State state() const { return state_; }
  /// Why it failed.
  const std::string& reason() const { return reason_; }
  /// The stream of a connection that stands.
  Owned<mongoc_stream_t> take() { return std::move(connected_); }

  /// Adds what is to be waited for.
  void await(std::vector<mongoc_stream_poll_t>& list) const;
  /// When the next address is due; the end of time when there is none.
  Clock::time_point nextStart() const;
  /// Goes on after a wait, with the results of what `await` added.
  void goOn(const mongoc_stream_poll_t* results);

 private:
  struct Place {
    sockaddr_storage address;
    socklen_t size;
  };
  /// One address that is being tried.
  struct Trial {
    mongoc_socket_t* socket;
    Owned<mongoc_stream_t> stream;  ///< of the socket, or of TLS around it
    bool reached;                   ///< the connection stands, TLS perhaps not yet
    int events;
  };

  void lookUp();
  void useSocketOf(const std::string& path);
  void startDue();
  void start(const Place& place);
  Owned<mongoc_stream_t> streamOf(mongoc_socket_t* socket);
  /// False when the trial is over.
  bool goOn(Trial& trial, int events);
  bool shakeHands(Trial& trial);
  void fail(const std::string& reason);

  const mongoc_uri_t* uri_;
  mongoc_host_list_t host_;
  bool usesTls_;
  std::vector<Place> places_{};
  std::size_t next_ = 0;
  Clock::time_point due_{};
  std::vector<Trial> trials_{};
  Owned<mongoc_stream_t> connected_{};
  std::string reason_{};
  State state_ = State::underWay;
};

}  // namespace database_client::server
