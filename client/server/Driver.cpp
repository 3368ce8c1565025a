// SPDX-License-Identifier: Apache-2.0
#include "client/server/Driver.h"

#include <mongoc/mongoc.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <mutex>
#include <string>
#include <string_view>

namespace database_client::server {

namespace {

bool keepsLog() {
  const char* choice = std::getenv("DATABASE_CLIENT_KEEP_DRIVER_LOG");
  return choice != nullptr && std::string_view(choice) != "0" && *choice != '\0';
}

/// The driver keeps counters in shared memory, under a name that outlives a process which is killed: whoever gets the
/// number of that process later stumbles over it. While this lives, the environment tells the driver not to.
class PrivateCounters {
 public:
  PrivateCounters() {
    // Appended to the environment, and taken from its end again: who reads it meanwhile is not disturbed.
    if (isSet_) setenv(variable, "1", 1);  // NOLINT(concurrency-mt-unsafe): see above
  }
  ~PrivateCounters() {
    if (isSet_) unsetenv(variable);  // NOLINT(concurrency-mt-unsafe): see above
  }
  PrivateCounters(const PrivateCounters&) = delete;
  PrivateCounters& operator=(const PrivateCounters&) = delete;

 private:
  static constexpr const char* variable = "MONGOC_DISABLE_SHM";
  bool isSet_ = std::getenv(variable) == nullptr;
};

bool isMapped(const std::string& path) {
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    if (line.size() >= path.size() && line.compare(line.size() - path.size(), path.size(), path) == 0) return true;
  }
  return false;
}

// Version 1 of the driver starts itself as soon as it is loaded, which is before this. The memory remains as long as it
// is used; without its name, nothing of it is left behind by a process that is killed.
[[gnu::constructor]] void removeNameOfCounters() {
  const std::string name = "/mongoc-" + std::to_string(getpid());
  struct stat found {};
  if (stat(("/dev/shm" + name).c_str(), &found) == 0 && isMapped("/dev/shm" + name)) shm_unlink(name.c_str());
}

}  // namespace

void startDriver() {
  static std::once_flag started;
  std::call_once(started, [] {
    if (!keepsLog()) mongoc_log_set_handler(nullptr, nullptr);
    const PrivateCounters counters;
    mongoc_init();
  });
}

}  // namespace database_client::server
