// SPDX-License-Identifier: Apache-2.0
#include "database_client/ObjectProperties.h"

#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

#include "client/DocumentAccess.h"
#include "client/ObjectId.h"
#include "client/bson/Document.h"
#include "client/bson/validate.h"
#include "client/json/json.h"

namespace database_client {

using bson::Byte;
using bson::Element;
using bson::Type;
using bson::Value;
using bson::View;

namespace {

template <class Number>
void putNumber(Document& document, const std::string& key, Type type, Number value) {
  bson::store(document.put(key, type, sizeof value), value);
}

void putString(Document& document, const std::string& key, const std::string& value) {
  if (!bson::isUtf8(value)) document.refuse(key, "a string that is not valid UTF-8");
  if (value.size() >= bson::maximumSize) document.refuse(key, "a string beyond 16 MiB");
  Byte* at = document.put(key, Type::string, 4 + value.size() + 1);
  bson::store(at, static_cast<std::int32_t>(value.size() + 1));
  std::memcpy(at + 4, value.data(), value.size());
  at[4 + value.size()] = 0;
}

/// `levelsAbove` is how many levels the content had above it in a document within the limits.
void putLevel(Document& document, const std::string& key, Type type, View content, std::size_t levelsAbove) {
  const std::size_t above = document.depth() + 1;
  if (above > levelsAbove && above + bson::depth(content) > static_cast<std::size_t>(bson::maximumDepth)) {
    document.refuse(key, "nested deeper than 100 levels");
  }
  std::memcpy(document.put(key, type, content.size), content.data, content.size);
}

bool isWhole(double value, double least, double beyondMost) {
  return value >= least && value < beyondMost && std::trunc(value) == value;
}

/// A whole number, when the value is one of any numeric kind without an accessor of its own losing anything.
bool asWhole(const Value& value, std::int64_t& whole) {
  constexpr double beyond = 9223372036854775808.0;  // 2^63
  if (value.type == Type::int32) {
    whole = value.asInt32();
  } else if (value.type == Type::int64) {
    whole = value.asInt64();
  } else if (value.type == Type::real && isWhole(value.asDouble(), -beyond, beyond)) {
    whole = static_cast<std::int64_t>(value.asDouble());
  } else {
    return false;
  }
  return true;
}

bool isExactDouble(std::int64_t whole) {
  const auto real = static_cast<double>(whole);
  return isWhole(real, -9223372036854775808.0, 9223372036854775808.0) && static_cast<std::int64_t>(real) == whole;
}

}  // namespace

ObjectProperties::ObjectProperties() = default;
ObjectProperties::ObjectProperties(const ObjectProperties& other)
    : document_(other.document_ ? std::make_unique<Document>(other.document_->bytes()) : nullptr) {}
ObjectProperties::ObjectProperties(ObjectProperties&& other) noexcept : document_(std::move(other.document_)) {
  if (document_) document_->leaveAll();
}
ObjectProperties& ObjectProperties::operator=(const ObjectProperties& other) {
  if (this != &other) *this = ObjectProperties(other);
  return *this;
}
ObjectProperties& ObjectProperties::operator=(ObjectProperties&& other) noexcept {
  if (this == &other) return *this;
  document_ = std::move(other.document_);
  if (document_) document_->leaveAll();
  return *this;
}
ObjectProperties::~ObjectProperties() = default;

Document& ObjectProperties::document() const {
  if (!document_) document_ = std::make_unique<Document>();
  return *document_;
}

// Levels

void ObjectProperties::beginGroup(const std::string& key) {
  document().begin(key, Type::document);
}
void ObjectProperties::endGroup() const {
  document().leave();
}
void ObjectProperties::beginArray(const std::string& key) const {
  document().begin(key, Type::array);
}
void ObjectProperties::endArray() const {
  document().leave();
}
bool ObjectProperties::enterGroup(const std::string& key) const {
  return document().enter(key, Type::document);
}
bool ObjectProperties::enterArray(const std::string& key) const {
  return document().enter(key, Type::array);
}
bool ObjectProperties::enterAt(const int& index) const {
  return document().enterAt(index);
}

// Writing

void ObjectProperties::setValueString(const std::string& key, const std::string& value) {
  putString(document(), key, value);
}
void ObjectProperties::setValueBool(const std::string& key, bool value) {
  *document().put(key, Type::boolean, 1) = value ? 1 : 0;
}
void ObjectProperties::setValueInt32(const std::string& key, int value) {
  putNumber(document(), key, Type::int32, static_cast<std::int32_t>(value));
}
void ObjectProperties::setValueInt64(const std::string& key, std::int64_t value) {
  putNumber(document(), key, Type::int64, value);
}
void ObjectProperties::setValueDouble(const std::string& key, double value) {
  putNumber(document(), key, Type::real, value);
}
void ObjectProperties::setValueTime(const std::string& key, long long value) {
  putNumber(document(), key, Type::date, static_cast<std::int64_t>(value));
}
void ObjectProperties::setValueId(const std::string& key, const std::string& id) {
  ObjectId objectId;
  if (!ObjectId::parse(id, objectId)) {
    putString(document(), key, id);
    return;
  }
  std::memcpy(document().put(key, Type::objectId, objectId.bytes.size()), objectId.bytes.data(), objectId.bytes.size());
}
void ObjectProperties::setValueNull(const std::string& key) {
  document().put(key, Type::null, 0);
}

bool ObjectProperties::copyValue(const std::string& key, const ObjectProperties& other, const std::string& otherKey) {
  const bson::Buffer source = other.document().bytes();  // holds the bytes, should `other` be this document
  const Value value = other.document().find(otherKey);
  if (value.data == nullptr) return false;
  if (value.isLevel()) {
    putLevel(document(), key, value.type, value.asDocument(), other.document().depth() + 1);
  } else {
    std::memcpy(document().put(key, value.type, value.size), value.data, value.size);
  }
  return true;
}

void ObjectProperties::remove(const std::string& key) {
  if (key == "/") {
    document().clear();
  } else {
    removeKey(key);
  }
}
void ObjectProperties::removeKey(const std::string& key) {
  document().erase(key);
}

void ObjectProperties::include(const std::string& key, const ObjectProperties& other) {
  const bson::Buffer source = other.document().bytes();
  if (key == "/") {
    document().includeAtRoot(source);
  } else {
    putLevel(document(), key, Type::document, source.view(), 0);
  }
}

void ObjectProperties::exclude(const std::string& key, ObjectProperties& out) {
  const Value value = document().find(key);
  if (value.data == nullptr) return;
  ObjectProperties taken;
  if (value.isLevel()) {
    taken = DocumentAccess::adopt(value.asDocument());
  } else {
    taken.copyValue(key, *this, key);
  }
  removeKey(key);
  out = std::move(taken);
}

// Reading

std::string ObjectProperties::valueAsString(const std::string& key, const std::string& defaultValue) const {
  const Value value = document().find(key);
  if (value.data == nullptr || value.type != Type::string) return defaultValue;
  return std::string(value.asString());
}

bool ObjectProperties::valueAsBool(const std::string& key, bool defaultValue) const {
  const Value value = document().find(key);
  return value.data != nullptr && value.type == Type::boolean ? value.asBool() : defaultValue;
}

int ObjectProperties::valueAsInt32(const std::string& key, int defaultValue) const {
  const Value value = document().find(key);
  std::int64_t whole = 0;
  if (value.data == nullptr || !asWhole(value, whole)) return defaultValue;
  const bool fits = whole >= std::numeric_limits<int>::min() && whole <= std::numeric_limits<int>::max();
  return fits ? static_cast<int>(whole) : defaultValue;
}

std::int64_t ObjectProperties::valueAsInt64(const std::string& key, std::int64_t defaultValue) const {
  const Value value = document().find(key);
  std::int64_t whole = 0;
  return value.data != nullptr && asWhole(value, whole) ? whole : defaultValue;
}

double ObjectProperties::valueAsDouble(const std::string& key, double defaultValue) const {
  const Value value = document().find(key);
  if (value.data == nullptr) return defaultValue;
  if (value.type == Type::real) return value.asDouble();
  std::int64_t whole = 0;
  return asWhole(value, whole) && isExactDouble(whole) ? static_cast<double>(whole) : defaultValue;
}

long long ObjectProperties::valueAsTime(const std::string& key, long long defaultValue) const {
  const Value value = document().find(key);
  return value.data != nullptr && value.type == Type::date ? value.asInt64() : defaultValue;
}

std::string ObjectProperties::valueAsId(const std::string& key, const std::string& defaultValue) const {
  const Value value = document().find(key);
  if (value.data == nullptr) return defaultValue;
  if (value.type == Type::objectId) return ObjectId::text(value.data);
  return value.type == Type::string ? std::string(value.asString()) : defaultValue;
}

bool ObjectProperties::contains(const std::string& key) const {
  return document().find(key).data != nullptr;
}

PropertyType ObjectProperties::type(const std::string& key) const {
  const Value value = document().find(key);
  return value.data == nullptr ? PropertyType::undefined : bson::propertyTypeOf(value.type);
}

std::list<std::string> ObjectProperties::childKeys() const {
  std::list<std::string> keys;
  for (const Element& element : document().level()) keys.emplace_back(element.key);
  return keys;
}

std::list<std::string> ObjectProperties::childGroups() const {
  std::list<std::string> keys;
  for (const Element& element : document().level()) {
    if (element.value.isDocument()) keys.emplace_back(element.key);
  }
  return keys;
}

int ObjectProperties::size() const {
  return document().size();
}

int ObjectProperties::findLastItem(const std::string& key, const std::string& value) const {
  // No stored key holds a NUL.
  return key.find('\0') == std::string::npos ? document().findLastItem(key, value) : -1;
}

std::string ObjectProperties::nameAt(const int& index) const {
  return std::string(document().at(index).key);
}

PropertyType ObjectProperties::typeAt(const int& index) const {
  const Element element = document().at(index);
  return element.start == nullptr ? PropertyType::undefined : bson::propertyTypeOf(element.value.type);
}

bool ObjectProperties::boolAt(const int& index, bool defaultValue) const {
  const Element element = document().at(index);
  return element.start != nullptr && element.value.type == Type::boolean ? element.value.asBool() : defaultValue;
}

bool ObjectProperties::isEmpty() const {
  return !document_ || document_->bytes().view().empty();
}

// The exchange forms

std::vector<std::uint8_t> ObjectProperties::toBson() const {
  const View view = DocumentAccess::view(*this);
  return {view.data, view.data + view.size};
}

ObjectProperties ObjectProperties::fromBson(const void* data, std::size_t size) {
  return DocumentAccess::adopt(bson::validate(data, size));
}

std::string ObjectProperties::toJson(JsonMode mode) const {
  return json::write(DocumentAccess::view(*this), mode);
}

ObjectProperties ObjectProperties::fromJson(const std::string& extendedJson) {
  return DocumentAccess::adopt(json::read(extendedJson));
}

View DocumentAccess::view(const ObjectProperties& document) {
  return document.document_ ? document.document_->bytes().view() : bson::emptyDocument();
}

bson::Buffer DocumentAccess::share(const ObjectProperties& document) {
  return document.document_ ? document.document_->bytes() : bson::Buffer();
}

View DocumentAccess::level(const ObjectProperties& document) {
  return document.document_ ? document.document_->level() : bson::emptyDocument();
}

ObjectProperties DocumentAccess::adopt(View trusted) {
  return adopt(bson::Buffer(trusted));
}

ObjectProperties DocumentAccess::adopt(bson::Buffer&& trusted) {
  ObjectProperties document;
  document.document_ = std::make_unique<Document>(std::move(trusted));
  return document;
}

ObjectProperties DocumentAccess::adopt(std::vector<Byte>&& trusted) {
  return adopt(bson::viewOf(trusted));
}

}  // namespace database_client
