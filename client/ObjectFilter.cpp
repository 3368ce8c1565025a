// SPDX-License-Identifier: Apache-2.0
#include "database_client/ObjectFilter.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "client/DocumentAccess.h"
#include "client/ObjectId.h"
#include "client/bson/Writer.h"
#include "client/bson/utf8.h"
#include "client/bson/validate.h"
#include "client/filterbuilder/FilterBuilder.h"
#include "client/filterbuilder/queryDocument.h"
#include "database_client/Error.h"

namespace database_client {

using bson::Byte;
using bson::Type;
using bson::Value;
using filter::FilterBuilder;
using Kind = filter::FilterNode::Kind;

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

/// The condition that what stands under `key` compares with a value, of which an operation that compares with nothing
/// takes no account.
void addComparison(FilterBuilder& filter, OperationType operation, const std::string& key, const Value& value) {
  checkKey(key);
  const std::string_view name = operatorOf(operation);
  if (name.empty()) {
    refuse(Error::Kind::query, key, "unknown operation " + std::to_string(static_cast<int>(operation)));
  }
  if (operation == OperationType::matches || operation == OperationType::notMatches) {
    refuse(Error::Kind::query, key, "a pattern is a text");
  }
  if (operation == OperationType::exists || operation == OperationType::notExists) {
    const Byte exists = operation == OperationType::exists ? 1 : 0;
    return filter.addCondition(key, name, {Type::boolean, &exists, 1});
  }
  filter.addCondition(key, operation == OperationType::equal ? std::string_view() : name, value);
}

template <class Number>
void addNumber(FilterBuilder& filter, OperationType operation, const std::string& key, Type type, Number number) {
  addComparison(filter, operation, key, {type, reinterpret_cast<const Byte*>(&number), sizeof number});
}

void addText(FilterBuilder& filter, OperationType operation, const std::string& key, const std::string& text) {
  if (!bson::isUtf8(text)) refuse(Error::Kind::document, key, "a text that is not valid UTF-8");
  if (text.size() > bson::maximumSize) refuse(Error::Kind::document, key, "a text beyond 16 MiB");
  const auto length = static_cast<std::int32_t>(text.size() + 1);
  std::string value(reinterpret_cast<const char*>(&length), sizeof length);
  value.append(text).push_back('\0');
  addComparison(filter, operation, key, {Type::string, reinterpret_cast<const Byte*>(value.data()), value.size()});
}

void addPattern(FilterBuilder& filter, const std::string& key, const std::string& pattern, const std::string& options,
                bool isNegative) {
  checkKey(key);
  if (pattern.find('\0') != std::string::npos) {
    refuse(Error::Kind::document, key, "a text that is sent as a pattern cannot hold a NUL character");
  }
  if (!bson::isUtf8(pattern)) refuse(Error::Kind::document, key, "a pattern that is not valid UTF-8");
  bson::Writer writer;
  writer.appendString("$regex", pattern);
  if (!options.empty()) writer.appendString("$options", options);
  const std::vector<Byte> match = writer.take();
  filter.addCondition(key, isNegative ? "$not" : "", {Type::document, match.data(), match.size()});
}

}  // namespace

struct ObjectFilter::Query : FilterBuilder {};

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
  const bool isNegative = operation == OperationType::notEqual || operation == OperationType::notMatches;
  const bool isEquality = operation == OperationType::equal || operation == OperationType::notEqual;
  if (isPattern) {
    addPattern(*query_, key, value, options, isNegative);
  } else if (isEquality && !options.empty()) {
    addPattern(*query_, key, wholeText(value, options.find('x') != std::string::npos), options, isNegative);
  } else {
    addText(*query_, operation, key, value);
  }
}

void ObjectFilter::setFilterBool(OperationType operation, const std::string& key, bool value) {
  addNumber(*query_, operation, key, Type::boolean, static_cast<Byte>(value ? 1 : 0));
}
void ObjectFilter::setFilterInt(OperationType operation, const std::string& key, int value) {
  addNumber(*query_, operation, key, Type::int32, std::int32_t{value});
}
void ObjectFilter::setFilterLongLong(OperationType operation, const std::string& key, long long value) {
  addNumber(*query_, operation, key, Type::int64, std::int64_t{value});
}
void ObjectFilter::setFilterDouble(OperationType operation, const std::string& key, double value) {
  addNumber(*query_, operation, key, Type::real, value);
}
void ObjectFilter::setFilterTime(OperationType operation, const std::string& key, long long value) {
  addNumber(*query_, operation, key, Type::date, std::int64_t{value});
}
void ObjectFilter::setFilterId(OperationType operation, const std::string& key, const std::string& id) {
  ObjectId objectId;
  if (ObjectId::parse(id, objectId)) {
    addComparison(*query_, operation, key, {Type::objectId, objectId.bytes.data(), objectId.bytes.size()});
  } else {
    addText(*query_, operation, key, id);
  }
}

void ObjectFilter::start_and() {
  query_->beginGroup(Kind::andGroup);
}
void ObjectFilter::finish_and() {
  query_->endGroup();
}
void ObjectFilter::start_or() {
  query_->beginGroup(Kind::orGroup);
}
void ObjectFilter::finish_or() {
  query_->endGroup();
}
void ObjectFilter::beginGroup(const std::string& key) {
  checkKey(key);
  query_->beginGroup(Kind::field, key);
}
void ObjectFilter::endGroup() {
  query_->endField();
}

void ObjectFilter::include(const ObjectFilter& other) {
  if (&other == this) return include(ObjectFilter(other));
  query_->include(*other.query_);
}

void ObjectFilter::exclude(const std::string& key, ObjectFilter& out) {
  auto kept = std::make_unique<Query>();
  auto taken = std::make_unique<Query>();
  filter::split(*query_, key, *kept, *taken);
  query_ = std::move(kept);
  out.query_ = std::move(taken);
}

void ObjectFilter::fromObjectProperties(const ObjectProperties& query) {
  auto replaced = std::make_unique<Query>();
  filter::addQuery(*replaced, DocumentAccess::view(query));
  query_ = std::move(replaced);
}

ObjectProperties ObjectFilter::toObjectProeprties() const {
  return DocumentAccess::adopt(filter::toQuery(*query_));
}

bool ObjectFilter::isEmpty() const {
  return query_->isEmpty();
}

}  // namespace database_client
