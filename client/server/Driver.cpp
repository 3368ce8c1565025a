#include "client/server/Driver.h"

#include <mongoc/mongoc.h>

#include <cstdlib>
#include <mutex>
#include <string_view>

namespace database_client::server {

namespace {

bool keepsLog() {
  const char* choice = std::getenv("DATABASE_CLIENT_KEEP_DRIVER_LOG");
  return choice != nullptr && std::string_view(choice) != "0" && *choice != '\0';
}

}  // namespace

void startDriver() {
  static std::once_flag started;
  std::call_once(started, [] {
    if (!keepsLog()) mongoc_log_set_handler(nullptr, nullptr);
    mongoc_init();
  });
}

}  // namespace database_client::server
