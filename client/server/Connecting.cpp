// SPDX-License-Identifier: Apache-2.0
#include "client/server/Connecting.h"

#include <netdb.h>
#include <poll.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <system_error>
#include <utility>

namespace database_client::server {

namespace {

constexpr std::chrono::milliseconds betweenStarts{250};

struct FreeAddresses {
  void operator()(addrinfo* list) const noexcept { freeaddrinfo(list); }
};

// As the driver reads them for streams of its own.
mongoc_ssl_opt_t tlsOptionsOf(const mongoc_uri_t* uri) {
  const bool insecure = mongoc_uri_get_option_as_bool(uri, MONGOC_URI_TLSINSECURE, false);
  mongoc_ssl_opt_t options{};
  options.pem_file = mongoc_uri_get_option_as_utf8(uri, MONGOC_URI_TLSCERTIFICATEKEYFILE, nullptr);
  options.pem_pwd = mongoc_uri_get_option_as_utf8(uri, MONGOC_URI_TLSCERTIFICATEKEYFILEPASSWORD, nullptr);
  options.ca_file = mongoc_uri_get_option_as_utf8(uri, MONGOC_URI_TLSCAFILE, nullptr);
  options.weak_cert_validation = mongoc_uri_get_option_as_bool(uri, MONGOC_URI_TLSALLOWINVALIDCERTIFICATES, insecure);
  options.allow_invalid_hostname = mongoc_uri_get_option_as_bool(uri, MONGOC_URI_TLSALLOWINVALIDHOSTNAMES, insecure);
  return options;
}

bool isUnderWay(int error) {
  return error == 0 || error == EINPROGRESS || error == EAGAIN || error == EALREADY || error == EINTR ||
         error == ETIMEDOUT;
}

std::string textOf(int error) {
  return error == 0 ? "the connection failed" : std::generic_category().message(error);
}

// What the system says of a connection that could not be made, it says to the first who reads.
std::string failureOf(mongoc_socket_t* socket) {
  char byte = 0;
  mongoc_socket_recv(socket, &byte, 1, 0, 0);
  return textOf(mongoc_socket_errno(socket));
}

}  // namespace

Connecting::Connecting(const mongoc_uri_t* uri, const mongoc_host_list_t& host)
    : uri_(uri), host_(host), usesTls_(mongoc_uri_get_tls(uri)) {
  if (host_.family == AF_UNIX) {
    useSocketOf(host_.host);
  } else {
    lookUp();
  }
  startDue();
}

void Connecting::lookUp() {
  addrinfo hints{};
  hints.ai_family = host_.family;
  hints.ai_socktype = SOCK_STREAM;
  addrinfo* found = nullptr;
  const int result = getaddrinfo(host_.host, std::to_string(host_.port).c_str(), &hints, &found);
  const std::unique_ptr<addrinfo, FreeAddresses> list(found);
  if (result != 0) {
    fail("Failed to resolve '" + std::string(host_.host) + "': " + gai_strerror(result));
    return;
  }
  for (const addrinfo* one = list.get(); one != nullptr; one = one->ai_next) {
    Place place{};
    std::memcpy(&place.address, one->ai_addr, one->ai_addrlen);
    place.size = one->ai_addrlen;
    places_.push_back(place);
  }
}

void Connecting::useSocketOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    fail(path + ": the path of a socket has at most " + std::to_string(sizeof address.sun_path - 1) + " bytes");
    return;
  }
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  Place place{};
  std::memcpy(&place.address, &address, sizeof address);
  place.size = sizeof address;
  places_.push_back(place);
}

void Connecting::startDue() {
  while (state_ == State::underWay && next_ < places_.size() && (trials_.empty() || Clock::now() >= due_)) {
    due_ = Clock::now() + betweenStarts;
    start(places_[next_++]);
  }
  if (state_ == State::underWay && trials_.empty()) fail(reason_.empty() ? "it has no address" : reason_);
}

void Connecting::start(const Place& place) {
  mongoc_socket_t* socket = mongoc_socket_new(place.address.ss_family, SOCK_STREAM, 0);
  if (socket == nullptr) {
    reason_ = "no socket: " + textOf(errno);
    return;
  }
  Trial trial{socket, streamOf(socket), false, POLLOUT};
  if (!trial.stream) return;
  const auto* address = reinterpret_cast<const sockaddr*>(&place.address);
  const bool stands = mongoc_socket_connect(socket, address, place.size, 0) == 0;
  const int error = mongoc_socket_errno(socket);
  if (!stands && !isUnderWay(error)) {
    reason_ = textOf(error);
    return;
  }
  trials_.push_back(std::move(trial));
}

Owned<mongoc_stream_t> Connecting::streamOf(mongoc_socket_t* socket) {
  Owned<mongoc_stream_t> plain(mongoc_stream_socket_new(socket));
  if (!usesTls_) return plain;
  mongoc_ssl_opt_t options = tlsOptionsOf(uri_);
  Owned<mongoc_stream_t> tls(mongoc_stream_tls_new_with_hostname(plain.get(), host_.host, &options, 1));
  if (tls) {
    static_cast<void>(plain.release());  // belongs to the one around it
  } else {
    reason_ = "TLS cannot be set up; are its files what they should be?";
  }
  return tls;
}

void Connecting::await(std::vector<mongoc_stream_poll_t>& list) const {
  for (const Trial& trial : trials_) list.push_back({trial.stream.get(), trial.events, 0});
}

Clock::time_point Connecting::nextStart() const {
  return next_ < places_.size() ? due_ : Clock::time_point::max();
}

void Connecting::goOn(const mongoc_stream_poll_t* results) {
  std::vector<Trial> left;
  for (Trial& trial : trials_) {
    const int events = (results++)->revents;
    if (state_ == State::underWay && goOn(trial, events)) left.push_back(std::move(trial));
  }
  trials_ = std::move(left);
  if (state_ == State::underWay) {
    startDue();
  } else {
    trials_.clear();
  }
}

bool Connecting::goOn(Trial& trial, int events) {
  if (events == 0) return true;
  if (!trial.reached && (events & (POLLERR | POLLHUP)) != 0) {
    reason_ = failureOf(trial.socket);
    return false;
  }
  trial.reached = true;
  if (usesTls_ && !shakeHands(trial)) return trial.events != 0;
  connected_ = std::move(trial.stream);
  state_ = State::connected;
  return false;
}

// False until the two have agreed; without anything to wait for, they will not.
bool Connecting::shakeHands(Trial& trial) {
  bson_error_t error{};
  trial.events = 0;
  errno = 0;
  if (mongoc_stream_tls_handshake(trial.stream.get(), host_.host, 0, &trial.events, &error)) return true;
  if (trial.events == 0) reason_ = error.message;
  return false;
}

void Connecting::fail(const std::string& reason) {
  reason_ = reason;
  state_ = State::failed;
}

}  // namespace database_client::server
