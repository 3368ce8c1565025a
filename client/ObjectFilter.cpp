// SPDX-License-Identifier: Apache-2.0
#include "database_client/ObjectFilter.h"

#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

#include "client/DocumentAccess.h"
#include "client/ObjectId.h"
#include "client/bson/Writer.h"
#include "client/bson/utf8.h"
#include "client/bson/validate.h"
#include "client/filterbuilder/QueryTree.h"
#include "client/filterbuilder/Steps.h"
#include "database_client/Error.h"

namespace database_client {

using bson::Byte;
using bson::Type;
using bson::Value;
using filter::Steps;

namespace {

std::string_view operatorOf(OperationType operation) {
  switch (operation) {
    case OperationType::equal:
      return "$eq";
    case OperationType::notEqual:
      return "$ne";
    case OperationType::less:
      return "$lt";
    case OperationType::lessOrEqual:
      return "$lte";
    case OperationType::greater:
      return "$gt";
    case OperationType::greaterOrEqual:
      return "$gte";
    case OperationType::exists:
    case OperationType::notExists:
      return "$exists";
    case OperationType::matches:
    case OperationType::notMatches:
      return "$regex";
  }
  return {};
}

[[noreturn]] void refuse(Error::Kind kind, const std::string& key, const std::string& why) {
  throw Error(kind, "condition on \"" + key + "\": " + why, {key});
}

void checkKey(const std::string& key) {
  if (bson::isPlain(key)) return;
  if (key.find('\0') != std::string::npos) {
    refuse(Error::Kind::document, key.substr(0, key.find('\0')), "a key cannot hold a NUL character");
  }
  if (!bson::isUtf8(key)) refuse(Error::Kind::document, {}, "a key that is not valid UTF-8");
}

void checkOptions(const std::string& key, const std::string& options) {
  if (!options.empty() && options.find_first_not_of("imsx") != std::string::npos) {
    refuse(Error::Kind::query, key, "options \"" + options + R"(", where letters of "imsx" are expected)");
  }
}

bool isAsciiLetterOrDigit(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

/// A pattern that matches exactly this text. The option "x" passes over blanks, those beyond ASCII too.
std::string wholeText(const std::string& text, bool skipsBlanks) {
  std::string pattern = "\\A";
  for (const char c : text) {
    const bool isAscii = static_cast<unsigned char>(c) < 0x80;
    const bool startsCharacter = static_cast<unsigned char>(c) >= 0xC0;
    if (isAscii ? !isAsciiLetterOrDigit(c) : startsCharacter && skipsBlanks) pattern += '\\';
    pattern += c;
  }
  return pattern + "\\z";
}

bool isNegative(OperationType operation) {
  return operation == OperationType::notEqual || operation == OperationType::notMatches;
}

}  // namespace

struct ObjectFilter::Query {
  Query() {}  // NOLINT(modernize-use-equals-default): with a default one, `make_unique` would fill it with zeros

  Steps steps;

  /// Adds the condition that the value under `key` compares with one of this kind and size. Where that goes; null for
  /// an operation that compares with none.
  Byte* compare(OperationType operation, const std::string& key, Type type, std::size_t size) {
    checkKey(key);
    const std::string_view name = operatorOf(operation);
    if (name.empty()) {
      refuse(Error::Kind::query, key, "unknown operation " + std::to_string(static_cast<int>(operation)));
    }
    if (operation == OperationType::matches || operation == OperationType::notMatches) {
      refuse(Error::Kind::query, key, "a pattern is a text");
    }
    if (operation == OperationType::exists || operation == OperationType::notExists) {
      *steps.addComparison(key, name, Type::boolean, 1) = operation == OperationType::exists ? 1 : 0;
      return nullptr;
    }
    return operation == OperationType::equal ? steps.add(key, type, size) : steps.addComparison(key, name, type, size);
  }

  void compareBytes(OperationType operation, const std::string& key, const Value& value) {
    Byte* at = compare(operation, key, value.type, value.size);
    if (at != nullptr && value.size != 0) std::memcpy(at, value.data, value.size);
  }

  template <class Number>
  void compareNumber(OperationType operation, const std::string& key, Type type, Number number) {
    if (Byte* at = compare(operation, key, type, sizeof number)) bson::store(at, number);
  }

  void compareText(OperationType operation, const std::string& key, const std::string& text) {
    if (!bson::isUtf8(text)) refuse(Error::Kind::document, key, "a text that is not valid UTF-8");
    if (text.size() > bson::maximumSize) refuse(Error::Kind::document, key, "a text beyond 16 MiB");
    Byte* at = compare(operation, key, Type::string, 4 + text.size() + 1);
    if (at == nullptr) return;
    bson::store(at, static_cast<std::int32_t>(text.size() + 1));
    std::memcpy(at + 4, text.c_str(), text.size() + 1);
  }

  void match(const std::string& key, const std::string& pattern, const std::string& options, bool negative) {
    checkKey(key);
    if (pattern.find('\0') != std::string::npos) {
      refuse(Error::Kind::document, key, "a text that is sent as a pattern cannot hold a NUL character");
    }
    if (!bson::isUtf8(pattern)) refuse(Error::Kind::document, key, "a pattern that is not valid UTF-8");
    bson::Writer writer;
    if (negative) writer.beginDocument("$not");
    writer.appendString("$regex", pattern);
    if (!options.empty()) writer.appendString("$options", options);
    const std::vector<Byte> bytes = writer.take();
    steps.add(key, {Type::document, bytes.data(), bytes.size()});
  }
};

ObjectFilter::ObjectFilter() : query_(std::make_unique<Query>()) {}
ObjectFilter::ObjectFilter(const ObjectFilter& other) : query_(std::make_unique<Query>(*other.query_)) {}
ObjectFilter& ObjectFilter::operator=(const ObjectFilter& other) {
  if (this != &other) *query_ = *other.query_;
  return *this;
}
ObjectFilter::~ObjectFilter() = default;

void ObjectFilter::setFilterString(OperationType operation, const std::string& key, const std::string& value,
                                   const std::string& options) {
  checkOptions(key, options);
  const bool isPattern = operation == OperationType::matches || operation == OperationType::notMatches;
  const bool isEquality = operation == OperationType::equal || operation == OperationType::notEqual;
  if (isPattern) {
    query_->match(key, value, options, isNegative(operation));
  } else if (isEquality && !options.empty()) {
    query_->match(key, wholeText(value, options.find('x') != std::string::npos), options, isNegative(operation));
  } else {
    query_->compareText(operation, key, value);
  }
}

void ObjectFilter::setFilterBool(OperationType operation, const std::string& key, bool value) {
  query_->compareNumber(operation, key, Type::boolean, static_cast<Byte>(value ? 1 : 0));
}
void ObjectFilter::setFilterInt(OperationType operation, const std::string& key, int value) {
  query_->compareNumber(operation, key, Type::int32, static_cast<std::int32_t>(value));
}
void ObjectFilter::setFilterLongLong(OperationType operation, const std::string& key, long long value) {
  query_->compareNumber(operation, key, Type::int64, static_cast<std::int64_t>(value));
}
void ObjectFilter::setFilterDouble(OperationType operation, const std::string& key, double value) {
  query_->compareNumber(operation, key, Type::real, value);
}
void ObjectFilter::setFilterTime(OperationType operation, const std::string& key, long long value) {
  query_->compareNumber(operation, key, Type::date, static_cast<std::int64_t>(value));
}
void ObjectFilter::setFilterId(OperationType operation, const std::string& key, const std::string& id) {
  ObjectId objectId;
  if (ObjectId::parse(id, objectId)) {
    query_->compareBytes(operation, key, {Type::objectId, objectId.bytes.data(), objectId.bytes.size()});
  } else {
    query_->compareText(operation, key, id);
  }
}

void ObjectFilter::start_and() {
  query_->steps.open(Steps::Kind::all);
}
void ObjectFilter::finish_and() {
  query_->steps.closeGrouping();
}
void ObjectFilter::start_or() {
  query_->steps.open(Steps::Kind::any);
}
void ObjectFilter::finish_or() {
  query_->steps.closeGrouping();
}
void ObjectFilter::beginGroup(const std::string& key) {
  checkKey(key);
  query_->steps.openField(key);
}
void ObjectFilter::endGroup() {
  query_->steps.closeField();
}

void ObjectFilter::include(const ObjectFilter& other) {
  if (&other == this) return include(ObjectFilter(other));
  query_->steps.addAll(other.query_->steps);
}

void ObjectFilter::exclude(const std::string& key, ObjectFilter& out) {
  ObjectFilter kept;
  ObjectFilter taken;
  filter::split(query_->steps, key, kept.query_->steps, taken.query_->steps);
  std::swap(query_, kept.query_);
  out = taken;
}

void ObjectFilter::fromObjectProperties(const ObjectProperties& query) {
  Query replaced;
  filter::addDocument(replaced.steps, DocumentAccess::view(query));
  *query_ = std::move(replaced);
}

ObjectProperties ObjectFilter::toObjectProeprties() const {
  return DocumentAccess::adopt(filter::toQuery(query_->steps));
}

bool ObjectFilter::isEmpty() const {
  return query_->steps.isEmpty();
}

}  // namespace database_client
