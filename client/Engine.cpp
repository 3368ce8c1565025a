// SPDX-License-Identifier: Apache-2.0
#include "client/Engine.h"

namespace database_client {

void Engine::refuse(const char* operation) {
  throw Error(Error::Kind::unsupported, std::string(operation) + " is not possible on this kind of store");
}

void Engine::beginTransaction() {
  refuse("beginTransaction");
}
void Engine::commitTransaction() {
  refuse("commitTransaction");
}
void Engine::rollbackTransaction() {
  refuse("rollbackTransaction");
}
CheckReport Engine::check() {
  refuse("check");
}
void Engine::compact() {
  refuse("compact");
}
void Engine::backup(const std::string& /*path*/) {
  refuse("backup");
}
CheckReport Engine::repair(const std::string& /*path*/) {
  refuse("repair");
}

// Only here the two kinds of stores are told apart; the rest of the client knows an `Engine`.
std::unique_ptr<Engine> openEngine(const ConnectRequest& request) {
  static const std::string filePrefix = "file:";
  if (request.host.compare(0, filePrefix.size(), filePrefix) == 0) {
    return embedded::open(request.host.substr(filePrefix.size()), request);
  }
  return server::open(request);
}

}  // namespace database_client
