// SPDX-License-Identifier: Apache-2.0

// Loads the library again and again, as a program with plug-ins would, and tells what the process kept of it.

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>

#include "database_provider/UsersDatabaseInterface.h"
#include "tests/client/server/growth.h"

namespace {

using database_provider::UsersDatabaseInterface;

void loadAndUse(const char* library, const std::string& host) {
  void* handle = dlopen(library, RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) throw std::runtime_error(dlerror());
  using Factory = UsersDatabaseInterface* (*)();
  const auto make = reinterpret_cast<Factory>(dlsym(handle, "createUsersDatabase"));
  if (make == nullptr) throw std::runtime_error(dlerror());
  {
    const std::unique_ptr<UsersDatabaseInterface> users(make());
    users->connectAsAdmin(host, 1, "");
    users->disconnect();
  }
  dlclose(handle);
}

void tell(const char* library, const std::string& host, const std::string& rounds) {
  if (rounds != "once") {
    std::cout << database_test::growth(std::atoi(rounds.c_str()), [&] { loadAndUse(library, host); }) << '\n';
    return;
  }
  loadAndUse(library, host);
  std::cout << (dlopen(library, RTLD_NOW | RTLD_NOLOAD) != nullptr ? "stays" : "goes") << '\n';
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return EXIT_FAILURE;
  try {
    tell(argv[1], argv[2], argv[3]);
    return EXIT_SUCCESS;
  } catch (const std::exception& error) {
    static_cast<void>(std::fputs(error.what(), stderr));
    return EXIT_FAILURE;
  }
}
