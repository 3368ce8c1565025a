// SPDX-License-Identifier: Apache-2.0
#include "client/embedded/query/values/errors.h"

#include <algorithm>

#include "client/bson/utf8.h"

namespace database_client::embedded {
namespace {

/// Recursion ends at the limit, so the depth of the argument does not matter.
bool isDeeperThan(bson::View level, int limit) {
  if (limit < 0) return true;
  return std::any_of(level.begin(), level.end(), [limit](const bson::Element& element) {
    const bson::Value& value = element.value;
    if (value.isLevel()) return isDeeperThan(value.asDocument(), limit - 1);
    return value.type == bson::Type::codeWithScope && isDeeperThan(value.scope(), limit - 1);
  });
}

}  // namespace

void refuseQuery(int code, const std::string& message, std::string_view where) {
  throw Error(Error::Kind::query, message, {std::string(where), code});
}

void refuseUnsupported(std::string_view operatorName, const char* kind) {
  const std::string name(operatorName);
  throw Error(Error::Kind::unsupported, "the embedded store does not support the " + std::string(kind) + " " + name,
              {name});
}

void refuseDocument(int code, const std::string& message, std::string_view where) {
  throw Error(Error::Kind::document, message, {std::string(where), code});
}

Error under(std::string_view key, const Error& error) {
  const std::string& inner = error.where();
  const std::string path = inner.empty() ? std::string(key) : std::string(key) + '.' + inner;
  std::string message = error.what();
  const std::string named = quoted(inner) + ": ";
  if (message.compare(0, named.size(), named) == 0) message.erase(0, named.size());
  return {error.kind(), quoted(path) + ": " + message, {path, error.code()}};
}

const char* kindOf(const bson::Value& value) {
  return bson::traitsOf(value.type).phrase;
}

std::string quoted(std::string_view key) {
  constexpr std::size_t longest = 200;
  return '"' + bson::excerpt(key, longest) + '"';
}

void checkLimits(bson::View document) {
  if (document.size > bson::maximumSize) {
    refuseDocument(code::bsonObjectTooLarge,
                   "a document of " + std::to_string(document.size) + " bytes, at most 16777216 are possible");
  }
  if (isDeeperThan(document, bson::maximumDepth)) {
    refuseDocument(code::overflow, "a document of more than 100 levels");
  }
}

}  // namespace database_client::embedded
