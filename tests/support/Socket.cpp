// SPDX-License-Identifier: Apache-2.0
#include "tests/support/Socket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <stdexcept>
#include <utility>

namespace database_test {

namespace {

sockaddr_in loopback(int port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<std::uint16_t>(port));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

sockaddr* generic(sockaddr_in& address) {
  return reinterpret_cast<sockaddr*>(&address);
}

void sendAtOnce(int socket) {
  const int on = 1;
  setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

}  // namespace

int listenOn(int& port) {
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int on = 1;
  setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  sockaddr_in address = loopback(port);
  socklen_t size = sizeof address;
  if (bind(listener, generic(address), size) != 0 || listen(listener, 64) != 0 ||
      getsockname(listener, generic(address), &size) != 0) {
    close(listener);
    throw std::runtime_error("cannot listen on port " + std::to_string(port));
  }
  port = ntohs(address.sin_port);
  return listener;
}

int acceptFrom(int listener) {
  const int connection = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
  if (connection >= 0) sendAtOnce(connection);
  return connection;
}

void closeSocket(int socket) {
  if (socket >= 0) ::close(socket);
}

void resetSocket(int socket) {
  const linger now{1, 0};
  setsockopt(socket, SOL_SOCKET, SO_LINGER, &now, sizeof now);
  closeSocket(socket);
}

int connectTo(int port) {
  const int connection = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address = loopback(port);
  if (connect(connection, generic(address), sizeof address) == 0) {
    sendAtOnce(connection);
    return connection;
  }
  closeSocket(connection);
  return -1;
}

bool Stream::startTls(const std::string& certificate, const std::string& key) {
  context_.reset(SSL_CTX_new(TLS_server_method()));
  const bool loaded = SSL_CTX_use_certificate_chain_file(context_.get(), certificate.c_str()) == 1 &&
                      SSL_CTX_use_PrivateKey_file(context_.get(), key.c_str(), SSL_FILETYPE_PEM) == 1;
  if (!loaded) return false;
  tls_.reset(SSL_new(context_.get()));
  return SSL_set_fd(tls_.get(), socket_) == 1 && SSL_accept(tls_.get()) == 1;
}

bool Stream::read(void* bytes, std::size_t size) {
  auto* at = static_cast<char*>(bytes);
  while (size > 0) {
    const auto step = static_cast<int>(size);
    const ssize_t done = tls_ ? SSL_read(tls_.get(), at, step) : recv(socket_, at, size, 0);
    if (done <= 0) return false;
    at += done;
    size -= static_cast<std::size_t>(done);
  }
  return true;
}

bool Stream::write(const void* bytes, std::size_t size) {
  const auto* at = static_cast<const char*>(bytes);
  while (size > 0) {
    const auto step = static_cast<int>(size);
    const ssize_t done = tls_ ? SSL_write(tls_.get(), at, step) : send(socket_, at, size, MSG_NOSIGNAL);
    if (done <= 0) return false;
    at += done;
    size -= static_cast<std::size_t>(done);
  }
  return true;
}

void Stream::shutdown() const {
  if (socket_ >= 0) ::shutdown(socket_, SHUT_RDWR);
}

void Stream::close() {
  closeSocket(std::exchange(socket_, -1));
}

void Stream::reset() {
  resetSocket(std::exchange(socket_, -1));
}

}  // namespace database_test
