// SPDX-License-Identifier: Apache-2.0
#include "database_client/ElementReader.h"

#include "client/DocumentAccess.h"
#include "client/bson/View.h"

namespace database_client {

using bson::Type;
using bson::Value;

namespace {

template <class Number>
Number numberOr(Number defaultValue, std::uint8_t kind, Type wanted, const std::uint8_t* value) {
  return kind == static_cast<std::uint8_t>(wanted) ? bson::load<Number>(value) : defaultValue;
}

const std::uint8_t* firstEntry(bson::View level) {
  return level.data + 4;
}

}  // namespace

ElementReader::ElementReader(const ObjectProperties& document)
    : ElementReader(firstEntry(DocumentAccess::level(document))) {}

bool ElementReader::next() {
  if (*next_ == 0) return false;
  kind_ = *next_;
  key_ = bson::shortCString(next_ + 1);
  value_ = next_ + 1 + key_.size() + 1;
  next_ = value_ + bson::valueSize(static_cast<Type>(kind_), value_);
  return true;
}

PropertyType ElementReader::type() const {
  return value_ == nullptr ? PropertyType::undefined : bson::propertyTypeOf(static_cast<Type>(kind_));
}

std::string_view ElementReader::asString() const {
  return static_cast<Type>(kind_) == Type::string ? Value{Type::string, value_}.asString() : std::string_view();
}

std::int32_t ElementReader::asInt32(std::int32_t defaultValue) const {
  return numberOr(defaultValue, kind_, Type::int32, value_);
}

std::int64_t ElementReader::asInt64(std::int64_t defaultValue) const {
  return numberOr(defaultValue, kind_, Type::int64, value_);
}

double ElementReader::asDouble(double defaultValue) const {
  return numberOr(defaultValue, kind_, Type::real, value_);
}

bool ElementReader::asBool(bool defaultValue) const {
  return static_cast<Type>(kind_) == Type::boolean ? *value_ != 0 : defaultValue;
}

long long ElementReader::asTime(long long defaultValue) const {
  return numberOr(defaultValue, kind_, Type::date, value_);
}

ElementReader ElementReader::children() const {
  const bool isLevel = bson::isLevel(static_cast<Type>(kind_));
  return ElementReader(firstEntry(isLevel ? bson::viewAt(value_) : bson::emptyDocument()));
}

}  // namespace database_client
