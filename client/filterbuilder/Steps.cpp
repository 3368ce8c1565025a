// SPDX-License-Identifier: Apache-2.0
#include "client/filterbuilder/Steps.h"

#include <cstring>

namespace database_client::filter {

using bson::Byte;
using bson::Type;
using bson::Value;

void Steps::add(std::string_view key, const Value& value) {
  Byte* at = add(key, value.type, value.size);
  if (value.size != 0) std::memcpy(at, value.data, value.size);
}

Byte* Steps::add(std::string_view key, Type type, std::size_t size) {
  ++conditions_;
  return bytes_.extendElement(type, key, size);
}

Byte* Steps::addComparison(std::string_view key, std::string_view operation, Type type, std::size_t size) {
  const std::size_t inner = 4 + 1 + operation.size() + 1 + size + 1;
  Byte* at = add(key, Type::document, inner);
  bson::store(at, static_cast<std::int32_t>(inner));
  at[inner - 1] = 0;
  return putHead(at + 4, type, operation);
}

void Steps::addAll(const Steps& other) {
  if (other.isEmpty()) return;
  mark(Kind::all);
  bytes_.append(other.bytes_.data(), other.bytes_.size());
  close(other.open_.size() + 1);
  conditions_ += other.conditions_;
}

void Steps::open(Kind grouping) {
  mark(grouping);
  open_.append(static_cast<Byte>(grouping));
}

void Steps::openField(std::string_view key) {
  bytes_.extendElement(static_cast<Type>(Kind::field), key, 0);
  open_.append(static_cast<Byte>(Kind::field));
}

void Steps::close(std::size_t groups) {
  std::memset(bytes_.extend(groups), static_cast<int>(Kind::close), groups);
}

void Steps::closeThrough(bool field) {
  for (std::size_t left = open_.size(); left-- > 0;) {
    if ((open_.data()[left] == static_cast<Byte>(Kind::field)) != field) continue;
    close(open_.size() - left);
    open_.shrink(left);
    return;
  }
}

}  // namespace database_client::filter
