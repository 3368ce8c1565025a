// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <openssl/ssl.h>

#include <cstddef>
#include <memory>
#include <string>

namespace database_test {

/// Listens on 127.0.0.1; port 0 takes a free one, which is written back.
int listenOn(int& port);
/// Takes a connection, which no child process inherits and which sends at once; below 0 when the listener is closed.
int acceptFrom(int listener);
void closeSocket(int socket);
/// Closes with a TCP reset instead of an orderly end.
void resetSocket(int socket);
int connectTo(int port);

struct FreeTls {
  void operator()(SSL* tls) const noexcept { SSL_free(tls); }
  void operator()(SSL_CTX* context) const noexcept { SSL_CTX_free(context); }
};

/// One accepted connection, plain or under TLS.
class Stream {
 public:
  explicit Stream(int socket) : socket_(socket) {}
  ~Stream() { close(); }
  Stream(const Stream&) = delete;
  Stream& operator=(const Stream&) = delete;

  bool startTls(const std::string& certificate, const std::string& key);
  /// False when the peer is gone before `size` bytes have come.
  bool read(void* bytes, std::size_t size);
  bool write(const void* bytes, std::size_t size);
  /// Ends a `read` in another thread.
  void shutdown() const;
  void close();
  void reset();

 private:
  int socket_;
  std::unique_ptr<SSL_CTX, FreeTls> context_{};
  std::unique_ptr<SSL, FreeTls> tls_{};
};

}  // namespace database_test
