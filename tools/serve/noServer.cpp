// SPDX-License-Identifier: Apache-2.0

// In the place of Server.cpp where cpp-httplib was not installed when the program was configured.
#include "tools/serve/Server.h"
#include "tools/values/Errors.h"

namespace database_provider::recordctl {

class Server::Http {};

std::string whyNoServer() {
  return "this recordctl was built without the page, since cpp-httplib was missing; install the package "
         "libcpp-httplib-dev, configure and build again";
}

std::string newToken() {
  throw UsageError(whyNoServer());
}

Server::Server(const ServeOptions&, About, Clients&) {
  throw UsageError(whyNoServer());
}

Server::~Server() = default;

std::string Server::address() const {
  return "";
}

}  // namespace database_provider::recordctl
