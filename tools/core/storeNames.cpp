// SPDX-License-Identifier: Apache-2.0
#include "tools/core/storeNames.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <utility>

#include "tools/values/Errors.h"
#include "values/Nearest.h"
#include "values/Text.h"

namespace database_provider::recordctl {

namespace {

using values::inQuotes;

struct NamedStore {
  std::string name;
  std::string address;
};

std::string variable(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? "" : value;
}

std::string pathOfNames() {
  const std::string configuration = variable("XDG_CONFIG_HOME");
  return (configuration.empty() ? variable("HOME") + "/.config" : configuration) + "/recordctl/stores";
}

bool hasPassword(const std::string& address) {
  const std::size_t scheme = address.find("://");
  if (scheme == std::string::npos) return false;
  const std::size_t at = address.find('@', scheme + 3);
  return at != std::string::npos && address.find(':', scheme + 3) < at;
}

NamedStore storeOf(const std::string& line, const std::string& place) {
  constexpr const char* blanks = " \t\r";
  const std::size_t end = line.find_first_of(blanks);
  const std::size_t begin = line.find_first_not_of(blanks, end);
  if (begin == std::string::npos) throw UsageError(place + ": expected a name and an address behind it");
  NamedStore result{line.substr(0, end), line.substr(begin, line.find_last_not_of(blanks) + 1 - begin)};
  if (hasPassword(result.address))
    throw UsageError(place + ": a password does not belong there; give --user and --password-file");
  const std::string home = "file:~/";
  if (result.address.compare(0, home.size(), home) == 0) result.address.replace(home.size() - 2, 1, variable("HOME"));
  return result;
}

/// False where there is no such file.
bool readStores(const std::string& path, std::vector<NamedStore>& stores) {
  std::ifstream file(path);
  if (!file) return false;
  std::string line;
  for (int number = 1; std::getline(file, line); ++number) {
    const std::size_t first = line.find_first_not_of(" \t\r");
    if (first == std::string::npos || line[first] == '#') continue;
    stores.push_back(storeOf(line.substr(first), path + ":" + std::to_string(number)));
  }
  return true;
}

}  // namespace

std::string addressOf(const std::string& store) {
  if (store.empty() || store.front() != '@') return store;
  const std::string name = store.substr(1);
  const std::string path = pathOfNames();
  std::vector<NamedStore> stores;
  if (!readStores(path, stores))
    throw UsageError("--store: " + inQuotes(store) + " is a name, and there is no file of names " + path);
  // The last one counts, so that a line may be added rather than changed.
  const auto found =
      std::find_if(stores.rbegin(), stores.rend(), [&](const NamedStore& one) { return one.name == name; });
  if (found != stores.rend()) return found->address;
  std::vector<std::string> names;
  names.reserve(stores.size());
  for (const NamedStore& one : stores) names.push_back(one.name);
  throw UsageError("--store: " + path + " has no store " + inQuotes(name) + values::suggestion(name, names));
}

std::vector<std::string> storeNames() {
  std::vector<NamedStore> stores;
  readStores(pathOfNames(), stores);
  std::vector<std::string> result;
  result.reserve(stores.size());
  for (const NamedStore& one : stores) result.push_back("@" + one.name);
  std::sort(result.begin(), result.end());
  result.erase(std::unique(result.begin(), result.end()), result.end());
  return result;
}

}  // namespace database_provider::recordctl
