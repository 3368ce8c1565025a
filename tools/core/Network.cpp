// SPDX-License-Identifier: Apache-2.0
#include "tools/core/Network.h"

#include <algorithm>
#include <cctype>
#include <iostream>
#include <set>
#include <string_view>
#include <vector>

#include "values/Text.h"

namespace database_provider::recordctl {

namespace {

using values::splitEscaped;

constexpr std::string_view plainScheme = "mongodb://";
constexpr std::string_view serviceScheme = "mongodb+srv://";

bool beginsWith(std::string_view text, std::string_view beginning) {
  return text.substr(0, beginning.size()) == beginning;
}

std::string inLowerCase(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return result;
}

/// The parts of an address: [USER[:PASSWORD]@]HOST[:PORT][,HOST...][/DATABASE][?OPTION=VALUE[&...]]
struct Parts {
  explicit Parts(std::string_view rest) {
    const std::size_t question = rest.find('?');
    if (question != std::string_view::npos) options = inLowerCase(rest.substr(question + 1));
    rest = rest.substr(0, question);
    rest.remove_prefix(rest.rfind('@') + 1);
    hosts = inLowerCase(rest.substr(0, rest.find('/')));
  }

  std::string hosts{};
  std::string options{};
};

std::string withoutPort(const std::string& host) {
  if (!host.empty() && host.front() == '[') return host.substr(1, host.find(']') - 1);
  const bool hasPort = std::count(host.begin(), host.end(), ':') == 1;
  return hasPort ? host.substr(0, host.find(':')) : host;
}

bool isThisMachine(const std::string& host) {
  const std::string name = withoutPort(host);
  const bool isSocket = beginsWith(name, "%2f");
  return isSocket || name.empty() || name == "localhost" || name == "::1" || beginsWith(name, "127.");
}

bool areAllThisMachine(const std::string& hosts) {
  const std::vector<std::string> all = splitEscaped(hosts, ',');
  return std::all_of(all.begin(), all.end(), isThisMachine);
}

/// Whether an option is given this value, or the one that stands for it in older addresses.
bool says(const std::string& options, std::string_view value) {
  const std::vector<std::string> all = splitEscaped(options, '&');
  return std::any_of(all.begin(), all.end(), [&](const std::string& option) {
    return option == "tls=" + std::string(value) || option == "ssl=" + std::string(value);
  });
}

/// A certificate, too, is given only for TLS.
bool hasTls(const std::string& options) {
  return says(options, "true") || (options.find("tlsc") != std::string::npos && !says(options, "false"));
}

}  // namespace

bool isInTheClear(const std::string& store) {
  if (beginsWith(store, "file:")) return false;
  if (beginsWith(store, serviceScheme)) return says(Parts(store.substr(serviceScheme.size())).options, "false");
  if (!beginsWith(store, plainScheme)) return !areAllThisMachine(inLowerCase(store));
  const Parts parts(std::string_view(store).substr(plainScheme.size()));
  return !hasTls(parts.options) && !areAllThisMachine(parts.hosts);
}

void warnWhenInTheClear(const std::string& store) {
  static std::set<std::string> warned;
  if (!isInTheClear(store) || !warned.insert(store).second) return;
  std::cerr << "recordctl: warning: the connection is not encrypted, and whoever is on the way reads along; "
               "give an address with tls=true\n";
}

}  // namespace database_provider::recordctl
