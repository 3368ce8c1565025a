// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/storage/StoreAddress.h"

#include <charconv>
#include <string_view>

#include "database_client/Error.h"

namespace database_client::embedded {

namespace {

constexpr int longestTimeout = 24 * 60 * 60 * 1000;

[[noreturn]] void refuse(const std::string& why) {
  throw Error(Error::Kind::query, "host: " + why, {"host"});
}

bool choice(std::string_view name, std::string_view value, std::string_view yes, std::string_view no) {
  if (value == yes) return true;
  if (value == no) return false;
  refuse("the option " + std::string(name) + " is " + std::string(yes) + " or " + std::string(no));
}

int milliseconds(std::string_view value) {
  int number = -1;
  const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
  if (error != std::errc() || end != value.data() + value.size() || number < 0 || number > longestTimeout) {
    refuse("the option timeout is a number of milliseconds up to " + std::to_string(longestTimeout));
  }
  return number;
}

void setOption(StoreAddress& address, std::string_view name, std::string_view value) {
  if (name == "synchronous") {
    address.synchronousFull = choice(name, value, "full", "normal");
  } else if (name == "exclusive") {
    address.exclusive = choice(name, value, "true", "false");
  } else if (name == "create") {
    address.create = choice(name, value, "true", "false");
  } else if (name == "timeout") {
    address.timeoutMilliseconds = milliseconds(value);
  } else {
    refuse("unknown option \"" + std::string(name) + "\"; there are synchronous, exclusive, timeout and create");
  }
}

void setOptions(StoreAddress& address, std::string_view options) {
  while (!options.empty()) {
    const std::string_view option = options.substr(0, options.find('&'));
    options.remove_prefix(option.size() < options.size() ? option.size() + 1 : option.size());
    const std::size_t sign = option.find('=');
    const bool hasValue = sign != std::string_view::npos;
    setOption(address, option.substr(0, sign), hasValue ? option.substr(sign + 1) : std::string_view());
  }
}

}  // namespace

StoreAddress StoreAddress::parse(const std::string& text) {
  if (text.find('\0') != std::string::npos) refuse("a NUL character is not allowed");
  StoreAddress address;
  const std::size_t mark = text.find('?');
  address.path = text.substr(0, mark);
  if (address.path.empty()) refuse("a path is expected behind \"file:\"");
  if (mark != std::string::npos) setOptions(address, std::string_view(text).substr(mark + 1));
  return address;
}

}  // namespace database_client::embedded
