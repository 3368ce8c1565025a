// Loads the library again and again, as a program with plug-ins would, and tells what the process kept of it.

#include <dlfcn.h>

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

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) return EXIT_FAILURE;
  if (std::string(argv[3]) == "once") {
    loadAndUse(argv[1], argv[2]);
    std::cout << (dlopen(argv[1], RTLD_NOW | RTLD_NOLOAD) != nullptr ? "stays" : "goes") << '\n';
    return EXIT_SUCCESS;
  }
  std::cout << database_test::growth(std::atoi(argv[3]), [&] { loadAndUse(argv[1], argv[2]); }) << '\n';
  return EXIT_SUCCESS;
}
