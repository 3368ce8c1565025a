// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include "tools/serve/Api.h"

namespace database_provider::recordctl {

/// How a store is served.
struct ServeOptions {
  int port = 8765;  ///< 0: any that is free
  bool mayWrite = false;
  bool needsToken = true;
};

/// Why this program cannot serve; empty where it can.
std::string whyNoServer();

/// Answers browsers on the loopback of this machine, from its making until its end. It lets in who brings the token: in
/// the address once, in a cookie afterwards.
class Server {
 public:
  /// Throws `UsageError` where the port is taken.
  Server(const ServeOptions& options, About about, Clients& clients);
  ~Server();
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  /// The address that a browser is given, with the token in it.
  std::string address() const;

 private:
  class Http;
  std::unique_ptr<Http> http_;
};

/// A text that nobody guesses: 128 random bits.
std::string newToken();

}  // namespace database_provider::recordctl
