// SPDX-License-Identifier: Apache-2.0
#include "client/arguments.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>

#include "client/DocumentAccess.h"
#include "client/ObjectId.h"
#include "client/bson/Writer.h"
#include "client/bson/validate.h"
#include "client/saslPrepare.h"
#include "database_client/Error.h"
#include "database_client/codes.h"

namespace database_client::arguments {

using bson::Element;
using bson::Type;
using bson::Value;
using bson::View;

namespace {

// Names that a server takes, and on no store any others, so that a file can be copied to a deployment.
constexpr std::size_t longestDatabaseName = 63;
constexpr std::size_t longestNamespace = 255;

[[noreturn]] void refuse(const std::string& name, const std::string& why) {
  throw Error(Error::Kind::query, name + ": " + why, {name});
}

void checkName(const std::string& name, const std::string& value, std::string_view reserved) {
  checkText(name, value);
  if (value.empty()) refuse(name, "the name is empty");
  const std::size_t at = value.find_first_of(reserved);
  if (at != std::string::npos) refuse(name, "\"" + value + "\" has the reserved character '" + value[at] + "'");
}

bool isTrue(const Value& value) {
  switch (value.type) {
    case Type::boolean:
      return value.asBool();
    case Type::int32:
      return value.asInt32() != 0;
    case Type::int64:
      return value.asInt64() != 0;
    case Type::real:
      return value.asDouble() != 0;
    default:
      return false;
  }
}

/// A document, a path or an operator in a projection is neither true nor false.
bool isSwitch(const Value& value) {
  return value.type == Type::boolean || value.isNumber();
}

bool isDirection(const Value& value) {
  if (value.type == Type::int32) return value.asInt32() == 1 || value.asInt32() == -1;
  if (value.type == Type::int64) return value.asInt64() == 1 || value.asInt64() == -1;
  return value.type == Type::real && (value.asDouble() == 1 || value.asDouble() == -1);
}

/// The code of a server for what is no path; 0 for one.
int flawOfPath(std::string_view path) {
  if (path.empty()) return code::fieldPathEmpty;
  if (path.back() == '.') return code::fieldPathEndsWithDot;
  if (path.front() == '.' || path.find("..") != std::string_view::npos) return code::fieldNameEmpty;
  const bool hasDollar = path.front() == '$' || path.find(".$") != std::string_view::npos;
  return hasDollar ? code::fieldNameWithDollar : 0;
}

void checkId(const Value& id, std::size_t ids) {
  if (ids > 1) throw Error(Error::Kind::document, "\"_id\": the document has more than one", {"_id", code::badValue});
  if (id.type == Type::array || id.type == Type::regex || id.type == Type::undefined) {
    throw Error(Error::Kind::document, "\"_id\": an array, a regular expression or undefined cannot be an id",
                {"_id", code::badValue});
  }
}

bool isId(const Element& element) {
  return element.key == "_id";
}

/// The same bytes behind an id, which are copied once.
ObjectProperties withNewId(const ObjectProperties& document) {
  constexpr std::array<bson::Byte, 5> start{static_cast<bson::Byte>(Type::objectId), '_', 'i', 'd', 0};
  constexpr std::size_t size = start.size() + bson::objectIdSize;
  constexpr std::size_t behindLength = 4;
  bson::Buffer bytes = DocumentAccess::share(document);
  bson::Byte* at = bytes.splice(behindLength, 0, size);
  bson::store(at, static_cast<std::int32_t>(bytes.size()));
  at = std::copy(start.begin(), start.end(), at + behindLength);
  const ObjectId id = ObjectId::make();
  std::copy(id.bytes.begin(), id.bytes.end(), at);
  return DocumentAccess::adopt(std::move(bytes));
}

ObjectProperties withIdFirst(View document, const Value& id) {
  bson::Writer writer;
  writer.append("_id", id);
  for (const Element& element : document) {
    if (!isId(element)) writer.append(element.key, element.value);
  }
  return DocumentAccess::adopt(writer.take());
}

}  // namespace

void checkText(const std::string& name, const std::string& value) {
  if (value.find('\0') != std::string::npos) refuse(name, "a NUL character is not allowed");
  if (!bson::isUtf8(value)) refuse(name, "not valid UTF-8");
}

void checkPassword(const std::string& name, const std::string& value) {
  checkText(name, value);
  if (value.empty() || !isEmptyPassword(value)) return;
  throw Error(Error::Kind::server, name + ": it is empty, but for characters that do not count",
              {name, code::passwordRequired});
}

void checkDatabase(const std::string& database) {
  checkName("database", database, "/\\. \"$*<>:|?");
  if (database.size() > longestDatabaseName) refuse("database", "the name is longer than 63 bytes");
}

void checkCollection(const std::string& database, const std::string& collection) {
  checkDatabase(database);
  checkName("collection", collection, "$");
  if (collection.front() == '.' || collection.back() == '.')
    refuse("collection", "a name neither begins nor ends with a dot");
  if (database.size() + 1 + collection.size() > longestNamespace) {
    refuse("collection", "database and collection together are longer than 255 bytes");
  }
}

void checkUser(const std::string& user) {
  checkText("user", user);
  if (user.empty()) refuse("user", "the name is empty");
}

void checkPage(int limit, int skip) {
  if (limit < 0)
    throw Error(Error::Kind::query, "limit: " + std::to_string(limit) + " is negative",
                {"limit", code::negativeNumber});
  if (skip < 0)
    throw Error(Error::Kind::query, "skip: " + std::to_string(skip) + " is negative", {"skip", code::negativeNumber});
}

void checkSort(const ObjectProperties& sort) {
  for (const Element& element : DocumentAccess::view(sort)) {
    const std::string path(element.key);
    const std::string label = "sort: \"" + path + "\" ";
    if (const int flaw = flawOfPath(path)) throw Error(Error::Kind::query, label + "is no path", {path, flaw});
    if (!element.value.isNumber()) {
      throw Error(Error::Kind::query, label + "takes 1 or -1", {path, code::sortDirectionNotANumber});
    }
    if (!isDirection(element.value)) {
      throw Error(Error::Kind::query, label + "takes 1 or -1", {path, code::sortDirectionNotOne});
    }
  }
}

void checkSortOfPages(const ObjectProperties& sort) {
  for (const Element& element : DocumentAccess::view(sort)) {
    if (!isId(element)) refuse("after", "only in the order of \"_id\" does one record come behind another");
  }
}

void checkDocument(const std::string& name, const ObjectProperties& document) {
  if (DocumentAccess::view(document).size > bson::maximumSize) {
    throw Error(Error::Kind::document, name + ": larger than 16 MiB", {name});
  }
}

void checkRoles(const ObjectProperties& roles) {
  for (const Element& element : DocumentAccess::view(roles)) {
    const std::string path = "roles." + std::string(element.key);
    if (!element.value.isDocument()) refuse(path, R"(a group of "role" and "db" is expected)");
    for (const char* key : {"role", "db"}) {
      const Value value = element.value.asDocument().find(key);
      if (value.data == nullptr || value.type != Type::string) refuse(path + "." + key, "a string is expected");
    }
  }
}

void checkReplacement(const ObjectProperties& document) {
  for (const Element& element : DocumentAccess::view(document)) {
    if (element.key.empty() || element.key.front() != '$') continue;
    const std::string key(element.key);
    throw Error(Error::Kind::document, "\"" + key + R"(": a replacement has no key that begins with "$")",
                {key, code::invalidBson});
  }
}

ObjectProperties withId(const ObjectProperties& document) {
  const View view = DocumentAccess::view(document);
  const auto ids = static_cast<std::size_t>(std::count_if(view.begin(), view.end(), isId));
  if (ids == 0) return withNewId(document);
  const Value id = view.find("_id");
  checkId(id, ids);
  return isId(*view.begin()) ? document : withIdFirst(view, id);
}

ObjectProperties projectionFor(const ObjectProperties& projection) {
  const View view = DocumentAccess::view(projection);
  const auto includes = [](const Element& element) { return element.key != "_id" && isTrue(element.value); };
  if (std::none_of(view.begin(), view.end(), includes)) return projection;
  bson::Writer writer;
  for (const Element& element : view) {
    const bool isFalse = isSwitch(element.value) && !isTrue(element.value);
    if (!isFalse || element.key == "_id") writer.append(element.key, element.value);
  }
  return DocumentAccess::adopt(writer.take());
}

ObjectProperties stagesOf(const ObjectProperties& pipeline) {
  const View view = DocumentAccess::view(pipeline);
  for (const Element& element : view) {
    if (element.key != "pipeline") refuse(std::string(element.key), "only the array \"pipeline\" is expected here");
  }
  const Value stages = view.find("pipeline");
  if (stages.data == nullptr || !stages.isArray()) refuse("pipeline", "an array of stages is expected");
  return DocumentAccess::adopt(stages.asDocument());
}

}  // namespace database_client::arguments
