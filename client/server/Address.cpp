// SPDX-License-Identifier: Apache-2.0
#include "client/server/Address.h"

#include <arpa/inet.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>

#include "client/bson/validate.h"
#include "client/saslPrepare.h"

namespace database_client::server {

namespace {

constexpr std::size_t longestName = 253;
constexpr int longestPort = 65535;

// The driver would wait five minutes for an answer, and half a minute for each server.
constexpr std::int32_t connectTimeout = 10000;
constexpr std::int32_t socketTimeout = 30000;
// Long enough for an election with the default settings of a replica set.
constexpr std::int32_t selectionTimeout = 15000;

[[noreturn]] void refuse(const char* argument, const std::string& reason) {
  throw Error(Error::Kind::query, std::string(argument) + ": " + reason, {argument});
}

bool isFullAddress(const std::string& host) {
  return host.rfind("mongodb://", 0) == 0 || host.rfind("mongodb+srv://", 0) == 0;
}

bool isIpv6(const std::string& text) {
  in6_addr address{};
  return inet_pton(AF_INET6, text.c_str(), &address) == 1;
}

bool isLabel(std::string_view label) {
  const auto fits = [](char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '-' || c == '_';
  };
  return !label.empty() && label.size() <= 63 && std::all_of(label.begin(), label.end(), fits);
}

bool isName(std::string_view text) {
  if (!text.empty() && text.back() == '.') text.remove_suffix(1);
  for (;;) {
    const std::size_t dot = text.find('.');
    if (!isLabel(text.substr(0, dot))) return false;
    if (dot == std::string_view::npos) return true;
    text.remove_prefix(dot + 1);
  }
}

std::string withoutBrackets(const std::string& host) {
  const bool inBrackets = host.size() > 2 && host.front() == '[' && host.back() == ']';
  return inBrackets ? host.substr(1, host.size() - 2) : host;
}

Owned<mongoc_uri_t> uriOfHost(const std::string& host, int port) {
  if (!isHost(host)) refuse("host", "neither a name nor an IP address nor a mongodb:// address");
  if (port < 1 || port > longestPort) refuse("port", std::to_string(port) + " is not within 1 and 65535");
  const std::string bare = withoutBrackets(host);
  const std::string name = isIpv6(bare) ? "[" + bare + "]" : bare;
  return Owned<mongoc_uri_t>(mongoc_uri_new_for_host_port(name.c_str(), static_cast<std::uint16_t>(port)));
}

// The driver's text quotes the part that it does not understand, which may be (part of) a password.
bool mayHoldSecret(const std::string& address) {
  std::string lower = address;
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  const std::array<const char*, 4> signs{"@", "password", "token", "authmechanismproperties"};
  return std::any_of(signs.begin(), signs.end(),
                     [&](const char* sign) { return lower.find(sign) != std::string::npos; });
}

Owned<mongoc_uri_t> uriOfAddress(const std::string& address) {
  if (address.find('\0') != std::string::npos) refuse("host", "the address holds a NUL");
  if (!bson::isUtf8(address)) refuse("host", "the address is not UTF-8");
  bson_error_t error{};
  Owned<mongoc_uri_t> uri(mongoc_uri_new_with_error(address.c_str(), &error));
  if (uri) return uri;
  const std::string reason = mayHoldSecret(address) ? "" : ": " + std::string(error.message);
  refuse("host", "the mongodb:// address is malformed" + reason);
}

void checkText(const char* argument, const std::string& text) {
  if (text.find('\0') != std::string::npos) refuse(argument, "holds a NUL");
  if (!bson::isUtf8(text)) refuse(argument, "is not UTF-8");
}

void setCredentials(mongoc_uri_t* uri, const Credentials& credentials) {
  const auto& [database, user, password] = credentials;
  checkText("user", user);
  checkText("password", password);
  checkText("authDatabase", database);
  if (password.empty()) {
    throw Error(Error::Kind::authentication, "user \"" + user + "\" is given without a password", {"password"});
  }
  const bool taken = mongoc_uri_set_username(uri, user.c_str()) && mongoc_uri_set_password(uri, password.c_str()) &&
                     (database.empty() || mongoc_uri_set_auth_source(uri, database.c_str()));
  if (!taken) refuse("user", "the driver refuses the user, the password or the authentication database");
}

// A password with an @ that is not escaped would move its rest into the host's name, and from there into messages.
void checkHosts(const mongoc_uri_t* uri) {
  for (const mongoc_host_list_t* host = mongoc_uri_get_hosts(uri); host != nullptr; host = host->next) {
    const std::string name = host->host;
    const bool isSocket = name.front() == '/' && name.find('@') == std::string::npos;
    if (!isSocket && !isHost(name))
      refuse("host", "a host of the mongodb:// address is none; is a character not escaped?");
  }
}

bool isMechanism(const mongoc_uri_t* uri, const char* mechanism) {
  const char* chosen = mongoc_uri_get_auth_mechanism(uri);
  return chosen != nullptr && bson_strcasecmp(chosen, mechanism) == 0;
}

bool needsPassword(const mongoc_uri_t* uri) {
  const std::array<const char*, 4> others{"MONGODB-X509", "GSSAPI", "MONGODB-AWS", "MONGODB-OIDC"};
  return std::none_of(others.begin(), others.end(), [uri](const char* other) { return isMechanism(uri, other); });
}

void checkCredentials(const mongoc_uri_t* uri) {
  const char* user = mongoc_uri_get_username(uri);
  if (isMechanism(uri, "PLAIN") && !mongoc_uri_get_tls(uri)) {
    refuse("host", "authMechanism PLAIN sends the password as it is, and is not used without TLS");
  }
  if (user == nullptr) return;
  // The driver would refuse to make a client, and say no word about it.
  if (*user == '\0') refuse("host", "the address holds an empty user name");
  const char* password = mongoc_uri_get_password(uri);
  if (needsPassword(uri) && (password == nullptr || isEmptyPassword(password))) {
    throw Error(Error::Kind::authentication, std::string("user \"") + user + "\" is given without a password",
                {"host"});
  }
}

// The driver has no way to set these for a stream that it did not make itself.
void checkTls(const mongoc_uri_t* uri) {
  for (const char* option : {MONGOC_URI_TLSDISABLECERTIFICATEREVOCATIONCHECK, MONGOC_URI_TLSDISABLEOCSPENDPOINTCHECK}) {
    if (mongoc_uri_get_option_as_bool(uri, option, false)) {
      refuse("host", std::string(option) + " is not possible: a certificate that was revoked is always refused");
    }
  }
}

// For a file that is missing the driver would only write a line to its log, and fail in the handshake.
void checkFile(const mongoc_uri_t* uri, const char* option) {
  const char* path = mongoc_uri_get_option_as_utf8(uri, option, nullptr);
  if (path == nullptr || access(path, R_OK) == 0) return;
  throw Error(Error::Kind::connection, std::string(option) + ": cannot read \"" + path + "\"", {option});
}

void setDefault(mongoc_uri_t* uri, const char* option, std::int32_t value) {
  if (!mongoc_uri_has_option(uri, option)) mongoc_uri_set_option_as_int32(uri, option, value);
}

void setDefault(mongoc_uri_t* uri, const char* option, bool value) {
  if (!mongoc_uri_has_option(uri, option)) mongoc_uri_set_option_as_bool(uri, option, value);
}

bool mayElect(const mongoc_uri_t* uri) {
  const mongoc_host_list_t* hosts = mongoc_uri_get_hosts(uri);
  const bool several = hosts == nullptr || hosts->next != nullptr;
  return several || mongoc_uri_get_replica_set(uri) != nullptr;
}

void bound(mongoc_uri_t* uri) {
  setDefault(uri, MONGOC_URI_CONNECTTIMEOUTMS, connectTimeout);
  setDefault(uri, MONGOC_URI_SOCKETTIMEOUTMS, socketTimeout);
  setDefault(uri, MONGOC_URI_SERVERSELECTIONTIMEOUTMS, selectionTimeout);
  // A single server is there or is not; members of a replica set may be about to choose a primary.
  setDefault(uri, MONGOC_URI_SERVERSELECTIONTRYONCE, !mayElect(uri));
}

std::string hostsOf(const mongoc_uri_t* uri) {
  if (const char* service = mongoc_uri_get_srv_hostname(uri)) return service;
  std::string hosts;
  for (const mongoc_host_list_t* host = mongoc_uri_get_hosts(uri); host != nullptr; host = host->next) {
    hosts += (hosts.empty() ? "" : ",") + std::string(host->host_and_port);
  }
  return hosts;
}

std::vector<std::string> secretsOf(const mongoc_uri_t* uri) {
  std::vector<std::string> secrets;
  for (const char* secret : {mongoc_uri_get_password(uri),
                             mongoc_uri_get_option_as_utf8(uri, MONGOC_URI_TLSCERTIFICATEKEYFILEPASSWORD, "")}) {
    if (secret != nullptr && *secret != '\0') secrets.emplace_back(secret);
  }
  return secrets;
}

}  // namespace

std::string Address::login() const {
  const char* user = mongoc_uri_get_username(uri.get());
  if (user == nullptr) return {};
  return "user \"" + std::string(user) + "\" of " + mongoc_uri_get_auth_source(uri.get());
}

bool isHost(const std::string& text) {
  if (text.size() > longestName) return false;
  return isIpv6(withoutBrackets(text)) || isName(text);
}

Address makeAddress(const ConnectRequest& request) {
  Address address;
  address.uri = isFullAddress(request.host) ? uriOfAddress(request.host) : uriOfHost(request.host, request.port);
  mongoc_uri_t* uri = address.uri.get();
  checkHosts(uri);
  if (!request.user.empty()) setCredentials(uri, {request.authDatabase, request.user, request.password});
  checkCredentials(uri);
  checkTls(uri);
  checkFile(uri, MONGOC_URI_TLSCAFILE);
  checkFile(uri, MONGOC_URI_TLSCERTIFICATEKEYFILE);
  // Reads are repeated here, on a new connection; two who repeat would multiply the time until an answer.
  address.retryReads = !mongoc_uri_has_option(uri, MONGOC_URI_RETRYREADS);
  setDefault(uri, MONGOC_URI_RETRYREADS, false);
  bound(uri);
  address.hosts = hostsOf(uri);
  address.secrets = secretsOf(uri);
  address.socketTimeout = mongoc_uri_get_option_as_int32(uri, MONGOC_URI_SOCKETTIMEOUTMS, 0);
  return address;
}

/// The driver has no way to take a user out of an address, so that it is read anew without what stands before the "@".
Address withoutUser(const Address& address) {
  std::string text = mongoc_uri_get_string(address.uri.get());
  const std::size_t start = text.find("://") + 3;
  const std::size_t at = text.find('@', start);
  const bool hasUser = at != std::string::npos && at < text.find_first_of("/?", start);
  if (hasUser) text.erase(start, at + 1 - start);
  const std::string none;
  return makeAddress({none, text, 0, none, none});
}

Address withUser(const Address& address, const Credentials& credentials) {
  Address other;
  other.uri = Owned<mongoc_uri_t>(mongoc_uri_copy(address.uri.get()));
  setCredentials(other.uri.get(), credentials);
  other.hosts = address.hosts;
  other.secrets = secretsOf(other.uri.get());
  other.retryReads = address.retryReads;
  other.socketTimeout = address.socketTimeout;
  return other;
}

}  // namespace database_client::server
